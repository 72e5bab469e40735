// Eight processes call every export at the same time, with a service running: none gets a result that it never should,
// and the stored state is consistent afterwards. ChangeStormTest.cpp checks that each write is notified exactly once.
// WDLT_STORM_SECONDS: how long it takes (3).
#include "FakeService.h"
#include "RunProgram.h"
#include "Seed.h"
#include "TimeScale.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace {

std::set<std::string> exportsIn(const std::string& text) {
    static const std::regex name(R"(\bWdlt\w+)");
    return {std::sregex_token_iterator(text.begin(), text.end(), name), {}};
}

TEST(ExportStorm, EachAnswersAndWhatIsLeftIsWhole) {
    EXPECT_EQ(exportsIn(runProgram({"export_storm", "names"}).out), exportsIn(TestHome::instance().read(WDLT_EXPORTS)));
    const std::string install = TestHome::instance().path() / "install";
    ASSERT_EQ(runProgram({"wdltctl", "init", "--force", "--install", install}).status, 0);
    const Seed seed;
    const TimeScale scale("0.05");
    ChangeListener service;
    const char* const given = std::getenv("WDLT_STORM_SECONDS");
    std::vector<std::unique_ptr<RunningProgram>> callers;
    for (unsigned caller = 0; caller < 8; ++caller)
        callers.push_back(std::make_unique<RunningProgram>(
            std::vector<std::string>{"export_storm", std::to_string(seed + caller), given != nullptr ? given : "3"}));
    for (const auto& caller : callers)
        EXPECT_EQ(caller->wait(), 0);
    EXPECT_GT(service.heard().size(), 8u);
    EXPECT_EQ(runProgram({"export_storm", "1", "0"}).status, 0) << "in the calm behind it";
}

} // namespace
