// Reading and writing through the configuration interface, which is the test's own here, and the question to the
// service.
#include "CfgData.h"
#include "CfgHelper.h"
#include "CfgIF.h"

#include "Child.h"
#include "ExhaustedMemory.h"
#include "FakeService.h"
#include "LayerDoubles.h"
#include "LogFile.h"
#include "TestObject.h"
#include "TimeScale.h"

#include <wdltcfg/status.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

using testing::ElementsAre;

// What each call of a read gives in turn.
struct Step {
    std::int32_t status;
    std::uint64_t size; // as it is afterwards
};
class ScriptedIF : public CCfgIF {
  public:
    explicit ScriptedIF(std::vector<Step> steps) : m_steps(std::move(steps)) {}

    bool IsInitialized() override { return true; }
    std::int32_t ReadConfigEx(std::uint32_t, std::uint32_t, std::uint32_t, std::uint64_t, void* data,
                              std::uint64_t* size) override {
        if (data != nullptr)
            std::memcpy(data, "record", std::min<std::size_t>(*size, 6));
        const Step step = m_steps.at(m_next++);
        *size = step.size;
        return step.status;
    }
    std::int32_t WriteConfigEx(std::uint32_t, std::uint32_t, std::uint32_t, std::uint64_t, void*,
                               std::uint64_t) override {
        return WDLT_E_GENERAL;
    }
    std::int32_t ReadConfig(std::uint32_t, std::uint32_t, std::uint64_t, void*, std::uint64_t*) override {
        return WDLT_E_GENERAL;
    }
    std::int32_t WriteConfig(std::uint32_t, std::uint32_t, std::uint64_t, void*, std::uint64_t) override {
        return WDLT_E_GENERAL;
    }
    bool isAtEnd() const { return m_next == m_steps.size(); }

  private:
    std::vector<Step> m_steps;
    std::size_t m_next = 0;
};

std::string bytesOf(const CCfgData& cfgData) {
    return {reinterpret_cast<const char*>(cfgData.GetData()), cfgData.GetSize()};
}

TEST(Cfg, OldDataNeverPassesForWhatWasRead) {
    const Step size{WDLT_E_BUFFER_SIZE, 6};
    const struct {
        const char* what;
        std::uint64_t size; // 0: asked for first
        std::vector<Step> steps;
        std::int32_t status;
        const char* bytes;
        std::vector<std::string> lines;
    } cases[] = {
        {"a known size", 6, {{WDLT_OK, 6}}, WDLT_OK, "record", {}},
        {"an unknown size", 0, {size, {WDLT_OK, 6}}, WDLT_OK, "record", {}},
        {"less than its size", 0, {size, {WDLT_OK, 3}}, WDLT_OK, "rec", {}},
        {"no size",
         0,
         {{WDLT_E_REGISTRY, 6}},
         WDLT_E_REGISTRY,
         "old",
         {"!!! Failed to get sufficient size from WdltReadConfig(): -9"}},
        {"nothing without a size",
         0,
         {{WDLT_OK, 6}},
         WDLT_OK,
         "",
         {"!!! Failed to get sufficient size from WdltReadConfig(): 0"}},
        {"a failed read",
         0,
         {size, {WDLT_E_GENERAL, 6}},
         WDLT_E_GENERAL,
         "",
         {"!!! Failed to read config: err=-1, proto=10001, scan=0x00000040, input=5, size=6"}},
        {"a record that has grown",
         0,
         {size, {WDLT_E_BUFFER_SIZE, 9}},
         WDLT_E_BUFFER_SIZE,
         "",
         {"!!! Failed to read config: err=-2, proto=10001, scan=0x00000040, input=5, size=9"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        ScriptedIF interface(c.steps);
        CCfg cfg;
        cfg.SetInterface(&interface);
        CCfgData cfgData(10001, 0x40, 7, 5);
        ASSERT_EQ(cfgData.SetData("old", 3), WDLT_OK);
        const LogFile log;
        EXPECT_EQ(cfg.Read(cfgData, c.size, nullptr), c.status);
        EXPECT_TRUE(interface.isAtEnd());
        EXPECT_EQ(bytesOf(cfgData), c.bytes);
        EXPECT_EQ(log.messages(), c.lines);
    }
}

TEST(Cfg, WhereMemoryGivesOut) {
    if (!ExhaustedMemory::kIsPossible)
        GTEST_SKIP() << "no operator new of our own";
    ScriptedIF interface({});
    CCfg cfg;
    cfg.SetInterface(&interface);
    CCfgData cfgData(10001, 0x40, 7, 5);
    ASSERT_EQ(cfgData.SetData("old", 3), WDLT_OK);
    ASSERT_EQ(cfgData.SetData(cfgData.GetData() + 1, 1), WDLT_OK); // of its own bytes
    const LogFile log;
    {
        const ExhaustedMemory exhausted(0);
        EXPECT_EQ(cfgData.SetData("bytes", 5), WDLT_E_NO_MEMORY);
    }
    EXPECT_EQ(bytesOf(cfgData), "l");
    {
        const ExhaustedMemory exhausted(0);
        EXPECT_EQ(cfg.Read(cfgData, 6, nullptr), WDLT_E_NO_MEMORY);
    }
    EXPECT_EQ(cfgData.GetData(), nullptr);
    EXPECT_THAT(log.messages(), ElementsAre("!!! Failed to allocate memory in CConfigData::SetData()",
                                            "!!! Failed to allocate memory in CConfigReader::Read()"));
}

using Words = std::array<std::uint32_t, 5>;

constexpr const char* kActionMutex = "Global\\wdlt_action_mutex";

bool isActionMutexFree() {
    const Handle mutex = makeMutex(kActionMutex);
    const bool isFree = waitFor(mutex) == WAIT_OBJECT_0;
    if (isFree)
        ReleaseMutex(mutex.get());
    return isFree;
}

std::int32_t askFor(std::uint32_t action, std::uint32_t waitReply = 1) {
    CCfgHelper helper;
    return helper.ActionEventSender({3, 4, action, waitReply});
}

// Only the lowest byte says whether the reply is waited for; the pause comes where it isn't.
TEST(ActionEvent, TheServiceHearsTheQuestionAndItsReplyIsTheResult) {
    const TimeScale patient("0.1");
    Words heard{};
    bool isAlone = false;
    const FakeService service("wdlt_action", sizeof(Words), [&](BYTE* memory) {
        std::memcpy(heard.data(), memory, sizeof heard);
        isAlone = !isActionMutexFree();
        const std::int32_t reply = static_cast<std::int32_t>(heard[3]) * -2;
        std::memcpy(memory, &reply, sizeof reply);
        return true;
    });
    const std::vector<std::string> pauses{"Sleep 100", "Sleep 100"};
    for (const auto& [waitReply, expected] : {std::pair{1u, 0u}, {0u, 2u}, {0x100u, 2u}, {0x180u, 0u}}) {
        const layer_doubles::Recording recording;
        EXPECT_EQ(askFor(300, waitReply), -600);
        EXPECT_EQ(heard, (Words{0xFFFFFFFF, 3, 4, 300, waitReply}));
        EXPECT_TRUE(isAlone);
        std::vector<std::string> sleeps = recording.calls();
        std::erase_if(sleeps, [](const std::string& call) { return !call.starts_with("Sleep"); });
        EXPECT_EQ(sleeps, std::vector(pauses.begin(), pauses.begin() + expected)) << waitReply;
    }
    EXPECT_TRUE(isActionMutexFree());
}

TEST(ActionEvent, EachServiceThatAskersFear) {
    const struct {
        const char* what;
        DWORD bytes;
        bool withEvents, withMutex;
        std::int32_t withoutReply; // the status where none is needed
        const char* line;
    } cases[] = {
        {"none", 0, false, true, WDLT_OK, "@@@ Failed to open memory in ActionEventSender or Wardlet is not running"},
        {"too small", 1, true, true, WDLT_OK,
         "@@@ Failed to open memory in ActionEventSender or Wardlet is not running"},
        {"deaf", sizeof(Words), true, true, WDLT_E_GENERAL, "!!! Failed to send in ActionEventSender"},
        {"no events", sizeof(Words), false, true, WDLT_E_GENERAL, "!!! Failed to send in ActionEventSender"},
        {"no mutex", sizeof(Words), true, false, WDLT_E_GENERAL, "!!! Failed to send in ActionEventSender"},
    };
    const TimeScale impatient("0.0005");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const ServiceObjects objects("wdlt_action", c.bytes, c.withEvents);
        const Handle mutex = c.withMutex ? makeMutex(kActionMutex) : makeSemaphore(kActionMutex, 1, 1);
        for (const std::uint32_t waitReply : {0u, 1u}) {
            const LogFile log;
            EXPECT_EQ(askFor(300, waitReply), waitReply == 0 ? c.withoutReply : WDLT_E_GENERAL);
            EXPECT_EQ(log.messages().back(), c.line);
        }
    }
}

// The exchange has room for one, and says not whose answer it is.
TEST(ActionEvent, AnAnswerThatMayBeAnothersIsNotBelieved) {
    const struct {
        bool isKilled; // else it gives up
        bool isHeard;
    } cases[] = {{true, true}, {false, true}, {false, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.isKilled << c.isHeard);
        const ServiceObjects objects("wdlt_action", sizeof(Words));
        const auto answer = [&](std::int32_t reply) {
            std::memcpy(objects.memory(), &reply, sizeof reply);
            objects.reply();
        };
        {
            const TimeScale scale(c.isKilled ? "1" : "0.0005");
            Child first([&] { return askFor(300) == WDLT_E_GENERAL ? 0 : 1; });
            EXPECT_TRUE(!c.isHeard || objects.hears());
            EXPECT_EQ(c.isKilled ? first.kill() : first.wait(), c.isKilled ? Child::kSignal + SIGKILL : 0);
        }
        const TimeScale patient("0.05");
        std::atomic<bool> isOver{false};
        std::thread service([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            if (c.isHeard)
                answer(7); // to the first, before it takes the next
            while (objects.hears() && !isOver) {
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
                answer(0);
            }
        });
        const std::int32_t status = askFor(300);
        EXPECT_TRUE(status == 0 || (status == WDLT_E_GENERAL && askFor(300) == 0)) << status;
        isOver = true;
        objects.request();
        service.join();
    }
}

} // namespace
