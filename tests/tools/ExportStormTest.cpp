// Eight processes that call every export at once, beside a service: each write is told as often as it was made, and
// what is left is whole. WDLT_STORM_SECONDS: how long (3).
#include "FakeService.h"
#include "Seed.h"
#include "TimeScale.h"
#include "Typed.h"

#include <cstdlib>
#include <memory>
#include <regex>
#include <set>
#include <utility>

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

std::set<std::string> exportsIn(const std::string& text) {
    static const std::regex name(R"(\bWdlt\w+)");
    return {std::sregex_token_iterator(text.begin(), text.end(), name), {}};
}

TEST_F(Wdltctl, TheStormCallsEveryExport) {
    const auto called = exportsIn(runProgram({"export_storm", "names"}).out);
    EXPECT_EQ(called, exportsIn(TestHome::instance().read(WDLT_EXPORTS)));
    EXPECT_EQ(called.size(), 103u);
}

using ExportStorm = Wdltctl;

TEST_F(ExportStorm, EveryWriteIsToldAsOftenAsItWasMade) {
    const Seed seed;
    const TimeScale scale("0.05");
    ChangeListener service;

    // What one call alone tells. Where that depends on what is stored, nothing is counted of its addresses.
    std::map<std::string, Counts> toldBy;
    std::set<Address> uncounted;
    const auto callEachAlone = [&] {
        std::istringstream names(runProgram({"export_storm", "names"}).out);
        for (std::string name; names >> name;) {
            const bool depends = name.starts_with('?');
            name.erase(0, depends ? 1 : 0);
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
    };
    callEachAlone();

    const char* const given = std::getenv("WDLT_STORM_SECONDS");
    std::vector<std::unique_ptr<RunningProgram>> callers;
    for (unsigned caller = 0; caller < kCallers; ++caller)
        callers.push_back(std::make_unique<RunningProgram>(std::vector<std::string>{
            "export_storm", "storm", std::to_string(seed + caller), given != nullptr ? given : "3"}));
    Counts expected;
    for (const auto& caller : callers) {
        EXPECT_EQ(caller->wait(), 0);
        for (std::string line = caller->readLine(); !line.empty(); line = caller->readLine()) {
            const std::size_t space = line.find(' ');
            for (const auto& [address, count] : toldBy[line.substr(0, space)])
                expected[address] += std::stoul(line.substr(space)) * count;
        }
    }
    Counts heard = countsOf(service.heard());
    for (const Address& address : uncounted) {
        expected.erase(address);
        heard.erase(address);
    }
    EXPECT_EQ(heard, expected);
    EXPECT_GT(expected.size(), 8u);
    callEachAlone(); // in the calm behind it
}

} // namespace
