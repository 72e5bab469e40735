// The stand-in of the running service, as senders and its user see it.
#include "RunProgram.h"

#include <csignal>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <platform/win32.h>
#include <span>

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::MatchesRegex;

constexpr const char* kConfig = "Global\\wdlt_config_change_evt";
constexpr const char* kAction = "Global\\wdlt_action";

struct Close {
    void operator()(HANDLE object) const { CloseHandle(object); }
};
using Object = std::unique_ptr<void, Close>;

Object openEvent(const char* base, const char* suffix) {
    return Object(OpenEventA(EVENT_ALL_ACCESS, FALSE, (std::string(base) + suffix).c_str()));
}
Object openMemory(const char* base) {
    return Object(OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, (std::string(base) + "_WdMemory").c_str()));
}
bool isSet(const Object& event) {
    return WaitForSingleObject(event.get(), 0) == WAIT_OBJECT_0;
}

// The sending side by hand: its steps one at a time.
struct Sender {
    explicit Sender(const char* base)
        : memory(openMemory(base)), request(openEvent(base, "_WdEvent")), reply(openEvent(base, "_WdEvent_ret")) {}

    BYTE* view() const { return static_cast<BYTE*>(MapViewOfFile(memory.get(), FILE_MAP_ALL_ACCESS, 0, 0, 0)); }
    void put(std::span<const std::uint32_t> numbers) const {
        BYTE* const place = view();
        ASSERT_NE(place, nullptr);
        std::memcpy(place, numbers.data(), numbers.size_bytes());
        UnmapViewOfFile(place);
    }
    std::int32_t firstNumber() const {
        std::int32_t number = 0;
        BYTE* const place = view();
        std::memcpy(&number, place, sizeof number);
        UnmapViewOfFile(place);
        return number;
    }
    void ask() const {
        ResetEvent(reply.get());
        SetEvent(request.get());
    }
    bool waitForReply() const { return WaitForSingleObject(reply.get(), 30'000) == WAIT_OBJECT_0; }

    Object memory;
    Object request;
    Object reply;
};

class Peer {
  public:
    explicit Peer(std::vector<std::string> options = {}) : m_program(commandOf(std::move(options))) {
        EXPECT_EQ(heard()["kind"], "ready");
    }
    // The next line; what it holds beside its time.
    json heard() {
        const std::string text = m_program.readLine();
        json line = json::parse(text, nullptr, false);
        EXPECT_TRUE(line.is_object()) << text;
        if (!line.is_object())
            return json::object();
        EXPECT_THAT(line.value("time", ""),
                    MatchesRegex("20[0-9][0-9]-[01][0-9]-[0-3][0-9]T[0-2][0-9]:[0-5][0-9]:[0-6][0-9]\\.[0-9]{3}Z"));
        line.erase("time");
        return line;
    }
    int endedBy(int signal) {
        m_program.signal(signal);
        return m_program.wait();
    }
    RunningProgram& program() { return m_program; }

  private:
    static std::vector<std::string> commandOf(std::vector<std::string> options) {
        options.insert(options.begin(), "wardlet-peer");
        return options;
    }
    RunningProgram m_program;
};

json change(std::uint32_t protocol, std::uint32_t scan) {
    return {{"kind", "config"}, {"protocol", protocol}, {"scan", scan}};
}

void expectNoObjects() {
    for (const char* base : {kConfig, kAction}) {
        EXPECT_EQ(openMemory(base), nullptr) << base;
        EXPECT_EQ(openEvent(base, "_WdEvent"), nullptr) << base;
        EXPECT_EQ(openEvent(base, "_WdEvent_ret"), nullptr) << base;
    }
}

TEST(Peer, HearsEachChangeInItsOrderAndOnce) {
    setenv("WARDLET_TIME_SCALE", "0.05", 1); // the senders' pause
    ASSERT_EQ(runProgram({"wdltctl", "init"}).status, 0);
    Peer peer;
    const struct {
        std::vector<std::string> command;
        std::vector<json> heard;
    } steps[] = {
        {{"set", "system", "proxyPort=8080"}, {change(10000, 0)}},
        {{"enable", "pvs"}, {change(10001, 1), change(10001, 0)}},
        {{"enable", "pvs"}, {}},
        {{"enable", "aspm"}, {change(10001, 0x40)}},
        {{"add", "redirects", "POP3", "Mail", "--port", "110"}, {}},
        {{"disable", "pvs"}, {change(10001, 1)}},
        {{"disable", "aspm"}, {change(10001, 0x40), change(10001, 0)}},
        {{"enable", "pdp", "--protocol", "smtp,http"},
         {change(10002, 8), change(10002, 0), change(10003, 8), change(10003, 0)}},
        {{"enable", "drs"}, {change(10003, 4), change(8, 0), json({{"kind", "drs"}})}},
        {{"set", "drs", "ScoreThreshold=1"}, {change(0, 4)}},
        {{"add", "rules", "Rule"}, {json({{"kind", "drs"}})}},
        {{"remove", "rules", "--all"}, {json({{"kind", "drs"}})}},
        {{"disable", "ie"}, {change(8, 0)}},
    };
    for (const auto& step : steps) {
        auto command = step.command;
        command.insert(command.begin(), "wdltctl");
        const auto result = runProgram(command);
        EXPECT_EQ(result.status, 0) << result.err;
        for (const json& expected : step.heard)
            EXPECT_EQ(peer.heard(), expected) << testing::PrintToString(step.command);
    }
    EXPECT_EQ(peer.endedBy(SIGTERM), 0);
    EXPECT_EQ(peer.program().readLine(), "") << "heard more than was changed";
}

TEST(Peer, AnswersActions) {
    Peer peer({"--reply", "-5"});
    const Sender sender(kAction);
    const std::uint32_t numbers[] = {0xFFFFFFFF, 3, 4, 300, 0x80000001};
    for (int i = 0; i < 2; ++i) {
        sender.put(numbers);
        sender.ask();
        ASSERT_TRUE(sender.waitForReply());
        EXPECT_EQ(sender.firstNumber(), -5);
        EXPECT_EQ(peer.heard(), json({{"kind", "action"},
                                      {"protocol", 3},
                                      {"scan", 4},
                                      {"action", 300},
                                      {"waitReply", 0x80000001},
                                      {"reply", -5}}));
    }
}

TEST(Peer, TheSilentOneHearsAndNeverAnswers) {
    Peer peer({"--silent", "config"});
    const Sender config(kConfig);
    config.ask();
    json silent = change(0, 0);
    silent["silent"] = true;
    EXPECT_EQ(peer.heard(), silent);

    const Sender action(kAction);
    action.ask();
    EXPECT_TRUE(action.waitForReply()) << "the other kind is answered";
    EXPECT_EQ(peer.endedBy(SIGTERM), 0);
    EXPECT_FALSE(isSet(config.reply));
}

TEST(Peer, AWriteToASilentPeerSucceedsAfterItsWait) {
    setenv("WARDLET_TIME_SCALE", "0.002", 1);
    ASSERT_EQ(runProgram({"wdltctl", "init"}).status, 0);
    Peer peer({"--silent", "config"});
    EXPECT_EQ(runProgram({"wdltctl", "set", "system", "proxyPort=8080"}).status, 0);
    EXPECT_EQ(runProgram({"wdltctl", "get", "system", "proxyPort"}).out, "8080\n");
    EXPECT_EQ(peer.heard()["silent"], true);
}

TEST(Peer, AChangeOfDrsIsStoredThoughNobodyAnswers) {
    setenv("WARDLET_TIME_SCALE", "0.002", 1);
    ASSERT_EQ(runProgram({"wdltctl", "init"}).status, 0);
    Peer peer({"--silent", "drs"});
    const auto result = runProgram({"wdltctl", "enable", "drs-white-list"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "drs-white-list: on\n");
    EXPECT_THAT(result.err, HasSubstr("status -26"));
    EXPECT_EQ(peer.heard(), json({{"kind", "drs"}, {"silent", true}}));
}

TEST(Peer, ADelayedAnswerComesAtTheEndAtTheLatest) {
    Peer peer({"--delay", "3600000"});
    const Sender sender(kConfig);
    sender.ask();
    EXPECT_EQ(peer.heard(), change(0, 0));
    EXPECT_FALSE(isSet(sender.reply));
    EXPECT_EQ(peer.endedBy(SIGTERM), 0);
    EXPECT_TRUE(isSet(sender.reply));
}

TEST(Peer, AWriteGoesOnAtOnceWhereObjectsAreMissing) {
    ASSERT_EQ(runProgram({"wdltctl", "init"}).status, 0);
    for (const bool hasMemory : {true, false}) {
        Peer peer({hasMemory ? "--no-events" : "--no-memory"});
        for (const char* base : {kConfig, kAction}) {
            EXPECT_EQ(openMemory(base) != nullptr, hasMemory) << base;
            EXPECT_EQ(openEvent(base, "_WdEvent") != nullptr, !hasMemory) << base;
            EXPECT_EQ(openEvent(base, "_WdEvent_ret") != nullptr, !hasMemory) << base;
        }
        EXPECT_EQ(runProgram({"wdltctl", "set", "system", "proxyPort=1"}).status, 0);
        EXPECT_EQ(peer.endedBy(SIGTERM), 0);
        EXPECT_EQ(peer.program().readLine(), "");
    }
}

TEST(Peer, TheSecondIsRefusedAndTheFirstGoesOn) {
    Peer peer;
    for (const std::vector<std::string>& options :
         {std::vector<std::string>{}, {"--no-events"}, {"--no-memory"}, {"--once"}}) {
        std::vector<std::string> command = {"wardlet-peer"};
        command.insert(command.end(), options.begin(), options.end());
        const auto second = runProgram(command);
        EXPECT_EQ(second.status, 1);
        EXPECT_EQ(second.out, "");
        EXPECT_THAT(second.err, HasSubstr("its objects exist"));
    }
    const Sender sender(kConfig);
    sender.ask();
    EXPECT_TRUE(sender.waitForReply());
    EXPECT_EQ(peer.heard(), change(0, 0));
}

TEST(Peer, AnotherServiceIsNotDisturbed) {
    const Object memory(CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 8,
                                           (std::string(kConfig) + "_WdMemory").c_str()));
    ASSERT_NE(memory, nullptr);
    EXPECT_EQ(runProgram({"wardlet-peer"}).status, 1);
}

TEST(Peer, TakesItsObjectsWithIt) {
    for (const int signal : {SIGTERM, SIGINT, SIGKILL}) {
        Peer peer;
        EXPECT_NE(openMemory(kConfig), nullptr);
        EXPECT_EQ(peer.endedBy(signal), signal == SIGKILL ? 128 + SIGKILL : 0);
        expectNoObjects();
    }
}

TEST(Peer, OnceEndsBehindTheFirstExchange) {
    Peer peer({"--once"});
    {
        const Sender sender(kAction);
        sender.ask();
        EXPECT_TRUE(sender.waitForReply());
    }
    EXPECT_EQ(peer.program().wait(), 0);
    EXPECT_EQ(peer.heard()["kind"], "action");
    EXPECT_EQ(peer.program().readLine(), "");
    expectNoObjects();
}

// A sender that waits for a service which was killed holds its events. What it had asked isn't taken for the next
// one's: its record is gone.
TEST(Peer, StartedWhileASenderWaits) {
    Peer killed({"--silent", "config"});
    Sender waiting(kConfig);
    waiting.memory.reset(); // as a sender of a change does before it asks
    waiting.ask();
    EXPECT_EQ(killed.heard()["silent"], true);
    EXPECT_EQ(killed.endedBy(SIGKILL), 128 + SIGKILL);
    SetEvent(waiting.request.get());

    Peer next;
    EXPECT_FALSE(isSet(waiting.reply));
    const Sender sender(kConfig);
    const std::uint32_t numbers[] = {10001, 1};
    sender.put(numbers);
    sender.ask();
    EXPECT_TRUE(sender.waitForReply());
    EXPECT_EQ(next.heard(), change(10001, 1));
}

TEST(Peer, WrongUsageIsStatus2) {
    const std::vector<std::string> cases[] = {
        {"extra"},        {"--silent", "urls"},           {"--delay", "-1"}, {"--delay", "4294967295"},
        {"--reply", "x"}, {"--no-events", "--no-memory"}, {"--silent"},      {"--reply", "4294967296"},
    };
    for (const auto& options : cases) {
        std::vector<std::string> command = {"wardlet-peer"};
        command.insert(command.end(), options.begin(), options.end());
        const auto result = runProgram(command);
        EXPECT_EQ(result.status, 2) << testing::PrintToString(options);
        EXPECT_EQ(result.out, "");
    }
    EXPECT_THAT(runProgram({"wardlet-peer", "--help"}).out, HasSubstr("SIGTERM"));
}

} // namespace
