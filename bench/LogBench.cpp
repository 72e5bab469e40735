// A log call: log off, log on with the level filtered out, and log on, compared with one write call for a formatted
// line.
#include "Support.h"
#include "WdCommon/DebugLog.h"
#include "WdCommon/Storage.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace {

const bench::Home* g_home;

// The trace library is in this program's directory; the settings file isn't, so the one in the home is used.
void startWith(int enable, int level) {
    const std::filesystem::path home = g_home->path() / "home";
    std::filesystem::create_directories(home);
    std::ofstream settings(home / "Wardlet.ini");
    for (const char* section : {"ServiceSession", "InteractiveSession"})
        settings << '[' << section << "]\nEnable=" << enable << "\nLevel=" << level
                 << "\nLogFolder=" << g_home->path().string() << "\nLogFile=bench\n";
    settings.close();
    const std::string folder = std::filesystem::canonical("/proc/self/exe").parent_path().string() + "/";
    wdlt::stopLog();
    if (!wdlt::startLog("Bench", WdCommon::Storage::Key(WdCommon::Storage::kIniFile, folder.c_str(), "Wardlet.ini")))
        std::abort();
}

void logCalls(benchmark::State& state) {
    int number = 0;
    for (auto _ : state)
        WDLOG_ERROR("a line with a number %d and a text %s", ++number, "of some length");
}

void logOff(benchmark::State& state) {
    startWith(0, 273);
    logCalls(state);
}
void logHeldBack(benchmark::State& state) {
    startWith(1, 16);
    logCalls(state);
}
void logOn(benchmark::State& state) {
    startWith(1, 273);
    logCalls(state);
}
void plainLine(benchmark::State& state) {
    const int file = open((g_home->path() / "plain").c_str(), O_CREAT | O_WRONLY | O_APPEND | O_CLOEXEC, 0600);
    int number = 0;
    char line[256];
    for (auto _ : state) {
        const int length =
            std::snprintf(line, sizeof line, "a line with a number %d and a text %s\r\n", ++number, "of some length");
        benchmark::DoNotOptimize(write(file, line, static_cast<std::size_t>(length)));
    }
    close(file);
}

BENCHMARK(logOff);
BENCHMARK(logHeldBack);
BENCHMARK(logOn);
BENCHMARK(plainLine);

} // namespace

int main(int argc, char** argv) {
    const bench::Home home("process");
    g_home = &home;
    return bench::run(argc, argv);
}
