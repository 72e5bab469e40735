#include "FuncHosf.h"

#include "FamilyRecords.h"
#include "FeatureSwitch.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

namespace {

using namespace wdlt;

constexpr FeatureSwitch kSwitch{
    .protocol = WDLT_PROTOCOL_HTTP,
    .scan = WDLT_SCAN_HOST_FILTER,
    .input = WDLT_INPUT_NONE,
    .itemFailed = [](const char* verb, std::uint32_t,
                     std::int32_t status) { WDLOG_ERROR("Failed to %s Hosts Filter PE: %d", verb, status); },
    .handlerFailed = [](const char* verb, std::uint32_t,
                        std::int32_t status) { WDLOG_ERROR("Failed to %s HTTP PH: %d", verb, status); },
};

constexpr std::uint32_t kOnlyList = 0;

constexpr Address addressOf(std::uint64_t configType) {
    return {0, WDLT_SCAN_HOST_FILTER, configType};
}

CallLines linesOf(const char* member) {
    return {"CFuncHosf", member};
}

} // namespace

std::int32_t CFuncHosf::Enable(std::int32_t enable) {
    const CallLines lines = linesOf("Enable");
    return kSwitch.enable(*this, enable);
}

std::int32_t CFuncHosf::IsEnabled() {
    const CallLines lines = linesOf("IsEnabled");
    return kSwitch.isEnabled(*this);
}

std::int32_t CFuncHosf::ConfigRead(WdpeHosfData* pConfig) {
    const CallLines lines = linesOf("ConfigRead");
    if (pConfig == nullptr) {
        WDLOG_ERROR("CFuncHosf::ConfigRead: pConfig is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    WdpeHosfData stored;
    const std::int32_t status = readWhole(*this, addressOf(WDLT_CONFIG_DEFAULT), stored, [](std::int32_t failure) {
        WDLOG_ERROR("CFuncHosf::ConfigRead(): Failed to read config: %d", failure);
    });
    if (status == WDLT_OK)
        handOver(pConfig, stored);
    return status;
}

std::int32_t CFuncHosf::ConfigWrite(const WdpeHosfData* pConfig) {
    const CallLines lines = linesOf("ConfigWrite");
    if (pConfig == nullptr) {
        WDLOG_ERROR("CFuncHosf::ConfigWrite: pConfig is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    return writeOver<WdpeHosfData>(
        *this, addressOf(WDLT_CONFIG_DEFAULT), [&](WdpeHosfData& stored) { stored = copyOf(pConfig); },
        [](std::int32_t failure) { WDLOG_ERROR("CFuncHosf::ConfigWrite(): Failed to read config: %d", failure); },
        [](std::int32_t failure) { WDLOG_ERROR("CFuncHosf::ConfigWrite(): Failed to write config: %d", failure); });
}

std::int32_t CFuncHosf::RecordListRead(WdpeHosfHostRecord* records, std::int32_t* count) {
    CallLines lines = linesOf("RecordListRead");
    return readSome<WdpeHosfHostList>(
        *this, addressOf(WDLT_CONFIG_HOSF_LIST), records, count, lines,
        [](std::int32_t failure) { WDLOG_ERROR("CFuncHosf::RecordListRead(): Failed to read config: %d", failure); });
}

std::int32_t CFuncHosf::RecordListWrite(const WdpeHosfHostRecord* records, std::int32_t count) {
    const CallLines lines = linesOf("RecordListWrite");
    if (records == nullptr) {
        WDLOG_ERROR("CFuncHosf::RecordListWrite(): Invalid parameter NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    if (count < 0 || count > GetMaxCount()) {
        WDLOG_ERROR("CFuncHosf::RecordListWrite(): count %d exceeds the maximum", count);
        return WDLT_E_INVALID_ARGUMENT;
    }
    return writeList<WdpeHosfHostList>(
        *this, addressOf(WDLT_CONFIG_HOSF_LIST), kOnlyList, records, count,
        [](std::int32_t failure) {
            WDLOG_ERROR("CFuncHosf::RecordListWrite(): Failed to set data to config: %d", failure);
        },
        [](std::int32_t failure) { WDLOG_ERROR("CFuncHosf::RecordListWrite(): Failed to write config: %d", failure); });
}
