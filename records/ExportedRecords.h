// The families' exported records that hold a part of a stored record.
#pragma once

#include "Pair.h"

#include <wdltcfg/records.h>

namespace wdlt {

inline constexpr PairOf<WdltUrlfConfig, WdpeUrlfData> kUrlFilterPairs[] = {
    WDLT_PAIR(WdltUrlfConfig, WdpeUrlfData, dwMode),
    WDLT_PAIR(WdltUrlfConfig, WdpeUrlfData, dwEnableServerLookup),
    WDLT_PAIR(WdltUrlfConfig, WdpeUrlfData, szBlockCategoryGroups),
    WDLT_PAIR(WdltUrlfConfig, WdpeUrlfData, dwEnableCategoryChk),
    WDLT_PAIR(WdltUrlfConfig, WdpeUrlfData, dwEnablePharm),
    WDLT_PAIR(WdltUrlfConfig, WdpeUrlfData, dwCategoryNonBlock),
    WDLT_PAIR(WdltUrlfConfig, WdpeUrlfData, dwPharmingNonBlock),
    WDLT_PAIR(WdltUrlfConfig, WdpeUrlfData, dwNotifyAll),
    WDLT_PAIR(WdltUrlfConfig, WdpeUrlfData, dwEnableCredibilityChk),
    WDLT_PAIR(WdltUrlfConfig, WdpeUrlfData, dwCredibilityNonBlock),
    WDLT_PAIR(WdltUrlfConfig, WdpeUrlfData, dwUserDefinedCredLevel),
    WDLT_PAIR(WdltUrlfConfig, WdpeUrlfData, dwUseCredibilityScore),
    WDLT_PAIR(WdltUrlfConfig, WdpeUrlfData, dwCredScoreThresHold),
    WDLT_PAIR(WdltUrlfConfig, WdpeUrlfData, dwEnablePhishChk),
    WDLT_PAIR(WdltUrlfConfig, WdpeUrlfData, dwPhishNonBlock),
    WDLT_PAIR(WdltUrlfConfig, WdpeUrlfData, szBlockPhishCategoryGrps),
    WDLT_PAIR(WdltUrlfConfig, WdpeUrlfData, dwEnableWdlDns),
    WDLT_PAIR(WdltUrlfConfig, WdpeUrlfData, dwEnableWdufeDns),
};
static_assert(coverExported(kUrlFilterPairs));

inline constexpr PairOf<WdltUrlfProxy, WdpeUrlfData> kUrlFilterProxyPairs[] = {
    WDLT_PAIR(WdltUrlfProxy, WdpeUrlfData, dwEnableProxy),   WDLT_PAIR(WdltUrlfProxy, WdpeUrlfData, szProxyServer),
    WDLT_PAIR(WdltUrlfProxy, WdpeUrlfData, dwProxyPort),     WDLT_PAIR(WdltUrlfProxy, WdpeUrlfData, szProxyUser),
    WDLT_PAIR(WdltUrlfProxy, WdpeUrlfData, szProxyPassword),
};
static_assert(coverExported(kUrlFilterProxyPairs));

// The level is in the POP3 record.
inline constexpr PairOf<WdltAspmConfig, WdpeAspmCommonData> kAntiSpamPairs[] = {
    WDLT_PAIR(WdltAspmConfig, WdpeAspmCommonData, dwScanType),
    WDLT_PAIR(WdltAspmConfig, WdpeAspmCommonData, szPrefixSpam),
    WDLT_PAIR(WdltAspmConfig, WdpeAspmCommonData, szPrefixPhishing),
    WDLT_PAIR(WdltAspmConfig, WdpeAspmCommonData, szPrefixMalicious),
    WDLT_PAIR(WdltAspmConfig, WdpeAspmCommonData, szPrefixSuspicious),
    WDLT_PAIR(WdltAspmConfig, WdpeAspmCommonData, szPrefixBlack),
    WDLT_PAIR(WdltAspmConfig, WdpeAspmCommonData, dwEnableImageDetection),
    WDLT_PAIR(WdltAspmConfig, WdpeAspmCommonData, dwEnableInTheCloud),
};
static_assert(coverExported(kAntiSpamPairs, WDLT_IN(WdltAspmConfig, dwLevel)));

// The limit is stored with the protocol's other limits.
inline constexpr PairOf<WdltVsConfig, WdpeVsData> kVirusScanPairs[] = {
    WDLT_PAIR(WdltVsConfig, WdpeVsData, dwFirstAction), WDLT_PAIR(WdltVsConfig, WdpeVsData, dwSecondAction),
    WDLT_PAIR(WdltVsConfig, WdpeVsData, dwZipClean),    WDLT_PAIR(WdltVsConfig, WdpeVsData, dwZipScan),
    WDLT_PAIR(WdltVsConfig, WdpeVsData, dwZipLayer),    WDLT_PAIR(WdltVsConfig, WdpeVsData, dwPackerSnare),
    WDLT_PAIR(WdltVsConfig, WdpeVsData, dwSpywareScan), WDLT_PAIR(WdltVsConfig, WdpeVsData, dwSpywareAction),
};
static_assert(coverExported(kVirusScanPairs, WDLT_IN(WdltVsConfig, dwLimitSize)));

inline constexpr PairOf<WdltHfsConfig, WdpeHttpFileScanData> kFileScanPairs[] = {
    WDLT_PAIR(WdltHfsConfig, WdpeHttpFileScanData, dwHttpActionMode),
    WDLT_PAIR(WdltHfsConfig, WdpeHttpFileScanData, dwActionSizeThreshold),
    WDLT_PAIR(WdltHfsConfig, WdpeHttpFileScanData, szTargetTypes),
};
static_assert(coverExported(kFileScanPairs));

// dwEnable is the state of the scan item and the handler.
inline constexpr PairOf<WdltSalConfig, WdpeSalData> kSalPairs[] = {
    WDLT_PAIR(WdltSalConfig, WdpeSalData, dwQueryIP),
    WDLT_PAIR(WdltSalConfig, WdpeSalData, dwTakeAction),
    WDLT_PAIR(WdltSalConfig, WdpeSalData, dwAddandScanMode),
    WDLT_PAIR(WdltSalConfig, WdpeSalData, szBlockImages),
};
static_assert(coverExported(kSalPairs, WDLT_IN(WdltSalConfig, dwEnable)));

} // namespace wdlt
