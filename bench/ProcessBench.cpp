// A whole process that loads the library, reads the system record and ends, compared with an empty one: time and peak
// memory.
#include "Support.h"

#include <stdexcept>
#include <string>

namespace {

// Runs a program that prints its peak memory in KiB, and returns that.
double peakMemory(const char* program) {
    const bench::Outcome outcome = bench::runProgram({program});
    if (outcome.status != 0)
        throw std::runtime_error(std::string("a child failed: ") + program);
    return std::stod(outcome.output);
}

void emptyProcess(benchmark::State& state) {
    for (auto _ : state)
        peakMemory("bench_empty_process");
}
void readingProcess(benchmark::State& state) {
    double kib = 0;
    for (auto _ : state)
        kib = peakMemory("bench_reading_process");
    state.counters["above_empty_KiB"] = kib - peakMemory("bench_empty_process");
}

BENCHMARK(emptyProcess)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(readingProcess)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    const bench::Home home("disk");
    peakMemory("bench_reading_process"); // creates the home
    return bench::run(argc, argv);
}
