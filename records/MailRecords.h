// The mail handlers, anti-spam and the mail manager.
#pragma once

#include "Field.h"

#include <wdltcfg/records.h>

#include <cstddef>
#include <cstdint>

namespace wdlt {

// Fields of both mail handlers. A larger size limit may be stored, but none reads as more than WDLT_MAX_SCAN_SIZE.
template <class Record>
constexpr FieldOf<Record> mailLimitSize(const MemberOf<Record, std::uint32_t>& place) {
    return number(place, "LimitSize")
        .namedAsMember()
        .reads(atMost(WDLT_MAX_SCAN_SIZE))
        .is("largest mail that is scanned")
        .fresh(5120);
}
template <class Record>
constexpr FieldOf<Record> mailInterval(const MemberOf<Record, std::uint32_t>& place) {
    return number(place, "IntervalLength").namedAsMember().is("between signs of life to a waiting client").fresh(10);
}
template <class Record>
constexpr FieldOf<Record> mailWaitTime(const MemberOf<Record, std::uint32_t>& place) {
    return number(place, "WaitTime").namedAsMember().is("how long a client waits").fresh(60);
}

// In the order of reading and writing.
inline constexpr FieldOf<WdphPop3> kPop3Fields[] = {
    mailLimitSize(WDLT_IN(WdphPop3, dwLimitSize)),
    mailInterval(WDLT_IN(WdphPop3, dwIntervalLength)),
    mailWaitTime(WDLT_IN(WdphPop3, dwWaitTime)),
};
static_assert(cover(kPop3Fields));

inline constexpr FieldOf<WdphSmtp> kSmtpFields[] = {
    mailLimitSize(WDLT_IN(WdphSmtp, dwLimitSize)),
    mailInterval(WDLT_IN(WdphSmtp, dwIntervalLength)),
    mailWaitTime(WDLT_IN(WdphSmtp, dwWaitTime)),
    number(WDLT_IN(WdphSmtp, dwMaxSessionCount), "MaxSessionCount")
        .namedAsMember()
        .absent(100)
        .reads(atLeast(1))
        .is("most sessions at one time")
        .fresh(100),
};
static_assert(cover(kSmtpFields));

inline constexpr NumberRule kCloudTimeout = orElse(100, 10000, 2000);

inline constexpr FieldOf<WdpeAspmCommonData> kAntiSpamFields[] = {
    text(WDLT_IN(WdpeAspmCommonData, szPrefixSpam), "PrefixSpam").is("put before the subject of spam").fresh("[Spam]"),
    text(WDLT_IN(WdpeAspmCommonData, szPrefixPhishing), "PrefixPhishing").is("of phishing").fresh("[Phishing]"),
    text(WDLT_IN(WdpeAspmCommonData, szPrefixMalicious), "PrefixMalicious")
        .is("of a mail with something malicious")
        .fresh("[Malicious]"),
    text(WDLT_IN(WdpeAspmCommonData, szPrefixSuspicious), "PrefixSuspicious")
        .is("of a suspicious mail")
        .fresh("[Suspicious]"),
    text(WDLT_IN(WdpeAspmCommonData, szPrefixBlack), "PrefixBlack")
        .is("of a mail that the black list names")
        .fresh("[Blocked]"),
    number(WDLT_IN(WdpeAspmCommonData, dwScanType), "ScanType").is("kind of scan").fresh(0),
    number(WDLT_IN(WdpeAspmCommonData, dwEnableImageDetection), "EnableImageDetection")
        .reads(asFlag())
        .writes(asFlag())
        .flag("images are looked into")
        .fresh(1),
    number(WDLT_IN(WdpeAspmCommonData, dwEnableInTheCloud), "EnableInTheCloud")
        .reads(asFlag())
        .writes(asFlag())
        .flag("the rating service is asked")
        .fresh(1),
    number(WDLT_IN(WdpeAspmCommonData, dwInTheCloudTimeout), "InTheCloudTimeout")
        .reads(kCloudTimeout)
        .writesAndCorrects(kCloudTimeout)
        .in("ms")
        .is("how long the rating service is waited for")
        .fresh(2000),
};
static_assert(cover(kAntiSpamFields));

// Only a read adds the trailing backslash.
inline constexpr FieldOf<WdpeAspmRulePath> kRulePathFields[] = {
    text(WDLT_IN(WdpeAspmRulePath, szRulePath), "RulePath", 259).folder().is("folder of the rules").fresh(""),
};
static_assert(cover(kRulePathFields, WDLT_IN(WdpeAspmRulePath, byReserved)));

// WdpeAspmData up to its lists, which stay in the caller's buffer.
struct AntiSpamPop3Settings {
    std::uint32_t dwLevel;
    std::uint32_t dwUnreadLists;
    double dblLow;
    double dblMedium;
    double dblHigh;
    char szWhitelistFile[257];
    std::uint32_t dwWhitelistCount;
    char szBlacklistFile[257];
    std::uint32_t dwBlacklistCount;
};
static_assert(sizeof(AntiSpamPop3Settings) == offsetof(WdpeAspmData, whitelist));
static_assert(offsetof(AntiSpamPop3Settings, szBlacklistFile) == offsetof(WdpeAspmData, szBlacklistFile));

inline constexpr std::uint32_t kHighestSpamLevel = 2;
inline constexpr std::uint32_t kAntiSpamTextBytes = 256; // most bytes read of a value

// The thresholds are read between the level and the files, and never written.
inline constexpr FieldOf<AntiSpamPop3Settings> kAntiSpamPop3Fields[] = {
    number(WDLT_IN(AntiSpamPop3Settings, dwLevel), "Level")
        .takes(0, kHighestSpamLevel)
        .is("level of detection")
        .fresh(1),
    text(WDLT_IN(AntiSpamPop3Settings, szWhitelistFile), "Whitelist", kAntiSpamTextBytes)
        .fileName()
        .is("file of the senders that are always let through")
        .fresh("SpamWhite.txt"),
    text(WDLT_IN(AntiSpamPop3Settings, szBlacklistFile), "Blacklist", kAntiSpamTextBytes)
        .fileName()
        .is("file of the senders that never are")
        .fresh("SpamBlack.txt"),
};
struct AntiSpamThreshold {
    const char* value;
    double AntiSpamPop3Settings::*field;
    const char* fresh;
};
inline constexpr AntiSpamThreshold kAntiSpamThresholds[] = {
    {"Low", &AntiSpamPop3Settings::dblLow, "90"},
    {"Medium", &AntiSpamPop3Settings::dblMedium, "70"},
    {"High", &AntiSpamPop3Settings::dblHigh, "50"},
};

// In the order of reading. Only the direction is ever written.
inline constexpr FieldOf<WdsmMailConfig> kMailManagerFields[] = {
    number(WDLT_IN(WdsmMailConfig, dwBytesPerEntHdr), "BytesPerEntHdr")
        .namedAsMember()
        .readOnly()
        .is("most bytes of a part's header")
        .fresh(0x10000),
    number(WDLT_IN(WdsmMailConfig, dwExtlactLvlPerMsg), "ExtlactLvlPerMsg")
        .namedAsMember()
        .readOnly()
        .is("most layers of parts")
        .fresh(20),
    number(WDLT_IN(WdsmMailConfig, dwEntPerMsg), "EntPerMsg")
        .namedAsMember()
        .readOnly()
        .is("most parts of a mail")
        .fresh(1024),
    number(WDLT_IN(WdsmMailConfig, dwParamPerHdrField), "ParamPerHdrField")
        .namedAsMember()
        .readOnly()
        .is("most parameters of a header line")
        .fresh(256),
    number(WDLT_IN(WdsmMailConfig, dwHdrPerEnt), "HdrPerEnt")
        .namedAsMember()
        .readOnly()
        .is("most header lines of a part")
        .fresh(1024),
    number(WDLT_IN(WdsmMailConfig, dwEnableDisclaimer), "EnableDisclaimer")
        .namedAsMember()
        .readOnly()
        .flag("mails get a disclaimer")
        .fresh(0),
    text(WDLT_IN(WdsmMailConfig, szDisclaimerOriginalName), "DisclaimerOriginalName")
        .namedAsMember()
        .readOnly()
        .is("name of what it is attached to")
        .fresh("Original.txt"),
    text(WDLT_IN(WdsmMailConfig, szDisclaimerCharset), "DisclaimerCharset")
        .namedAsMember()
        .readOnly()
        .is("its charset")
        .fresh("utf-8"),
    text(WDLT_IN(WdsmMailConfig, szDisclaimerSubject), "DisclaimerSubject")
        .namedAsMember()
        .readOnly()
        .is("its subject")
        .fresh(""),
    text(WDLT_IN(WdsmMailConfig, szDisclaimerAddress), "DisclaimerAddress")
        .namedAsMember()
        .readOnly()
        .is("its address")
        .fresh(""),
    text(WDLT_IN(WdsmMailConfig, szDisclaimerFile), "DisclaimerFile")
        .namedAsMember()
        .readOnly()
        .is("its file")
        .fresh("Disclaim.txt"),
    text(WDLT_IN(WdsmMailConfig, szWarningFilename), "WarningFile")
        .namedAsMember()
        .readOnly()
        .is("file of the note on what was removed")
        .fresh("Warning.txt"),
    text(WDLT_IN(WdsmMailConfig, szSpywareWarning), "SpywareWarning")
        .namedAsMember()
        .readOnly()
        .is("file of the note on spyware")
        .fresh("SpyWarn.txt"),
    text(WDLT_IN(WdsmMailConfig, szSpywareCharset), "SpywareCharset")
        .namedAsMember()
        .orValue("DisclaimerCharset")
        .readOnly()
        .is("its charset")
        .fresh("utf-8"),
    text(WDLT_IN(WdsmMailConfig, szSpywareSubject), "SpywareSubject")
        .unreadable("", Told::Quietly)
        .readOnly()
        .is("its subject")
        .fresh(""),
    text(WDLT_IN(WdsmMailConfig, szSpywareAddress), "SpywareAddress")
        .namedAsMember()
        .orValue("DisclaimerAddress")
        .readOnly()
        .is("its address")
        .fresh(""),
    text(WDLT_IN(WdsmMailConfig, szSpywareExtension), "SpywareExtension")
        .namedAsMember()
        .readOnly()
        .is("its extension")
        .fresh("txt"),
    number(WDLT_IN(WdsmMailConfig, dwAddressCacheDirection), "AddressCacheDirection")
        .namedAsMember()
        .absent(0)
        .is("which addresses are remembered")
        .fresh(0),
    number(WDLT_IN(WdsmMailConfig, dwMaxAddressCacheCount), "MaxAddressCacheCount")
        .namedAsMember()
        .absent(100)
        .readOnly()
        .is("most addresses that are remembered")
        .fresh(100),
};
static_assert(cover(kMailManagerFields));

} // namespace wdlt
