// What the store keeps of the registry, while threads and processes read it and another moves what they read: each
// answer is that of a state which the registry had while it was asked.
#include "Child.h"
#include "RegistryIO.h"
#include "Tree.h"

#include <platform/registry_batch.h>
#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

constexpr DWORD kPop3 = WDLT_PROTOCOL_SYSTEM + WDLT_PROTOCOL_POP3;
constexpr unsigned kStates = 240;
constexpr unsigned kHandlers = 12;
constexpr std::size_t kReaders = 4; // two in each of two processes

// A place of the registry that each state changes, and what it holds then.
struct Place {
    DWORD protocol;
    DWORD scan;
    const char* name;
    std::string (*inState)(unsigned state);
};
constexpr Place kPlaces[] = {
    {kPop3, WDLT_SCAN_NONE, "v", [](unsigned) { return std::string("always"); }},
    {kPop3, WDLT_SCAN_NONE, "", [](unsigned state) { return "H" + std::to_string(state % kHandlers); }},
    {kPop3, WDLT_SCAN_VIRUS, "LogExtension", [](unsigned state) { return "F" + std::to_string(state % 5); }},
    {WDLT_PROTOCOL_COMMON, WDLT_SCAN_HOST_FILTER, "v",
     [](unsigned state) { return std::string(state % 3 == 0 ? "none" : "some"); }},
};

std::string readAt(const Place& place, CRegistryIO& store) {
    std::array<char, 16> text{};
    DWORD size = text.size();
    const std::int32_t status =
        store.ReadValue(place.protocol, place.scan, WDLT_INPUT_NONE, "", place.name, text.data(), &size, false);
    return status == WDLT_OK ? text.data() : "none";
}

// Anew, so that a key that somebody has open is gone.
void layHandler(unsigned place, bool serves, const std::string& folder) {
    const std::string handler = "ProtocolHandler\\H" + std::to_string(place % kHandlers);
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, tree::path(handler).c_str());
    if (serves)
        tree::setText(handler, "v", "always");
    tree::setNumber(handler, "Type", serves ? WDLT_PROTOCOL_POP3 : 99);
    tree::setText(handler, "Scan", folder);
}

// Changes the state before it into this one.
void layDown(unsigned state) {
    layHandler(state + kHandlers - 1, false, "Gone");
    layHandler(state, true, kPlaces[2].inState(state));
    constexpr const char* kCommon = "Scan\\Common\\HostFilter\\config";
    if (kPlaces[3].inState(state) == "some")
        tree::setText(kCommon, "v", "some");
    else
        RegDeleteKeyA(HKEY_LOCAL_MACHINE, tree::path(kCommon).c_str());
}

void expectState(unsigned state) {
    CRegistryIO store;
    for (const Place& place : kPlaces)
        EXPECT_EQ(readAt(place, store), place.inState(state)) << state;
}

struct Board {
    std::atomic<unsigned> stored; // the newest state that is there for certain
    std::atomic<unsigned> begun;  // and the newest that may be
    std::atomic<bool> isOver;
    std::array<std::atomic<unsigned>, kReaders> rounds;
};

void readOn(Board& board, std::size_t reader) {
    while (!board.isOver) {
        CRegistryIO store;
        for (const Place& place : kPlaces) {
            const unsigned first = board.stored;
            const std::string answer = readAt(place, store);
            const unsigned last = board.begun;
            bool wasSo = false;
            for (unsigned state = first; state <= last; ++state)
                wasSo = wasSo || answer == place.inState(state);
            EXPECT_TRUE(wasSo) << answer << " in " << first << " to " << last;
        }
        ++board.rounds[reader];
    }
}

// Two threads read until it is over, beside `body`.
template <class Body>
void withReaders(Board& board, std::size_t first, Body&& body) {
    std::vector<std::thread> readers;
    for (std::size_t reader = first; reader < first + 2; ++reader)
        readers.emplace_back([&board, reader] { readOn(board, reader); });
    body();
    for (std::thread& reader : readers)
        reader.join();
}

// Some batches are abandoned first; their own thread sees what is in them.
void change(Board& board, unsigned state) {
    ++board.begun;
    bool isAbandoned = state % 4 == 0;
    do {
        RegistryBatch batch;
        layDown(state);
        if (isAbandoned) {
            expectState(state);
            batch.abandon();
            expectState(state - 1);
        }
    } while (std::exchange(isAbandoned, false));
    board.stored = state;
}

TEST(Sections, EachAnswerIsThatOfAStateWhichTheRegistryHad) {
    for (const char* const folder : {"F0", "F1", "F2", "F3", "F4"})
        tree::setText(std::string("Scan\\").append(folder).append("\\Virus"), "LogExtension", folder);
    for (unsigned place = 1; place < kHandlers; ++place)
        layHandler(place, false, "Gone");
    layDown(0);
    expectState(0);
    const Shared<Board> board;
    Child others([&] { withReaders(*board, 2, [] {}); }); // inherits what is kept
    withReaders(*board, 0, [&] {
        for (unsigned state = 1; state < kStates && !others.hasEnded(); ++state) {
            change(*board, state);
            // So that no read meets more than a few changes.
            for (std::size_t i = 0; state % 4 == 0 && i < kReaders; ++i)
                for (const unsigned seen = board->rounds[i]; board->rounds[i] < seen + 2 && !others.hasEnded();)
                    std::this_thread::yield();
        }
        board->isOver = true;
    });
    EXPECT_EQ(others.wait(), 0);
}

} // namespace
