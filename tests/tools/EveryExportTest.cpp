// Every export, as a program in C calls it that is linked with the library.
#include "RunProgram.h"
#include "TestHome.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace {

// What the version script lets out.
std::set<std::string> exportedNames() {
    std::ifstream file(WDLT_EXPORTS);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    std::set<std::string> names;
    const std::regex name(R"(\bWdlt\w+)");
    for (std::sregex_iterator match(text.begin(), text.end(), name), end; match != end; ++match)
        names.insert(match->str());
    return names;
}

TEST(EveryExport, AnswersACallerInC) {
    const std::filesystem::path install = TestHome::instance().path() / "install";
    ASSERT_EQ(runProgram({"wdltctl", "init", "--force", "--install", install.string()}).status, 0);
    const ProgramResult result = runProgram({"every_export"});
    EXPECT_EQ(result.status, 0) << result.err;
    std::istringstream lines(result.out);
    std::set<std::string> called;
    for (std::string line; std::getline(lines, line);)
        called.insert(line);
    EXPECT_EQ(called, exportedNames());
    EXPECT_EQ(called.size(), 103u);
}

} // namespace
