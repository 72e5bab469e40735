#include "RunProgram.h"

#include "TestHome.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::string programPath(const std::string& name) {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path() / name;
}

std::vector<char*> argumentVector(const std::vector<std::string>& arguments) {
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (const auto& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    return argv;
}

int exitStatus(int status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

int spawnAndWait(const std::vector<std::string>& arguments, const std::string& in, const std::string& out,
                 const std::string& err) {
    const auto program = programPath(arguments.at(0));
    const auto argv = argumentVector(arguments);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, in.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    pid_t child = 0;
    const int error = posix_spawn(&child, program.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        throw std::runtime_error("can't run " + program);

    int status = 0;
    if (waitpid(child, &status, 0) != child)
        throw std::runtime_error("can't wait for " + program);
    return exitStatus(status);
}

} // namespace

ProgramResult runProgram(const std::vector<std::string>& arguments, std::string_view input) {
    const TestHome& home = TestHome::instance();
    const auto in = home.write("run/in", input);
    const int status = spawnAndWait(arguments, in, home.path() / "run/out", home.path() / "run/err");
    return {status, home.read("run/out"), home.read("run/err")};
}

ProgramResult runProgramInto(const std::string& outputFile, const std::vector<std::string>& arguments) {
    const TestHome& home = TestHome::instance();
    const auto in = home.write("run/in", "");
    const int status = spawnAndWait(arguments, in, outputFile, home.path() / "run/err");
    return {status, {}, home.read("run/err")};
}

RunningProgram::RunningProgram(const std::vector<std::string>& arguments) {
    const auto program = programPath(arguments.at(0));
    const auto argv = argumentVector(arguments);
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
    m_child = fork();
    if (m_child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(ends[1], STDOUT_FILENO);
        execv(program.c_str(), argv.data());
        _exit(127);
    }
    close(ends[1]);
    m_output = ends[0];
}

RunningProgram::~RunningProgram() {
    if (m_child > 0) {
        signal(SIGKILL);
        wait();
    }
    close(m_output);
}

std::string RunningProgram::readLine() {
    constexpr int kMostMilliseconds = 30'000;
    for (;;) {
        const std::size_t end = m_read.find('\n');
        if (end != std::string::npos) {
            std::string line = m_read.substr(0, end);
            m_read.erase(0, end + 1);
            return line;
        }
        pollfd ready{m_output, POLLIN, 0};
        char bytes[4096];
        const ssize_t count =
            poll(&ready, 1, kMostMilliseconds) == 1 ? read(m_output, bytes, sizeof bytes) : ssize_t{0};
        if (count <= 0)
            return {};
        m_read.append(bytes, static_cast<std::size_t>(count));
    }
}

void RunningProgram::signal(int number) const {
    kill(m_child, number);
}

int RunningProgram::wait() {
    int status = 0;
    if (waitpid(m_child, &status, 0) != m_child)
        return -1;
    m_child = 0;
    return exitStatus(status);
}
