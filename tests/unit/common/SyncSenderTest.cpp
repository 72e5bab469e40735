// One exchange with the service, on the sending side: the order of its steps, and a service that dies in the middle.
// Incomplete, silent and late services are tested through the exports.
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
#include <unistd.h>

namespace {

using testing::ElementsAre;

constexpr const char* kExchange = "exchange";
constexpr DWORD kExchangeBytes = 16;

struct Sender : CSyncSender {
    Sender() { SetName(kExchange); }
};

TEST(SyncSender, TheOrderOfOneExchange) {
    std::atomic<bool> answers{false};
    const FakeService service(kExchange, kExchangeBytes, [&](BYTE*) { return answers.load(); });
    for (const bool answered : {true, false}) {
        answers = answered;
        const TimeScale scale(answered ? "1" : "0.0005");
        const LogFile log;
        const layer_doubles::Recording recording;
        EXPECT_EQ(Sender().Send(true), answered);
        EXPECT_THAT(recording.calls(), ElementsAre("ResetEvent", "SetEvent", "WdWaitForEvent 60000", "Sleep 100"));
        EXPECT_THAT(log.messages(),
                    ElementsAre(".w. ***Waiting response...",
                                answered ? ".w. ***Waiting was successful..." : ".w. ***Waiting has timeout..."));
    }
}

TEST(SyncSender, AServiceThatDiesInTheMiddleIsNotWaitedFor) {
    Pipe ready;
    Child service([&] {
        const ServiceObjects objects(kExchange, kExchangeBytes);
        objects.memory()[0] = 7;
        ready.signal();
        return objects.hears() ? raise(SIGKILL) : 1;
    });
    ASSERT_TRUE(ready.await());
    {
        const TimeScale patient("1");
        Sender sender;
        const auto* const memory = static_cast<const BYTE*>(sender.OpenMemory(kExchangeBytes));
        ASSERT_NE(memory, nullptr);
        alarm(30); // fails the test if the full time-out of a minute is waited
        EXPECT_FALSE(sender.Send(false));
        alarm(0);
        EXPECT_EQ(service.wait(), 1000 + SIGKILL);
        EXPECT_EQ(memory[0], 7); // what it had written can still be read
    }
    Sender sender; // nobody has the objects open any more
    EXPECT_EQ(sender.OpenMemory(kExchangeBytes), nullptr);
    EXPECT_FALSE(sender.Send(false));
}

} // namespace
