/* Checks the layouts of records.h: the size of every record, and the offsets that depend on alignment or a reserved
   field. Included only by records.h, so that a compiler that lays a record out differently rejects the caller's
   code. */
#ifndef WDLTCFG_RECORD_LAYOUTS_H
#define WDLTCFG_RECORD_LAYOUTS_H

#include <stddef.h>

#ifdef __cplusplus
#define WDLT_CHECK(condition) static_assert(condition, #condition)
#else
#define WDLT_CHECK(condition) _Static_assert(condition, #condition)
#endif
#define WDLT_SIZE(record, size) WDLT_CHECK(sizeof(record) == (size))
#define WDLT_AT(record, field, offset) WDLT_CHECK(offsetof(record, field) == (offset))

WDLT_SIZE(WdchSystemData, 864);
WDLT_AT(WdchSystemData, installPath, 2);
WDLT_AT(WdchSystemData, bmFlag, 784);
WDLT_AT(WdchSystemData, handlerTypes, 792);
WDLT_AT(WdchSystemData, defRedirectFlag, 856);

WDLT_SIZE(WdchSystemRedirect, 768);
WDLT_AT(WdchSystemRedirect, sessionType, 96);
WDLT_AT(WdchSystemRedirect, cancelAfMask, 120);
WDLT_AT(WdchSystemRedirect, direction, 124);
WDLT_AT(WdchSystemRedirect, port, 128);
WDLT_AT(WdchSystemRedirect, flagPresent, 132);
WDLT_AT(WdchSystemRedirect, flag, 136);
WDLT_AT(WdchSystemRedirect, tcpAutoTuningLevel, 140);
WDLT_AT(WdchSystemRedirect, process, 152);
WDLT_AT(WdchSystemRedirect, image, 168);

WDLT_SIZE(WdchSystemProtocolHandler, 328);
WDLT_AT(WdchSystemProtocolHandler, filename, 31);
WDLT_AT(WdchSystemProtocolHandler, type, 292);
WDLT_AT(WdchSystemProtocolHandler, scan, 300);
WDLT_AT(WdchSystemProtocolHandler, dependentScanEngine, 312);
WDLT_AT(WdchSystemProtocolHandler, redirects, 320);

WDLT_SIZE(WdchSystemScan, 260);
WDLT_SIZE(WdchSystemScanCommon, 260);
WDLT_SIZE(WdpeVsData, 40);
WDLT_SIZE(WdpeVsCommon, 276);
WDLT_AT(WdpeVsCommon, dwKeepNumber, 264);
WDLT_SIZE(WdpeSpyRecord, 129);
WDLT_SIZE(WdpeSpyList, 33032);
WDLT_SIZE(WdltVsConfig, 36);
WDLT_SIZE(WdpeHttpFileScanData, 272);
WDLT_AT(WdpeHttpFileScanData, szTargetTypes, 12);
WDLT_SIZE(WdltHfsConfig, 264);

WDLT_SIZE(WdpeUrlfData, 2124);
WDLT_AT(WdpeUrlfData, dwEnableProxy, 776);
WDLT_AT(WdpeUrlfData, dwProxyPort, 1040);
WDLT_AT(WdpeUrlfData, szProxyPassword, 1172);
WDLT_AT(WdpeUrlfData, dwEnableCategoryChk, 1300);
WDLT_AT(WdpeUrlfData, szBlockPhishCategoryGrps, 1348);
WDLT_AT(WdpeUrlfData, dwEnableWdufeDns, 2120);
WDLT_SIZE(WdpeUrlfFullData, 3440);
WDLT_AT(WdpeUrlfFullData, dwLookupPort, 2392);
WDLT_AT(WdpeUrlfFullData, dwLookupTimeout, 2652);
WDLT_AT(WdpeUrlfFullData, dwErrMode, 3424);
WDLT_SIZE(WdpeUrlfDrsData, 3452);
WDLT_AT(WdpeUrlfDrsData, dwSize, 3448);
WDLT_SIZE(WdpeUrlfRSInfo, 264);
WDLT_AT(WdpeUrlfRSInfo, dwRatingPort, 260);
WDLT_SIZE(WdpeUrlfUUC, 12);
WDLT_SIZE(WdpeUrlfExtraHeader, 12);
WDLT_AT(WdpeUrlfExtraHeader, byData, 8);
WDLT_SIZE(WdpeUrlfUrlRecord, 2084);
WDLT_SIZE(WdpeUrlfUrlList, 1042008);
WDLT_SIZE(WdpeUrlfCategory, 131);
WDLT_SIZE(WdpeUrlfCategoryList, 33540);
WDLT_SIZE(WdpeUrlfCategoryGroup, 899);
WDLT_AT(WdpeUrlfCategoryGroup, szCategories, 131);
WDLT_SIZE(WdpeUrlfCategoryGroupList, 230148);
WDLT_SIZE(WdpeUrlfLogIndex, 772);
WDLT_SIZE(WdpeUrlfLogIndexList, 197636);
WDLT_SIZE(WdpeUrlfQueryEntry, 2088);
WDLT_SIZE(WdpeUrlfQuery, 16);
WDLT_AT(WdpeUrlfQuery, pUrls, 8);
WDLT_SIZE(WdltUrlfConfig, 1600);
WDLT_AT(WdltUrlfConfig, szBlockPhishCategoryGrps, 824);
WDLT_SIZE(WdltUrlfProxy, 524);
WDLT_AT(WdltUrlfProxy, dwProxyPort, 264);

WDLT_SIZE(WdpeHosfData, 776);
WDLT_SIZE(WdpeHosfHostRecord, 306);
WDLT_SIZE(WdpeHosfHostList, 313352);
WDLT_SIZE(WdltDrsConfig, 8);
WDLT_SIZE(WdltDrsWhiteListItem, 1516);
WDLT_AT(WdltDrsWhiteListItem, RuleName, 604);
WDLT_AT(WdltDrsWhiteListItem, DomainName, 1004);

WDLT_SIZE(PrivacyControlData, 60);
WDLT_AT(PrivacyControlData, szDataBaseName, 28);
WDLT_SIZE(PrivacyViewItem, 160);
WDLT_AT(PrivacyViewItem, szPrivacyData, 112);
WDLT_SIZE(PrivacyExclusionListHead, 8);
WDLT_SIZE(PrivacyExclusionItem, 2092);
WDLT_SIZE(PrivacyDBHeader, 64);
WDLT_AT(PrivacyDBHeader, szVersion, 32);
WDLT_AT(PrivacyDBHeader, dwDate, 48);
WDLT_AT(PrivacyDBHeader, dwSearchDataCount, 56);
WDLT_SIZE(PrivacySearchRecord, 140);
WDLT_AT(PrivacySearchRecord, byPattern, 12);

WDLT_SIZE(WdphPop3, 12);
WDLT_SIZE(WdphSmtp, 16);
WDLT_SIZE(WdsmMailConfig, 1408);
WDLT_AT(WdsmMailConfig, szSpywareExtension, 1124);
WDLT_AT(WdsmMailConfig, dwEnableDisclaimer, 1380);
WDLT_SIZE(MailAddressListHead, 4);
WDLT_SIZE(MailAddressRecord, 260);

WDLT_SIZE(WdpeAspmCommonData, 104);
WDLT_AT(WdpeAspmCommonData, dwEnableImageDetection, 92);
WDLT_SIZE(WdpeAspmRulePath, 524);
WDLT_SIZE(WdpeAspmEntry, 256);
WDLT_SIZE(WdpeAspmData, 256560);
WDLT_AT(WdpeAspmData, dblLow, 8);
WDLT_AT(WdpeAspmData, dwWhitelistCount, 292);
WDLT_AT(WdpeAspmData, dwBlacklistCount, 556);
WDLT_AT(WdpeAspmData, whitelist, 560);
WDLT_AT(WdpeAspmData, blacklist, 128560);
WDLT_SIZE(WdltAspmConfig, 104);
WDLT_AT(WdltAspmConfig, dwEnableImageDetection, 96);

WDLT_SIZE(WdphHttp, 588);
WDLT_AT(WdphHttp, dwMessageBodyMemorySizeLimit, 544);
WDLT_SIZE(WdsmHttpConfig, 1944);
WDLT_AT(WdsmHttpConfig, dwMaxUrlHistoryCount, 260);
WDLT_AT(WdsmHttpConfig, szUrlFilterAlertFile, 648);
WDLT_AT(WdsmHttpConfig, dwMaxWebMailScanSize, 1936);
WDLT_SIZE(WdsmWebMailData, 12);
WDLT_SIZE(WdpeHfeData, 8);
WDLT_SIZE(WdltHttpsConfig, 1292);
WDLT_AT(WdltHttpsConfig, UrlFilterCredAlertFile, 1032);
WDLT_SIZE(WdltPluginManagerConfig, 264);
WDLT_SIZE(WdpeSalData, 528);
WDLT_SIZE(WdltSalConfig, 532);

#undef WDLT_AT
#undef WDLT_SIZE
#undef WDLT_CHECK

#endif
