#include "EngineASpm.h"

#include "AntiSpamList.h"
#include "AspmReport.h"
#include "MailRecords.h"
#include "WdCommon/LogFormat.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

namespace {

using namespace wdlt;

using Settings = AntiSpamPop3Settings;

constexpr double kHighestThreshold = 100;

// The thresholds are read between the level and the files.
constexpr std::size_t kBehindLevel = indexOf(kAntiSpamPop3Fields, WDLT_IN(Settings, dwLevel)) + 1;
constexpr auto kReadFirst = std::span(kAntiSpamPop3Fields).first<kBehindLevel>();
constexpr auto kReadLast = std::span(kAntiSpamPop3Fields).subspan<kBehindLevel>();

struct List {
    std::size_t entries; // their offset in the record
    char (Settings::*file)[257];
    std::uint32_t Settings::*count;
    std::uint32_t unread; // its bit in dwUnreadLists
    LogFormat<unsigned long> tooMany;
};
constexpr List kLists[] = {
    {offsetof(WdpeAspmData, whitelist), &Settings::szWhitelistFile, &Settings::dwWhitelistCount, WDLT_ASPM_UNREAD_WHITE,
     "WriteConfig: tried to write too many whitelist record: %lu"},
    {offsetof(WdpeAspmData, blacklist), &Settings::szBlacklistFile, &Settings::dwBlacklistCount, WDLT_ASPM_UNREAD_BLACK,
     "WriteConfig: tried to write too many blacklist record: %lu"},
};

// The number that a text begins with; 0 without one.
double decimalNumber(const char* text) {
    const char* begin = text + std::strspn(text, " \t\r\n");
    begin += *begin == '+' ? 1 : 0;
    double number = 0;
    std::from_chars(begin, begin + std::strlen(begin), number);
    return number;
}

std::int32_t readThreshold(WdchHelper& helper, const char* key, double& field) {
    std::array<char, kAntiSpamTextBytes + 1> text{};
    DWORD size = kAntiSpamTextBytes;
    if (const std::int32_t status = helper.ReadItem("", key, text.data(), &size, false); status != WDLT_OK) {
        kAspmReport.readFailed.tell(kLogError, {key}, {status});
        return WDLT_E_REGISTRY;
    }
    const double number = decimalNumber(text.data());
    if (!(number > 0 && number <= kHighestThreshold)) {
        WDLOG_ERROR("Reg value invalid(key=%s, value=%s)", key, text.data());
        return WDLT_E_REGISTRY;
    }
    field = number;
    return WDLT_OK;
}

std::int32_t readSettings(WdchHelper& helper, Settings& settings) {
    const ValueAccess access{helper, kAspmReport};
    if (const std::int32_t status = readValues(access, kReadFirst, settings); status != WDLT_OK)
        return status;
    if (settings.dwLevel > kHighestSpamLevel) {
        WDLOG_ERROR("Reg value invalid (key=%s, value=%d)", kReadFirst.back().value, settings.dwLevel);
        return WDLT_E_REGISTRY;
    }
    for (const AntiSpamThreshold& threshold : kAntiSpamThresholds)
        if (const std::int32_t status = readThreshold(helper, threshold.value, settings.*threshold.field);
            status != WDLT_OK)
            return status;
    return readValues(access, kReadLast, settings);
}

// Empty for a list without a file, and without an install directory to look for it in.
std::string pathOf(const Settings& settings, const List& list, const std::string& installPath) {
    const char* const name = settings.*list.file;
    return name[0] == '\0' || installPath.empty() ? std::string() : installPath + name;
}

std::span<const WdpeAspmEntry> entriesOf(const void* data, const Settings& settings, const List& list) {
    const auto* const first = reinterpret_cast<const WdpeAspmEntry*>(static_cast<const char*>(data) + list.entries);
    return {first, settings.*list.count};
}

// False for an entry that couldn't be read back unchanged: a trailing carriage return would be taken for part of the
// line end.
bool isOneLine(const WdpeAspmEntry& entry) {
    const std::string_view text(entry.szEntry, strnlen(entry.szEntry, sizeof entry.szEntry));
    return text.size() < sizeof entry.szEntry && text.find('\n') == text.npos && !text.ends_with('\r');
}

// A list that couldn't be read when the caller got the record must not be written, whatever the caller has put into it
// since: its file may have entries that the caller never saw. Nor must an empty list whose file can't be read now.
bool mayBeUnread(CAntiSpamList& file, const Settings& settings, const List& list, const std::string& path) {
    constexpr std::uint32_t kBits = WDLT_ASPM_UNREAD_WHITE | WDLT_ASPM_UNREAD_BLACK;
    const bool isMarked =
        (settings.dwUnreadLists & ~kBits) == WDLT_ASPM_UNREAD && (settings.dwUnreadLists & list.unread) != 0;
    return isMarked || (settings.*list.count == 0 && file.Look(path.c_str()) == CAntiSpamList::State::Unreadable);
}

} // namespace

std::int32_t CEngineASpm::ReadConfig(std::uint64_t /*configType*/, void* data, std::uint64_t* size) {
    if (data == nullptr) {
        WDLOG_ERROR("ReadConfig: pData is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    if (*size != sizeof(WdpeAspmData)) {
        WDLOG_ERROR("ReadConfig: parameter size error");
        return WDLT_E_INVALID_ARGUMENT;
    }
    std::memset(data, 0, sizeof(WdpeAspmData));
    CallersRecord<Settings> settings(data);
    if (const std::int32_t status = readSettings(*this, *settings); status != WDLT_OK)
        return status;
    const std::string installPath = GetInstallPath();
    CAntiSpamList file;
    for (const List& list : kLists) {
        const std::string path = pathOf(*settings, list, installPath);
        if (path.empty()) {
            if (((*settings).*list.file)[0] != '\0') // there may be a file, but its folder is unknown
                settings->dwUnreadLists |= WDLT_ASPM_UNREAD | list.unread;
            continue;
        }
        auto* const entries = reinterpret_cast<WdpeAspmEntry*>(static_cast<char*>(data) + list.entries);
        int count = 0;
        if (file.Load(path.c_str(), entries, WDLT_MAX_ASPM_RECORDS, count) == CAntiSpamList::State::Unreadable)
            settings->dwUnreadLists |= WDLT_ASPM_UNREAD | list.unread;
        (*settings).*list.count = static_cast<std::uint32_t>(count);
    }
    WDLOG_ENTRY("ReadConfig (ret=%d, Level=%d)", WDLT_OK, settings->dwLevel);
    return WDLT_OK;
}

std::int32_t CEngineASpm::WriteConfig(std::uint64_t /*configType*/, void* data, std::uint64_t size) {
    if (data == nullptr) {
        WDLOG_ERROR("WriteConfig: pData is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    if (size != sizeof(WdpeAspmData)) {
        WDLOG_ERROR("WriteConfig: parameter size error");
        return WDLT_E_INVALID_ARGUMENT;
    }
    Settings settings;
    std::memcpy(&settings, data, sizeof settings);
    for (const List& list : kLists)
        if (settings.*list.count > WDLT_MAX_ASPM_RECORDS) {
            const unsigned long count = settings.*list.count;
            WDLOG_ERROR(list.tooMany, count);
            return WDLT_E_INVALID_ARGUMENT;
        }
    const ValueAccess access{*this, kAspmReport};
    for (const FieldOf<Settings>& row : kAntiSpamPop3Fields)
        if (!isTerminated(row, &settings))
            return notTerminated(access, row);
    for (const List& list : kLists) {
        StripPath(settings.*list.file, sizeof(settings.*list.file));
        if (!std::ranges::all_of(entriesOf(data, settings, list), isOneLine)) {
            WDLOG_ERROR("WriteConfig: an entry isn't one line (file=%s)", settings.*list.file);
            return WDLT_E_INVALID_ARGUMENT;
        }
    }
    if (const std::int32_t status = writeValues(access, kAntiSpamPop3Fields, settings); status != WDLT_OK)
        return status;
    const std::string installPath = GetInstallPath();
    CAntiSpamList file;
    const auto save = [&](const List& list) {
        const std::string path = pathOf(settings, list, installPath);
        if (path.empty())
            return false;
        if (mayBeUnread(file, settings, list, path)) {
            WDLOG_ERROR("WriteConfig: a list that couldn't be read isn't replaced (file=%s)", settings.*list.file);
            return false;
        }
        const auto entries = entriesOf(data, settings, list);
        return file.WriteList(path.c_str(), entries.data(), static_cast<int>(entries.size())) != 0;
    };
    std::int32_t status = WDLT_OK;
    for (const List& list : kLists) // both, even if the first one fails
        if (!save(list))
            status = WDLT_E_FILE;
    WDLOG_ENTRY("WriteConfig (ret=%d, Level=%d)", status, settings.dwLevel);
    return status;
}
