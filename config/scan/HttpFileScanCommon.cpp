#include "HttpFileScanCommon.h"

#include "ValueMap.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <cstring>

namespace {

using namespace wdlt;

constexpr DWORD kDefaultScanSize = 5120;
constexpr DWORD kDefaultThreshold = 256;

// In the order of reading and writing, which isn't the record's.
constexpr FieldOf<WdpeHttpFileScanData> kValues[] = {
    number(WDLT_IN(WdpeHttpFileScanData, dwHttpActionMode), "HttpActionMode").unreadable(0),
    number(WDLT_IN(WdpeHttpFileScanData, dwActionSizeThreshold), "ActionSizeThreshold")
        .unreadable(kDefaultThreshold)
        .writes(atMost(WDLT_MAX_SCAN_SIZE)),
    number(WDLT_IN(WdpeHttpFileScanData, dwMaxScanSize), "MaxScanSize")
        .unreadable(kDefaultScanSize)
        .writes(atMost(WDLT_MAX_SCAN_SIZE)),
    text(WDLT_IN(WdpeHttpFileScanData, szTargetTypes), "TargetTypes").unreadable("7").cut().withoutTerminator(),
};
static_assert(cover(kValues, WDLT_IN(WdpeHttpFileScanData, reserved)));

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
    return readValues({*this, kReport}, kValues, *record);
}

std::int32_t CHttpFileScanCommon::WriteConfig(std::uint64_t, void* data, std::uint64_t size) {
    if (data == nullptr || size != sizeof(WdpeHttpFileScanData))
        return WDLT_E_INVALID_ARGUMENT;
    CallersRecord<WdpeHttpFileScanData> record(data);
    return writeValues({*this, kReport}, kValues, *record);
}
