// Many tools at once, some of them killed: what one has told as stored is never lost to another.
#include "Seed.h"
#include "Typed.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <random>
#include <thread>

namespace {

using testing::HasSubstr;

constexpr int kTools = 16;

struct Target {
    std::string add;  // "@" is the tool's number
    std::string show; // prints what is stored
    std::string mark; // in what is printed, when it was stored
};

TEST_F(Wdltctl, ManyAtOnceLoseNothing) {
    const Target targets[] = {
        {"add urls black e@.", "export urls black -", "e@.\n"},
        {"add hosts e@.", "export hosts -", "e@.\n"},
        {"add spyware e@.", "export spyware -", "e@.\n"},
        {"add exclusions e@.", "export exclusions -", "e@.\n"},
        {"add spam white e@.", "export spam white -", "e@.\n"},
        {"add items name@. text@", "list items --json", "\"name@.\""},
        {"add rules rule@.", "list rules --json", "\"rule@.\""},
        {"add redirects POP3 r@. --port 1", "list redirects POP3 --json", "\"r@.\""},
    };
    const Seed seed;
    std::mt19937 random(seed);
    for (const Target& target : targets) {
        const auto named = [](std::string text, int tool) {
            for (auto at = text.find('@'); at != text.npos; at = text.find('@', at))
                text.replace(at, 1, std::to_string(tool));
            return text;
        };
        std::vector<std::unique_ptr<Child>> tools;
        for (int tool = 0; tool < kTools; ++tool)
            tools.push_back(std::make_unique<Child>(startProgram(wordsOf(named(target.add, tool)), ">/dev/null")));
        std::vector<int> stored;
        for (int tool = 0; tool < kTools; ++tool) {
            const bool isKilled = tool % 4 == 0;
            if (isKilled)
                std::this_thread::sleep_for(std::chrono::microseconds(random() % 20'000));
            const int status = isKilled ? tools[static_cast<std::size_t>(tool)]->kill()
                                        : tools[static_cast<std::size_t>(tool)]->wait();
            if (status == 0)
                stored.push_back(tool);
            else
                EXPECT_TRUE(isKilled) << status << ' ' << named(target.add, tool);
        }
        EXPECT_GE(stored.size(), std::size_t{kTools * 3 / 4});
        const std::string shown = done(target.show);
        for (const int tool : stored)
            EXPECT_THAT(shown, HasSubstr(named(target.mark, tool)));
    }
}

TEST_F(Wdltctl, DifferentFieldsSetAtOnceAreAllStored) {
    const std::pair<std::string, std::string> fields[] = {
        {"proxyPort", "8081"}, {"bmFlag", "1"}, {"tempPath", "/t\\"}, {"logPath", "/l\\"}};
    for (int round = 0; round < 12; ++round) {
        done("set system proxyPort=1 bmFlag=0 tempPath=/x/ logPath=/x/");
        std::vector<std::unique_ptr<Child>> tools;
        for (const auto& [field, value] : fields)
            tools.push_back(
                std::make_unique<Child>(startProgram({"wdltctl", "set", "system", field + "=" + value}, ">/dev/null")));
        EXPECT_TRUE(std::ranges::all_of(tools, [](const auto& tool) { return tool->wait() == 0; }));
        for (const auto& [field, value] : fields)
            EXPECT_EQ(done("get system " + field), value + "\n");
    }
}

} // namespace
