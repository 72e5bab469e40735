#include "HandlerHTTP.h"

#include "ValueMap.h"
#include "WdCommon/DebugLog.h"
#include "WebReport.h"

#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

namespace {

using namespace wdlt;

constexpr DWORD kMaxReceiveTimeout = 600;
constexpr DWORD kDefaultSendBuffer = 2048;
constexpr DWORD kDefaultResponseBuffer = 8192;
constexpr DWORD kDefaultRequestBuffer = 1024;

constexpr auto kMethods = nameList(WDLT_IN(WdphHttp, szTargetRequestMethods), "TargetRequestMethods");
constexpr auto kBodyMemory = number(WDLT_IN(WdphHttp, dwMessageBodyMemorySizeLimit), "MessageBodyMemorySizeLimit");
constexpr auto kRequestScan = number(WDLT_IN(WdphHttp, dwMaxRequestBodyScanSize), "MaxRequestBodyScanSize");
constexpr auto kResponseScan = number(WDLT_IN(WdphHttp, dwMaxResponseBodyScanSize), "MaxResponseBodyScanSize");
constexpr auto kLineSize = number(WDLT_IN(WdphHttp, dwMaxLineSize), "MaxLineSize");
constexpr auto kHeaderCount = number(WDLT_IN(WdphHttp, dwMaxHeaderCount), "MaxHeaderCount");
constexpr auto kSendOption = number(WDLT_IN(WdphHttp, dwReqSockOptSndBuf), "ReqSockOptSndBuf").absent(0);
constexpr auto kTimeout = number(WDLT_IN(WdphHttp, dwReceiveTimeout), "ReceiveTimeout")
                              .absent(0)
                              .reads(orElse(0, kMaxReceiveTimeout, 0))
                              .toldWhenCorrected()
                              .writesAndCorrects(orElse(0, kMaxReceiveTimeout, 0));
constexpr auto kEnableBuffer =
    number(WDLT_IN(WdphHttp, dwEnableRequestSndBuf), "EnableRequestSndBuf").absent(1).writesAndCorrects(asFlag());
constexpr auto kSendBuffer = number(WDLT_IN(WdphHttp, dwSockSendBufSize), "SockSendBufSize").absent(kDefaultSendBuffer);
constexpr auto kResponseBuffer =
    number(WDLT_IN(WdphHttp, dwSockResponseBufSize), "SockResponseBufSize").absent(kDefaultResponseBuffer);
constexpr auto kRequestBuffer =
    number(WDLT_IN(WdphHttp, dwSockRequestBufSize), "SockRequestBufSize").absent(kDefaultRequestBuffer);

// The record's order.
constexpr FieldOf<WdphHttp> kRead[] = {
    kMethods,    kBodyMemory, kRequestScan,  kResponseScan, kLineSize,       kHeaderCount,
    kSendOption, kTimeout,    kEnableBuffer, kSendBuffer,   kResponseBuffer, kRequestBuffer,
};
static_assert(cover(kRead));
// The flag goes last, and nothing here writes ReqSockOptSndBuf.
constexpr FieldOf<WdphHttp> kWritten[] = {
    kMethods, kBodyMemory, kRequestScan,    kResponseScan,  kLineSize,     kHeaderCount,
    kTimeout, kSendBuffer, kResponseBuffer, kRequestBuffer, kEnableBuffer,
};

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
    return readValues({*this, kReport}, kRead, *record);
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
