#include "HandlerHTTP.h"

#include "ValueMap.h"
#include "WdCommon/DebugLog.h"
#include "WebRecords.h"
#include "WebReport.h"

#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

namespace {

using namespace wdlt;

// The flag goes last.
constexpr auto kWritten = withLast(kHttpFields, WDLT_IN(WdphHttp, dwEnableRequestSndBuf));

constexpr ValueReport kReport = webReport(
    [](const char* name, const char* value) {
        WDLOG_ERROR("[WdltCfg] CHandlerHTTP::ReadConfig: Skip a value (key=%s, value=%s)", name, value);
    },
    [](const char*, std::uint32_t timeout) {
        WDLOG_ERROR("[WdltCfg] Illegal HTTP recv timeout. Discard the value(reg value=%d)", timeout);
    });

} // namespace

std::int32_t CHandlerHTTP::ReadConfig(std::uint64_t, void* data, std::uint64_t* size) {
    if (data == nullptr || *size != sizeof(WdphHttp))
        return WDLT_E_INVALID_ARGUMENT;
    CallersRecord<WdphHttp> record(data);
    record.clear();
    return readValues({*this, kReport}, kHttpFields, *record);
}

std::int32_t CHandlerHTTP::WriteConfig(std::uint64_t, void* data, std::uint64_t size) {
    if (data == nullptr || size != sizeof(WdphHttp))
        return WDLT_E_INVALID_ARGUMENT;
    CallersRecord<WdphHttp> record(data);
    const DWORD given = record->dwReceiveTimeout;
    const std::int32_t status = writeValues({*this, kReport}, kWritten, *record);
    if (record->dwReceiveTimeout != given)
        WDLOG_ERROR(
            "[WdltCfg] Illegal HTTP recv timeout. Discard the value and won't save to registry(recv timeout=%d)",
            given);
    return status;
}
