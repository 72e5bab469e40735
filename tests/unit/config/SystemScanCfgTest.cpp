// The fixed records of the administrative view: a scan item's switch, an item's file for all protocols, the HTTPS
// filter.
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
#include <cstring>
#include <string>
#include <vector>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

struct TextField {
    const char* name; // of the value
    std::size_t offset;
    std::size_t size;
};

// One record of the three kinds.
struct Kind {
    std::uint32_t protocol, scan, input;
    std::string key;
    std::uint64_t size;
    bool hasEnable;
    std::vector<TextField> texts;
    bool needsTexts;                   // a text that can't be read ends the read
    std::vector<std::string> failures; // by value, in the order of writing
};

const Kind kItem{10003,
                 0x40000,
                 0,
                 "Scan\\Web\\ImManager",
                 260,
                 true,
                 {{"LogExtension", 4, 256}},
                 false,
                 {"WriteConfig WdchSystemScan::enable fails.", "WriteConfig WdchSystemScan::logExtension fails."}};
const Kind kCommon{10000,
                   0x40,
                   0,
                   "Scan\\Common\\AntiSpam",
                   260,
                   false,
                   {{"Filename", 0, 260}},
                   false,
                   {"WriteConfig WdchSystemScanCommon::filename fails."}};
const Kind kHttps{10003,
                  0x20000,
                  2,
                  "Scan\\Web\\HttpsFilter",
                  1292,
                  true,
                  {{"HostFilterAlertFile", 4, 257},
                   {"HostFilterErrorFile", 261, 257},
                   {"PrivacyDataAlertFile", 518, 257},
                   {"UrlFilterAlertFile", 775, 257},
                   {"UrlFilterCredAlertFile", 1032, 257}},
                  true,
                  {"CSystemScanHttpsCfg::WriteConfig enable fails -9",
                   "CSystemScanHttpsCfg::WriteConfig HostFilterAlertFile fails -9",
                   "CSystemScanHttpsCfg::WriteConfig HostFilterErrorFile fails -9",
                   "CSystemScanHttpsCfg::WriteConfig PrivacyDataAlertFile fails -9",
                   "CSystemScanHttpsCfg::WriteConfig UrlFilterAlertFile fails -9",
                   "CSystemScanHttpsCfg::WriteConfig UrlFilterCredAlertFile fails -9"}};

void PrintTo(const Kind& kind, std::ostream* out) {
    *out << kind.key;
}

class FixedRecord : public testing::TestWithParam<Kind> {
  protected:
    void SetUp() override {
        tree::clear();
        tree::setNumber("ProtocolHandler\\Web", "Type", 3);
        tree::setText("ProtocolHandler\\Web", "Scan", "Web");
    }

    void storeAll() const {
        if (kind.hasEnable)
            tree::setNumber(kind.key, "Enable", 0x80000002);
        for (const TextField& field : kind.texts)
            tree::setText(kind.key, field.name, std::string("of ") + field.name);
    }
    // Reads at an odd address, between guard bytes.
    std::int32_t read(std::string& record) {
        std::vector<BYTE> buffer(kind.size + 2, 0xEE);
        std::uint64_t size = kind.size;
        const std::int32_t status =
            manager.ReadConfig(kind.protocol, kind.scan, kind.input, 77, buffer.data() + 1, &size);
        EXPECT_EQ(size, kind.size);
        EXPECT_EQ(buffer.front(), 0xEE);
        EXPECT_EQ(buffer.back(), 0xEE);
        record.assign(buffer.begin() + 1, buffer.end() - 1);
        return status;
    }
    std::int32_t write(std::string record) {
        return manager.WriteConfig(kind.protocol, kind.scan, kind.input, 77, record.data(), record.size());
    }
    static std::string text(const std::string& record, const TextField& field) {
        const std::string whole = record.substr(field.offset, field.size);
        EXPECT_EQ(whole.find_first_not_of('\0', whole.find('\0')), whole.npos); // zero to its end
        return whole.substr(0, whole.find('\0'));
    }
    static std::uint32_t enable(const std::string& record) {
        std::uint32_t number = 0;
        std::memcpy(&number, record.data(), sizeof number);
        return number;
    }

    const Kind& kind = GetParam();
    CConfigManager manager;
};

TEST_P(FixedRecord, StoredValuesAreRead) {
    storeAll();
    std::string record;
    EXPECT_EQ(read(record), WDLT_OK);
    if (kind.hasEnable) {
        EXPECT_EQ(enable(record), 0x80000002u);
    }
    for (const TextField& field : kind.texts)
        EXPECT_EQ(text(record, field), std::string("of ") + field.name);
}

TEST_P(FixedRecord, WhatIsMissingIsADefaultOrTheEnd) {
    storeAll();
    std::string record;
    if (kind.hasEnable) {
        tree::setText(kind.key, "Enable", "no number");
        EXPECT_EQ(read(record), WDLT_OK);
        EXPECT_EQ(enable(record), 0u);
        tree::deleteValue(kind.key, "Enable");
        EXPECT_EQ(read(record), WDLT_OK);
        EXPECT_EQ(enable(record), 0u);
    }
    for (const TextField& field : kind.texts) {
        const struct {
            std::string stored;
            std::int32_t status;
        } cases[] = {
            {std::string(field.size - 1, 'f') + '\0', WDLT_OK},
            {std::string(field.size, 'f'), WDLT_E_BUFFER_SIZE}, // no room for a terminator
            {std::string(field.size, 'f') + '\0', WDLT_E_BUFFER_SIZE},
            {"", WDLT_OK},
            {"f", WDLT_OK},
        };
        for (const auto& c : cases) {
            tree::set(kind.key, field.name, REG_SZ, c.stored.data(), static_cast<DWORD>(c.stored.size()));
            const LogFile log;
            EXPECT_EQ(read(record), kind.needsTexts ? c.status : WDLT_OK);
            if (c.status == WDLT_OK) {
                EXPECT_EQ(text(record, field), c.stored.substr(0, c.stored.find('\0')));
            } else if (!kind.needsTexts) {
                EXPECT_EQ(text(record, field), "");
            } else {
                EXPECT_THAT(log.messages(),
                            Contains(std::string("!!! CSystemScanHttpsCfg::ReadConfig ") + field.name + " fails -2"));
            }
        }
        tree::deleteValue(kind.key, field.name);
        const LogFile log;
        EXPECT_EQ(read(record), kind.needsTexts ? WDLT_E_NOT_FOUND : WDLT_OK);
        if (kind.needsTexts) {
            EXPECT_THAT(log.messages(),
                        Contains(std::string("!!! CSystemScanHttpsCfg::ReadConfig ") + field.name + " fails -16"));
        }
        tree::setText(kind.key, field.name, "there again");
    }
}

TEST_P(FixedRecord, AnEmptyTreeHasNoItem) {
    std::string record;
    EXPECT_EQ(read(record), kind.needsTexts ? WDLT_E_REGISTRY : WDLT_OK);
    if (!kind.needsTexts) {
        EXPECT_EQ(record, std::string(kind.size, '\0'));
    }
    EXPECT_FALSE(tree::keyExists("Scan"));
}

TEST_P(FixedRecord, AWriteMakesTheKeyAndStoresEachText) {
    std::string record(kind.size, '\0');
    if (kind.hasEnable)
        record[0] = 3;
    for (const TextField& field : kind.texts) {
        record.replace(field.offset, field.size, field.size, 'f'); // without a terminator
        EXPECT_EQ(write(record), WDLT_E_INVALID_ARGUMENT);
        EXPECT_FALSE(tree::keyExists(kind.key));
        record[field.offset + field.size - 1] = '\0';
    }
    EXPECT_EQ(write(record), WDLT_OK);
    if (kind.hasEnable) {
        EXPECT_EQ(tree::number(kind.key, "Enable"), 3u);
    }
    for (const TextField& field : kind.texts) {
        EXPECT_EQ(tree::storedText(kind.key, field.name), std::string(field.size - 1, 'f') + '\0');
        record.replace(field.offset, field.size, field.size, '\0');
    }
    EXPECT_EQ(write(record), WDLT_OK);
    for (const TextField& field : kind.texts)
        EXPECT_EQ(tree::storedText(kind.key, field.name), std::string(1, '\0'));
    std::string back;
    EXPECT_EQ(read(back), WDLT_OK);
    EXPECT_EQ(back, record);
}

TEST_P(FixedRecord, TheFirstValueThatFailsEndsAWrite) {
    for (std::size_t failing = 0; failing < kind.failures.size(); ++failing) {
        SetUp();
        const auto helper = CConfigManager::CreateHelper(kind.protocol, kind.scan, kind.input);
        helper->store = std::make_unique<FailingStore>(static_cast<int>(failing + 1));
        std::string record(kind.size, '\0');
        const LogFile log;
        EXPECT_EQ(helper->WriteConfig(0, record.data(), record.size()), WDLT_E_GENERAL);
        EXPECT_THAT(log.messages(), Contains("!!! " + kind.failures[failing]));
        EXPECT_FALSE(helper->skipChangeEvent);
        std::size_t index = 0;
        if (kind.hasEnable) {
            EXPECT_EQ(tree::get(kind.key, "Enable").has_value(), index++ < failing);
        }
        for (const TextField& field : kind.texts)
            EXPECT_EQ(tree::get(kind.key, field.name).has_value(), index++ < failing) << field.name;
    }
}

std::string kindName(const testing::TestParamInfo<Kind>& info) {
    constexpr const char* kNames[] = {"Item", "Common", "Https"};
    return kNames[info.index];
}

INSTANTIATE_TEST_SUITE_P(Kinds, FixedRecord, testing::Values(kItem, kCommon, kHttps), kindName);

TEST(SystemScan, AFolderNameThatIsTooLongTakesTheItemsAway) {
    tree::clear();
    tree::setNumber("ProtocolHandler\\Web", "Type", 3);
    tree::setText("ProtocolHandler\\Web", "Scan", "ElevenChars");
    tree::setNumber("Scan\\ElevenChars\\SAL", "Enable", 1);
    CConfigManager manager;
    WdchSystemScan item{};
    std::uint64_t size = sizeof item;
    EXPECT_EQ(manager.ReadConfig(10003, WDLT_SCAN_SAL, 0, 0, &item, &size), WDLT_OK);
    EXPECT_EQ(item.enable, 0u);
    const LogFile log;
    item.enable = 1;
    EXPECT_EQ(manager.WriteConfig(10003, WDLT_SCAN_SAL, 0, 0, &item, sizeof item), WDLT_E_GENERAL);
    EXPECT_THAT(log.messages(), Contains("!!! WriteConfig WdchSystemScan::enable fails."));
    EXPECT_THAT(log.messages(), Not(Contains(HasSubstr("logExtension"))));
}

} // namespace
