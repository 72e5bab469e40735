#include "Support.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

extern char** environ;

namespace bench {
namespace {

const std::filesystem::path& programFolder() {
    static const std::filesystem::path folder = std::filesystem::canonical("/proc/self/exe").parent_path();
    return folder;
}

// As exec takes them.
std::vector<char*> pointersTo(std::vector<std::string>& words) {
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    return pointers;
}

class Reporter final : public benchmark::ConsoleReporter {
  public:
    bool hasFailed = false; // a benchmark reported an error, so its figure is void

    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        hasFailed = hasFailed || std::ranges::any_of(runs, &Run::error_occurred);
    }
};

} // namespace

Home::Home(const char* durability) {
    // The library opens its home as soon as it is loaded, before main: so the program starts again in the new one.
    constexpr const char* kFolder = "WARDLET_BENCH_FOLDER";
    if (const char* folder = std::getenv(kFolder)) {
        m_path = folder;
        unsetenv(kFolder);
        return;
    }
    std::string name = (programFolder() / "bench-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr)
        throw std::runtime_error("no directory for the benchmark's home");
    m_path = name;
    setenv("WARDLET_HOME", (m_path / "home").c_str(), 1);
    setenv("WARDLET_DURABILITY", durability, 1);
    setenv(kFolder, name.c_str(), 1);
    std::ifstream words("/proc/self/cmdline");
    std::vector<std::string> arguments;
    for (std::string word; std::getline(words, word, '\0');)
        arguments.push_back(word);
    const std::vector<char*> pointers = pointersTo(arguments);
    execv("/proc/self/exe", pointers.data());
    throw std::runtime_error("the benchmark can't start again");
}

Home::~Home() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

Outcome runProgram(std::vector<std::string> words) {
    if (const auto own = programFolder() / words[0]; std::filesystem::exists(own))
        words[0] = own;
    const std::vector<char*> arguments = pointersTo(words);
    int ends[2];
    if (pipe(ends) != 0)
        throw std::runtime_error("pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (const int output : {STDOUT_FILENO, STDERR_FILENO})
        posix_spawn_file_actions_adddup2(&actions, ends[1], output);
    for (const int end : ends)
        posix_spawn_file_actions_addclose(&actions, end);
    pid_t child = 0;
    const int error = posix_spawnp(&child, words[0].c_str(), &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    Outcome outcome;
    char part[65536];
    for (ssize_t got = 0; error == 0 && (got = read(ends[0], part, sizeof part)) > 0;)
        outcome.output.append(part, static_cast<std::size_t>(got));
    close(ends[0]);
    int status = 0;
    if (error != 0 || waitpid(child, &status, 0) != child)
        throw std::runtime_error("can't run " + words[0]);
    if (WIFEXITED(status))
        outcome.status = WEXITSTATUS(status);
    return outcome;
}

int run(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    Reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return reporter.hasFailed ? 1 : 0;
}

} // namespace bench
