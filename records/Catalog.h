// Every record of settings by the name that users know, and where its values are in the registry. The tools offer the
// records that have a name; docs/settings.md lists all.
#pragma once

#include "ExportedRecords.h"
#include "MailRecords.h"
#include "PluginRecords.h"
#include "PrivacyRecords.h"
#include "Shown.h"
#include "SystemRecords.h"
#include "UrlFilterRecords.h"
#include "VirusRecords.h"
#include "WebRecords.h"

#include <span>
#include <string_view>

namespace wdlt {

struct Settings {
    std::string_view name; // of the record; after a space: which of several; empty: not offered by the tools
    const char* help;
    std::string_view key; // below the service's key; * stands for any name
    std::span<const Field> fields;
};

// The HTTPS filter's flags alone. Writing them tries to switch on the HTTP handler too.
struct HttpsFlags {
    std::uint32_t enable;
};

namespace catalog {

inline constexpr auto kPop3Engine = withFresh(kEngineFields, *findEngineDefaults(WDLT_PROTOCOL_POP3, WDLT_INPUT_NONE));
inline constexpr auto kSmtpEngine = withFresh(kEngineFields, *findEngineDefaults(WDLT_PROTOCOL_SMTP, WDLT_INPUT_NONE));
inline constexpr auto kHttpEngine = withFresh(kEngineFields, *findEngineDefaults(WDLT_PROTOCOL_HTTP, WDLT_INPUT_NONE));
inline constexpr auto kFileEngine =
    withFresh(kEngineFields, *findEngineDefaults(WDLT_PROTOCOL_HTTP, WDLT_INPUT_HTTP_FILE_SCAN));

// Fields of exported records that are stored apart from the rest.
inline constexpr auto kAnyScanLimit = number(WDLT_IN(WdltVsConfig, dwLimitSize), nullptr)
                                          .is("largest that is scanned; stored with the limits of its protocol");
inline constexpr auto kScanLimit = kAnyScanLimit.reads(atMost(WDLT_MAX_SCAN_SIZE));
inline constexpr auto kWebScanLimit = kAnyScanLimit.writes(atMost(WDLT_MAX_SCAN_SIZE));
inline constexpr auto kSalSwitch =
    number(WDLT_IN(WdltSalConfig, dwEnable), nullptr).fresh(0).flag("SAL is on; the HTTP handler is asked to go on");
inline constexpr auto kSpamLevel = number(WDLT_IN(WdltAspmConfig, dwLevel), nullptr)
                                       .takes(0, kHighestSpamLevel)
                                       .fresh(1)
                                       .is("level of detection; stored with POP3's");
inline constexpr FieldOf<HttpsFlags> kHttpsFlagsFields[] = {
    exportedAs(WDLT_IN(HttpsFlags, enable), rowOf(kHttpsFields, WDLT_IN(WdltHttpsConfig, enable)))
        .is("as of https; the HTTP handler is asked to go on"),
};

// Values that belong to no record: families and stores read them directly.
struct NoRecord {};
constexpr FieldOf<NoRecord> lone(FieldKind kind, const char* value) {
    FieldOf<NoRecord> field;
    field.kind = kind;
    field.value = value;
    return field;
}
constexpr FieldOf<NoRecord> loneFile(const char* value, std::string_view file) {
    return lone(FieldKind::Text, value).fresh(file).fileName();
}
inline constexpr FieldOf<NoRecord> kUrlFilterFiles[] = {
    loneFile("Whitelist", "UrlWhite.dat").is("the URLs that always pass"),
    loneFile("Blacklist", "UrlBlack.dat").is("the URLs that never do"),
    loneFile("CategoryFile", "UrlCat.dat").is("the categories"),
    loneFile("CategoryGroupFile", "UrlCatGrp.dat").is("their groups"),
    loneFile("LogIndexFile", "URLLog.dat").unreadable("URLLog.dat").is("the index of the log"),
};
inline constexpr FieldOf<NoRecord> kUrlFilterTexts[] = {
    lone(FieldKind::Number, "ExtraHeaderVersion").is("version of the extra header, once there is one"),
    lone(FieldKind::SealedText, "ExtraHeaderData").is("bytes that are put into requests"),
    lone(FieldKind::SealedText, "QXNGuid").is("identifier given to the rating server, once there is one"),
};
inline constexpr FieldOf<NoRecord> kHostFilterFiles[] = {
    loneFile("Whitelist", "HostWhite.dat").is("the hosts that pass")};
inline constexpr FieldOf<NoRecord> kSpywareFiles[] = {lone(FieldKind::Text, "WhiteList")
                                                          .unreadable("SpyAList.dat")
                                                          .fresh("SpyAList.dat")
                                                          .is("file of the spyware that is tolerated")};
inline constexpr FieldOf<NoRecord> kAddressFiles[] = {
    loneFile("AddressCacheFile", "AddrCache.dat").is("the addresses, at most 15 characters")};
inline constexpr FieldOf<NoRecord> kThresholds[] = {
    lone(FieldKind::Text, kAntiSpamThresholds[0].value)
        .fresh("90")
        .is("threshold of the low level: a decimal text, above 0 and at most 100"),
    lone(FieldKind::Text, kAntiSpamThresholds[1].value).fresh("70").is("of the medium one"),
    lone(FieldKind::Text, kAntiSpamThresholds[2].value).fresh("50").is("of the high one"),
};
inline constexpr FieldOf<NoRecord> kExclusions[] = {
    lone(FieldKind::Number, "ExclusionItemMax").absent(100).fresh(100).is("most exclusions")};
inline constexpr FieldOf<NoRecord> kSearchTable[] = {
    lone(FieldKind::Number, "SearchTableIndex").fresh(0).is("its number")};
inline constexpr FieldOf<NoRecord> kBrowsers[] = {
    lone(FieldKind::Number, "enableIE").unreadable(1).fresh(0).flag("Internet Explorer"),
    lone(FieldKind::Number, "enableFirefox").unreadable(1).fresh(0).flag("Firefox"),
    lone(FieldKind::Number, "enableChrome").unreadable(1).fresh(0).flag("Chrome"),
};
inline constexpr FieldOf<NoRecord> kDrsSwitch[] = {
    lone(FieldKind::Number, "enable").unreadable(0).fresh(0).flag("DRS is on")};
inline constexpr FieldOf<NoRecord> kDrsWhiteList[] = {
    lone(FieldKind::Number, "UseWhiteList").unreadable(0).fresh(0).flag("the list is used"),
    lone(FieldKind::Number, "Option").neverRead().fresh(0).is("its option"),
};

inline constexpr auto kSystem = shown(kSystemFields, kSystemReadOnlyFields, kSystemHandlerFields);
inline constexpr auto kHandler = shown(kHandlerFields, kHandlerLookFields);
inline constexpr auto kUrlFilter = exported(kUrlFilterPairs, kUrlFilterFields);
inline constexpr auto kUrlFilterProxy = exported(kUrlFilterProxyPairs, kUrlFilterFields);
inline constexpr auto kRatingServer = shown(kRatingServerFields);
inline constexpr auto kUntestedUrls = shown(kUntestedUrlFields);
inline constexpr auto kHostFilter = shown(kHostFilterFields);
inline constexpr auto kPop3Scan = exported(kVirusScanPairs, kPop3Engine, kScanLimit.fresh(5120));
inline constexpr auto kSmtpScan = exported(kVirusScanPairs, kSmtpEngine, kScanLimit.fresh(5120));
inline constexpr auto kWebMailScan = exported(kVirusScanPairs, kHttpEngine, kWebScanLimit.fresh(3072));
inline constexpr auto kFileVirusScan = exported(kVirusScanPairs, kFileEngine, kWebScanLimit.fresh(5120));
inline constexpr auto kFileScan = exported(kFileScanPairs, kFileScanFields);
inline constexpr auto kFileEvents = shown(kFileEventsFields);
inline constexpr auto kEngineOfPop3 = shown(kPop3Engine);
inline constexpr auto kEngineOfSmtp = shown(kSmtpEngine);
inline constexpr auto kEngineOfHttp = shown(kHttpEngine);
inline constexpr auto kEngineOfFiles = shown(kFileEngine);
inline constexpr auto kEngineCommon = shown(kEngineCommonFields);
inline constexpr auto kPop3 = shown(kPop3Fields);
inline constexpr auto kSmtp = shown(kSmtpFields);
inline constexpr auto kHttp = shown(kHttpFields);
inline constexpr auto kHttpManager = shown(kHttpManagerFields);
inline constexpr auto kWebMail = shown(kWebMailFields);
inline constexpr auto kHttps = shown(kHttpsFields);
inline constexpr auto kHttpsFlags = shown(kHttpsFlagsFields);
inline constexpr auto kPluginManager = shown(kPluginManagerFields);
inline constexpr auto kDrs = shown(kDrsFields);
inline constexpr auto kSal = exported(kSalPairs, kSalFields, kSalSwitch);
inline constexpr auto kAntiSpam = exported(kAntiSpamPairs, kAntiSpamFields, kSpamLevel);
inline constexpr auto kMail = shown(kMailManagerFields);
inline constexpr auto kUrlFilterMore = joined(kUrlFilterMoreFields, kUrlFilterDrsFields, kUrlFilterTexts,
                                              kCacheFileFields, kBackupRetryFields, kSocketFamilyFields);
inline constexpr auto kFileScanMore = shown(kFileScanFields);
inline constexpr auto kPluginEvent = shown(kPluginEventFields);
inline constexpr auto kAntiSpamMore = joined(kAntiSpamFields, kRulePathFields);
inline constexpr auto kAntiSpamPop3 = shown(kAntiSpamPop3Fields);
inline constexpr auto kPrivacy = shown(kPrivacyControlFields);
inline constexpr auto kUrlFilterFilesShown = joined(kUrlFilterFiles);
inline constexpr auto kHostFilterFilesShown = joined(kHostFilterFiles);
inline constexpr auto kSpywareFilesShown = joined(kSpywareFiles);
inline constexpr auto kAddressFilesShown = joined(kAddressFiles);
inline constexpr auto kThresholdsShown = joined(kThresholds);
inline constexpr auto kExclusionsShown = joined(kExclusions);
inline constexpr auto kSearchTableShown = joined(kSearchTable);
inline constexpr auto kBrowsersShown = joined(kBrowsers);
inline constexpr auto kDrsSwitchShown = joined(kDrsSwitch);
inline constexpr auto kDrsWhiteListShown = joined(kDrsWhiteList);
inline constexpr auto kScanItem = shown(kScanItemFields);
inline constexpr auto kScanItemCommon = shown(kScanItemCommonFields);

} // namespace catalog

inline constexpr Settings kSettings[] = {
    {"system", "the service itself", "", catalog::kSystem},
    {"handler", "a protocol handler", "ProtocolHandler\\*", catalog::kHandler},
    {"urlf", "the URL filter", "Scan\\Common\\URLFilter\\config", catalog::kUrlFilter},
    {"urlf-proxy", "the proxy on the way to the URL filter's rating server", "Scan\\Common\\URLFilter\\config",
     catalog::kUrlFilterProxy},
    {"urlf-rating-server", "the URL filter's rating server", "Scan\\Common\\URLFilter\\config", catalog::kRatingServer},
    {"urlf-untested", "the check of untested URLs", "Scan\\Common\\URLFilter\\config", catalog::kUntestedUrls},
    {"hosf", "the host filter", "Scan\\Common\\HostFilter\\config", catalog::kHostFilter},
    {"pvs", "the virus scan of POP3", "Scan\\POP3\\Virus\\config", catalog::kPop3Scan},
    {"svs", "the virus scan of SMTP", "Scan\\SMTP\\Virus\\config", catalog::kSmtpScan},
    {"wmvs", "the virus scan of web mail", "Scan\\HTTP\\Virus\\config", catalog::kWebMailScan},
    {"hfs-virus", "the virus scan of files over HTTP", "Scan\\HTTP\\HttpFileScan\\config", catalog::kFileVirusScan},
    {"hfs", "how files over HTTP are scanned", "Scan\\Common\\HttpFileScan\\config", catalog::kFileScan},
    {"hfe", "HTTP file events", "Scan\\Common\\HttpManager\\config", catalog::kFileEvents},
    {"virus pop3", "all that the scan engine is told for POP3", "Scan\\POP3\\Virus\\config", catalog::kEngineOfPop3},
    {"virus smtp", "for SMTP", "Scan\\SMTP\\Virus\\config", catalog::kEngineOfSmtp},
    {"virus http", "for HTTP", "Scan\\HTTP\\Virus\\config", catalog::kEngineOfHttp},
    {"virus files", "for files over HTTP", "Scan\\HTTP\\HttpFileScan\\config", catalog::kEngineOfFiles},
    {"virus-common", "what the virus scans of all places have in common", "Scan\\Common\\Virus\\config",
     catalog::kEngineCommon},
    {"pop3", "how the POP3 handler works", "ProtocolHandler\\POP3\\config", catalog::kPop3},
    {"smtp", "how the SMTP handler works", "ProtocolHandler\\SMTP\\config", catalog::kSmtp},
    {"http", "how the HTTP handler works", "ProtocolHandler\\HTTP\\config", catalog::kHttp},
    {"http-manager", "the HTTP manager", "Scan\\Common\\HttpManager\\config", catalog::kHttpManager},
    {"web-mail", "sizes of the web mail scan", "Scan\\Common\\HttpManager\\config", catalog::kWebMail},
    {"https", "the HTTPS filter", "Scan\\HTTP\\HttpsFilter", catalog::kHttps},
    {"https-flags", "the HTTPS filter's flags alone", "Scan\\HTTP\\HttpsFilter", catalog::kHttpsFlags},
    {"plugin-manager", "the plug-in manager", "PluginManager", catalog::kPluginManager},
    {"drs", "the settings of DRS", "Scan\\Common\\URLFilter\\config", catalog::kDrs},
    {"sal", "SAL and its switch", "Scan\\Common\\SAL\\config", catalog::kSal},
    {"aspm", "anti-spam of POP3", "Scan\\Common\\AntiSpam\\config", catalog::kAntiSpam},
    {"mail", "the mail manager", "Scan\\Common\\MailManager\\config", catalog::kMail},
    {"", "more of the URL filter's, which only the whole record has", "Scan\\Common\\URLFilter\\config",
     catalog::kUrlFilterMore},
    {"", "more of the file scan's", "Scan\\Common\\HttpFileScan\\config", catalog::kFileScanMore},
    {"", "more of the HTTP manager's", "Scan\\Common\\HttpManager\\config", catalog::kPluginEvent},
    {"", "more of anti-spam's", "Scan\\Common\\AntiSpam\\config", catalog::kAntiSpamMore},
    {"", "anti-spam's of POP3", "Scan\\POP3\\AntiSpam\\config", catalog::kAntiSpamPop3},
    {"", "privacy data protection's", "Scan\\Common\\PrivacyProtection\\config", catalog::kPrivacy},
    {"", "the URL filter's files", "Scan\\Common\\URLFilter\\config", catalog::kUrlFilterFilesShown},
    {"", "the host filter's file", "Scan\\Common\\HostFilter\\config", catalog::kHostFilterFilesShown},
    {"", "the spyware list's file", "Scan\\Common\\Virus\\config", catalog::kSpywareFilesShown},
    {"", "the address cache's file", "Scan\\Common\\MailManager\\config", catalog::kAddressFilesShown},
    {"", "the thresholds of anti-spam's levels", "Scan\\POP3\\AntiSpam\\config", catalog::kThresholdsShown},
    {"", "the number of exclusions of privacy data protection", "Scan\\Common\\PrivacyProtection\\config",
     catalog::kExclusionsShown},
    {"", "the service's search table of private data", "Scan\\*\\PrivacyProtection\\config",
     catalog::kSearchTableShown},
    {"", "the browsers that take the plug-in", "PluginManager", catalog::kBrowsersShown},
    {"", "the switch of DRS", "PluginManager\\DRS", catalog::kDrsSwitchShown},
    {"", "the white list of DRS; each rule is a key below it, with Index, ProcessImageName and DomainName",
     "PluginManager\\DRS\\WhiteList", catalog::kDrsWhiteListShown},
    {"", "a scan item", "Scan\\*\\*", catalog::kScanItem},
    {"", "an engine", "Scan\\Common\\*", catalog::kScanItemCommon},
};

} // namespace wdlt
