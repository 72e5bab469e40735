/* Settings of the URL filter and of the host filter. */

#include "Records.h"

#include <wdltcfg/records.h>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {
namespace {

constexpr Field kUrlFilter[] = {
    numberField(WDLT_MEMBER(WdltUrlfConfig, dwMode), "mode of the filter"),
    flagField(WDLT_MEMBER(WdltUrlfConfig, dwEnableServerLookup), "1: the rating server is asked"),
    textField(WDLT_MEMBER(WdltUrlfConfig, szBlockCategoryGroups), "category groups that are blocked"),
    flagField(WDLT_MEMBER(WdltUrlfConfig, dwEnableCategoryChk), "1: categories are checked"),
    flagField(WDLT_MEMBER(WdltUrlfConfig, dwEnablePharm), "1: pharming is checked"),
    flagField(WDLT_MEMBER(WdltUrlfConfig, dwCategoryNonBlock), "1: a category is told, not blocked"),
    flagField(WDLT_MEMBER(WdltUrlfConfig, dwPharmingNonBlock), "1: pharming is told, not blocked"),
    flagField(WDLT_MEMBER(WdltUrlfConfig, dwNotifyAll), "1: everything is told"),
    flagField(WDLT_MEMBER(WdltUrlfConfig, dwEnableCredibilityChk), "1: credibility is checked"),
    flagField(WDLT_MEMBER(WdltUrlfConfig, dwCredibilityNonBlock), "1: credibility is told, not blocked"),
    signedField(WDLT_MEMBER(WdltUrlfConfig, dwUserDefinedCredLevel), "level of credibility; -1: unset"),
    flagField(WDLT_MEMBER(WdltUrlfConfig, dwUseCredibilityScore), "1: the score decides"),
    signedField(WDLT_MEMBER(WdltUrlfConfig, dwCredScoreThresHold), "threshold of the score; -1: unset"),
    flagField(WDLT_MEMBER(WdltUrlfConfig, dwEnablePhishChk), "1: phishing is checked"),
    flagField(WDLT_MEMBER(WdltUrlfConfig, dwPhishNonBlock), "1: phishing is told, not blocked"),
    textField(WDLT_MEMBER(WdltUrlfConfig, szBlockPhishCategoryGrps), "category groups blocked as phishing"),
    flagField(WDLT_MEMBER(WdltUrlfConfig, dwEnableWdlDns), "1: host names are looked up by the filter"),
    flagField(WDLT_MEMBER(WdltUrlfConfig, dwEnableWdufeDns), "1: host names are looked up by the rating engine"),
};

constexpr Field kProxy[] = {
    flagField(WDLT_MEMBER(WdltUrlfProxy, dwEnableProxy), "1: the rating server is reached through it"),
    textField(WDLT_MEMBER(WdltUrlfProxy, szProxyServer), "its name"),
    numberField(WDLT_MEMBER(WdltUrlfProxy, dwProxyPort), "its port"),
    textField(WDLT_MEMBER(WdltUrlfProxy, szProxyUser), "user, stored enciphered"),
    textField(WDLT_MEMBER(WdltUrlfProxy, szProxyPassword), "password, stored enciphered").secret(),
};

constexpr Field kRatingServer[] = {
    textField(WDLT_MEMBER(WdpeUrlfRSInfo, szRatingServer), "its name, stored enciphered"),
    numberField(WDLT_MEMBER(WdpeUrlfRSInfo, dwRatingPort), "its port"),
};

constexpr Field kUntestedUrls[] = {
    flagField(WDLT_MEMBER(WdpeUrlfUUC, dwEnableUntestedURLChk), "1: untested URLs are checked"),
    flagField(WDLT_MEMBER(WdpeUrlfUUC, dwBlockUntestedURL), "1: and blocked"),
    flagField(WDLT_MEMBER(WdpeUrlfUUC, dwUntestedURLNonBlock), "1: and told, not blocked"),
};

constexpr Field kHostFilter[] = {
    flagField(WDLT_MEMBER(WdpeHosfData, dwEnablePrivateIPCheck), "1: private addresses are checked"),
    flagField(WDLT_MEMBER(WdpeHosfData, dwNonBlock), "1: a host is told, not blocked"),
    textField(WDLT_MEMBER(WdpeHosfData, szExclusionExtensions), "extensions that are passed over"),
};

} // namespace

const Record kUrlFilterRecord =
    exportedRecord<WdltUrlfConfig, WdltUrlfReadConfig, WdltUrlfWriteConfig>("urlf", "the URL filter", kUrlFilter);
const Record kUrlFilterProxyRecord = exportedRecord<WdltUrlfProxy, WdltUrlfReadProxy, WdltUrlfWriteProxy>(
    "urlf-proxy", "the proxy on the way to the URL filter's rating server", kProxy);
const Record kRatingServerRecord = exportedRecord<WdpeUrlfRSInfo, WdltUrlfReadRSInfo, WdltUrlfWriteRSInfo>(
    "urlf-rating-server", "the URL filter's rating server", kRatingServer);
const Record kUntestedUrlsRecord = exportedRecord<WdpeUrlfUUC, WdltUrlfReadUUC, WdltUrlfWriteUUC>(
    "urlf-untested", "the check of untested URLs", kUntestedUrls);
const Record kHostFilterRecord =
    exportedRecord<WdpeHosfData, WdltHosfReadConfig, WdltHosfWriteConfig>("hosf", "the host filter", kHostFilter);

} // namespace wdlt
