#include "FuncDRSCfg.h"

#include "ChangeNotice.h"
#include "DrsSignal.h"
#include "FamilyRecords.h"
#include "Mutex.h"
#include "OpenKey.h"

#include <platform/registry_batch.h>
#include <platform/win32.h>
#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

#include <algorithm>
#include <array>
#include <bitset>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace wdlt;

constexpr const WCHAR* kDrsKey = WTEXT("SOFTWARE\\Halvermoor\\PLK\\Wardlet\\PluginManager\\DRS");
constexpr const WCHAR* kWhiteListKey = WTEXT("SOFTWARE\\Halvermoor\\PLK\\Wardlet\\PluginManager\\DRS\\WhiteList");
constexpr const WCHAR* kUrlFilterKey = WTEXT("SOFTWARE\\Halvermoor\\PLK\\Wardlet\\Scan\\Common\\URLFilter\\config");

constexpr const WCHAR* kActionMode = WTEXT("DRSCredBlock");
constexpr const WCHAR* kScoreThreshold = WTEXT("DRSScoreThreshold");
constexpr const WCHAR* kIndex = WTEXT("Index");
constexpr const WCHAR* kProcessImageName = WTEXT("ProcessImageName");
constexpr const WCHAR* kDomainName = WTEXT("DomainName");

constexpr std::uint32_t kMaxActionMode = 1;
constexpr std::uint32_t kMaxScoreThreshold = 100;
constexpr std::size_t kKeyNameSize = 256; // of any key

bool isMissing(LONG error) {
    return static_cast<DWORD>(error) == ERROR_FILE_NOT_FOUND;
}

// Only a whole REG_DWORD is a number.
std::optional<DWORD> readNumber(HKEY key, const WCHAR* name) {
    DWORD type = REG_NONE;
    DWORD number = 0;
    DWORD size = sizeof number;
    const LONG error = answered(RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(&number), &size));
    return error == 0 && type == REG_DWORD && size == sizeof number ? std::optional(number) : std::nullopt;
}

// 0 when it isn't there.
DWORD storedNumber(const WCHAR* path, const WCHAR* name) {
    OpenKey key;
    if (answered(RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, key.out())) != 0)
        return 0;
    return readNumber(key.get(), name).value_or(0);
}

LONG store(const WCHAR* path, const WCHAR* name, DWORD type, const void* data, DWORD size) {
    OpenKey key;
    if (const LONG error = RegCreateKeyExW(HKEY_LOCAL_MACHINE, path, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_WRITE,
                                           nullptr, key.out(), nullptr))
        return error;
    return RegSetValueExW(key.get(), name, 0, type, static_cast<const BYTE*>(data), size);
}

// `text` must be terminated.
LONG storeText(const WCHAR* path, const WCHAR* name, const WCHAR* text) {
    const std::size_t units = std::char_traits<WCHAR>::length(text) + 1;
    return store(path, name, REG_SZ, text, static_cast<DWORD>(units * sizeof *text));
}

struct NumberToStore {
    const WCHAR* name;
    DWORD number;
    EventLine failed;
};

// In one transaction. The first failure ends it; what was stored before it stays.
bool storeNumbers(const WCHAR* path, std::initializer_list<NumberToStore> numbers) {
    RegistryBatch batch;
    LONG error = 0;
    const NumberToStore* current = nullptr;
    for (const NumberToStore& each : numbers) {
        current = &each;
        error = store(path, each.name, REG_DWORD, &each.number, sizeof each.number);
        if (error != 0)
            break;
    }
    // Logged after the batch. One that can't be committed has stored nothing.
    if (const LONG lost = batch.end(); error == 0)
        error = lost;
    if (error != 0 && current != nullptr)
        current->failed.tell(kLogError, {}, {});
    return error == 0;
}

LONG nameAt(const OpenKey& key, DWORD position, std::span<WCHAR> name) {
    auto length = static_cast<DWORD>(name.size());
    return RegEnumKeyExW(key.get(), position, name.data(), &length, nullptr, nullptr, nullptr, nullptr);
}

// Whether an enumeration has reached its end; any other error is logged in the name of `operation`.
bool isEnd(LONG error, const char* operation) {
    if (static_cast<DWORD>(error) == ERROR_NO_MORE_ITEMS)
        return true;
    WDLOG_ERROR("CFuncDRSCfg::%s: Cannot enumerate whitelist key (lRet=%d)", operation, error);
    return false;
}

// The field stays empty when the value can't be read.
template <std::size_t Size>
LONG readText(const OpenKey& rule, const WCHAR* name, WCHAR (&field)[Size], DWORD& bytes) {
    bytes = sizeof field;
    const LONG error = RegQueryValueExW(rule.get(), name, nullptr, nullptr, reinterpret_cast<BYTE*>(field), &bytes);
    field[Size - 1] = 0;
    return error;
}

// False for a text that doesn't fit, which makes the rule invalid; a missing one is empty.
bool readTexts(const OpenKey& rule, WdltDrsWhiteListItem& item) {
    DWORD bytes = 0;
    LONG error = readText(rule, kProcessImageName, item.ProcessImageName, bytes);
    if (error != 0)
        WDLOG_ERROR("RegQueryValueExW fail to query %ws. (lRet=%d)", kProcessImageName, error);
    if (static_cast<DWORD>(error) == ERROR_MORE_DATA)
        return false;
    error = readText(rule, kDomainName, item.DomainName, bytes);
    if (error != 0)
        WDLOG_ERROR("RegQueryValueExW fail to query %ws. (lRet=%d)(dwDataSize=%d)", kDomainName, error, bytes);
    return static_cast<DWORD>(error) != ERROR_MORE_DATA;
}

// Looks for a valid rule with this index. The texts of a rule only decide whether it is valid, so those of rules with
// another index aren't read. ERROR_FILE_NOT_FOUND when there is none.
LONG findIndex(std::uint32_t index) {
    OpenKey list;
    if (const LONG error = RegOpenKeyExW(HKEY_LOCAL_MACHINE, kWhiteListKey, 0, KEY_READ, list.out()))
        return error;
    WdltDrsWhiteListItem item{};
    for (DWORD at = 0;; ++at) {
        const LONG error = nameAt(list, at, item.RuleName);
        if (static_cast<DWORD>(error) == ERROR_NO_MORE_ITEMS)
            return LONG{ERROR_FILE_NOT_FOUND};
        if (error != 0 && static_cast<DWORD>(error) != ERROR_MORE_DATA)
            return error;
        OpenKey rule;
        if (error == 0 && answered(RegOpenKeyExW(list.get(), item.RuleName, 0, KEY_READ, rule.out())) == 0 &&
            readNumber(rule.get(), kIndex) == index && readTexts(rule, item))
            return 0;
    }
}

bool isIndex(DWORD index) {
    return index != 0 && index <= WDLT_MAX_DRS_INDEX;
}

template <std::size_t Size>
bool isTerminated(const wdlt_wchar (&field)[Size]) {
    return std::ranges::find(field, WCHAR{0}) != std::end(field);
}

// A rule's name is that of a key directly below the list's key.
bool isRuleName(const wdlt_wchar* name) {
    const WideStringView text(name);
    return !text.empty() && text.find(WTEXT('\\')) == text.npos;
}

// Deletes a key with everything below it.
LONG deleteTree(HKEY parent, const WCHAR* name) {
    {
        OpenKey key;
        if (const LONG error = RegOpenKeyExW(parent, name, 0, KEY_ALL_ACCESS, key.out()))
            return error;
        std::array<WCHAR, kKeyNameSize> below{};
        LONG error = nameAt(key, 0, below);
        while (error == 0) {
            error = deleteTree(key.get(), below.data());
            if (error == 0)
                error = nameAt(key, 0, below);
        }
        if (static_cast<DWORD>(error) != ERROR_NO_MORE_ITEMS)
            return error;
    }
    return RegDeleteKeyW(parent, name);
}

void deletionFailed(const WCHAR* rule) {
    WDLOG_ERROR("CFuncDRSCfg::DeleteWhiteListItem: delete %ws failed.", rule);
}

// In one transaction: others see the list either complete or deleted. A rule that can't be deleted is skipped. False
// when the rules can't be enumerated, or the deletion can't be committed.
bool deleteAll(const OpenKey& list) {
    std::vector<WideString> deleted;
    std::vector<WideString> left;
    RegistryBatch batch;
    std::array<WCHAR, kKeyNameSize> name{};
    DWORD position = 0;
    LONG error = nameAt(list, position, name);
    for (; error == 0; error = nameAt(list, position, name)) {
        const bool isDeleted = deleteTree(list.get(), name.data()) == 0;
        (isDeleted ? deleted : left).emplace_back(name.data());
        position += isDeleted ? 0 : 1;
    }
    const bool isLost = batch.end() != 0 && !deleted.empty();
    if (isLost)
        left.insert(left.end(), deleted.begin(), deleted.end());
    for (const WideString& rule : left)
        deletionFailed(rule.c_str());
    return isEnd(error, "DeleteWhiteListItem") && !isLost;
}

// Deletes the first rule with that index; none is no failure.
bool deleteOne(const OpenKey& list, std::uint32_t index) {
    std::array<WCHAR, kKeyNameSize> name{};
    DWORD position = 0;
    LONG error = nameAt(list, position, name);
    for (; error == 0; error = nameAt(list, ++position, name)) {
        {
            OpenKey rule;
            if (answered(RegOpenKeyExW(list.get(), name.data(), 0, KEY_READ, rule.out())) != 0 ||
                readNumber(rule.get(), kIndex) != index)
                continue;
        }
        if (deleteTree(list.get(), name.data()) == 0)
            return true;
        deletionFailed(name.data());
        return false;
    }
    return isEnd(error, "DeleteWhiteListItem");
}

// Writes each value, even if the one before it failed; an incomplete rule stays.
bool storeRule(const WCHAR* path, const WdltDrsWhiteListItem& item) {
    RegistryBatch batch;
    const LONG indexError = store(path, kIndex, REG_DWORD, &item.Index, sizeof item.Index);
    const LONG imageError = storeText(path, kProcessImageName, item.ProcessImageName);
    LONG domainError = storeText(path, kDomainName, item.DomainName);
    if (const LONG lost = batch.end(); domainError == 0)
        domainError = lost;
    if (indexError != 0)
        WDLOG_ERROR("CFuncDRSCfg::AddWhiteListItem: write index failed.");
    if (imageError != 0)
        WDLOG_ERROR("CFuncDRSCfg::AddWhiteListItem: write process image name failed.");
    if (domainError != 0)
        WDLOG_ERROR("CFuncDRSCfg::AddWhiteListItem: write domain name failed.");
    return indexError == 0 && imageError == 0 && domainError == 0;
}

} // namespace

std::int32_t CFuncDRSCfg::NotifyChange(Notice mode) {
    CWdMutex mutex(createConfigMutex());
    const WdltSingleLock lock(&mutex);
    if (!lock.isHeld()) {
        WDLOG_ERROR("CFuncDRSCfg::NotifyChange(): Failed to send in ConfigChangeSender");
        return WDLT_E_NO_ANSWER;
    }
    if (mode == Notice::Drs)
        return signalDrs();
    return noticeChange(WDLT_PROTOCOL_COMMON, WDLT_SCAN_URL_FILTER,
                        {
                            .noService =
                                "CFuncDRSCfg::NotifyChange(): Failed to open memory in ConfigChangeSender or Wardlet "
                                "is not running",
                            .noAnswer = "CFuncDRSCfg::NotifyChange(): Failed to send in ConfigChangeSender",
                        });
}

std::int32_t CFuncDRSCfg::DRSEnable(std::uint32_t enable) {
    const FamilyCall call("CFuncDRSCfg", "DRSEnable");
    const bool isStored = storeNumbers(kDrsKey, {{WTEXT("enable"), enable, "CFuncDRSCfg::DRSEnable: Enable failed"}});
    return isStored ? NotifyChange(Notice::Drs) : WDLT_E_GENERAL;
}

std::int32_t CFuncDRSCfg::IsEnabled() {
    const FamilyCall call("CFuncDRSCfg", "IsEnabled");
    return storedNumber(kDrsKey, WTEXT("enable")) != 0 ? 1 : 0;
}

std::int32_t CFuncDRSCfg::ReadConfig(WdltDrsConfig* pConfig) {
    const FamilyCall call("CFuncDRSCfg", "ReadConfig");
    if (pConfig == nullptr)
        return call.isNull("pConfig");
    WdltDrsConfig config{storedNumber(kUrlFilterKey, kActionMode), storedNumber(kUrlFilterKey, kScoreThreshold)};
    if (config.ActionMode > kMaxActionMode)
        config.ActionMode = 0;
    if (config.ScoreThreshold > kMaxScoreThreshold)
        config.ScoreThreshold = 0;
    std::memcpy(pConfig, &config, sizeof config);
    return WDLT_OK;
}

std::int32_t CFuncDRSCfg::WriteConfig(const WdltDrsConfig* pConfig) {
    const FamilyCall call("CFuncDRSCfg", "WriteConfig");
    if (pConfig == nullptr)
        return call.isNull("pConfig");
    const WdltDrsConfig config = copyOf(pConfig);
    if (config.ActionMode > kMaxActionMode) {
        WDLOG_ERROR("CFuncDRSCfg::WriteConfig: Invalid ActionMode : %d", config.ActionMode);
        return WDLT_E_INVALID_ARGUMENT;
    }
    if (config.ScoreThreshold > kMaxScoreThreshold) {
        WDLOG_ERROR("CFuncDRSCfg::WriteConfig: Invalid ScoreThreshold : %d", config.ScoreThreshold);
        return WDLT_E_INVALID_ARGUMENT;
    }
    const bool isStored = storeNumbers(
        kUrlFilterKey,
        {{kActionMode, config.ActionMode, "CFuncDRSCfg::WriteConfig: Write ActionMode failed"},
         {kScoreThreshold, config.ScoreThreshold, "CFuncDRSCfg::WriteConfig: Write ScoreThreshold failed"}});
    // To the service both are settings of the URL filter.
    const std::int32_t status = isStored ? NotifyChange(Notice::UrlFilter) : WDLT_E_GENERAL;
    WDLOG_ENTRY("CFuncDRSCfg::WriteConfig(): return %ld", static_cast<long>(status));
    return status;
}

std::int32_t CFuncDRSCfg::EnableWhiteListItem(std::uint32_t enable, std::uint32_t option) {
    const FamilyCall call("CFuncDRSCfg", "EnableWhiteListItem");
    const bool isStored = storeNumbers(
        kWhiteListKey, {{WTEXT("UseWhiteList"), enable, "CFuncDRSCfg::EnableWhiteListItem: Write enable failed"},
                        {WTEXT("Option"), option, "CFuncDRSCfg::EnableWhiteListItem: Write option failed"}});
    return isStored ? NotifyChange(Notice::Drs) : WDLT_E_GENERAL;
}

std::int32_t CFuncDRSCfg::IsWhiteListEnabled() {
    const FamilyCall call("CFuncDRSCfg", "IsWhiteListEnabled");
    return storedNumber(kWhiteListKey, WTEXT("UseWhiteList")) != 0 ? 1 : 0;
}

std::int32_t CFuncDRSCfg::GetAllWhiteListItem(WdltDrsWhiteListItem* pItems, std::int32_t* pCount) {
    const FamilyCall call("CFuncDRSCfg", "GetAllWhiteListItem");
    if (pCount == nullptr)
        return call.withoutRecords();
    OpenKey list;
    if (const LONG error = RegOpenKeyExW(HKEY_LOCAL_MACHINE, kWhiteListKey, 0, KEY_READ, list.out())) {
        if (!isMissing(error)) {
            WDLOG_ERROR("CFuncDRSCfg::GetAllWhiteListItem: Cannot open whitelist key");
            return WDLT_E_GENERAL;
        }
        *pCount = 0;
        return WDLT_OK;
    }
    const std::int32_t room = pItems != nullptr ? std::max(*pCount, 0) : 0;
    std::bitset<WDLT_MAX_DRS_INDEX + 1> isTaken;
    std::int32_t position = 0;
    for (DWORD at = 0;; ++at) {
        WdltDrsWhiteListItem item{};
        const LONG error = nameAt(list, at, item.RuleName);
        const bool isTooLong = static_cast<DWORD>(error) == ERROR_MORE_DATA; // a key whose name no rule can have
        if (error != 0 && !isTooLong) {
            if (!isEnd(error, "GetAllWhiteListItem"))
                return WDLT_E_GENERAL;
            break;
        }
        if (position >= room) {
            ++position;
            continue;
        }
        if (isTooLong)
            continue;
        OpenKey rule;
        if (answered(RegOpenKeyExW(list.get(), item.RuleName, 0, KEY_READ, rule.out())) != 0) {
            item = {}; // deleted meanwhile, but counted
        } else {
            item.Index = readNumber(rule.get(), kIndex).value_or(0);
            if (!isIndex(item.Index) || isTaken[item.Index] || !readTexts(rule, item))
                continue;
            isTaken.set(item.Index);
        }
        std::memcpy(pItems + position, &item, sizeof item);
        ++position;
    }
    *pCount = position;
    return position > room ? WDLT_E_BUFFER_SIZE : WDLT_OK;
}

std::int32_t CFuncDRSCfg::AddWhiteListItem(const WdltDrsWhiteListItem* pItem) {
    const FamilyCall call("CFuncDRSCfg", "AddWhiteListItem");
    if (pItem == nullptr)
        return call.isNull("pItem");
    const WdltDrsWhiteListItem item = copyOf(pItem);
    if (!isIndex(item.Index)) {
        WDLOG_ERROR("CFuncDRSCfg::AddWhiteListItem: Invalid index:%d", item.Index);
        return WDLT_E_INVALID_ARGUMENT;
    }
    if (!isTerminated(item.RuleName) || !isRuleName(item.RuleName)) {
        WDLOG_ERROR("CFuncDRSCfg::AddWhiteListItem: Invalid rule name");
        return WDLT_E_INVALID_ARGUMENT;
    }
    if (!isTerminated(item.ProcessImageName)) {
        WDLOG_ERROR("CFuncDRSCfg::AddWhiteListItem: Invalid image path");
        return WDLT_E_INVALID_ARGUMENT;
    }
    if (!isTerminated(item.DomainName)) {
        WDLOG_ERROR("CFuncDRSCfg::AddWhiteListItem: Invalid domain name");
        return WDLT_E_INVALID_ARGUMENT;
    }
    const WideString path = WideString(kWhiteListKey).append(WTEXT("\\")).append(item.RuleName);
    if (OpenKey rule; answered(RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, rule.out())) == 0) {
        WDLOG_ERROR("CFuncDRSCfg::AddWhiteListItem error: rule name exist: %ws", item.RuleName);
        return WDLT_E_INVALID_ARGUMENT;
    }
    if (const LONG error = findIndex(item.Index); error == 0) {
        WDLOG_ERROR("CFuncDRSCfg::AddWhiteListItem error: Duplicate index: %d", item.Index);
        return WDLT_E_INVALID_ARGUMENT;
    } else if (!isMissing(error)) {
        WDLOG_ERROR("GetAllWhiteListItem failed.(%d)", std::int32_t{WDLT_E_GENERAL});
        return WDLT_E_GENERAL;
    }
    return storeRule(path.c_str(), item) ? NotifyChange(Notice::Drs) : WDLT_E_GENERAL;
}

std::int32_t CFuncDRSCfg::DeleteWhiteListItem(std::uint32_t index) {
    const FamilyCall call("CFuncDRSCfg", "DeleteWhiteListItem");
    OpenKey list;
    if (const LONG error = RegOpenKeyExW(HKEY_LOCAL_MACHINE, kWhiteListKey, 0, KEY_ALL_ACCESS, list.out())) {
        if (isMissing(error))
            return WDLT_OK;
        WDLOG_ERROR("CFuncDRSCfg::DeleteWhiteListItem: Cannot open whitelist key");
        return WDLT_E_GENERAL;
    }
    if (!(index == 0 ? deleteAll(list) : deleteOne(list, index)))
        return WDLT_E_GENERAL;
    return NotifyChange(Notice::Drs);
}
