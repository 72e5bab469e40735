// The debug log of a test, written by the trace library that was built, to a file in the test's home.
#pragma once

#include <string>
#include <string_view>
#include <vector>

class LogFile {
  public:
    static constexpr unsigned kAllLevels = 273;

    // Starts this process's log with the tag "Test" and an empty file. For tests that link the log directly.
    explicit LogFile(unsigned level = kAllLevels);
    ~LogFile();
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    // Whole lines, without line endings.
    std::vector<std::string> lines() const { return fileLines(); }
    // "<mark> <message>" of each line, without date, ids, tag, file and line number.
    std::vector<std::string> messages() const;
    bool contains(std::string_view text) const { return fileContains(text); }

    // For the same file, written by a library that the test loads: the settings must exist before the load.
    static void writeSettings(unsigned level = kAllLevels, std::string_view more = {});
    static std::vector<std::string> fileLines();
    static bool fileContains(std::string_view text);
};
