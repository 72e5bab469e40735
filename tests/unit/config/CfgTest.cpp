// Reading and writing through the configuration interface, and what the families' base makes of it: the two phases of a
// read, the switches of items and handlers, the question to the service. The interface is the test's own.
#include "CfgData.h"
#include "CfgHelper.h"
#include "CfgIF.h"

#include "Child.h"
#include "ExhaustedMemory.h"
#include "FakeService.h"
#include "LayerDoubles.h"
#include "LogFile.h"
#include "TimeScale.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

// One record at every address, and a list of what was asked.
class FakeIF : public CCfgIF {
  public:
    struct Call {
        std::uint32_t protocol, scan, input;
        std::uint64_t configType;
        bool withBuffer;
        std::uint64_t size;
        bool operator==(const Call&) const = default;
    };

    bool IsInitialized() override { return initialized; }
    std::int32_t ReadConfigEx(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input, std::uint64_t configType,
                              void* data, std::uint64_t* size) override {
        reads[readCount++ % reads.size()] = {protocol, scan, input, configType, data != nullptr, *size};
        if (data != nullptr && beforeSecondPhase)
            beforeSecondPhase(*this, data);
        if (readStatus != WDLT_OK && data != nullptr)
            return readStatus;
        if (data == nullptr && sizeStatus != WDLT_E_BUFFER_SIZE)
            return sizeStatus;
        if (*size != record.size()) {
            *size = record.size();
            return WDLT_E_BUFFER_SIZE;
        }
        std::memcpy(data, record.data(), record.size());
        if (sizeAfterRead != 0)
            *size = sizeAfterRead;
        return WDLT_OK;
    }
    std::int32_t WriteConfigEx(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input,
                               std::uint64_t configType, void* data, std::uint64_t size) override {
        writes.push_back({protocol, scan, input, configType, data != nullptr, size});
        if (writeStatus == WDLT_OK)
            record.assign(static_cast<const char*>(data), size);
        return writeStatus;
    }
    std::int32_t ReadConfig(std::uint32_t, std::uint32_t, std::uint64_t, void*, std::uint64_t*) override {
        ADD_FAILURE() << "the access objects give an input";
        return WDLT_E_GENERAL;
    }
    std::int32_t WriteConfig(std::uint32_t, std::uint32_t, std::uint64_t, void*, std::uint64_t) override {
        ADD_FAILURE() << "the access objects give an input";
        return WDLT_E_GENERAL;
    }

    template <class Record>
    void store(const Record& stored) {
        record.assign(reinterpret_cast<const char*>(&stored), sizeof stored);
    }

    bool initialized = true;
    std::string record = "record";
    std::int32_t sizeStatus = WDLT_E_BUFFER_SIZE;
    std::int32_t readStatus = WDLT_OK;
    std::int32_t writeStatus = WDLT_OK;
    std::uint64_t sizeAfterRead = 0;
    std::function<void(FakeIF&, void*)> beforeSecondPhase;
    std::array<Call, 8> reads{}; // no allocation, so that a test can tell whose allocation fails
    std::size_t readCount = 0;
    std::vector<Call> writes;
};

std::string bytesOf(const CCfgData& cfgData) {
    return {reinterpret_cast<const char*>(cfgData.GetData()), cfgData.GetSize()};
}

class Cfg : public testing::Test {
  protected:
    Cfg() { cfg.SetInterface(&interface); }

    FakeIF interface;
    CCfg cfg;
    CCfgData cfgData{10001, 0x40, 7, 5};
};

TEST(CfgData, KeepsACopyAndGivesItBack) {
    CCfgData cfgData(1, 2, 3);
    EXPECT_EQ(cfgData.input, 0u);
    EXPECT_EQ(cfgData.configType, 3u);
    EXPECT_EQ(cfgData.GetData(), nullptr);
    EXPECT_EQ(cfgData.GetSize(), 0u);
    std::string bytes = "bytes";
    EXPECT_EQ(cfgData.SetData(bytes.data(), bytes.size()), WDLT_OK);
    bytes = "other";
    EXPECT_EQ(bytesOf(cfgData), "bytes");
    EXPECT_EQ(cfgData.SetData(bytes.data(), 2), WDLT_OK);
    EXPECT_EQ(bytesOf(cfgData), "ot");
    EXPECT_EQ(cfgData.SetData(cfgData.GetData() + 1, 1), WDLT_OK); // of its own bytes
    EXPECT_EQ(bytesOf(cfgData), "t");
    cfgData.Free();
    EXPECT_EQ(cfgData.GetData(), nullptr);
    EXPECT_EQ(cfgData.GetSize(), 0u);
}

TEST(CfgData, ExhaustedMemoryLeavesTheOldBytes) {
    if (!ExhaustedMemory::kIsPossible)
        GTEST_SKIP() << "no operator new of our own";
    CCfgData cfgData(1, 2, 3);
    ASSERT_EQ(cfgData.SetData("t", 1), WDLT_OK);
    const LogFile log;
    {
        const ExhaustedMemory exhausted(0);
        EXPECT_EQ(cfgData.SetData("bytes", 5), WDLT_E_NO_MEMORY);
    }
    EXPECT_THAT(log.messages(), ElementsAre("!!! Failed to allocate memory in CConfigData::SetData()"));
    EXPECT_EQ(bytesOf(cfgData), "t");
}

TEST(CfgWithoutInterface, NothingIsReadOrWritten) {
    const LogFile log;
    CCfg cfg;
    CCfgHelper helper;
    CCfgData cfgData(10001, 0, 0);
    EXPECT_EQ(cfg.SetInterface(nullptr), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(helper.Initialize(nullptr), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(cfg.Read(cfgData, 4, nullptr), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(cfg.Write(cfgData), WDLT_E_INVALID_ARGUMENT);
    FakeIF interface;
    interface.initialized = false;
    EXPECT_EQ(cfg.SetInterface(&interface), WDLT_OK);
    EXPECT_EQ(cfg.SetInterface(nullptr), WDLT_E_INVALID_ARGUMENT); // the one before stays
    EXPECT_EQ(cfg.Read(cfgData), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(cfg.Write(cfgData), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(interface.readCount, 0u);
    EXPECT_THAT(log.messages(), ElementsAre("!!! CfgIF is invalid", "!!! Invalid CCfg argument",
                                            "!!! Config IF is NULL", "!!! Config IF is NULL", "!!! CfgIF is invalid",
                                            "!!! Config IF is not initialized", "!!! Config IF is not initialized"));
}

TEST_F(Cfg, AKnownSizeSavesThePhaseThatAsksForIt) {
    std::string seen;
    interface.beforeSecondPhase = [&](FakeIF&, void* data) { seen.assign(static_cast<const char*>(data), 6); };
    EXPECT_EQ(cfg.Read(cfgData, 6, "asking"), WDLT_OK);
    EXPECT_EQ(interface.readCount, 1u);
    EXPECT_EQ(interface.reads[0], (FakeIF::Call{10001, 0x40, 7, 5, true, 6}));
    EXPECT_EQ(seen, "asking"); // what the record's helper finds in its buffer
    EXPECT_EQ(bytesOf(cfgData), "record");
    EXPECT_EQ(cfg.Read(cfgData, 6, nullptr), WDLT_OK);
    EXPECT_EQ(seen, std::string(6, '\0'));
    EXPECT_EQ(cfg.Read(cfgData, 6, "list", 4), WDLT_OK);
    EXPECT_EQ(seen, std::string("list\0\0", 6));
}

TEST_F(Cfg, AnUnknownSizeIsAskedForFirst) {
    EXPECT_EQ(cfg.Read(cfgData), WDLT_OK);
    EXPECT_EQ(interface.readCount, 2u);
    EXPECT_EQ(interface.reads[0], (FakeIF::Call{10001, 0x40, 7, 5, false, 0}));
    EXPECT_EQ(interface.reads[1], (FakeIF::Call{10001, 0x40, 7, 5, true, 6}));
    EXPECT_EQ(bytesOf(cfgData), "record");
    interface.sizeAfterRead = 3; // the size as it stands after the read is the data's
    EXPECT_EQ(cfg.Read(cfgData), WDLT_OK);
    EXPECT_EQ(bytesOf(cfgData), "rec");
}

TEST_F(Cfg, AFirstPhaseThatTellsNoSizeEndsTheRead) {
    ASSERT_EQ(cfgData.SetData("old", 3), WDLT_OK);
    for (const std::int32_t status : {WDLT_E_GENERAL, WDLT_E_REGISTRY, WDLT_OK}) {
        const LogFile log;
        interface.sizeStatus = status;
        interface.readCount = 0;
        EXPECT_EQ(cfg.Read(cfgData), status);
        EXPECT_EQ(interface.readCount, 1u);
        EXPECT_EQ(bytesOf(cfgData), status == WDLT_OK ? "" : "old");
        ASSERT_EQ(cfgData.SetData("old", 3), WDLT_OK);
        EXPECT_THAT(log.messages(),
                    ElementsAre("!!! Failed to get sufficient size from WdltReadConfig(): " + std::to_string(status)));
    }
}

TEST_F(Cfg, AFailedReadLeavesNoData) {
    const struct {
        std::int32_t status;
        const char* recordBetween; // what the record becomes between the phases
        const char* line;
    } cases[] = {
        {WDLT_E_GENERAL, "record", "!!! Failed to read config: err=-1, proto=10001, scan=0x00000040, input=5, size=6"},
        {WDLT_OK, "has grown", "!!! Failed to read config: err=-2, proto=10001, scan=0x00000040, input=5, size=9"},
        {WDLT_OK, "less", "!!! Failed to read config: err=-2, proto=10001, scan=0x00000040, input=5, size=4"},
    };
    for (const auto& c : cases) {
        ASSERT_EQ(cfgData.SetData("old", 3), WDLT_OK);
        interface.record = "record";
        interface.readStatus = c.status;
        interface.readCount = 0;
        interface.beforeSecondPhase = [&](FakeIF& fake, void*) { fake.record = c.recordBetween; };
        const LogFile log;
        EXPECT_EQ(cfg.Read(cfgData), c.status != WDLT_OK ? c.status : WDLT_E_BUFFER_SIZE);
        EXPECT_EQ(interface.readCount, 2u); // and no more: there is no second try
        EXPECT_EQ(bytesOf(cfgData), "");
        EXPECT_THAT(log.messages(), ElementsAre(c.line));
    }
}

TEST_F(Cfg, ExhaustedMemoryEndsARead) {
    if (!ExhaustedMemory::kIsPossible)
        GTEST_SKIP() << "no operator new of our own";
    ASSERT_EQ(cfgData.SetData("old", 3), WDLT_OK);
    const LogFile log;
    {
        const ExhaustedMemory exhausted(0);
        EXPECT_EQ(cfg.Read(cfgData, 6, nullptr), WDLT_E_NO_MEMORY);
        EXPECT_TRUE(ExhaustedMemory::wasMet());
    }
    EXPECT_EQ(cfgData.GetData(), nullptr);
    EXPECT_THAT(log.messages(), ElementsAre("!!! Failed to allocate memory in CConfigReader::Read()"));
}

TEST_F(Cfg, AWriteHandsAllOn) {
    ASSERT_EQ(cfgData.SetData("written", 7), WDLT_OK);
    EXPECT_EQ(cfg.Write(cfgData), WDLT_OK);
    EXPECT_EQ(interface.record, "written");
    EXPECT_THAT(interface.writes, ElementsAre(FakeIF::Call{10001, 0x40, 7, 5, true, 7}));
    const LogFile log;
    interface.writeStatus = WDLT_E_REGISTRY;
    EXPECT_EQ(cfg.Write(cfgData), WDLT_E_REGISTRY);
    EXPECT_THAT(log.messages(),
                ElementsAre("!!! Failed to write config: err=-9, proto=10001, scan=0x00000040, input=5, size=7"));
}

class CfgHelper : public testing::Test {
  protected:
    CfgHelper() { EXPECT_EQ(helper.Initialize(&interface), WDLT_OK); }

    void storeItem(std::uint32_t enable) {
        WdchSystemScan item{};
        item.enable = enable;
        std::strcpy(item.logExtension, "ext");
        interface.store(item);
    }
    void storeHandler(std::uint32_t enable, std::uint32_t mask) {
        WdchSystemProtocolHandler handler{};
        handler.enable = enable;
        handler.dependentScanEngine = mask;
        std::strcpy(handler.scan, "Web");
        interface.store(handler);
    }
    template <class Record>
    Record stored() const {
        Record record{};
        EXPECT_EQ(interface.record.size(), sizeof record);
        std::memcpy(&record, interface.record.data(), std::min(interface.record.size(), sizeof record));
        return record;
    }

    FakeIF interface;
    CCfgHelper helper;
};

TEST_F(CfgHelper, AnItemsSwitchIsWrittenOnlyWhereItDiffers) {
    const struct {
        std::uint32_t stored;
        std::int32_t enable;
        std::uint32_t expected;
        std::vector<std::string> lines; // empty: nothing is written
    } cases[] = {
        {0, 0, 0, {}},
        {1, 1, 1, {}},
        {7, -1, 7, {}}, // any number that isn't 0 is on
        {0, 9, 1, {"@@@ Trying to enable scan engine 0x00020000", "@@@ Succeeded to enable scan engine 0x00020000"}},
        {7, 0, 0, {"@@@ Trying to disable scan engine 0x00020000", "@@@ Succeeded to disable scan engine 0x00020000"}},
    };
    for (const auto& c : cases) {
        storeItem(c.stored);
        interface.writes.clear();
        interface.readCount = 0;
        const LogFile log;
        EXPECT_EQ(helper.EnableItem(c.enable, 3, 0x20000, 1), WDLT_OK);
        EXPECT_EQ(interface.readCount, 1u);
        EXPECT_EQ(interface.reads[0], (FakeIF::Call{10003, 0x20000, 1, 0, true, 260}));
        EXPECT_EQ(interface.writes.size(), c.lines.empty() ? 0u : 1u);
        EXPECT_EQ(stored<WdchSystemScan>().enable, c.expected);
        EXPECT_STREQ(stored<WdchSystemScan>().logExtension, "ext");
        EXPECT_THAT(log.messages(), ElementsAreArray(c.lines));
        EXPECT_EQ(helper.IsItemEnabled(3, 0x20000, 1), c.expected != 0 ? 1 : 0);
    }
}

TEST_F(CfgHelper, AHandlerGoesOnWithAnItemAndOffWithout) {
    const std::vector<std::string> on{"@@@ Trying to enable Web", "@@@ Succeeded to enable Web"};
    const std::vector<std::string> off{"@@@ Trying to disable Web", "@@@ Succeeded to disable Web"};
    const struct {
        std::uint32_t stored, mask;
        std::int32_t enable;
        std::uint32_t expected;
        std::vector<std::string> lines;
    } cases[] = {
        {0, 0, 1, 0, {}},                                                             // no item is on
        {0, 1, 1, 1, on},           {0, 0x8000, 5, 1, on}, {0, 0xFFFF0000, 1, 0, {}}, // items above bit 15 don't count
        {1, 1, 1, 1, {}},           {9, 0, 1, 9, {}},      {1, 0, 0, 0, off},
        {9, 0xFFFF0000, 0, 0, off}, {1, 0x8000, 0, 1, {}}, // still needed
        {0, 0, 0, 0, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.stored << ' ' << c.mask << ' ' << c.enable);
        storeHandler(c.stored, c.mask);
        interface.writes.clear();
        interface.readCount = 0;
        const LogFile log;
        EXPECT_EQ(helper.EnableItem(c.enable, 3, 0, 9), WDLT_OK); // a handler has no input
        EXPECT_EQ(interface.readCount, 2u);
        EXPECT_EQ(interface.reads[1], (FakeIF::Call{10003, 0, 0, 0, true, sizeof(WdchSystemProtocolHandler)}));
        EXPECT_EQ(interface.writes.size(), c.lines.empty() ? 0u : 1u);
        EXPECT_EQ(stored<WdchSystemProtocolHandler>().enable, c.expected);
        EXPECT_EQ(stored<WdchSystemProtocolHandler>().dependentScanEngine, c.mask);
        EXPECT_THAT(log.messages(), ElementsAreArray(c.lines));
        EXPECT_EQ(helper.IsItemEnabled(3, 0, 0), c.expected != 0 ? 1 : 0);
    }
}

TEST_F(CfgHelper, AFailureEndsASwitchAndReadsAsOff) {
    using Lines = std::vector<std::string>;
    const auto failedRead = [](std::uint32_t scan, int size) {
        return "!!! Failed to read config: err=-9, proto=10001, scan=0x0000000" + std::to_string(scan) +
               ", input=0, size=" + std::to_string(size);
    };
    {
        storeItem(0);
        interface.readStatus = WDLT_E_REGISTRY;
        const LogFile log;
        EXPECT_EQ(helper.EnableItem(1, 1, 4, 0), WDLT_E_REGISTRY);
        EXPECT_EQ(helper.IsItemEnabled(1, 4, 0), 0);
        EXPECT_THAT(log.messages(),
                    ElementsAreArray(Lines{failedRead(4, 260), "!!! Failed to read on CConfigReader: -9",
                                           failedRead(4, 260), "!!! Failed to read on ConfigReader: -9"}));
    }
    {
        storeHandler(0, 1);
        const LogFile log;
        EXPECT_EQ(helper.EnableItem(1, 1, 0, 0), WDLT_E_REGISTRY);
        EXPECT_EQ(helper.IsItemEnabled(1, 0, 0), 0);
        EXPECT_THAT(log.messages(),
                    ElementsAreArray(Lines{failedRead(0, 328), "!!! Failed to read on CConfigReaderEx: -9",
                                           failedRead(0, 328), "!!! Failed to read on CConfigReaderEx: -9"}));
    }
    interface.readStatus = WDLT_OK;
    interface.writeStatus = WDLT_E_GENERAL;
    for (const bool item : {true, false}) {
        item ? storeItem(0) : storeHandler(0, 1);
        const LogFile log;
        EXPECT_EQ(helper.EnableItem(1, 1, item ? 4 : 0, 0), WDLT_E_GENERAL);
        EXPECT_THAT(
            log.messages(),
            ElementsAre(item ? "@@@ Trying to enable scan engine 0x00000004" : "@@@ Trying to enable Web",
                        item ? "!!! Failed to write config: err=-1, proto=10001, scan=0x00000004, input=0, size=260"
                             : "!!! Failed to write config: err=-1, proto=10001, scan=0x00000000, input=0, size=328",
                        "!!! Failed to write config: -1"));
    }
}

// What an address of another size than the switch's tells: nothing of it is taken for one.
TEST_F(CfgHelper, ARecordOfAnotherSizeIsNoSwitch) {
    interface.record.assign(1292, '\1');
    EXPECT_EQ(helper.EnableItem(0, 3, 0x20000, 2), WDLT_E_BUFFER_SIZE);
    EXPECT_EQ(helper.IsItemEnabled(3, 0x20000, 2), 0);
    interface.sizeStatus = WDLT_OK; // a handler's size is asked for first
    EXPECT_EQ(helper.EnableItem(1, 3, 0, 0), WDLT_E_GENERAL);
    EXPECT_THAT(interface.writes, IsEmpty());
}

using Words = std::array<std::uint32_t, 5>;

Words wordsIn(const BYTE* memory) {
    Words words{};
    std::memcpy(words.data(), memory, sizeof words);
    return words;
}

constexpr const char* kActionMutex = "Global\\wdlt_action_mutex";

TEST(ActionEvent, TheServiceHearsTheQuestionAndItsReplyIsTheResult) {
    const TimeScale patient("0.1");
    Words heard{};
    bool isAlone = false;
    const FakeService service("wdlt_action", sizeof(Words), [&](BYTE* memory) {
        heard = wordsIn(memory);
        HANDLE const mutex = CreateMutexA(nullptr, FALSE, kActionMutex);
        isAlone = WaitForSingleObject(mutex, 0) == WAIT_TIMEOUT;
        CloseHandle(mutex);
        const std::int32_t reply = static_cast<std::int32_t>(heard[3]) * -2;
        std::memcpy(memory, &reply, sizeof reply);
        return true;
    });
    const struct {
        std::uint32_t waitReply;
        std::vector<std::string> sleeps;
    } cases[] = {
        {1, {}},
        {0, {"Sleep 100", "Sleep 100"}},
        {0x100, {"Sleep 100", "Sleep 100"}}, // only the lowest byte counts
        {0x180, {}},
    };
    for (const auto& c : cases) {
        const layer_doubles::Recording recording;
        CCfgHelper helper;
        EXPECT_EQ(helper.ActionEventSender({3, 4, 300, c.waitReply}), -600);
        EXPECT_EQ(heard, (Words{0xFFFFFFFF, 3, 4, 300, c.waitReply}));
        EXPECT_TRUE(isAlone);
        std::vector<std::string> sleeps = recording.calls();
        std::erase_if(sleeps, [](const std::string& call) { return !call.starts_with("Sleep"); });
        EXPECT_EQ(sleeps, c.sleeps);
    }
    HANDLE const mutex = CreateMutexA(nullptr, FALSE, kActionMutex);
    EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
    ReleaseMutex(mutex);
    CloseHandle(mutex);
}

TEST(ActionEvent, WithoutAServiceOnlyAQuestionThatNeedsAReplyFails) {
    const LogFile log;
    CCfgHelper helper;
    EXPECT_EQ(helper.ActionEventSender({3, 4, 300, 1}), WDLT_E_GENERAL);
    EXPECT_EQ(helper.ActionEventSender({3, 4, 300, 0}), WDLT_OK);
    const std::string missing = "!!! OpenFileMapping failed (00000002): name = Global\\wdlt_action_WdMemory";
    const std::string opened = "@@@ Failed to open shared memory";
    const std::string running = "@@@ Failed to open memory in ActionEventSender or Wardlet is not running";
    EXPECT_THAT(log.messages(), ElementsAre(missing, opened, running, missing, opened, running));
}

TEST(ActionEvent, AServiceThatDoesNotAnswerFailsEveryQuestion) {
    const TimeScale fast("0.0005");
    for (const bool withEvents : {true, false}) {
        const ServiceObjects objects("wdlt_action", sizeof(Words), withEvents);
        for (const std::uint32_t waitReply : {0u, 1u}) {
            const LogFile log;
            CCfgHelper helper;
            EXPECT_EQ(helper.ActionEventSender({3, 4, 300, waitReply}), WDLT_E_GENERAL);
            EXPECT_EQ(log.messages().back(), "!!! Failed to send in ActionEventSender");
        }
    }
}

// The exchange has room for one, and says not whose answer it is.
TEST(ActionEvent, AnAnswerThatMayBeAnothersIsNotBelieved) {
    const auto ask = [] {
        CCfgHelper helper;
        return helper.ActionEventSender({3, 4, 300, 1});
    };
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
            Child first([&] { return ask() == WDLT_E_GENERAL ? 0 : 1; });
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
        const std::int32_t status = ask();
        EXPECT_TRUE(status == 0 || (status == WDLT_E_GENERAL && ask() == 0)) << status;
        isOver = true;
        objects.request();
        service.join();
    }
}

// An asker may be killed at any point; the next but one hears the service at the latest, and nobody another's answer.
TEST(ActionEvent, AfterAStormOfKillsTheServiceIsHeardAgain) {
    const TimeScale scale("0.01");
    Pipe ready;
    Child service([&] {
        const ServiceObjects objects("wdlt_action", sizeof(Words));
        ready.signal();
        while (objects.hears()) {
            const std::uint32_t action = wordsIn(objects.memory())[3];
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            std::memcpy(objects.memory(), &action, sizeof action);
            objects.reply();
        }
        return 1;
    });
    ASSERT_TRUE(ready.await());
    const auto ask = [](std::int32_t action) {
        CCfgHelper helper;
        return helper.ActionEventSender({3, 4, static_cast<std::uint32_t>(action), 1});
    };
    for (std::int32_t round = 1; round <= 40; ++round) {
        for (const int kill : {1, 2}) {
            Child asker([&] {
                while (ask(1000) != 7) // which nobody answers
                    ;
                return 1;
            });
            std::this_thread::sleep_for(std::chrono::microseconds(round * kill * 97 % 4000));
            asker.kill();
        }
        if (round % 2 == 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(8)); // two answers that nobody takes
        const std::int32_t first = ask(round);
        EXPECT_TRUE(first == round || (first == WDLT_E_GENERAL && ask(round) == round)) << round << ' ' << first;
    }
    service.kill();
}

TEST(ActionEvent, WithoutItsMutexNothingIsAsked) {
    HANDLE const other = CreateSemaphoreA(nullptr, 1, 1, kActionMutex);
    const ServiceObjects objects("wdlt_action", sizeof(Words));
    const LogFile log;
    CCfgHelper helper;
    EXPECT_EQ(helper.ActionEventSender({3, 4, 300, 0}), WDLT_E_GENERAL);
    EXPECT_THAT(log.messages(), testing::Contains("!!! Failed to create mutex wdlt_action_mutex: 6"));
    EXPECT_FALSE(objects.hears(0));
    CloseHandle(other);
}

TEST(ActionEvent, AMemoryThatIsTooSmallIsNoService) {
    const ServiceObjects objects("wdlt_action", 1);
    std::memset(objects.memory(), 0x5A, 1);
    HANDLE const mapping = OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, "Global\\wdlt_action_WdMemory");
    const bool isSmaller = MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, sizeof(Words)) == nullptr;
    CloseHandle(mapping);
    ASSERT_TRUE(isSmaller);
    CCfgHelper helper;
    EXPECT_EQ(helper.ActionEventSender({3, 4, 300, 1}), WDLT_E_GENERAL);
    EXPECT_EQ(helper.ActionEventSender({3, 4, 300, 0}), WDLT_OK);
    EXPECT_EQ(objects.memory()[0], 0x5A);
}

} // namespace
