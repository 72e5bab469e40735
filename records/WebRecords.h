// The HTTP handler and the HTTP manager.
#pragma once

#include "Field.h"

#include <wdltcfg/records.h>

#include <cstdint>

namespace wdlt {

inline constexpr NumberRule kReceiveTimeout = orElse(0, 600, 0);

// In the order of reading.
inline constexpr FieldOf<WdphHttp> kHttpFields[] = {
    nameList(WDLT_IN(WdphHttp, szTargetRequestMethods), "TargetRequestMethods")
        .is("methods that are looked at, parted by commas: at most 32 of 16 bytes")
        .fresh("GET,POST,PUT,HEAD,CONNECT"),
    number(WDLT_IN(WdphHttp, dwMessageBodyMemorySizeLimit), "MessageBodyMemorySizeLimit")
        .is("bytes of a body kept in memory")
        .fresh(0x100000),
    number(WDLT_IN(WdphHttp, dwMaxRequestBodyScanSize), "MaxRequestBodyScanSize")
        .is("largest request body that is scanned")
        .fresh(0xA00000),
    number(WDLT_IN(WdphHttp, dwMaxResponseBodyScanSize), "MaxResponseBodyScanSize")
        .is("largest response body that is scanned")
        .fresh(0xA00000),
    number(WDLT_IN(WdphHttp, dwMaxLineSize), "MaxLineSize").is("longest header line").fresh(0x4000),
    number(WDLT_IN(WdphHttp, dwMaxHeaderCount), "MaxHeaderCount").is("most header lines of a message").fresh(256),
    number(WDLT_IN(WdphHttp, dwReqSockOptSndBuf), "ReqSockOptSndBuf")
        .absent(0)
        .readOnly()
        .is("send buffer of a request's socket, 0 for the system's own")
        .fresh(0),
    number(WDLT_IN(WdphHttp, dwReceiveTimeout), "ReceiveTimeout")
        .absent(0)
        .reads(kReceiveTimeout)
        .toldWhenCorrected()
        .writesAndCorrects(kReceiveTimeout)
        .is("receive time-out; a larger number becomes 0")
        .fresh(0),
    number(WDLT_IN(WdphHttp, dwEnableRequestSndBuf), "EnableRequestSndBuf")
        .absent(1)
        .writesAndCorrects(asFlag())
        .flag("the send buffer of requests is set")
        .fresh(1),
    number(WDLT_IN(WdphHttp, dwSockSendBufSize), "SockSendBufSize").absent(2048).is("buffer for sending").fresh(2048),
    number(WDLT_IN(WdphHttp, dwSockResponseBufSize), "SockResponseBufSize")
        .absent(8192)
        .is("buffer for responses")
        .fresh(8192),
    number(WDLT_IN(WdphHttp, dwSockRequestBufSize), "SockRequestBufSize")
        .absent(1024)
        .is("buffer for requests")
        .fresh(1024),
};
static_assert(cover(kHttpFields));

inline constexpr std::uint32_t kPageFileLimit = 256; // most bytes read of a file name

// Each in the order of reading and writing.
inline constexpr FieldOf<WdsmHttpConfig> kHttpManagerFields[] = {
    text(WDLT_IN(WdsmHttpConfig, szUrlHistoryFile), "UrlHistoryFile", kPageFileLimit)
        .fileName()
        .is("file of the visited pages, its folder cut off")
        .fresh("UrlHist.dat"),
    number(WDLT_IN(WdsmHttpConfig, dwMaxUrlHistoryCount), "MaxUrlHistoryCount").is("most pages in it").fresh(100),
    nameList(WDLT_IN(WdsmHttpConfig, szExclusionExtensions), "ExclusionExtensions")
        .is("extensions that pass, parted by commas: at most 64 of 5 bytes")
        .fresh("gif,jpg,png,ico,css"),
    text(WDLT_IN(WdsmHttpConfig, szUrlFilterAlertFile), "UrlFilterAlertFile", kPageFileLimit)
        .fileName()
        .is("page shown for a URL, its folder cut off")
        .fresh("UrlFAlert.htm"),
    text(WDLT_IN(WdsmHttpConfig, szUrlFilterCredAlertFile), "UrlFilterCredAlertFile", kPageFileLimit)
        .fileName()
        .is("page shown for a URL's credibility, likewise")
        .fresh("UrlFCredAlert.htm"),
    text(WDLT_IN(WdsmHttpConfig, szHostFilterAlertFile), "HostFilterAlertFile", kPageFileLimit)
        .fileName()
        .is("page shown for a host, likewise")
        .fresh("HostFAlert.htm"),
    text(WDLT_IN(WdsmHttpConfig, szHostFilterErrorFile), "HostFilterErrorFile", kPageFileLimit)
        .fileName()
        .is("page shown for a host's failure, likewise")
        .fresh("HostFError.htm"),
    text(WDLT_IN(WdsmHttpConfig, szPrivacyDataAlertFile), "PrivacyDataAlertFile", kPageFileLimit)
        .fileName()
        .is("page shown for privacy data, likewise")
        .fresh("PrivAlert.htm"),
    number(WDLT_IN(WdsmHttpConfig, dwMaxWebMailScanSize), "MaxWebMailScanSize")
        .writesAndCorrects(atMost(WDLT_MAX_SCAN_SIZE))
        .is("largest web mail that is scanned")
        .fresh(3072),
    number(WDLT_IN(WdsmHttpConfig, WdsmHttpNotifyExFlag), "HttpNotifyExFlag")
        .unreadable(0, Told::AsTrace)
        .is("bits: which events are told to others")
        .fresh(0),
};
static_assert(cover(kHttpManagerFields));

inline constexpr FieldOf<WdsmWebMailData> kWebMailFields[] = {
    number(WDLT_IN(WdsmWebMailData, dwMaxWebMailScanSize), "MaxWebMailScanSize")
        .unreadable(3072)
        .writes(atMost(WDLT_MAX_SCAN_SIZE))
        .is("largest that is scanned")
        .fresh(3072),
    number(WDLT_IN(WdsmWebMailData, dwWebMailActionSizeThreshold), "WebMailActionSizeThreshold")
        .unreadable(256)
        .writes(atMost(WDLT_MAX_SCAN_SIZE))
        .keepingStoresCode()
        .is("size that is acted upon")
        .fresh(256),
};
static_assert(cover(kWebMailFields, WDLT_IN(WdsmWebMailData, dwReserved)));

inline constexpr std::uint32_t kMaxDecompressSize = 0x10000;

// A stored size of 0 counts as unreadable; any other is read as it is, even one that a write would not store.
inline constexpr FieldOf<WdpeHfeData> kFileEventsFields[] = {
    number(WDLT_IN(WdpeHfeData, dwHfeTargetMethod), "HfeTargetMethod")
        .unreadable(1)
        .is("methods that raise an event")
        .fresh(1),
    number(WDLT_IN(WdpeHfeData, dwHfeMaxDecompressSize), "HfeMaxDecompressSize")
        .unreadable(kMaxDecompressSize)
        .reads(orElse(1, UINT32_MAX, kMaxDecompressSize))
        .toldWhenCorrected()
        .writes(orElse(1, kMaxDecompressSize, kMaxDecompressSize))
        .keepingStoresCode()
        .is("most bytes unpacked for it")
        .fresh(kMaxDecompressSize),
};
static_assert(cover(kFileEventsFields));

struct PluginEventFlag {
    std::uint8_t isSet;
};
inline constexpr FieldOf<PluginEventFlag> kPluginEventFields[] = {
    number(WDLT_IN(PluginEventFlag, isSet), "HfeEnablePluginFileEvent")
        .unreadable(0)
        .reads(asFlag())
        .writes(asFlag())
        .flag("file events of plug-ins are raised too")
        .fresh(0),
};
static_assert(cover(kPluginEventFields));

} // namespace wdlt
