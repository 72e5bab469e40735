#include "FuncAspm.h"

#include "ExportedRecords.h"
#include "FamilyRecords.h"
#include "FeatureSwitch.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

#include <cstddef>
#include <cstring>

namespace {

using namespace wdlt;

constexpr FeatureSwitch kSwitch{
    .protocol = WDLT_PROTOCOL_POP3,
    .scan = WDLT_SCAN_ANTI_SPAM,
    .input = WDLT_INPUT_NONE,
    .itemFailed = [](const char* verb, std::uint32_t,
                     std::int32_t status) { WDLOG_ERROR("Failed to %s ASPM PE: %d", verb, status); },
    .handlerFailed = [](const char* verb, std::uint32_t,
                        std::int32_t status) { WDLOG_ERROR("Failed to %s POP3 PH: %d", verb, status); },
};

constexpr Address kCommon{WDLT_PROTOCOL_COMMON, WDLT_SCAN_ANTI_SPAM, WDLT_CONFIG_DEFAULT};

CallLines linesOf(const char* member) {
    return {"CFuncAspm", member};
}

// The record with the lists, read whole into its buffer and written from there: too large to be copied about.
class ListsRecord : public CCfgData {
  public:
    ListsRecord() : CCfgData(WDLT_PROTOCOL_POP3, WDLT_SCAN_ANTI_SPAM, WDLT_CONFIG_DEFAULT) {}

    std::int32_t read(CCfgHelper& family) { return family.Read(*this, sizeof(WdpeAspmData), nullptr); }

    std::uint32_t level() const { return number(offsetof(WdpeAspmData, dwLevel)); }
    void setLevel(std::uint32_t level) { setNumber(offsetof(WdpeAspmData, dwLevel), level); }

    std::int32_t count(std::uint32_t listType) const {
        return static_cast<std::int32_t>(number(placeOf(listType).count));
    }
    const BYTE* entries(std::uint32_t listType) const { return GetData() + placeOf(listType).entries; }
    // The mark of a list that couldn't be read stays: the write refuses it then.
    void setList(std::uint32_t listType, const WdpeAspmEntry* entries, std::int32_t count) {
        const Place& place = placeOf(listType);
        BYTE* const to = GetData() + place.entries;
        std::memset(to, 0, sizeof(WdpeAspmData::whitelist));
        std::memcpy(to, entries, static_cast<std::size_t>(count) * sizeof *entries);
        setNumber(place.count, static_cast<std::uint32_t>(count));
    }

  private:
    struct Place {
        std::size_t count;
        std::size_t entries;
    };
    static const Place& placeOf(std::uint32_t listType) {
        static constexpr Place kWhite{offsetof(WdpeAspmData, dwWhitelistCount), offsetof(WdpeAspmData, whitelist)};
        static constexpr Place kBlack{offsetof(WdpeAspmData, dwBlacklistCount), offsetof(WdpeAspmData, blacklist)};
        return listType == WDLT_LIST_WHITE ? kWhite : kBlack;
    }
    std::uint32_t number(std::size_t offset) const {
        std::uint32_t value = 0;
        std::memcpy(&value, GetData() + offset, sizeof value);
        return value;
    }
    void setNumber(std::size_t offset, std::uint32_t value) { std::memcpy(GetData() + offset, &value, sizeof value); }
};

} // namespace

std::int32_t CFuncAspm::Enable(std::int32_t enable) {
    const CallLines lines = linesOf("Enable");
    return kSwitch.enable(*this, enable);
}

std::int32_t CFuncAspm::IsEnabled() {
    const CallLines lines = linesOf("IsEnabled");
    return kSwitch.isEnabled(*this);
}

std::int32_t CFuncAspm::ConfigRead(WdltAspmConfig* pConfig) {
    const CallLines lines = linesOf("ConfigRead");
    if (pConfig == nullptr) {
        WDLOG_ERROR("CFuncAspm::ConfigRead: pConfig is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    constexpr auto kFailed = [](std::int32_t failure) {
        WDLOG_ERROR("CFuncAspm::ConfigRead(): Failed to read config: %d", failure);
    };
    WdpeAspmCommonData common;
    if (const std::int32_t status = readWhole(*this, kCommon, common, kFailed); status != WDLT_OK)
        return status;
    ListsRecord record;
    if (const std::int32_t status = record.read(*this); status != WDLT_OK) {
        kFailed(status);
        return status;
    }
    WdltAspmConfig config{};
    toCaller(kAntiSpamPairs, config, common);
    config.dwLevel = record.level();
    handOver(pConfig, config);
    return WDLT_OK;
}

std::int32_t CFuncAspm::ConfigWrite(const WdltAspmConfig* pConfig) {
    const CallLines lines = linesOf("ConfigWrite");
    if (pConfig == nullptr) {
        WDLOG_ERROR("CFuncAspm::ConfigWrite: pConfig is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    constexpr auto kUnread = [](std::int32_t failure) {
        WDLOG_ERROR("CFuncAspm::ConfigWrite(): Failed to read config: %d", failure);
    };
    constexpr auto kUnwritten = [](std::int32_t failure) {
        WDLOG_ERROR("CFuncAspm::ConfigWrite(): Failed to write data: %d", failure);
    };
    WdpeAspmCommonData common;
    if (const std::int32_t status = readWhole(*this, kCommon, common, kUnread); status != WDLT_OK)
        return status;
    ListsRecord record;
    if (const std::int32_t status = record.read(*this); status != WDLT_OK) {
        kUnread(status);
        return status;
    }
    const WdltAspmConfig config = copyOf(pConfig);
    toStore(kAntiSpamPairs, config, common);
    record.setLevel(config.dwLevel);
    if (const std::int32_t status = writeBytes(*this, kCommon, &common, sizeof common, kUnwritten, kUnwritten);
        status != WDLT_OK)
        return status;
    const std::int32_t status = Write(record);
    if (status != WDLT_OK)
        kUnwritten(status);
    return status;
}

std::int32_t CFuncAspm::RecordListRead(std::uint32_t listType, WdpeAspmEntry* entries, std::int32_t* count) {
    CallLines lines = linesOf("RecordListRead");
    if (count == nullptr) {
        WDLOG_ERROR("CFuncAspm::RecordListRead(): Invalid parameter NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    if (GetMaxCount(listType) == 0) {
        WDLOG_ERROR("CFuncAspm::RecordListRead(): Unknown list type: %d", listType);
        return WDLT_E_INVALID_ARGUMENT;
    }
    ListsRecord record;
    if (const std::int32_t status = record.read(*this); status != WDLT_OK) {
        WDLOG_ERROR("CFuncAspm::RecordListRead(): Failed to read config: %d", status);
        return status;
    }
    const std::int32_t stored = record.count(listType);
    if (entries == nullptr) {
        *count = stored;
        lines.endWithCount(stored);
        return WDLT_OK;
    }
    *count = std::min(*count, stored);
    if (*count > 0)
        std::memcpy(entries, record.entries(listType), static_cast<std::size_t>(*count) * sizeof *entries);
    return WDLT_OK;
}

std::int32_t CFuncAspm::RecordListWrite(std::uint32_t listType, const WdpeAspmEntry* entries, std::int32_t count) {
    const CallLines lines = linesOf("RecordListWrite");
    if (entries == nullptr) {
        WDLOG_ERROR("CFuncAspm::RecordListWrite(): Invalid parameter NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    if (GetMaxCount(listType) == 0) {
        WDLOG_ERROR("CFuncAspm::RecordListWrite(): Unknown list type: %d", listType);
        return WDLT_E_INVALID_ARGUMENT;
    }
    if (count < 0 || count > GetMaxCount(listType)) {
        WDLOG_ERROR("CFuncAspm::RecordListWrite(): count %d exceeds the maximum", count);
        return WDLT_E_INVALID_ARGUMENT;
    }
    ListsRecord record;
    if (const std::int32_t status = record.read(*this); status != WDLT_OK) {
        WDLOG_ERROR("CFuncAspm::RecordListWrite(): Failed to read config: %d", status);
        return status;
    }
    record.setList(listType, entries, count);
    const std::int32_t status = Write(record);
    if (status != WDLT_OK)
        WDLOG_ERROR("CFuncAspm::RecordListWrite(): Failed to write config: %d", status);
    return status;
}
