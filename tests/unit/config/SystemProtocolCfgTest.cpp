// The record of a protocol handler: its values, the scan items that are on, and what becomes of it when
// its key stops being a handler's in the middle.
#include "SystemProtocolCfg.h"

#include "ConfigManager.h"
#include "FailingStore.h"
#include "LogFile.h"
#include "Tree.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr std::uint32_t kHandler = WDLT_PROTOCOL_SYSTEM_HTTP;
constexpr std::uint64_t kHeader = 328;
constexpr std::uint64_t kEntry = 768;
const std::string kKey = "ProtocolHandler\\Web";

std::string keyOf(const std::string& session) {
    return kKey + "\\Redirect\\" + session;
}

template <std::size_t Size>
void put(char (&field)[Size], const std::string& text) {
    std::memset(field, 0, Size);
    text.copy(field, Size);
}

class SystemProtocolCfg : public testing::Test {
  protected:
    void SetUp() override {
        tree::clear();
        tree::setNumber(kKey, "Type", 3);
        tree::setNumber(kKey, "Enable", 1);
        tree::setText(kKey, "Scan", "Web");
        tree::setText(kKey, "Filename", "web.dll");
    }

    // The handler's record as two phases give it, with guard bytes behind; nothing is aligned.
    struct Record {
        WdchSystemProtocolHandler header{};
        std::vector<WdchSystemRedirect> redirects;
    };
    Record read(std::uint32_t protocol = kHandler) {
        std::uint64_t size = 0;
        EXPECT_EQ(manager.ReadConfig(protocol, 0, 0, 0, nullptr, &size), WDLT_E_BUFFER_SIZE);
        std::vector<BYTE> buffer(size + 9, 0xEE);
        BYTE* const data = buffer.data() + 1;
        EXPECT_EQ(manager.ReadConfig(protocol, 0, 7, 99, data, &size), WDLT_OK);
        EXPECT_EQ(std::count(data + size, data + size + 8, BYTE{0xEE}), 8);
        Record record;
        std::memcpy(&record.header, data, sizeof record.header);
        EXPECT_EQ(reinterpret_cast<BYTE*>(record.header.redirects), data + kHeader);
        EXPECT_EQ(size, kHeader + record.header.redirectCount * kEntry);
        record.redirects.resize(record.header.redirectCount);
        if (!record.redirects.empty())
            std::memcpy(record.redirects.data(), data + kHeader, record.redirects.size() * kEntry);
        return record;
    }

    // The helper with a store of the test's own.
    static std::unique_ptr<WdchHelper> helperOn(std::unique_ptr<WdchIO> store) {
        auto helper = CConfigManager::CreateHelper(kHandler, 0, 0);
        helper->store = std::move(store);
        return helper;
    }

    CConfigManager manager;
};

TEST_F(SystemProtocolCfg, AHandlerReadsAsItIsStored) {
    const Record record = read();
    EXPECT_STREQ(record.header.name, "Web");
    EXPECT_STREQ(record.header.filename, "web.dll");
    EXPECT_EQ(record.header.type, 3u);
    EXPECT_EQ(record.header.enable, 1u);
    EXPECT_STREQ(record.header.scan, "Web");
    EXPECT_EQ(record.header.dependentScanEngine, 0u);
    EXPECT_THAT(record.redirects, IsEmpty());
}

TEST_F(SystemProtocolCfg, WhatCantBeReadIsEmptyOrZero) {
    tree::setText("ProtocolHandler\\" + std::string(31, 'n'), "Filename", std::string(260, 'f')); // the longest but one
    tree::setNumber("ProtocolHandler\\" + std::string(31, 'n'), "Type", 4);
    tree::setText("ProtocolHandler\\" + std::string(31, 'n'), "Enable", "no number");
    tree::set("ProtocolHandler\\" + std::string(31, 'n'), "Scan", REG_SZ, "ElevenChars", 11); // without a terminator
    WdchSystemProtocolHandler header = read(10004).header;
    EXPECT_STREQ(header.name, "");
    EXPECT_STREQ(header.filename, "");
    EXPECT_EQ(header.type, 4u);
    EXPECT_EQ(header.enable, 0u);
    EXPECT_STREQ(header.scan, "");

    tree::setNumber("ProtocolHandler\\" + std::string(30, 'm'), "Type", 5);
    tree::setText("ProtocolHandler\\" + std::string(30, 'm'), "Filename", std::string(259, 'f'));
    tree::set("ProtocolHandler\\" + std::string(30, 'm'), "Scan", REG_SZ, "TenLetters", 10);
    header = read(10005).header;
    EXPECT_EQ(std::string(header.name), std::string(30, 'm'));
    EXPECT_EQ(std::string(header.filename), std::string(259, 'f'));
    EXPECT_STREQ(header.scan, "TenLetters");

    header = read(10009).header; // nobody's protocol
    EXPECT_STREQ(header.name, "");
    EXPECT_EQ(header.type, 0u);
}

TEST_F(SystemProtocolCfg, OfTwoHandlersOfOneTypeTheFirstServes) {
    tree::setNumber("ProtocolHandler\\Aweb", "Type", 3);
    tree::setNumber("ProtocolHandler\\Aweb", "Enable", 8);
    Record record = read();
    EXPECT_STREQ(record.header.name, "Aweb");
    EXPECT_EQ(record.header.enable, 8u);
    record.header.enable = 0;
    EXPECT_EQ(manager.WriteConfig(kHandler, 0, 0, 0, &record.header, kHeader), WDLT_OK);
    EXPECT_EQ(tree::number("ProtocolHandler\\Aweb", "Enable"), 0u);
    EXPECT_EQ(tree::number(kKey, "Enable"), 1u);
}

TEST_F(SystemProtocolCfg, TheSizeHasToBeThatOfTheList) {
    for (const char* session : {"a", "b", "c"})
        tree::setNumber(keyOf(session), "port", 1);
    const LogFile log;
    std::vector<BYTE> buffer(4096, 0xEE);
    for (const std::uint64_t given : {std::uint64_t{0}, kHeader, kHeader + 2 * kEntry, std::uint64_t{2631},
                                      std::uint64_t{2633}, ~std::uint64_t{0}}) {
        std::uint64_t size = given;
        EXPECT_EQ(manager.ReadConfig(kHandler, 0, 0, 0, buffer.data(), &size), WDLT_E_BUFFER_SIZE);
        EXPECT_EQ(size, 2632u);
    }
    EXPECT_EQ(std::count(buffer.begin(), buffer.end(), BYTE{0xEE}), 4096);
    std::uint64_t size = 2632;
    EXPECT_EQ(manager.ReadConfig(kHandler, 0, 0, 0, nullptr, &size), WDLT_E_GENERAL);
    EXPECT_THAT(log.messages(), Contains("!!! data is NULL"));
}

TEST_F(SystemProtocolCfg, TheScanItemsThatAreOn) {
    const struct {
        const char* item;
        DWORD enable;
        std::uint32_t mask;
    } cases[] = {
        {"Virus", 1, 1},
        {"Virus", 2, 0}, // only 1 counts
        {"HttpFileScan", 1, 1},
        {"HttpFileScan", 2, 1}, // here any number does
        {"HttpFileScan", 0, 0},
        {"URLFilter", 1, 4},
        {"HTTPCleaner", 1, 0x20},
        {"SAL", 1, 0x200},
        {"TestEngine", 1, 0x8000},
        {"HttpManager", 1, 0x20000},
        {"HttpsFilter", 1, 0}, // its input isn't looked at
        {"TestManager", 1, 0x80000000},
        {"Unheard", 1, 0},
    };
    for (const auto& c : cases) {
        const std::string key = std::string("Scan\\Web\\") + c.item;
        tree::setNumber(key, "Enable", c.enable);
        EXPECT_EQ(read().header.dependentScanEngine, c.mask) << c.item << ' ' << c.enable;
        tree::deleteValue(key, "Enable");
    }
    tree::setNumber("Scan\\Web\\Virus", "Enable", 1);
    tree::setNumber("Scan\\Web\\SAL", "Enable", 1);
    tree::setNumber("Scan\\Web\\TestManager", "Enable", 1);
    EXPECT_EQ(read().header.dependentScanEngine, 0x80000201u);
}

TEST_F(SystemProtocolCfg, FilesOverHttpAreTheVirusScanOfHttpAlone) {
    tree::setNumber("ProtocolHandler\\Mail", "Type", 1);
    tree::setText("ProtocolHandler\\Mail", "Scan", "Mail");
    tree::setNumber("Scan\\Mail\\HttpFileScan", "Enable", 1);
    tree::setNumber("Scan\\Web\\HttpFileScan", "Enable", 1);
    EXPECT_EQ(read(10001).header.dependentScanEngine, 0u);
    EXPECT_EQ(read().header.dependentScanEngine, 1u);
    // Without the offset of the administrative view it is still HTTP.
    CSystemProtocolCfg helper;
    helper.store = std::make_unique<CRegistryIO>();
    helper.protocol = WDLT_PROTOCOL_HTTP;
    EXPECT_EQ(helper.GetDependentScanEngine(), 1u);
}

TEST_F(SystemProtocolCfg, EveryBitHasItsLine) {
    tree::setNumber("Scan\\Web\\URLFilter", "Enable", 1);
    tree::setNumber("Scan\\Web\\SAL", "Enable", 0x2A);
    CSystemProtocolCfg helper;
    helper.store = std::make_unique<CRegistryIO>();
    helper.protocol = kHandler;
    const LogFile log;
    EXPECT_EQ(helper.GetDependentScanEngine(), 4u);
    std::vector<std::string> lines = log.messages();
    std::erase_if(lines, [](const std::string& line) { return line.find("GetDependent") == line.npos; });
    ASSERT_EQ(lines.size(), 32u);
    const auto line = [](int status, const char* bit, const char* enable) {
        return "@@@ GetDependentScanEngine (" + std::to_string(status) + ") : protocol = 10003,  type = " + bit +
               ",  enable = " + enable;
    };
    EXPECT_EQ(lines[0], line(-9, "00000001", "0"));
    EXPECT_EQ(lines[2], line(0, "00000004", "1"));
    EXPECT_EQ(lines[9], line(0, "00000200", "2a"));
    EXPECT_EQ(lines[10], line(-3, "00000400", "0")); // a bit without a name
    EXPECT_EQ(lines[31], line(-9, "80000000", "0"));
}

TEST_F(SystemProtocolCfg, AWriteStoresTheFourValuesAndNoRedirect) {
    tree::setNumber(keyOf("kept"), "port", 4);
    Record record = read();
    put(record.header.name, "Other"); // can't change this way
    put(record.header.filename, "new.dll");
    record.header.enable = 0xFFFFFFFF;
    put(record.header.scan, "TenLetters");
    record.header.dependentScanEngine = 1;
    std::vector<BYTE> buffer(kHeader + 2 * kEntry, 0xEE);
    std::memcpy(buffer.data(), &record.header, kHeader);
    const LogFile log;
    EXPECT_EQ(manager.WriteConfig(kHandler, 0, 0, 0, buffer.data(), buffer.size()), WDLT_OK);
    EXPECT_EQ(tree::storedText(kKey, "Filename"), std::string("new.dll") + '\0');
    EXPECT_EQ(tree::number(kKey, "Type"), 3u);
    EXPECT_EQ(tree::number(kKey, "Enable"), 0xFFFFFFFFu);
    EXPECT_EQ(tree::storedText(kKey, "Scan"), std::string("TenLetters") + '\0');
    EXPECT_EQ(read().redirects.size(), 1u);
    EXPECT_EQ(tree::number(keyOf("kept"), "port"), 4u);
    EXPECT_FALSE(tree::keyExists("ProtocolHandler\\Other"));
    EXPECT_THAT(log.messages(), Contains("@@@ Failed to open memory in ConfigChangeSender or Wardlet is not running"));
}

TEST_F(SystemProtocolCfg, TextsWithoutATerminatorAreRefused) {
    const WdchSystemProtocolHandler good = read().header;
    for (const auto spoil : {+[](WdchSystemProtocolHandler& h) { put(h.filename, std::string(260, 'f')); },
                             +[](WdchSystemProtocolHandler& h) { put(h.scan, std::string(11, 's')); }}) {
        WdchSystemProtocolHandler header = good;
        header.enable = 77;
        spoil(header);
        EXPECT_EQ(manager.WriteConfig(kHandler, 0, 0, 0, &header, kHeader), WDLT_E_INVALID_ARGUMENT);
        EXPECT_EQ(read().header.enable, good.enable);
    }
}

TEST_F(SystemProtocolCfg, OtherSizesTypesAndNoDataAreRefused) {
    const Record record = read();
    std::vector<BYTE> buffer(kHeader + 2 * kEntry);
    std::memcpy(buffer.data(), &record.header, kHeader);
    reinterpret_cast<char*>(buffer.data())[31] = 'X'; // would change the file
    const struct {
        std::uint64_t configType, size;
        bool withData;
        std::int32_t status;
        std::string line;
    } cases[] = {
        {0, kHeader + 1, true, -1, "WriteConfig WdchSystemProtocolHandler size error : (1 / 328 / 768)"},
        {0, 1095, true, -1, "WriteConfig WdchSystemProtocolHandler size error : (767 / 328 / 768)"},
        {0, 327, true, -1, "WriteConfig WdchSystemProtocolHandler size error : (-1 / 328 / 768)"},
        {0, 72, true, -1,
         "WriteConfig WdchSystemProtocolHandler size error : (-256 / 328 / 768)"}, // wraps to a multiple
        {0, 0, false, -1, "WriteConfig WdchSystemProtocolHandler size error : (-328 / 328 / 768)"},
        {0, kHeader, false, -3, "data is NULL"},
        {3, kHeader, true, -3, "WriteConfig config type (3)"},
        {0x100000000, kHeader, true, -3, "WriteConfig config type (2147483647)"},
        {1, 767, true, -1, "[CSystemProtocolCfg::AddRedirect] Invalid buffer size (767)"},
        {1, 2 * kEntry, true, -1, "[CSystemProtocolCfg::AddRedirect] Invalid buffer size (1536)"},
        {1, kEntry, false, -3, "[CSystemProtocolCfg::AddRedirect] sessionType not specified"},
        {2, 0, true, -1, "DelRedirect Invalid buffer size (0)"},
        {2, kEntry, false, -3, "DelRedirect sessionType not specified"},
    };
    for (const auto& c : cases) {
        const LogFile log;
        EXPECT_EQ(manager.WriteConfig(kHandler, 0, 0, c.configType, c.withData ? buffer.data() : nullptr, c.size),
                  c.status)
            << c.line;
        EXPECT_THAT(log.messages(), Contains("!!! " + c.line));
    }
    EXPECT_STREQ(read().header.filename, "web.dll");
    EXPECT_FALSE(tree::keyExists(kKey + "\\Redirect"));
}

TEST_F(SystemProtocolCfg, TheFirstValueThatFailsEndsAWrite) {
    const char* const fields[] = {"filename", "type", "enable", "scan"};
    for (int failing = 1; failing <= 4; ++failing) {
        SetUp();
        WdchSystemProtocolHandler header{};
        put(header.filename, "new.dll");
        header.type = 3;
        header.enable = 9;
        put(header.scan, "New");
        const auto helper = helperOn(std::make_unique<FailingStore>(failing));
        const LogFile log;
        EXPECT_EQ(helper->WriteConfig(0, &header, kHeader), WDLT_E_GENERAL);
        EXPECT_THAT(log.messages(), Contains(std::string("!!! WriteConfig WdchSystemProtocolHandler::") +
                                             fields[failing - 1] + " fails."));
        EXPECT_EQ(std::string(read().header.filename), failing > 1 ? "new.dll" : "web.dll");
        EXPECT_EQ(tree::number(kKey, "Enable"), failing > 3 ? 9u : 1u);
        EXPECT_STREQ(read().header.scan, "Web");
    }
}

// The second value takes the key away from the address: the third has no place any more.
TEST_F(SystemProtocolCfg, AWriteThatChangesTheTypeEndsThere) {
    WdchSystemProtocolHandler header = read().header;
    put(header.filename, "new.dll");
    header.type = 9;
    header.enable = 0;
    const LogFile log;
    EXPECT_EQ(manager.WriteConfig(kHandler, 0, 0, 0, &header, kHeader), WDLT_E_GENERAL);
    EXPECT_THAT(log.messages(), AllOf(Contains("!!! WriteConfig WdchSystemProtocolHandler::enable fails."),
                                      Not(Contains(HasSubstr("ConfigChangeSender")))));
    EXPECT_EQ(tree::number(kKey, "Type"), 9u);
    EXPECT_EQ(tree::number(kKey, "Enable"), 1u);
    EXPECT_STREQ(read(10009).header.filename, "new.dll");
}

TEST_F(SystemProtocolCfg, ATypeThatAnotherThreadChangesLeavesNoHalfWrittenSuccess) {
    std::atomic<bool> stopped{false};
    std::thread other([&] {
        for (DWORD i = 0; !stopped; ++i) {
            tree::setNumber(kKey, "Type", i % 2 == 0 ? 9 : 3);
            std::this_thread::yield();
        }
    });
    int successes = 0;
    for (DWORD i = 2; i < 400 || successes == 0; ++i) {
        WdchSystemProtocolHandler header{};
        const std::string name = std::string("f").append(std::to_string(i));
        put(header.filename, name);
        header.type = 3;
        header.enable = i;
        put(header.scan, name);
        const std::int32_t status = manager.WriteConfig(kHandler, 0, 0, 0, &header, kHeader);
        ASSERT_THAT(status, testing::AnyOf(WDLT_OK, WDLT_E_GENERAL));
        if (status != WDLT_OK)
            continue;
        ++successes;
        EXPECT_EQ(tree::storedText(kKey, "Filename"), name + '\0');
        EXPECT_EQ(tree::number(kKey, "Enable"), i);
        EXPECT_EQ(tree::storedText(kKey, "Scan"), name + '\0');
    }
    stopped = true;
    other.join();
    EXPECT_THAT(tree::subkeys(tree::path("")), ElementsAre("ProtocolHandler"));
    EXPECT_THAT(tree::subkeys(tree::path("ProtocolHandler")), ElementsAre("Web"));
}

} // namespace
