#include "HttpFileScanCommon.h"

#include "ValueMap.h"
#include "VirusRecords.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <cstring>

namespace {

using namespace wdlt;

constexpr ValueReport kReport{
    .readFailed =
        [](DWORD, const char* item, std::int32_t status) {
            WDLOG_ERROR("CHttpFileScanCommon: Failed to read registry (item=%s, ret=%ld)", item,
                        static_cast<long>(status));
        },
    .writeFailed =
        [](const char* item, std::int32_t status) {
            WDLOG_ERROR("CHttpFileScanCommon: Failed to write registry (item=%s, ret=%ld)", item,
                        static_cast<long>(status));
        },
};

} // namespace

std::int32_t CHttpFileScanCommon::ReadConfig(std::uint64_t, void* data, std::uint64_t* size) {
    if (data == nullptr)
        return WDLT_E_INVALID_ARGUMENT;
    if (*size < sizeof(WdpeHttpFileScanData)) {
        *size = sizeof(WdpeHttpFileScanData);
        return WDLT_E_BUFFER_SIZE;
    }
    std::memset(data, 0, *size);
    CallersRecord<WdpeHttpFileScanData> record(data);
    return readValues({*this, kReport}, kFileScanFields, *record);
}

std::int32_t CHttpFileScanCommon::WriteConfig(std::uint64_t, void* data, std::uint64_t size) {
    if (data == nullptr || size != sizeof(WdpeHttpFileScanData))
        return WDLT_E_INVALID_ARGUMENT;
    CallersRecord<WdpeHttpFileScanData> record(data);
    return writeValues({*this, kReport}, kFileScanFields, *record);
}
