#include "FuncHosf.h"

#include "FamilyRecords.h"
#include "FeatureSwitch.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

namespace {

using namespace wdlt;

constexpr FeatureSwitch kHosfSwitch{
    .protocol = WDLT_PROTOCOL_HTTP,
    .scan = WDLT_SCAN_HOST_FILTER,
    .input = WDLT_INPUT_NONE,
    .itemFailed = "Failed to %s Hosts Filter PE: %d",
    .handlerFailed = "Failed to %s HTTP PH: %d",
};

constexpr std::uint32_t kOnlyHosfList = 0;

constexpr Address hostFilterAddress(std::uint64_t configType) {
    return {0, WDLT_SCAN_HOST_FILTER, configType};
}

} // namespace

std::int32_t CFuncHosf::Enable(std::int32_t enable) {
    const FamilyCall call("CFuncHosf", "Enable");
    return kHosfSwitch.enable(*this, enable);
}

std::int32_t CFuncHosf::IsEnabled() {
    const FamilyCall call("CFuncHosf", "IsEnabled");
    return kHosfSwitch.isEnabled(*this);
}

std::int32_t CFuncHosf::ConfigRead(WdpeHosfData* pConfig) {
    const FamilyCall call("CFuncHosf", "ConfigRead");
    if (pConfig == nullptr)
        return call.isNull("pConfig");
    WdpeHosfData stored;
    const std::int32_t status =
        readWhole(*this, hostFilterAddress(WDLT_CONFIG_DEFAULT), stored, call.failing("read config"));
    if (status == WDLT_OK)
        handOver(pConfig, stored);
    return status;
}

std::int32_t CFuncHosf::ConfigWrite(const WdpeHosfData* pConfig) {
    const FamilyCall call("CFuncHosf", "ConfigWrite");
    if (pConfig == nullptr)
        return call.isNull("pConfig");
    return writeOver<WdpeHosfData>(
        *this, hostFilterAddress(WDLT_CONFIG_DEFAULT), [&](WdpeHosfData& stored) { stored = copyOf(pConfig); },
        call.failing("read config"), call.failing("write config"));
}

std::int32_t CFuncHosf::RecordListRead(WdpeHosfHostRecord* records, std::int32_t* count) {
    FamilyCall call("CFuncHosf", "RecordListRead");
    return readSome<WdpeHosfHostList>(*this, hostFilterAddress(WDLT_CONFIG_HOSF_LIST), records, count, call,
                                      call.failing("read config"));
}

std::int32_t CFuncHosf::RecordListWrite(const WdpeHosfHostRecord* records, std::int32_t count) {
    const FamilyCall call("CFuncHosf", "RecordListWrite");
    if (records == nullptr)
        return call.withoutRecords();
    if (count < 0 || count > GetMaxCount())
        return call.withTooMany(count);
    return writeList<WdpeHosfHostList>(*this, hostFilterAddress(WDLT_CONFIG_HOSF_LIST), kOnlyHosfList, records, count,
                                       call.failing("set data to config"), call.failing("write config"));
}
