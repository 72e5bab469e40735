/* Settings of the protocol handlers and of the HTTP manager. */

#include "Records.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>

namespace wdlt {
namespace {

/* What both mail handlers have. */
template <class T>
struct MailFields {
    static constexpr Field kLimitSize =
        numberField(WDLT_MEMBER(T, dwLimitSize), "largest mail that is scanned, counted as at most 655359");
    static constexpr Field kIntervalLength =
        numberField(WDLT_MEMBER(T, dwIntervalLength), "between signs of life to a waiting client");
    static constexpr Field kWaitTime = numberField(WDLT_MEMBER(T, dwWaitTime), "how long a client waits");
};

using Pop3 = MailFields<WdphPop3>;
constexpr Field kPop3[] = {Pop3::kLimitSize, Pop3::kIntervalLength, Pop3::kWaitTime};

using Smtp = MailFields<WdphSmtp>;
constexpr Field kSmtp[] = {
    Smtp::kLimitSize,
    Smtp::kIntervalLength,
    Smtp::kWaitTime,
    numberField(WDLT_MEMBER(WdphSmtp, dwMaxSessionCount), "most sessions at one time, counted as at least 1"),
};

constexpr Field kHttp[] = {
    nameListField(WDLT_MEMBER(WdphHttp, szTargetRequestMethods), sizeof(WdphHttp::szTargetRequestMethods[0]),
                  "methods that are looked at, parted by commas: at most 32 of 16 bytes"),
    numberField(WDLT_MEMBER(WdphHttp, dwMessageBodyMemorySizeLimit), "bytes of a body kept in memory"),
    numberField(WDLT_MEMBER(WdphHttp, dwMaxRequestBodyScanSize), "largest request body that is scanned"),
    numberField(WDLT_MEMBER(WdphHttp, dwMaxResponseBodyScanSize), "largest response body that is scanned"),
    numberField(WDLT_MEMBER(WdphHttp, dwMaxLineSize), "longest header line"),
    numberField(WDLT_MEMBER(WdphHttp, dwMaxHeaderCount), "most header lines of a message"),
    numberField(WDLT_MEMBER(WdphHttp, dwReqSockOptSndBuf), "send buffer of a request's socket").readOnly(),
    numberField(WDLT_MEMBER(WdphHttp, dwReceiveTimeout), "receive time-out, 0 to 600; a larger one becomes 0"),
    flagField(WDLT_MEMBER(WdphHttp, dwEnableRequestSndBuf), "1: the send buffer of requests is set"),
    numberField(WDLT_MEMBER(WdphHttp, dwSockSendBufSize), "buffer for sending"),
    numberField(WDLT_MEMBER(WdphHttp, dwSockResponseBufSize), "buffer for responses"),
    numberField(WDLT_MEMBER(WdphHttp, dwSockRequestBufSize), "buffer for requests"),
};

constexpr Field kHttpManager[] = {
    textField(WDLT_MEMBER(WdsmHttpConfig, szUrlHistoryFile), "file of the visited pages, its folder cut off"),
    numberField(WDLT_MEMBER(WdsmHttpConfig, dwMaxUrlHistoryCount), "most pages in it"),
    nameListField(WDLT_MEMBER(WdsmHttpConfig, szExclusionExtensions), sizeof(WdsmHttpConfig::szExclusionExtensions[0]),
                  "extensions that pass, parted by commas: at most 64 of 5 bytes"),
    textField(WDLT_MEMBER(WdsmHttpConfig, szUrlFilterAlertFile), "page shown for a URL, its folder cut off"),
    textField(WDLT_MEMBER(WdsmHttpConfig, szUrlFilterCredAlertFile), "page shown for a URL's credibility, likewise"),
    textField(WDLT_MEMBER(WdsmHttpConfig, szHostFilterAlertFile), "page shown for a host, likewise"),
    textField(WDLT_MEMBER(WdsmHttpConfig, szHostFilterErrorFile), "page shown for a host's failure, likewise"),
    textField(WDLT_MEMBER(WdsmHttpConfig, szPrivacyDataAlertFile), "page shown for privacy data, likewise"),
    numberField(WDLT_MEMBER(WdsmHttpConfig, dwMaxWebMailScanSize), "largest web mail that is scanned, at most 655359"),
    numberField(WDLT_MEMBER(WdsmHttpConfig, WdsmHttpNotifyExFlag), "bits: which events are told to others"),
};

constexpr Field kWebMail[] = {
    numberField(WDLT_MEMBER(WdsmWebMailData, dwMaxWebMailScanSize), "largest that is scanned, at most 655359"),
    numberField(WDLT_MEMBER(WdsmWebMailData, dwWebMailActionSizeThreshold), "size that is acted upon, at most 655359"),
};

} // namespace

const Record kPop3Record =
    addressedRecord<WdphPop3, WDLT_PROTOCOL_POP3, WDLT_SCAN_NONE>("pop3", "how the POP3 handler works", kPop3);
const Record kSmtpRecord =
    addressedRecord<WdphSmtp, WDLT_PROTOCOL_SMTP, WDLT_SCAN_NONE>("smtp", "how the SMTP handler works", kSmtp);
const Record kHttpRecord =
    addressedRecord<WdphHttp, WDLT_PROTOCOL_HTTP, WDLT_SCAN_NONE>("http", "how the HTTP handler works", kHttp);
const Record kHttpManagerRecord = addressedRecord<WdsmHttpConfig, WDLT_PROTOCOL_COMMON, WDLT_SCAN_HTTP_MANAGER>(
    "http-manager", "the HTTP manager", kHttpManager);
const Record kWebMailRecord =
    addressedRecord<WdsmWebMailData, WDLT_PROTOCOL_COMMON, WDLT_SCAN_HTTP_MANAGER, WDLT_INPUT_NONE,
                    WDLT_CONFIG_HTTP_WEB_MAIL>("web-mail", "sizes of the web mail scan", kWebMail);

} // namespace wdlt
