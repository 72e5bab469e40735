#include "HandlerHTTP.h"

#include "ValueMap.h"
#include "WdCommon/DebugLog.h"
#include "WebRecords.h"
#include "WebReport.h"

#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

namespace {

using namespace wdlt;

// The flag is written last.
constexpr auto kWritten = withLast(kHttpFields, WDLT_IN(WdphHttp, dwEnableRequestSndBuf));

constexpr ValueReport kHttpReport = webReport("[WdltCfg] CHandlerHTTP::ReadConfig: Skip a value (key=%s, value=%s)",
                                              "[WdltCfg] Illegal HTTP recv timeout. Discard the value(reg value=%d)");

} // namespace

std::int32_t CHandlerHTTP::ReadConfig(std::uint64_t, void* data, std::uint64_t* size) {
    return readRecord(kWebFrame, {*this, kHttpReport}, kHttpFields, data, size);
}

std::int32_t CHandlerHTTP::WriteConfig(std::uint64_t, void* data, std::uint64_t size) {
    if (const std::int32_t status = checkWrite(kWebFrame, sizeof(WdphHttp), data, size); status != WDLT_OK)
        return status;
    CallersRecord<WdphHttp> record(data);
    const DWORD given = record->dwReceiveTimeout;
    const std::int32_t status = writeValues({*this, kHttpReport}, kWritten, *record);
    if (record->dwReceiveTimeout != given)
        WDLOG_ERROR(
            "[WdltCfg] Illegal HTTP recv timeout. Discard the value and won't save to registry(recv timeout=%d)",
            given);
    return status;
}
