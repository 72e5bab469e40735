#include "HandlerHTTP.h"

#include "HelperRegistry.h"
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

constexpr DWORD legalTimeout(DWORD timeout) {
    return timeout > kMaxReceiveTimeout ? 0 : timeout;
}
DWORD timeoutAsRead(DWORD timeout) {
    if (timeout > kMaxReceiveTimeout)
        WDLOG_ERROR("[WdltCfg] Illegal HTTP recv timeout. Discard the value(reg value=%d)", timeout);
    return legalTimeout(timeout);
}

constexpr auto kMethods = nameList<&WdphHttp::szTargetRequestMethods>("TargetRequestMethods");
constexpr auto kBodyMemory = number<&WdphHttp::dwMessageBodyMemorySizeLimit>("MessageBodyMemorySizeLimit");
constexpr auto kRequestScan = number<&WdphHttp::dwMaxRequestBodyScanSize>("MaxRequestBodyScanSize");
constexpr auto kResponseScan = number<&WdphHttp::dwMaxResponseBodyScanSize>("MaxResponseBodyScanSize");
constexpr auto kLineSize = number<&WdphHttp::dwMaxLineSize>("MaxLineSize");
constexpr auto kHeaderCount = number<&WdphHttp::dwMaxHeaderCount>("MaxHeaderCount");
constexpr auto kSendOption = number<&WdphHttp::dwReqSockOptSndBuf>("ReqSockOptSndBuf").whenAbsent(0);
constexpr auto kTimeout = number<&WdphHttp::dwReceiveTimeout>("ReceiveTimeout")
                              .whenAbsent(0)
                              .onRead(timeoutAsRead)
                              .onWriteAndInRecord(legalTimeout);
constexpr auto kEnableBuffer =
    number<&WdphHttp::dwEnableRequestSndBuf>("EnableRequestSndBuf").whenAbsent(1).onWriteAndInRecord(asFlag);
constexpr auto kSendBuffer = number<&WdphHttp::dwSockSendBufSize>("SockSendBufSize").whenAbsent(kDefaultSendBuffer);
constexpr auto kResponseBuffer =
    number<&WdphHttp::dwSockResponseBufSize>("SockResponseBufSize").whenAbsent(kDefaultResponseBuffer);
constexpr auto kRequestBuffer =
    number<&WdphHttp::dwSockRequestBufSize>("SockRequestBufSize").whenAbsent(kDefaultRequestBuffer);

// The record's order.
constexpr ValueRow<WdphHttp> kRead[] = {
    kMethods,    kBodyMemory, kRequestScan,  kResponseScan, kLineSize,       kHeaderCount,
    kSendOption, kTimeout,    kEnableBuffer, kSendBuffer,   kResponseBuffer, kRequestBuffer,
};
// The flag goes last, and nothing here writes ReqSockOptSndBuf.
constexpr ValueRow<WdphHttp> kWritten[] = {
    kMethods, kBodyMemory, kRequestScan,    kResponseScan,  kLineSize,     kHeaderCount,
    kTimeout, kSendBuffer, kResponseBuffer, kRequestBuffer, kEnableBuffer,
};

constexpr ValueReport kReport = webReport([](const char* name, const char* value) {
    WDLOG_ERROR("[WdltCfg] CHandlerHTTP::ReadConfig: Skip a value (key=%s, value=%s)", name, value);
});

const RegisterHelper<CHandlerHTTP> kRegistered(HelperKind::CHandlerHTTP);

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
