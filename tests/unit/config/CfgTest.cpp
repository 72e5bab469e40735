// Reading and writing through the configuration interface, here a double, and the action query to the service.
#include "CfgData.h"
#include "CfgHelper.h"
#include "CfgIF.h"

#include "Child.h"
#include "ExhaustedMemory.h"
#include "FakeService.h"
#include "LogFile.h"
#include "TestObject.h"
#include "TimeScale.h"

#include <wdltcfg/status.h>

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

// The result of each successive read call.
struct Step {
    std::int32_t status;
    std::uint64_t size; // returned size
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
        std::uint64_t size; // 0: the size is queried first
        std::vector<Step> steps;
        std::int32_t status;
        const char* bytes;
        const char* line;
    } cases[] = {
        {6, {{WDLT_OK, 6}}, WDLT_OK, "record", ""},
        {0, {size, {WDLT_OK, 3}}, WDLT_OK, "rec", ""}, // shorter than the queried size
        {0, {{WDLT_E_REGISTRY, 6}}, WDLT_E_REGISTRY, "old", "size from WdltReadConfig(): -9"},
        {0, {size, {WDLT_E_GENERAL, 6}}, WDLT_E_GENERAL, "", "err=-1, proto=10001, scan=0x00000040, input=5, size=6"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        ScriptedIF interface(c.steps);
        CCfg cfg;
        ASSERT_EQ(cfg.SetInterface(&interface), WDLT_OK);
        CCfgData cfgData(10001, 0x40, 7, 5);
        ASSERT_EQ(cfgData.SetData("old", 3), WDLT_OK);
        const LogFile log;
        EXPECT_EQ(cfg.Read(cfgData, c.size, nullptr), c.status);
        EXPECT_EQ(bytesOf(cfgData), c.bytes);
        EXPECT_TRUE(log.contains(c.line)) << c.line;
    }
}

TEST(Cfg, WhereMemoryGivesOut) {
    if (!ExhaustedMemory::kIsPossible)
        GTEST_SKIP() << "no operator new of our own";
    ScriptedIF interface({});
    CCfg cfg;
    ASSERT_EQ(cfg.SetInterface(&interface), WDLT_OK);
    CCfgData cfgData(10001, 0x40, 7, 5);
    ASSERT_EQ(cfgData.SetData("old", 3), WDLT_OK);
    ASSERT_EQ(cfgData.SetData(cfgData.GetData() + 1, 1), WDLT_OK); // a part of its own data
    const LogFile log;
    {
        const ExhaustedMemory exhausted(0);
        EXPECT_EQ(cfgData.SetData("bytes", 5), WDLT_E_NO_MEMORY);
    }
    EXPECT_EQ(bytesOf(cfgData), "l");
    const ExhaustedMemory exhausted(0);
    EXPECT_EQ(cfg.Read(cfgData, 6, nullptr), WDLT_E_NO_MEMORY);
    EXPECT_EQ(cfgData.GetData(), nullptr);
    EXPECT_TRUE(log.contains("Failed to allocate memory in CConfigReader::Read()"));
}

std::int32_t ask() {
    return CCfgHelper().ActionEventSender({3, 4, 300, 1});
}

// The exchange holds only one request, and an answer doesn't say whose it is.
TEST(ActionEvent, AnAnswerThatMayBeAnothersIsNotBelieved) {
    const struct {
        bool isKilled; // the first sender; otherwise it times out
        bool isHeard;
    } cases[] = {{true, true}, {false, true}, {false, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.isKilled << c.isHeard);
        const ServiceObjects objects("wdlt_action", 20);
        const auto answer = [&](std::int32_t reply) {
            std::memcpy(objects.memory(), &reply, sizeof reply);
            objects.reply();
        };
        {
            const TimeScale scale(c.isKilled ? "1" : "0.0005");
            Child first([&] { return ask() == WDLT_E_GENERAL ? 0 : 1; });
            EXPECT_TRUE(!c.isHeard || objects.hears());
            EXPECT_EQ(c.isKilled ? first.kill() : first.wait(), c.isKilled ? Child::kSignal + SIGKILL : 0);
        }
        const TimeScale patient("0.05");
        Child service([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            if (c.isHeard)
                answer(7); // the first sender's answer, before the next request is taken
            while (objects.hears()) {
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
                answer(0);
            }
            return 0;
        });
        const std::int32_t status = ask();
        EXPECT_TRUE(status == 0 || (status == WDLT_E_GENERAL && ask() == 0)) << status;
    }
}

} // namespace
