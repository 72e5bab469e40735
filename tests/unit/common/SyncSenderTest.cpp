// One exchange with the service, from this side: the order of its steps, what a service that is half there, silent,
// late or dead makes of it, and the lines for each.
#include "SyncSender.h"

#include "Child.h"
#include "FakeService.h"
#include "LayerDoubles.h"
#include "LogFile.h"
#include "TestObject.h"
#include "TimeScale.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

using layer_doubles::Recording;
using testing::ElementsAre;
using testing::ElementsAreArray;

constexpr const char* kName = "exchange";
constexpr DWORD kSize = 16;

struct Sender : CSyncSender {
    Sender() { SetName(kName); }
};

std::uint32_t wordAt(const void* memory) {
    std::uint32_t word = 0;
    std::memcpy(&word, memory, sizeof word);
    return word;
}

void put(void* memory, std::uint32_t word) {
    std::memcpy(memory, &word, sizeof word);
}

TEST(SyncSender, TheOrderOfOneExchange) {
    std::atomic<bool> answers{false};
    const FakeService service(kName, kSize, [&](BYTE*) { return answers.load(); });
    for (const bool answered : {true, false}) {
        for (const bool pauseAfter : {false, true}) {
            answers = answered;
            const TimeScale scale(answered ? "1" : "0.0005");
            const LogFile log;
            const Recording recording;
            Sender sender;
            EXPECT_NE(sender.OpenMemory(kSize), nullptr);
            sender.CloseMemory();
            EXPECT_EQ(sender.Send(pauseAfter), answered);
            std::vector<std::string> calls{
                "OpenEvent Global\\exchange_WdEvent",
                "OpenEvent Global\\exchange_WdEvent_ret",
                "ResetEvent Global\\exchange_WdEvent_ret",
                "SetEvent Global\\exchange_WdEvent",
                "WdWaitForEvent Global\\exchange_WdEvent_ret 60000",
            };
            if (pauseAfter)
                calls.emplace_back("Sleep 100");
            EXPECT_THAT(recording.calls(), ElementsAreArray(calls));
            EXPECT_THAT(log.messages(),
                        ElementsAre("@@@ OpenFileMapping succeeded: name = Global\\exchange_WdMemory",
                                    ".w. ***Waiting response...",
                                    answered ? ".w. ***Waiting was successful..." : ".w. ***Waiting has timeout..."));
        }
    }
}

TEST(SyncSender, AServiceThatIsNotThereOrHalfThereIsFoundOutAtOnce) {
    const std::string opened = "@@@ OpenFileMapping succeeded: name = Global\\exchange_WdMemory";
    const std::vector<std::string> noMemory{"!!! OpenFileMapping failed (00000002): name = Global\\exchange_WdMemory",
                                            "@@@ Failed to open shared memory"};
    const struct {
        DWORD bytes;
        bool withEvents;
        DWORD asked; // bytes
        std::vector<std::string> memoryLines;
    } cases[] = {
        {0, false, kSize, noMemory},
        {0, true, kSize, noMemory},
        {kSize, false, kSize, {opened}},
        {kSize, true, 1 << 20, {opened, "!!! MapViewOfFile failed (00000005)", "!!! Failed to lock shared memory"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.bytes << ' ' << c.withEvents);
        const ServiceObjects objects(kName, c.bytes, c.withEvents);
        Sender sender;
        {
            const LogFile log;
            EXPECT_EQ(sender.OpenMemory(c.asked) != nullptr, c.bytes >= c.asked);
            EXPECT_EQ(log.messages(), c.memoryLines);
        }
        if (c.withEvents)
            continue;
        // No wait and no pause, with a request's event alone neither.
        for (const char* const missing : {"Global\\exchange_WdEvent", "Global\\exchange_WdEvent_ret"}) {
            const Handle request = std::string_view(missing).ends_with("_ret")
                                       ? makeEvent("Global\\exchange_WdEvent", false, false)
                                       : nullptr;
            const LogFile log;
            const Recording recording;
            EXPECT_FALSE(sender.Send(true));
            EXPECT_EQ(recording.calls().back(), std::string("OpenEvent ") + missing);
            EXPECT_THAT(log.messages(), ElementsAre("!!! Failed to open event " + std::string(missing) + ": 2"));
            EXPECT_TRUE(request == nullptr || waitFor(request) == WAIT_TIMEOUT);
        }
    }
}

TEST(SyncSender, AReplyThatComesTooLateIsLost) {
    const ServiceObjects objects(kName, kSize);
    const TimeScale fast("0.0005");
    Sender sender;
    EXPECT_FALSE(sender.Send(false));
    ASSERT_TRUE(objects.hears(0));
    objects.reply();                  // too late for this one,
    EXPECT_FALSE(sender.Send(false)); // and no answer to the next
}

TEST(SyncSender, AServiceThatDiesInTheMiddleIsNotWaitedFor) {
    Pipe ready;
    Child service([&] {
        const ServiceObjects objects(kName, kSize);
        put(objects.memory(), 7);
        ready.signal();
        return objects.hears() ? raise(SIGKILL) : 1;
    });
    ASSERT_TRUE(ready.await());
    {
        const TimeScale patient("1");
        Sender sender;
        const void* const memory = sender.OpenMemory(kSize);
        ASSERT_NE(memory, nullptr);
        const ULONGLONG before = GetTickCount64();
        EXPECT_FALSE(sender.Send(false));
        EXPECT_LT(GetTickCount64() - before, 20'000u); // of its minute
        EXPECT_EQ(service.wait(), 1000 + SIGKILL);
        EXPECT_EQ(wordAt(memory), 7u); // what it had laid down can still be read
    }
    Sender sender; // nobody has the objects any more
    EXPECT_EQ(sender.OpenMemory(kSize), nullptr);
    EXPECT_FALSE(sender.Send(false));
}

} // namespace
