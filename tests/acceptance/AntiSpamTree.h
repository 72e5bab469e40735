// The tree, list files and calls for the tests of anti-spam.
#pragma once

#include "FieldCases.h"
#include "FreshLog.h"
#include "TestHome.h"
#include "TimeScale.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace anti_spam {

using Texts = std::vector<std::string>;

inline const std::string kCommonKey = "Scan\\Common\\AntiSpam\\config";
inline const std::string kPopKey = "Scan\\POP3\\AntiSpam\\config";
constexpr Change kCommonChange{WDLT_PROTOCOL_COMMON, WDLT_SCAN_ANTI_SPAM};
constexpr Change kListsChange{WDLT_PROTOCOL_POP3, WDLT_SCAN_ANTI_SPAM};
constexpr const char* kPrefixes[] = {"PrefixSpam", "PrefixPhishing", "PrefixMalicious", "PrefixSuspicious",
                                     "PrefixBlack"};

template <std::size_t Size>
void put(char (&field)[Size], const std::string& text) {
    std::memset(field, 0, Size);
    text.copy(field, Size - 1);
}

inline std::vector<WdpeAspmEntry> entriesOf(const Texts& texts) {
    std::vector<WdpeAspmEntry> entries(texts.size());
    for (std::size_t i = 0; i < texts.size(); ++i)
        texts[i].copy(entries[i].szEntry, sizeof entries[i].szEntry);
    return entries;
}

inline Texts textsOf(const WdpeAspmEntry* entries, std::size_t count) {
    Texts texts;
    for (std::size_t i = 0; i < count; ++i)
        texts.emplace_back(entries[i].szEntry);
    return texts;
}

class AntiSpam : public testing::Test {
  protected:
    AntiSpam() {
        tree::clear();
        std::filesystem::remove_all(home / "install");
        std::filesystem::create_directories(home / "install");
        tree::setText("", "InstallPath", (home / "install").string() + "/");
        tree::setNumber("ProtocolHandler\\POP3", "Type", WDLT_PROTOCOL_POP3);
        tree::setText("ProtocolHandler\\POP3", "Scan", "POP3");
        setAll();
    }

    // Sets every value that a read needs.
    static void setAll() {
        tree::setNumber(kCommonKey, "ScanType", 3);
        for (const char* const prefix : kPrefixes)
            tree::setText(kCommonKey, prefix, std::string("[") + prefix[6] + "]");
        tree::setNumber(kCommonKey, "EnableImageDetection", 1);
        tree::setNumber(kCommonKey, "EnableInTheCloud", 0);
        tree::setNumber(kCommonKey, "InTheCloudTimeout", 500);
        tree::setNumber(kPopKey, "Level", 1);
        for (const auto& [name, text] : {std::pair{"Low", "90"}, {"Medium", "70.5"}, {"High", "1e1"}})
            tree::setText(kPopKey, name, text);
        tree::setText(kPopKey, "Whitelist", "white.txt");
        tree::setText(kPopKey, "Blacklist", "black.txt");
    }

    template <class Record>
    std::int32_t read(std::uint32_t protocol, std::uint64_t type, Record& record) {
        std::uint64_t size = sizeof record;
        return WDLT_CALL(library, WdltReadConfig)(protocol, WDLT_SCAN_ANTI_SPAM, type, &record, &size);
    }
    template <class Record>
    std::int32_t write(std::uint32_t protocol, std::uint64_t type, Record& record) {
        return WDLT_CALL(library, WdltWriteConfig)(protocol, WDLT_SCAN_ANTI_SPAM, type, &record, sizeof record);
    }
    std::unique_ptr<WdpeAspmData> readLists() {
        auto record = std::make_unique<WdpeAspmData>();
        std::memset(record.get(), 0xEE, sizeof *record);
        EXPECT_EQ(read(WDLT_PROTOCOL_POP3, 0, *record), WDLT_OK);
        return record;
    }
    Texts list(std::uint32_t type) {
        std::vector<WdpeAspmEntry> entries(WDLT_MAX_ASPM_RECORDS);
        std::int32_t count = WDLT_MAX_ASPM_RECORDS + 100;
        EXPECT_EQ(WDLT_CALL(library, WdltAspmReadRecordList)(type, entries.data(), &count), WDLT_OK);
        return textsOf(entries.data(), static_cast<std::size_t>(count));
    }
    std::int32_t writeList(std::uint32_t type, const Texts& texts) {
        const auto entries = entriesOf(texts);
        const WdpeAspmEntry none{};
        return WDLT_CALL(library, WdltAspmWriteRecordList)(type, entries.empty() ? &none : entries.data(),
                                                           static_cast<std::int32_t>(entries.size()));
    }
    void putFile(const std::string& name, const std::string& content) const {
        TestHome::instance().write("install/" + name, content);
    }
    std::string getFile(const std::string& name) const { return TestHome::instance().read("install/" + name); }

    const std::filesystem::path home = TestHome::instance().path();
    const TimeScale impatient{"0.001"};
    const FreshLog log;
    LoadedLibrary library{LoadedLibrary::withLog};
};

} // namespace anti_spam
