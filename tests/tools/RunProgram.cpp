#include "RunProgram.h"

#include "TestHome.h"

#include <fcntl.h>
#include <filesystem>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace {

int spawnAndWait(const std::vector<std::string>& arguments, const std::string& in, const std::string& out,
                 const std::string& err) {
    const auto program = std::filesystem::read_symlink("/proc/self/exe").parent_path() / arguments.at(0);
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (const auto& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, in.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    pid_t child = 0;
    const int error = posix_spawn(&child, program.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        throw std::runtime_error("can't run " + program.string());

    int status = 0;
    if (waitpid(child, &status, 0) != child)
        throw std::runtime_error("can't wait for " + program.string());
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
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
