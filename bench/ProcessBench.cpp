// A whole process that loads the library, reads the system record and ends, compared with an empty one: time and peak
// memory.
#include "Support.h"

#include <cstdio>
#include <filesystem>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

// Runs a program from this one's directory and returns the number that it prints.
long runProgram(const char* name) {
    static const std::filesystem::path folder = std::filesystem::canonical("/proc/self/exe").parent_path();
    const std::string path = folder / name;
    int pipeEnds[2];
    if (pipe(pipeEnds) != 0)
        throw std::runtime_error("pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, pipeEnds[0]);
    char* const arguments[] = {const_cast<char*>(path.c_str()), nullptr};
    pid_t child = 0;
    const int error = posix_spawn(&child, path.c_str(), &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    close(pipeEnds[1]);
    std::FILE* const output = fdopen(pipeEnds[0], "r");
    long number = 0;
    const int fields = std::fscanf(output, "%ld", &number);
    std::fclose(output);
    int status = 0;
    if (error != 0 || waitpid(child, &status, 0) != child || status != 0 || fields != 1)
        throw std::runtime_error("a child failed: " + path);
    return number;
}

void measure(benchmark::State& state, const char* program) {
    long kib = 0;
    for (auto _ : state)
        kib = runProgram(program);
    state.counters["peak_KiB"] = static_cast<double>(kib);
}

void emptyProcess(benchmark::State& state) {
    measure(state, "bench_empty_process");
}
void readingProcess(benchmark::State& state) {
    measure(state, "bench_reading_process");
}

BENCHMARK(emptyProcess)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(readingProcess)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    const bench::Home home("disk");
    runProgram("bench_reading_process"); // creates the home
    const int result = bench::run(argc, argv, {{"readingProcess", "emptyProcess", 0}});
    const long above = runProgram("bench_reading_process") - runProgram("bench_empty_process");
    std::printf("peak memory above an empty process: %ld KiB (to reach: 8192)\n", above);
    return result;
}
