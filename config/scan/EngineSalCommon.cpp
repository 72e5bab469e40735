#include "EngineSalCommon.h"

#include "InnerConfigTypes.h"
#include "PluginRecords.h"
#include "ValueMap.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <cstring>
#include <span>

namespace {

using namespace wdlt;

constexpr auto kFlags = std::span(kSalFields).first<3>();

constexpr ValueReport kReport{
    .readFailed =
        [](DWORD level, const char* item, std::int32_t status) {
            WDLOG(level, "CEngineSalCommon: Failed to read registry (item=%s, ret=%ld)", item,
                  static_cast<long>(status));
        },
    .writeFailed =
        [](const char* item, std::int32_t status) {
            WDLOG_ERROR("CEngineSalCommon: Failed to write registry (item=%s, ret=%ld)", item,
                        static_cast<long>(status));
        },
};

} // namespace

std::int32_t CEngineSalCommon::ReadConfig(std::uint64_t, void* data, std::uint64_t* size) {
    if (data == nullptr)
        return WDLT_E_INVALID_ARGUMENT;
    if (*size < sizeof(WdpeSalData)) {
        *size = sizeof(WdpeSalData);
        return WDLT_E_BUFFER_SIZE;
    }
    std::memset(data, 0, *size);
    CallersRecord<WdpeSalData> record(data);
    return readValues({*this, kReport}, kSalFields, *record);
}

std::int32_t CEngineSalCommon::WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) {
    if (data == nullptr)
        return WDLT_E_INVALID_ARGUMENT;
    if (size < sizeof(WdpeSalData))
        return WDLT_E_BUFFER_SIZE;
    CallersRecord<WdpeSalData> record(data);
    return configType == kSalFlagsAlone ? writeValues({*this, kReport}, kFlags, *record)
                                        : writeValues({*this, kReport}, kSalFields, *record);
}
