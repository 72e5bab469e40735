// One exchange with the service, from this side: the order of its steps, what a service that is half there, silent,
// late or dead makes of it, and the lines for each.
#include "SyncSender.h"

#include "Child.h"
#include "FakeService.h"
#include "LayerDoubles.h"
#include "LogFile.h"
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
using testing::StartsWith;

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

TEST(SyncSender, TheServiceHearsWhatWasLaidDownAndItsAnswerStandsInTheMemory) {
    const FakeService service(kName, kSize, [](BYTE* memory) {
        put(memory, wordAt(memory) + 1);
        return true;
    });
    const TimeScale patient("1");
    for (std::uint32_t question = 1; question < 20; ++question) {
        Sender sender;
        void* const memory = sender.OpenMemory(kSize);
        ASSERT_NE(memory, nullptr);
        put(memory, question);
        ASSERT_TRUE(sender.Send(false));
        EXPECT_EQ(wordAt(memory), question + 1);
    }
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
    const struct {
        DWORD bytes;
        bool withEvents;
        std::vector<std::string> lines;
    } cases[] = {
        {0,
         false,
         {"!!! OpenFileMapping failed (00000002): name = Global\\exchange_WdMemory", "@@@ Failed to open shared memory",
          "!!! Failed to open event Global\\exchange_WdEvent: 2"}},
        {kSize,
         false,
         {"@@@ OpenFileMapping succeeded: name = Global\\exchange_WdMemory",
          "!!! Failed to open event Global\\exchange_WdEvent: 2"}},
        {0,
         true,
         {"!!! OpenFileMapping failed (00000002): name = Global\\exchange_WdMemory",
          "@@@ Failed to open shared memory"}},
    };
    for (const auto& c : cases) {
        const ServiceObjects objects(kName, c.bytes, c.withEvents);
        const LogFile log;
        const Recording recording;
        Sender sender;
        EXPECT_EQ(sender.OpenMemory(kSize) != nullptr, c.bytes != 0);
        if (!c.withEvents) {
            EXPECT_FALSE(sender.Send(true));
            EXPECT_THAT(recording.calls(), ElementsAre("OpenEvent Global\\exchange_WdEvent")); // no wait, no pause
        }
        EXPECT_THAT(log.messages(), ElementsAreArray(c.lines));
    }
}

TEST(SyncSender, WithoutAReplyEventNothingIsAsked) {
    HANDLE const request = CreateEventA(nullptr, FALSE, FALSE, "Global\\exchange_WdEvent");
    const LogFile log;
    Sender sender;
    EXPECT_FALSE(sender.Send(true));
    EXPECT_THAT(log.messages(), ElementsAre("!!! Failed to open event Global\\exchange_WdEvent_ret: 2"));
    EXPECT_EQ(WaitForSingleObject(request, 0), WAIT_TIMEOUT);
    CloseHandle(request);
}

TEST(SyncSender, AMemoryOfTooFewBytesIsNoMemory) {
    const ServiceObjects objects(kName, kSize);
    const LogFile log;
    Sender sender;
    EXPECT_EQ(sender.OpenMemory(1 << 20), nullptr);
    EXPECT_THAT(log.messages(),
                ElementsAre("@@@ OpenFileMapping succeeded: name = Global\\exchange_WdMemory",
                            StartsWith("!!! MapViewOfFile failed ("), "!!! Failed to lock shared memory"));
    sender.CloseMemory();
    EXPECT_NE(sender.OpenMemory(kSize), nullptr);
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
