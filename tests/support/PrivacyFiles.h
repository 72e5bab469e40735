// Privacy items for tests: their settings, their files, laid out and enciphered here without the library's code, and
// everything that an operation may change, for comparison.
#pragma once

#include "Enciphered.h"

#include <TestFiles.h>
#include <Tree.h>

#include <wdltcfg/addresses.h>
#include <wdltcfg/charsets.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace privacy_files {

inline const std::string kKey = "Scan\\Common\\PrivacyProtection\\config";
inline constexpr const char* kDatabase = "install/pdp.db";
inline constexpr const char* kBackup = "install/pdp.bak";
inline constexpr const char* kPresence = "Global\\_PRIVACY_DATA_PROTECTION_CONFIG_MUTEX";

inline std::string number(std::uint32_t value) {
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8)
        bytes += static_cast<char>(value >> shift & 0xFF);
    return bytes;
}

inline std::string message(const std::string& plain) {
    return enciphered(wdlt::kPrivacyKey, plain);
}

inline std::string filled(std::string text, std::size_t bytes) {
    text.resize(bytes, '\0');
    return text;
}

inline std::string header(std::uint32_t records) {
    return filled("__PRIVACY_DATA_PROTECTION__", 32) + filled("01.01.00", 16) + number(20260120) + number(123456) +
           number(records) + number(0);
}
inline std::string record(std::uint32_t index, std::uint32_t item, std::uint32_t charSet, const std::string& pattern) {
    return number(index) + number(item) + number(charSet) + message(filled(pattern, 112));
}
inline std::string patternOf(const PrivacySearchRecord& record) {
    return reinterpret_cast<const char*>(record.byPattern);
}
inline std::string exclusionHeader(std::uint32_t count, std::size_t bytes) {
    return number(count) + number(static_cast<std::uint32_t>(bytes));
}
// Enciphers `plain` as it is; one made by a writer ends in the text's terminator.
inline std::string rawExclusion(std::uint32_t id, std::uint32_t target, const std::string& plain) {
    const std::string text = message(plain);
    return number(id) + number(target) + number(static_cast<std::uint32_t>(text.size())) + text;
}
inline std::string exclusion(std::uint32_t id, const std::string& text) {
    return rawExclusion(id, 16, text + '\0');
}
inline std::string emptyFile() {
    return header(0) + exclusionHeader(0, 0);
}
// A file with two records and two exclusions.
inline std::string smallFile() {
    const std::string exclusions = exclusion(7, "www.example.com") + exclusion(8, "intranet");
    return header(2) + record(0, 3, WDLT_CHARSET_US_ASCII, "4711 0815") + record(1, 4, WDLT_CHARSET_US_ASCII, "2") +
           exclusionHeader(2, exclusions.size()) + exclusions;
}

template <std::size_t Size>
void put(char (&field)[Size], const std::string& text) {
    std::memset(field, 0, Size);
    text.copy(field, Size - 1);
}

inline PrivacyViewItem item(std::uint32_t index, const std::string& data, const std::string& name = "name") {
    PrivacyViewItem made{};
    made.dwItemIndex = index;
    made.dwScanTarget = index * 10;
    put(made.szItemName, name);
    put(made.szDescription, "description of " + name);
    put(made.szPrivacyData, data);
    return made;
}
inline PrivacyExclusionItem exclusionItem(std::uint32_t id, const std::string& text, std::uint32_t target = 16) {
    PrivacyExclusionItem made{};
    made.dwExclusionId = id;
    made.dwScanTarget = target;
    put(made.szText, text);
    return made;
}

inline PrivacyControlData control(std::uint32_t charSets = WDLT_CHARSET_US_ASCII) {
    return {charSets, 0, WDLT_CHARSET_UTF_8, 1, 1, 32, 0, "pdp.db", "pdp.bak"};
}

// A buffer for a write; the record begins at the second byte, unaligned.
template <class Head, class Item>
std::vector<char> bufferOf(const Head& head, const std::vector<Item>& items) {
    std::vector<char> bytes(1 + sizeof head + items.size() * sizeof(Item));
    std::memcpy(bytes.data() + 1, &head, sizeof head);
    if (!items.empty())
        std::memcpy(bytes.data() + 1 + sizeof head, items.data(), items.size() * sizeof(Item));
    return bytes;
}
inline std::vector<char> bufferOf(const std::vector<PrivacyExclusionItem>& items) {
    return bufferOf(PrivacyExclusionListHead{static_cast<std::uint32_t>(items.size()), 0xEEEEEEEE}, items);
}

// Everything that a write may change. The database's date and time are ignored.
struct State {
    std::string database;
    std::string backup; // "-" when there is none
    std::vector<std::string> temporary;
    std::map<std::string, std::string> values;
    bool operator==(const State&) const = default;
};

class PrivacyTest : public TestFiles {
  protected:
    static void SetUpTestSuite() { WdTestRereadEnvironment(); }

    PrivacyTest() {
        tree::clear();
        std::filesystem::create_directory(at("install"));
        std::filesystem::create_directory(at("temp"));
        tree::setText("", "InstallPath", at("install").string() + "/");
        tree::setText("", "TempPath", at("temp").string() + "/");
        settings(control());
        put("install/pdp.db", emptyFile());
    }

    using TestFiles::put;

    static void settings(const PrivacyControlData& control) {
        for (const auto& [name, number] : {std::pair{"CharSetEntry", control.dwCharSetEntry},
                                           {"ExtCharSetEntry", control.dwExtCharSetEntry},
                                           {"DefaultCharSet", control.dwDefaultCharSet},
                                           {"AccessRetryCount", control.dwAccessRetryCount},
                                           {"AccessWaitTime", control.dwAccessWaitTime},
                                           {"ItemEntryMax", control.dwItemEntryMax},
                                           {"ItemEntryCount", control.dwItemEntryCount}})
            tree::setNumber(kKey, name, number);
        tree::setText(kKey, "DataBaseName", control.szDataBaseName);
        tree::setText(kKey, "BackUpDBName", control.szBackUpDBName);
    }

    State state() const {
        State now{get(kDatabase), std::filesystem::exists(at(kBackup)) ? get(kBackup) : "-", {}, {}};
        for (std::string* const file : {&now.database, &now.backup})
            if (file->size() >= 56)
                file->replace(48, 8, std::string(8, 'T'));
        for (const auto& entry : std::filesystem::directory_iterator(at("temp")))
            now.temporary.push_back(entry.path().filename().string());
        for (const char* const name :
             {"ItemEntryCount", "ItemIndex", "ScanTarget", "ItemName", "Description", "PrivacyData"})
            for (const char* const position : {"", "00", "01", "02", "03"})
                if (const auto value = tree::get(kKey, (name + std::string(position)).c_str()))
                    now.values[name + std::string(position)] = value->data;
        return now;
    }
};
} // namespace privacy_files
