// Runs the built programs, which stand beside the test's own, in the test's home.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

struct ProgramResult {
    int status;
    std::string out;
    std::string err;
};

// `arguments` begins with the program's name. A program that a signal ended gives 128 and the signal's number.
ProgramResult runProgram(const std::vector<std::string>& arguments, std::string_view input = {});
// With its standard output in a file, such as a device.
ProgramResult runProgramInto(const std::string& outputFile, const std::vector<std::string>& arguments,
                             std::string_view input = {});

// A program that runs beside the test: its standard output comes line by line, its standard error is the test's. Killed
// at the end of the object, and with the test's own process.
class RunningProgram {
  public:
    explicit RunningProgram(const std::vector<std::string>& arguments);
    ~RunningProgram();
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

    // Waits for the line. Empty when the program ended before it.
    std::string readLine();
    void signal(int number) const;
    // Waits for the end; the status as runProgram has it.
    int wait();

  private:
    pid_t m_child;
    std::FILE* m_output;
};
