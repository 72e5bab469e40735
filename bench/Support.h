// Shared by the benchmark programs: a private home on a real disk, and a whole process run. What stands beside what is
// in report_rows.py.
#pragma once

#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>
#include <vector>

namespace bench {

// A fresh directory on the disk that the program was built on, removed at the end; WARDLET_HOME names its `home`. Made
// first in main, which begins anew with it.
class Home {
  public:
    // `durability` as in the settings file: "disk" syncs each write, "process" leaves syncing to the system.
    explicit Home(const char* durability);
    ~Home();
    Home(const Home&) = delete;
    Home& operator=(const Home&) = delete;

    const std::filesystem::path& path() const { return m_path; }

  private:
    std::filesystem::path m_path;
};

struct Outcome {
    int status = -1;    // exit status; -1 when the program was ended otherwise
    std::string output; // standard output and error
};

// Runs a program as a process of its own: one from the directory of this program, else one of PATH.
Outcome runProgram(std::vector<std::string> words);

// Runs the registered benchmarks. Returns main's exit status: 1 when a benchmark failed, 2 for bad arguments.
int run(int argc, char** argv);

} // namespace bench
