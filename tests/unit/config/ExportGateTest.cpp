// The way in for exports: shut, open, and shut again while calls are inside.
#include "ExportGate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

TEST(ExportGate, IsShutUntilItIsOpened) {
    wdlt::ExportGate gate;
    EXPECT_FALSE(gate.enter());
    gate.open();
    EXPECT_TRUE(gate.enter());
    gate.leave();
    gate.closeAndDrain(); // the refused call left no trace: this would wait for ever
    EXPECT_FALSE(gate.enter());
}

TEST(ExportGate, ClosingWaitsForTheLastOneInside) {
    wdlt::ExportGate gate;
    gate.open();
    ASSERT_TRUE(gate.enter());
    std::atomic<bool> drained{false};
    std::thread closer([&] {
        gate.closeAndDrain();
        drained = true;
    });
    while (gate.enter()) // until the closer has shut it
        gate.leave();
    EXPECT_FALSE(drained);
    gate.leave();
    closer.join();
    EXPECT_TRUE(drained);
}

TEST(ExportGate, NobodyIsInsideAfterAClose) {
    constexpr int kThreads = 4;
    wdlt::ExportGate gate;
    gate.open();
    std::atomic<bool> alive{true}; // what the gate guards: gone after the close
    std::atomic<int> calls{0};
    std::vector<std::thread> callers;
    for (int i = 0; i < kThreads; ++i)
        callers.emplace_back([&] {
            while (gate.enter()) {
                EXPECT_TRUE(alive);
                ++calls;
                gate.leave();
            }
        });
    while (calls < 10'000)
        std::this_thread::yield();
    gate.closeAndDrain();
    alive = false;
    for (std::thread& caller : callers)
        caller.join();
}

} // namespace
