// The URL filter and the host filter.
#pragma once

#include "Field.h"

#include <wdltcfg/records.h>

#include <cstdint>

namespace wdlt {

inline constexpr std::uint32_t kDefaultPort = 80;
inline constexpr std::uint32_t kUnsetLevel = static_cast<std::uint32_t>(-1);

// In the order of reading and writing.
inline constexpr FieldOf<WdpeUrlfData> kUrlFilterFields[] = {
    number(WDLT_IN(WdpeUrlfData, dwMode), "Mode").is("mode of the filter").fresh(0),
    number(WDLT_IN(WdpeUrlfData, dwEnableServerLookup), "EnableServerLookup")
        .flag("the rating server is asked")
        .fresh(1),
    text(WDLT_IN(WdpeUrlfData, szBlockCategoryGroups), "BlockCategoryGroups", 767)
        .withoutTerminator()
        .is("category groups that are blocked")
        .fresh(""),
    number(WDLT_IN(WdpeUrlfData, dwEnableProxy), "EnableProxy")
        .flag("the rating server is reached through it")
        .fresh(0),
    text(WDLT_IN(WdpeUrlfData, szProxyServer), "ProxyServer").absent("").is("its name").fresh(""),
    number(WDLT_IN(WdpeUrlfData, dwProxyPort), "ProxyPort")
        .absent(kDefaultPort)
        .takes(1, UINT16_MAX)
        .is("its port")
        .fresh(kDefaultPort),
    sealedText(WDLT_IN(WdpeUrlfData, szProxyUser), "ProxyUser", 127).absent("").is("user, stored enciphered").fresh(""),
    sealedText(WDLT_IN(WdpeUrlfData, szProxyPassword), "ProxyPassword", 127)
        .absent("")
        .secret()
        .is("password, stored enciphered")
        .fresh(""),
    number(WDLT_IN(WdpeUrlfData, dwEnableCategoryChk), "EnableCategoryChk").flag("categories are checked").fresh(0),
    number(WDLT_IN(WdpeUrlfData, dwEnablePharm), "EnablePharm").flag("pharming is checked").fresh(1),
    number(WDLT_IN(WdpeUrlfData, dwCategoryNonBlock), "CategoryNonBlock")
        .flag("a category is told, not blocked")
        .fresh(0),
    number(WDLT_IN(WdpeUrlfData, dwPharmingNonBlock), "PharmingNonBlock")
        .flag("pharming is told, not blocked")
        .fresh(0),
    number(WDLT_IN(WdpeUrlfData, dwNotifyAll), "NotifyAll").flag("everything is told").fresh(0),
    number(WDLT_IN(WdpeUrlfData, dwEnableCredibilityChk), "EnableCredibilityChk")
        .flag("credibility is checked")
        .fresh(1),
    number(WDLT_IN(WdpeUrlfData, dwCredibilityNonBlock), "CredibilityNonBlock")
        .flag("credibility is told, not blocked")
        .fresh(0),
    number(WDLT_IN(WdpeUrlfData, dwUserDefinedCredLevel), "UserDefinedCredLevel")
        .unreadable(kUnsetLevel)
        .is("level of credibility; -1: unset")
        .fresh(2),
    number(WDLT_IN(WdpeUrlfData, dwUseCredibilityScore), "UseCredibilityScore")
        .unreadable(0)
        .flag("the score decides")
        .fresh(0),
    number(WDLT_IN(WdpeUrlfData, dwCredScoreThresHold), "CredScoreThresHold")
        .unreadable(kUnsetLevel)
        .is("threshold of the score; -1: unset")
        .fresh(65),
    number(WDLT_IN(WdpeUrlfData, dwEnablePhishChk), "EnablePhishChk").flag("phishing is checked").fresh(1),
    number(WDLT_IN(WdpeUrlfData, dwPhishNonBlock), "PhishNonBlock").flag("phishing is told, not blocked").fresh(0),
    text(WDLT_IN(WdpeUrlfData, szBlockPhishCategoryGrps), "BlockPhishCategoryGrps", 767)
        .withoutTerminator()
        .is("category groups blocked as phishing")
        .fresh(""),
    number(WDLT_IN(WdpeUrlfData, dwEnableWdlDns), "EnableWdlDns")
        .unreadable(1)
        .flag("host names are looked up by the filter")
        .fresh(1),
    number(WDLT_IN(WdpeUrlfData, dwEnableWdufeDns), "EnableWdufeDns")
        .unreadable(1)
        .flag("host names are looked up by the rating engine")
        .fresh(1),
};
static_assert(cover(kUrlFilterFields));

// Read after them. Nothing writes these through this record.
inline constexpr FieldOf<WdpeUrlfFullData> kUrlFilterMoreFields[] = {
    number(WDLT_IN(WdpeUrlfFullData, dwCacheSize), "CacheSize")
        .readOnly()
        .is("ratings that are remembered")
        .fresh(1024),
    number(WDLT_IN(WdpeUrlfFullData, dwCacheLifetime), "CacheLifetime")
        .readOnly()
        .is("how long each is remembered")
        .fresh(3600),
    sealedText(WDLT_IN(WdpeUrlfFullData, szLookupServer), "LookupServer", 256)
        .readOnly()
        .is("the rating server, stored enciphered")
        .fresh(""),
    number(WDLT_IN(WdpeUrlfFullData, dwLookupPort), "LookupPort")
        .absent(kDefaultPort)
        .readOnly()
        .is("its port")
        .fresh(kDefaultPort),
    sealedText(WDLT_IN(WdpeUrlfFullData, szLookupVID), "LookupVID", 255)
        .readOnly()
        .is("vendor id given to it, stored enciphered")
        .fresh(""),
    number(WDLT_IN(WdpeUrlfFullData, dwLookupTimeout), "LookupTimeout")
        .readOnly()
        .is("how long it is waited for")
        .fresh(10),
    text(WDLT_IN(WdpeUrlfFullData, szExclusionExtensions), "ExclusionExtensions")
        .readOnly()
        .is("extensions of files that pass unrated, parted by semicolons")
        .fresh(".gif;.jpg;.png;.ico;.css"),
    number(WDLT_IN(WdpeUrlfFullData, dwErrMode), "ErrMode")
        .readOnly()
        .is("what is done when the rating server can't be reached")
        .fresh(0),
    number(WDLT_IN(WdpeUrlfFullData, dwRatingType), "RatingType").readOnly().is("kind of rating").fresh(0),
    number(WDLT_IN(WdpeUrlfFullData, dwEnableWDUFELog), "EnableWDUFELog")
        .readOnly()
        .flag("the rating engine has a log")
        .fresh(0),
    number(WDLT_IN(WdpeUrlfFullData, dwWDUFELogLevel), "WDUFELogLevel").readOnly().is("level of that log").fresh(0),
};
static_assert(cover(kUrlFilterMoreFields, WDLT_IN(WdpeUrlfFullData, settings)));

// Written only by the DRS functions.
inline constexpr FieldOf<WdpeUrlfDrsData> kUrlFilterDrsFields[] = {
    number(WDLT_IN(WdpeUrlfDrsData, dwDRSScoreThresHold), "DRSScoreThresHold").unreadable(0).readOnly().fresh(50),
    number(WDLT_IN(WdpeUrlfDrsData, dwDRSCredBlock), "DRSCredBlock").unreadable(1).readOnly().fresh(1),
};
static_assert(cover(kUrlFilterDrsFields, WDLT_IN(WdpeUrlfDrsData, full), WDLT_IN(WdpeUrlfDrsData, dwSize)));

inline constexpr FieldOf<WdpeUrlfRSInfo> kRatingServerFields[] = {
    sealedText(WDLT_IN(WdpeUrlfRSInfo, szRatingServer), "LookupServer", 256)
        .is("its name, stored enciphered")
        .fresh(""),
    number(WDLT_IN(WdpeUrlfRSInfo, dwRatingPort), "LookupPort")
        .absent(kDefaultPort)
        .takes(1, UINT16_MAX)
        .is("its port")
        .fresh(kDefaultPort),
};
static_assert(cover(kRatingServerFields));

template <class Record>
constexpr FieldOf<Record> untestedUrlFlag(const MemberOf<Record, std::uint32_t>& place, const char* value) {
    return number(place, value).absent(0).reads(asFlag()).writes(asFlag()).fresh(0);
}
inline constexpr FieldOf<WdpeUrlfUUC> kUntestedUrlFields[] = {
    untestedUrlFlag(WDLT_IN(WdpeUrlfUUC, dwEnableUntestedURLChk), "EnableUntestedURLChk")
        .flag("untested URLs are checked"),
    untestedUrlFlag(WDLT_IN(WdpeUrlfUUC, dwBlockUntestedURL), "BlockUntestedURL").flag("and blocked"),
    untestedUrlFlag(WDLT_IN(WdpeUrlfUUC, dwUntestedURLNonBlock), "UntestedURLNonBlock").flag("and told, not blocked"),
};
static_assert(cover(kUntestedUrlFields));

// Each with a config type of its own.
struct OneNumber {
    std::uint32_t value;
};
inline constexpr FieldOf<OneNumber> kBackupRetryFields[] = {
    number(WDLT_IN(OneNumber, value), "EnableBackupLKQRetry")
        .absent(1)
        .reads(asFlag())
        .writes(asFlag())
        .flag("a look-up that fails is tried again with the last known query")
        .fresh(1),
};
inline constexpr NumberRule kKnownFamily = orElse(1, 2, 0);
inline constexpr FieldOf<OneNumber> kSocketFamilyFields[] = {
    number(WDLT_IN(OneNumber, value), "ResolveSocketFamily")
        .absent(0)
        .reads(kKnownFamily)
        .writes(kKnownFamily)
        .is("address family of look-ups: 0 any, 1 or 2")
        .fresh(0),
};
inline constexpr FieldOf<OneNumber> kCacheFileFields[] = {
    number(WDLT_IN(OneNumber, value), "UseCacheFile")
        .absent(0)
        .reads(asFlag())
        .readOnly()
        .flag("ratings are remembered in a file")
        .fresh(0),
};

inline constexpr FieldOf<WdpeHosfData> kHostFilterFields[] = {
    number(WDLT_IN(WdpeHosfData, dwEnablePrivateIPCheck), "EnablePrivateIPCheck")
        .flag("private addresses are checked")
        .fresh(0),
    number(WDLT_IN(WdpeHosfData, dwNonBlock), "NonBlock").flag("a host is told, not blocked").fresh(0),
    text(WDLT_IN(WdpeHosfData, szExclusionExtensions), "ExclusionExtensions")
        .is("extensions that are passed over")
        .fresh(""),
};
static_assert(cover(kHostFilterFields));

} // namespace wdlt
