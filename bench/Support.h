// What the benchmark programs share: a home of their own on a real disk, and ratios between benchmarks of one run,
// which say more than times do: the machine cancels out.
#pragma once

#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>
#include <vector>

namespace bench {

// A fresh directory on the disk that the program was built on, removed at the end; WARDLET_HOME names its `home`.
class Home {
  public:
    // `durability` as the settings file has it: "disk" waits for the disk at each write, "process" leaves that to the
    // system.
    explicit Home(const char* durability);
    ~Home();
    Home(const Home&) = delete;
    Home& operator=(const Home&) = delete;

    const std::filesystem::path& path() const { return m_path; }

  private:
    std::filesystem::path m_path;
};

// How much of `beside`'s time `name` takes; at most `atMost`, where that is a figure to reach.
struct Ratio {
    std::string name;
    std::string beside;
    double atMost = 0; // 0: only told
};

// Runs the registered benchmarks, then prints the ratios of their median times. The result is for main: 0.
int run(int argc, char** argv, const std::vector<Ratio>& ratios);

} // namespace bench
