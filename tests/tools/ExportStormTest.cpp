// Eight processes that call every export at once, beside a service: each write is told as often as it was made, and
// what is left is whole. WDLT_STORM_SECONDS: how long (3).
#include "FakeService.h"
#include "RunProgram.h"
#include "TestHome.h"
#include "TimeScale.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using Address = std::pair<std::uint32_t, std::uint32_t>;
using Counts = std::map<Address, std::uint64_t>;

constexpr int kCallers = 8;

Counts countsOf(const std::vector<Change>& changes) {
    Counts counts;
    for (const Change& change : changes)
        ++counts[{change.protocol, change.scan}];
    return counts;
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

TEST(ExportStorm, EveryWriteIsToldAsOftenAsItWasMade) {
    const std::filesystem::path install = TestHome::instance().path() / "install";
    ASSERT_EQ(runProgram({"wdltctl", "init", "--force", "--install", install.string()}).status, 0);
    const TimeScale scale("0.05");
    ChangeListener service;

    // What one call alone tells. Where that depends on what is stored, nothing is counted of its addresses.
    std::map<std::string, Counts> toldBy;
    std::set<Address> uncounted;
    for (std::string name : linesOf(runProgram({"export_storm", "names"}).out)) {
        const bool depends = name.starts_with('?');
        if (depends)
            name.erase(0, 1);
        for (int round = 0; round < (depends ? 3 : 1); ++round) {
            const ProgramResult result = runProgram({"export_storm", "one", name, std::to_string(round)});
            EXPECT_EQ(result.status, 0) << result.err;
            const Counts told = countsOf(service.heard());
            if (!depends)
                toldBy[name] = told;
            else
                for (const auto& [address, count] : told)
                    uncounted.insert(address);
        }
    }
    EXPECT_GT(toldBy.size(), 60u);

    const char* const given = std::getenv("WDLT_STORM_SECONDS");
    std::vector<std::unique_ptr<RunningProgram>> callers;
    for (int caller = 0; caller < kCallers; ++caller)
        callers.push_back(std::make_unique<RunningProgram>(std::vector<std::string>{
            "export_storm", "storm", std::to_string(caller + 1), given != nullptr ? given : "3"}));
    Counts expected;
    for (const auto& caller : callers) {
        EXPECT_EQ(caller->wait(), 0);
        for (std::string line = caller->readLine(); !line.empty(); line = caller->readLine()) {
            std::istringstream words(line);
            std::string name;
            std::uint64_t calls = 0;
            words >> name >> calls;
            for (const auto& [address, count] : toldBy[name])
                expected[address] += calls * count;
        }
    }
    Counts heard = countsOf(service.heard());
    for (const Address& address : uncounted) {
        expected.erase(address);
        heard.erase(address);
    }
    EXPECT_EQ(heard, expected);
    EXPECT_GT(expected.size(), 8u);

    const ProgramResult calm = runProgram({"every_export"});
    EXPECT_EQ(calm.status, 0) << calm.err;
}

} // namespace
