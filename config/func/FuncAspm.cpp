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

constexpr FeatureSwitch kAspmSwitch{
    .protocol = WDLT_PROTOCOL_POP3,
    .scan = WDLT_SCAN_ANTI_SPAM,
    .input = WDLT_INPUT_NONE,
    .itemFailed = "Failed to %s ASPM PE: %d",
    .handlerFailed = "Failed to %s POP3 PH: %d",
};

constexpr Address kCommon{WDLT_PROTOCOL_COMMON, WDLT_SCAN_ANTI_SPAM, WDLT_CONFIG_DEFAULT};

// The record with the lists, read into its buffer and written from there, since it is too large to be copied around.
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
    // A list that couldn't be read keeps its mark, so that the write refuses it.
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
    const FamilyCall call("CFuncAspm", "Enable");
    return kAspmSwitch.enable(*this, enable);
}

std::int32_t CFuncAspm::IsEnabled() {
    const FamilyCall call("CFuncAspm", "IsEnabled");
    return kAspmSwitch.isEnabled(*this);
}

std::int32_t CFuncAspm::ConfigRead(WdltAspmConfig* pConfig) {
    const FamilyCall call("CFuncAspm", "ConfigRead");
    if (pConfig == nullptr)
        return call.isNull("pConfig");
    WdpeAspmCommonData common;
    if (const std::int32_t status = readWhole(*this, kCommon, common, call.failing("read config")); status != WDLT_OK)
        return status;
    ListsRecord record;
    if (const std::int32_t status = record.read(*this); status != WDLT_OK)
        return call.failed("read config", status);
    WdltAspmConfig config{};
    toCaller(kAntiSpamPairs, config, common);
    config.dwLevel = record.level();
    handOver(pConfig, config);
    return WDLT_OK;
}

std::int32_t CFuncAspm::ConfigWrite(const WdltAspmConfig* pConfig) {
    const FamilyCall call("CFuncAspm", "ConfigWrite");
    if (pConfig == nullptr)
        return call.isNull("pConfig");
    const CallFailure unwritten = call.failing("write data");
    WdpeAspmCommonData common;
    if (const std::int32_t status = readWhole(*this, kCommon, common, call.failing("read config")); status != WDLT_OK)
        return status;
    ListsRecord record;
    if (const std::int32_t status = record.read(*this); status != WDLT_OK)
        return call.failed("read config", status);
    const WdltAspmConfig config = copyOf(pConfig);
    toStore(kAntiSpamPairs, config, common);
    record.setLevel(config.dwLevel);
    if (const std::int32_t status = writeBytes(*this, kCommon, &common, sizeof common, unwritten, unwritten);
        status != WDLT_OK)
        return status;
    const std::int32_t status = Write(record);
    return status == WDLT_OK ? status : call.failed("write data", status);
}

std::int32_t CFuncAspm::RecordListRead(std::uint32_t listType, WdpeAspmEntry* entries, std::int32_t* count) {
    FamilyCall call("CFuncAspm", "RecordListRead");
    if (count == nullptr)
        return call.withoutRecords();
    if (GetMaxCount(listType) == 0)
        return call.ofUnknownList(listType);
    ListsRecord record;
    if (const std::int32_t status = record.read(*this); status != WDLT_OK)
        return call.failed("read config", status);
    const std::int32_t stored = record.count(listType);
    takeSome(stored, record.entries(listType), entries, count, call);
    return WDLT_OK;
}

std::int32_t CFuncAspm::RecordListWrite(std::uint32_t listType, const WdpeAspmEntry* entries, std::int32_t count) {
    const FamilyCall call("CFuncAspm", "RecordListWrite");
    if (entries == nullptr)
        return call.withoutRecords();
    if (GetMaxCount(listType) == 0)
        return call.ofUnknownList(listType);
    if (count < 0 || count > GetMaxCount(listType))
        return call.withTooMany(count);
    ListsRecord record;
    if (const std::int32_t status = record.read(*this); status != WDLT_OK)
        return call.failed("read config", status);
    record.setList(listType, entries, count);
    const std::int32_t status = Write(record);
    return status == WDLT_OK ? status : call.failed("write config", status);
}
