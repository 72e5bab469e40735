#include "RunProgram.h"

#include "TestHome.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// `redirect` is called in the child.
pid_t start(const std::vector<std::string>& arguments, const std::function<void()>& redirect) {
    const std::string program = std::filesystem::read_symlink("/proc/self/exe").parent_path() / arguments.at(0);
    std::vector<char*> argv;
    for (const auto& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        redirect();
        execv(program.c_str(), argv.data());
        _exit(127);
    }
    if (child < 0)
        throw std::runtime_error("can't run " + program);
    return child;
}

void reopen(int descriptor, const std::string& file, int flags) {
    dup2(open(file.c_str(), flags | O_CLOEXEC, 0600), descriptor);
}

int exitStatusOf(pid_t child) {
    int status = 0;
    if (waitpid(child, &status, 0) != child)
        return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace

ProgramResult runProgramInto(const std::string& outputFile, const std::vector<std::string>& arguments,
                             std::string_view input) {
    constexpr int kWritten = O_WRONLY | O_CREAT | O_TRUNC;
    const TestHome& home = TestHome::instance();
    const std::string in = home.write("run/in", input);
    const std::string err = home.path() / "run/err";
    const pid_t child = start(arguments, [&] {
        reopen(STDIN_FILENO, in, O_RDONLY);
        reopen(STDOUT_FILENO, outputFile, kWritten);
        reopen(STDERR_FILENO, err, kWritten);
    });
    return {exitStatusOf(child), {}, home.read("run/err")};
}

ProgramResult runProgram(const std::vector<std::string>& arguments, std::string_view input) {
    const TestHome& home = TestHome::instance();
    ProgramResult result = runProgramInto(home.path() / "run/out", arguments, input);
    result.out = home.read("run/out");
    return result;
}

RunningProgram::RunningProgram(const std::vector<std::string>& arguments) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
    m_child = start(arguments, [&] { dup2(ends[1], STDOUT_FILENO); });
    close(ends[1]);
    m_output = fdopen(ends[0], "r");
}

RunningProgram::~RunningProgram() {
    if (m_child > 0) {
        signal(SIGKILL);
        wait();
    }
    std::fclose(m_output);
}

std::string RunningProgram::readLine() {
    std::string line;
    for (int c = 0; (c = std::fgetc(m_output)) != EOF && c != '\n';)
        line.push_back(static_cast<char>(c));
    return line;
}

void RunningProgram::signal(int number) const {
    kill(m_child, number);
}

int RunningProgram::wait() {
    const int status = exitStatusOf(m_child);
    m_child = 0;
    return status;
}
