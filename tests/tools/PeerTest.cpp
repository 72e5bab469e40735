// The stand-in for the running service, as senders and its user see it.
#include "TimeScale.h"
#include "Typed.h"

#include <csignal>
#include <cstring>
#include <memory>
#include <platform/win32.h>

namespace {

using testing::HasSubstr;

const std::string kConfig = "Global\\wdlt_config_change_evt";
const std::string kAction = "Global\\wdlt_action";

struct Close {
    void operator()(HANDLE object) const { CloseHandle(object); }
};
using Object = std::unique_ptr<void, Close>;

Object openEvent(const std::string& name) {
    return Object(OpenEventA(EVENT_ALL_ACCESS, FALSE, name.c_str()));
}
Object openMemory(const std::string& base) {
    return Object(OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, (base + "_WdMemory").c_str()));
}
bool isSet(const Object& event, DWORD milliseconds = 0) {
    return WaitForSingleObject(event.get(), milliseconds) == WAIT_OBJECT_0;
}

void expectObjects(bool memory, bool events) {
    for (const std::string& base : {kConfig, kAction}) {
        EXPECT_EQ(openMemory(base) != nullptr, memory) << base;
        EXPECT_EQ(openEvent(base + "_WdEvent") != nullptr, events) << base;
        EXPECT_EQ(openEvent(base + "_WdEvent_ret") != nullptr, events) << base;
    }
}

// The sending side, one step at a time.
struct Sender {
    explicit Sender(const std::string& base)
        : memory(openMemory(base)), request(openEvent(base + "_WdEvent")), reply(openEvent(base + "_WdEvent_ret")) {}

    // Writes `numbers`, if any, to the start of the record; returns its first number.
    std::uint32_t put(std::vector<std::uint32_t> numbers) const {
        void* const view = MapViewOfFile(memory.get(), FILE_MAP_ALL_ACCESS, 0, 0, 0);
        std::uint32_t first = 0;
        std::memcpy(view, numbers.data(), numbers.size() * sizeof first);
        std::memcpy(&first, view, sizeof first);
        UnmapViewOfFile(view);
        return first;
    }
    void ask() const {
        ResetEvent(reply.get());
        SetEvent(request.get());
    }
    bool isAnswered() const { return isSet(reply, 30'000); }

    Object memory;
    Object request;
    Object reply;
};

class Peer {
  public:
    explicit Peer(const std::string& options = "") : program(wordsOf("wardlet-peer " + options)) {
        EXPECT_EQ(heard(), "ready");
    }
    // The kind and the numbers in the next line.
    std::string heard() {
        const std::string line = program.readLine();
        const auto document = nlohmann::ordered_json::parse(line, nullptr, false);
        EXPECT_EQ(document.value("time", "").size(), std::strlen("2001-02-03T04:05:06.789Z")) << line;
        std::string text = document.value("kind", "");
        for (const auto& [name, value] : document.items())
            if (name != "time" && name != "kind")
                text += " " + value.dump();
        return text;
    }
    int endedBy(int signal) { return program.endedBy(signal); }
    RunningProgram program;
};

TEST_F(Wdltctl, ThePeerHearsEachChangeInItsOrderAndOnce) {
    const TimeScale scale("0.05"); // shortens the senders' wait for an answer
    Peer peer;
    const struct {
        std::string line;
        std::vector<std::string> heard;
    } rows[] = {
        {"set system proxyPort=8080", {"config 10000 0"}},
        {"enable pvs", {"config 10001 1", "config 10001 0"}},
        {"enable pvs", {}},
        {"add redirects POP3 Mail --port 110", {}},
        {"enable pdp --protocol smtp,http", {"config 10002 8", "config 10002 0", "config 10003 8", "config 10003 0"}},
        {"enable drs", {"config 10003 4", "config 8 0", "drs"}},
        {"set drs ScoreThreshold=1", {"config 0 4"}},
        {"add rules Rule", {"drs"}},
        {"remove rules --all", {"drs"}},
        {"disable ie", {"config 8 0"}},
    };
    for (const auto& row : rows) {
        done(row.line);
        for (const std::string& expected : row.heard)
            EXPECT_EQ(peer.heard(), expected) << row.line;
    }
    EXPECT_EQ(peer.endedBy(SIGTERM), 0);
    EXPECT_EQ(peer.program.readLine(), "") << "heard more than was changed";
}

TEST(Peer, AnswersActions) {
    Peer peer("--reply -5 --silent config");
    const Sender config(kConfig);
    config.ask();
    EXPECT_EQ(peer.heard(), "config 0 0 true");
    const Sender action(kAction);
    for (int i = 0; i < 2; ++i) {
        action.put({0xFFFFFFFF, 3, 4, 300, 0x80000001});
        action.ask();
        ASSERT_TRUE(action.isAnswered()) << "only the other kind is silent";
        EXPECT_THAT(
            peer.program.readLine(),
            HasSubstr(R"("kind":"action","protocol":3,"scan":4,"action":300,"waitReply":2147483649,"reply":-5})"));
        EXPECT_EQ(static_cast<std::int32_t>(action.put({})), -5);
    }
    EXPECT_EQ(peer.endedBy(SIGTERM), 0);
    EXPECT_FALSE(isSet(config.reply));
}

TEST(Peer, ADelayedAnswerComesAtTheEndAtTheLatest) {
    Peer peer("--delay 3600000");
    const Sender sender(kConfig);
    sender.ask();
    EXPECT_EQ(peer.heard(), "config 0 0");
    EXPECT_FALSE(isSet(sender.reply));
    EXPECT_EQ(peer.endedBy(SIGTERM), 0);
    EXPECT_TRUE(isSet(sender.reply));
}

TEST(Peer, TakesItsObjectsWithIt) {
    const struct {
        const char* options;
        bool memory;
        bool events;
        int signal;
    } rows[] = {
        {"", true, true, SIGINT},
        {"--no-events", true, false, SIGTERM},
        {"--no-memory", false, true, SIGTERM},
        {"", true, true, SIGKILL},
    };
    for (const auto& row : rows) {
        Peer peer(row.options);
        expectObjects(row.memory, row.events);
        EXPECT_EQ(peer.endedBy(row.signal), row.signal == SIGKILL ? Child::kKilled : 0);
        expectObjects(false, false);
    }
    Peer peer("--once");
    Sender(kAction).ask();
    EXPECT_EQ(peer.program.wait(), 0);
    EXPECT_EQ(peer.heard(), "action 0 0 0 0 0");
    EXPECT_EQ(peer.program.readLine(), "");
    expectObjects(false, false);
}

TEST(Peer, ASecondIsRefusedAndTheFirstGoesOn) {
    {
        Peer peer;
        for (const std::string options : {"", "--no-events", "--no-memory", "--once"})
            expectRefused({{"wardlet-peer " + options, 5, "its objects exist"}});
        const Sender sender(kConfig);
        sender.ask();
        EXPECT_TRUE(sender.isAnswered());
        EXPECT_EQ(peer.heard(), "config 0 0");
    }
    const Object memory(
        CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 20, "Global\\wdlt_action_WdMemory"));
    expectRefused({{"wardlet-peer", 5, "its objects exist"}});
}

// A sender that waits for a killed service keeps its events open. The next peer doesn't take the pending request for
// its own, since the record is gone. The killed peer's claim on the home ends too, though others have its mutex open.
TEST(Peer, StartsBehindAKilledOne) {
    Peer killed("--silent config");
    const Object claim(OpenMutexA(MUTEX_ALL_ACCESS, FALSE, "Global\\wardlet_peer_mutex"));
    ASSERT_NE(claim, nullptr);
    Sender waiting(kConfig);
    waiting.memory.reset(); // as a sender of a change does before asking
    waiting.ask();
    EXPECT_EQ(killed.heard(), "config 0 0 true");
    EXPECT_EQ(killed.endedBy(SIGKILL), Child::kKilled);
    SetEvent(waiting.request.get());

    Peer next;
    EXPECT_FALSE(isSet(waiting.request)) << "it is there to be heard";
    const Sender sender(kConfig);
    for (const std::uint32_t scan : {1u, 2u}) {
        sender.put({10001, scan});
        sender.ask();
        EXPECT_TRUE(sender.isAnswered());
        EXPECT_EQ(next.heard(), "config 10001 " + std::to_string(scan));
    }
    EXPECT_EQ(next.endedBy(SIGTERM), 0);
    EXPECT_EQ(next.program.readLine(), "");
}

} // namespace
