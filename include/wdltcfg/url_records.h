/* The part of records.h that has the URL filter, the host filter and DRS. Include records.h, not this file. */
#ifndef WDLTCFG_URL_RECORDS_H
#define WDLTCFG_URL_RECORDS_H

/* URL filter: (0, WDLT_SCAN_URL_FILTER). */

typedef struct WdpeUrlfData {
    uint32_t dwMode;
    uint32_t dwEnableServerLookup;
    char szBlockCategoryGroups[768]; /* at most 766 bytes can be read back */
    uint32_t dwEnableProxy;
    char szProxyServer[257];   /* at most 256 bytes */
    uint32_t dwProxyPort;      /* 80 when unset */
    char szProxyUser[128];     /* plain here, enciphered in the store */
    char szProxyPassword[128]; /* likewise */
    uint32_t dwEnableCategoryChk;
    uint32_t dwEnablePharm;
    uint32_t dwCategoryNonBlock;
    uint32_t dwPharmingNonBlock;
    uint32_t dwNotifyAll;
    uint32_t dwEnableCredibilityChk;
    uint32_t dwCredibilityNonBlock;
    int32_t dwUserDefinedCredLevel; /* -1 when unset */
    uint32_t dwUseCredibilityScore;
    int32_t dwCredScoreThresHold; /* -1 when unset */
    uint32_t dwEnablePhishChk;
    uint32_t dwPhishNonBlock;
    char szBlockPhishCategoryGrps[768]; /* as szBlockCategoryGroups */
    uint32_t dwEnableWdlDns;            /* 1 when unset */
    uint32_t dwEnableWdufeDns;          /* 1 when unset */
} WdpeUrlfData;
WDLT_SIZE(WdpeUrlfData, 2124);
WDLT_AT(WdpeUrlfData, dwEnableProxy, 776);
WDLT_AT(WdpeUrlfData, dwProxyPort, 1040);
WDLT_AT(WdpeUrlfData, szProxyPassword, 1172);
WDLT_AT(WdpeUrlfData, dwEnableCategoryChk, 1300);
WDLT_AT(WdpeUrlfData, szBlockPhishCategoryGrps, 1348);
WDLT_AT(WdpeUrlfData, dwEnableWdufeDns, 2120);

/* Read only; a write of its config type takes a WdpeUrlfRSInfo. */
typedef struct WdpeUrlfFullData {
    WdpeUrlfData settings;
    uint32_t dwCacheSize;
    uint32_t dwCacheLifetime;
    char szLookupServer[257];
    uint32_t dwLookupPort; /* 80 when unset */
    char szLookupVID[256];
    uint32_t dwLookupTimeout;
    char szExclusionExtensions[768];
    uint32_t dwErrMode;
    uint32_t dwRatingType;
    uint32_t dwEnableWDUFELog;
    uint32_t dwWDUFELogLevel;
} WdpeUrlfFullData;
WDLT_SIZE(WdpeUrlfFullData, 3440);
WDLT_AT(WdpeUrlfFullData, dwLookupPort, 2392);
WDLT_AT(WdpeUrlfFullData, dwLookupTimeout, 2652);
WDLT_AT(WdpeUrlfFullData, dwErrMode, 3424);

/* Read only, as WdpeUrlfFullData. */
typedef struct WdpeUrlfDrsData {
    WdpeUrlfFullData full;
    uint32_t dwDRSScoreThresHold; /* 0 when unset */
    uint32_t dwDRSCredBlock;      /* 1 when unset */
    uint32_t dwSize;              /* of this record, in bytes */
} WdpeUrlfDrsData;
WDLT_SIZE(WdpeUrlfDrsData, 3452);
WDLT_AT(WdpeUrlfDrsData, dwSize, 3448);

/* The rating server. */
typedef struct WdpeUrlfRSInfo {
    char szRatingServer[257]; /* stored as LookupServer */
    uint32_t dwRatingPort;    /* stored as LookupPort */
} WdpeUrlfRSInfo;
WDLT_SIZE(WdpeUrlfRSInfo, 264);
WDLT_AT(WdpeUrlfRSInfo, dwRatingPort, 260);

/* The check of untested URLs: flags, 0 or 1 on read and in the store. */
typedef struct WdpeUrlfUUC {
    uint32_t dwEnableUntestedURLChk;
    uint32_t dwBlockUntestedURL;
    uint32_t dwUntestedURLNonBlock;
} WdpeUrlfUUC;
WDLT_SIZE(WdpeUrlfUUC, 12);

/* The record's size is dwSize + 12, although the data begins at byte 8: the last four bytes are unused. */
typedef struct WdpeUrlfExtraHeader {
    uint32_t dwVersion; /* 0 asks for the supported version; else WDLT_EXTRA_HEADER_VERSION */
    uint32_t dwSize;    /* bytes of data */
    uint8_t byData[4];  /* the first of dwSize bytes */
} WdpeUrlfExtraHeader;
WDLT_SIZE(WdpeUrlfExtraHeader, 12);
WDLT_AT(WdpeUrlfExtraHeader, byData, 8);

#define WDLT_EXTRA_HEADER_VERSION 1

/* A URL pattern of a list, or a URL to be looked up. */
typedef struct WdpeUrlfUrlRecord {
    char szUrl[2084]; /* 1 to 2083 bytes */
} WdpeUrlfUrlRecord;
WDLT_SIZE(WdpeUrlfUrlRecord, 2084);

typedef struct WdpeUrlfUrlList {
    uint32_t dwListType; /* WDLT_LIST_WHITE or _BLACK, set before a read too */
    uint32_t dwNumOfRecords;
    WdpeUrlfUrlRecord records[WDLT_MAX_URL_RECORDS];
} WdpeUrlfUrlList;
WDLT_SIZE(WdpeUrlfUrlList, 1042008);

typedef struct WdpeUrlfCategory {
    uint8_t byId[3];
    char szName[128];
} WdpeUrlfCategory;
WDLT_SIZE(WdpeUrlfCategory, 131);

typedef struct WdpeUrlfCategoryList {
    uint32_t dwNumOfRecords;
    WdpeUrlfCategory records[WDLT_MAX_CATEGORIES];
} WdpeUrlfCategoryList;
WDLT_SIZE(WdpeUrlfCategoryList, 33540);

typedef struct WdpeUrlfCategoryGroup {
    uint8_t byId[3];
    char szName[128];
    char szCategories[768];
} WdpeUrlfCategoryGroup;
WDLT_SIZE(WdpeUrlfCategoryGroup, 899);
WDLT_AT(WdpeUrlfCategoryGroup, szCategories, 131);

typedef struct WdpeUrlfCategoryGroupList {
    uint32_t dwNumOfRecords;
    WdpeUrlfCategoryGroup records[WDLT_MAX_CATEGORY_GROUPS];
} WdpeUrlfCategoryGroupList;
WDLT_SIZE(WdpeUrlfCategoryGroupList, 230148);

typedef struct WdpeUrlfLogIndex {
    uint32_t dwLogIndex;
    char szCategories[768];
} WdpeUrlfLogIndex;
WDLT_SIZE(WdpeUrlfLogIndex, 772);

typedef struct WdpeUrlfLogIndexList {
    uint32_t dwNumOfRecords;
    WdpeUrlfLogIndex records[WDLT_MAX_LOG_INDEXES];
} WdpeUrlfLogIndexList;
WDLT_SIZE(WdpeUrlfLogIndexList, 197636);

/* Asks whether URLs are on a list; each entry receives its answer. */
typedef struct WdpeUrlfQueryEntry {
    char szUrl[2084];
    uint32_t dwExists; /* cleared by the asker; 1 when the URL matches a record */
} WdpeUrlfQueryEntry;
WDLT_SIZE(WdpeUrlfQueryEntry, 2088);

typedef struct WdpeUrlfQuery {
    uint32_t dwListType;
    int32_t dwCount;
    WdpeUrlfQueryEntry* pUrls; /* the caller's array of dwCount entries, aligned */
} WdpeUrlfQuery;
WDLT_SIZE(WdpeUrlfQuery, 16);
WDLT_AT(WdpeUrlfQuery, pUrls, 8);

/* WdpeUrlfData without its proxy. */
typedef struct WdltUrlfConfig {
    uint32_t dwMode;
    uint32_t dwEnableServerLookup;
    char szBlockCategoryGroups[768];
    uint32_t dwEnableCategoryChk;
    uint32_t dwEnablePharm;
    uint32_t dwCategoryNonBlock;
    uint32_t dwPharmingNonBlock;
    uint32_t dwNotifyAll;
    uint32_t dwEnableCredibilityChk;
    uint32_t dwCredibilityNonBlock;
    int32_t dwUserDefinedCredLevel;
    uint32_t dwUseCredibilityScore;
    int32_t dwCredScoreThresHold;
    uint32_t dwEnablePhishChk;
    uint32_t dwPhishNonBlock;
    char szBlockPhishCategoryGrps[768];
    uint32_t dwEnableWdlDns;
    uint32_t dwEnableWdufeDns;
} WdltUrlfConfig;
WDLT_SIZE(WdltUrlfConfig, 1600);
WDLT_AT(WdltUrlfConfig, szBlockPhishCategoryGrps, 824);

/* The proxy of WdpeUrlfData. */
typedef struct WdltUrlfProxy {
    uint32_t dwEnableProxy;
    char szProxyServer[257];
    uint32_t dwProxyPort;
    char szProxyUser[128];
    char szProxyPassword[128];
} WdltUrlfProxy;
WDLT_SIZE(WdltUrlfProxy, 524);
WDLT_AT(WdltUrlfProxy, dwProxyPort, 264);

/* Host filter: (0, WDLT_SCAN_HOST_FILTER). */

typedef struct WdpeHosfData {
    uint32_t dwEnablePrivateIPCheck;
    uint32_t dwNonBlock;
    char szExclusionExtensions[768];
} WdpeHosfData;
WDLT_SIZE(WdpeHosfData, 776);

/* Opaque: only callers and the service know its content. */
typedef struct WdpeHosfHostRecord {
    uint8_t byHost[306];
} WdpeHosfHostRecord;
WDLT_SIZE(WdpeHosfHostRecord, 306);

typedef struct WdpeHosfHostList {
    uint32_t dwListType; /* 0, set before a read too */
    uint32_t dwNumOfRecords;
    WdpeHosfHostRecord records[WDLT_MAX_HOST_RECORDS];
} WdpeHosfHostList;
WDLT_SIZE(WdpeHosfHostList, 313352);

/* DRS. */

typedef struct WdltDrsConfig {
    uint32_t ActionMode;     /* 0 or 1 */
    uint32_t ScoreThreshold; /* 0 to 100 */
} WdltDrsConfig;
WDLT_SIZE(WdltDrsConfig, 8);

typedef struct WdltDrsWhiteListItem {
    uint32_t Index; /* 1 to WDLT_MAX_DRS_INDEX, unique */
    wdlt_wchar ProcessImageName[300];
    wdlt_wchar RuleName[200]; /* unique */
    wdlt_wchar DomainName[256];
} WdltDrsWhiteListItem;
WDLT_SIZE(WdltDrsWhiteListItem, 1516);
WDLT_AT(WdltDrsWhiteListItem, RuleName, 604);
WDLT_AT(WdltDrsWhiteListItem, DomainName, 1004);

#endif
