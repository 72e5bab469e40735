// The debug log of a test, written by the trace library that was built, into a file of the test's home.
#pragma once

#include <string>
#include <string_view>
#include <vector>

class LogFile {
  public:
    static constexpr unsigned kAllLevels = 273;

    // Starts the log of this process with the tag "Test" and an empty file. For tests that link the log itself.
    explicit LogFile(unsigned level = kAllLevels);
    ~LogFile();
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    // Whole lines, without their ends.
    std::vector<std::string> lines() const { return fileLines(); }
    // "<mark> <message>" of each line: no date, ids, tag, file and number.
    std::vector<std::string> messages() const;
    bool contains(std::string_view text) const { return fileContains(text); }

    // The same file, when a library that the test loads writes it: the settings must stand in the home before the load.
    static void writeSettings(unsigned level = kAllLevels, std::string_view more = {});
    static std::vector<std::string> fileLines();
    static bool fileContains(std::string_view text);
};
