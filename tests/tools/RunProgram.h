// Runs the built programs, which stand beside the test's own, in the test's home.
#pragma once

#include <string>
#include <string_view>
#include <vector>

struct ProgramResult {
    int status;
    std::string out;
    std::string err;
};

// `arguments` begins with the program's name. A program that a signal ended gives 128 and the signal's number.
ProgramResult runProgram(const std::vector<std::string>& arguments, std::string_view input = {});
// With its standard output in a file, such as a device.
ProgramResult runProgramInto(const std::string& outputFile, const std::vector<std::string>& arguments);
