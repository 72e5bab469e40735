#include "LogFile.h"

#include "TestHome.h"

#include <algorithm>

namespace {

constexpr const char* kFile = "log/test.log";

std::string messageOf(const std::string& line) {
    const auto mark = line.find_first_of(".@!?", line.find(' ', 24));
    const auto begin = line.find("> ", mark);
    const auto end = line.rfind(" - ");
    if (begin == std::string::npos || end == std::string::npos || end < begin + 2)
        return "not a log line: " + line;
    return line.substr(mark, 4) + line.substr(begin + 2, end - begin - 2);
}

} // namespace

void LogFile::writeSettings(unsigned level, std::string_view more) {
    const TestHome& home = TestHome::instance();
    std::string text;
    for (const char* section : {"ServiceSession", "InteractiveSession"}) {
        text.append("[").append(section).append("]\nEnable=1\nLevel=").append(std::to_string(level));
        text.append("\nLogFolder=").append((home.path() / "log").string());
        text.append("\nLogPrefix=\nLogFile=test\n").append(more);
    }
    home.write("Wardlet.ini", text);
}

std::vector<std::string> LogFile::fileLines() {
    constexpr std::string_view kEnd = "\r\n";
    const std::string text = TestHome::instance().read(kFile);
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const auto end = std::min(text.find(kEnd, begin), text.size());
        lines.push_back(text.substr(begin, end - begin));
        begin = end + kEnd.size();
    }
    return lines;
}

bool LogFile::fileContains(std::string_view text) {
    return TestHome::instance().read(kFile).find(text) != std::string::npos;
}

std::vector<std::string> LogFile::messages() const {
    std::vector<std::string> messages = lines();
    std::transform(messages.begin(), messages.end(), messages.begin(), messageOf);
    return messages;
}
