#include "ManagerHTTPCommon.h"

#include "ConfigTypes.h"
#include "ValueMap.h"
#include "WdCommon/DebugLog.h"
#include "WebRecords.h"
#include "WebReport.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <cstddef>
#include <cstring>

namespace {

using namespace wdlt;

constexpr ValueReport kHttpManagerReport =
    webReport("[WdltCfg] CManagerHTTPCommon::ReadConfig: Skip a value (key=%s, value=%s)",
              "[WdltCfg] ReadValue failed (key=%s, ret=%ld)");

template <auto& Rows>
std::int32_t readTable(WdchHelper& helper, void* data, std::uint64_t* size) {
    return readRecord(kWebFrame, {helper, kHttpManagerReport}, Rows, data, size);
}

template <auto& Rows>
std::int32_t writeTable(WdchHelper& helper, void* data, std::uint64_t size) {
    return writeRecord(kWebFrame, {helper, kHttpManagerReport}, Rows, data, size);
}

std::int32_t readManager(WdchHelper& helper, void* data, std::uint64_t* size) {
    const std::int32_t status = readTable<kHttpManagerFields>(helper, data, size);
    if (status != WDLT_OK)
        return status;
    std::uint32_t flag = 0;
    std::memcpy(&flag, static_cast<const char*>(data) + offsetof(WdsmHttpConfig, WdsmHttpNotifyExFlag), sizeof flag);
    WDLOG_TRACE("[WdltCfg] WdsmHttpNotifyExFlag(0x%X)", flag);
    return WDLT_OK;
}

constexpr ConfigType kTypes[] = {
    {WDLT_CONFIG_DEFAULT, readManager, writeTable<kHttpManagerFields>},
    {WDLT_CONFIG_HTTP_WEB_MAIL, readTable<kWebMailFields>, writeTable<kWebMailFields>},
    {WDLT_CONFIG_HTTP_FILE_EVENTS, readTable<kFileEventsFields>, writeTable<kFileEventsFields>},
    {WDLT_CONFIG_HTTP_PLUGIN_EVENT, readTable<kPluginEventFields>, writeTable<kPluginEventFields>},
};

} // namespace

std::int32_t CManagerHTTPCommon::ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) {
    const ConfigType* const found = findConfigType(kTypes, configType);
    if (found == nullptr) {
        WDLOG_ERROR("[WdltCfg.dll] ReadConfig invalid input : pInput=0x%x", static_cast<std::uint32_t>(configType));
        return WDLT_E_INVALID_ARGUMENT;
    }
    return found->read(*this, data, size);
}

std::int32_t CManagerHTTPCommon::WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) {
    const ConfigType* const found = findConfigType(kTypes, configType);
    if (found == nullptr) {
        WDLOG_ERROR("[WdltCfg.dll] WriteConfig invalid input : pInput=0x%x", static_cast<std::uint32_t>(configType));
        return WDLT_E_INVALID_ARGUMENT;
    }
    return found->write(*this, data, size);
}
