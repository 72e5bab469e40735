/* Every record that crosses the library's boundary, through a feature function or through WdltReadConfig and
   WdltWriteConfig. The layouts are part of the interface: 64-bit little-endian, natural alignment, checked by the
   compiler below each record. C11 and C++11 or later.

   In every record: texts are zero-terminated within their field, narrow ones in the system code page, wide ones in
   UTF-16. A text that fills its field up to the terminator can be read back, unless a comment gives a smaller limit. A
   field has the name of its registry value, prefixed with dw, dbl, sz or by. Numbers whose meaning isn't given belong
   to the service: the library only passes them on. Fields named reserved are zero on read and ignored on write. */
#ifndef WDLTCFG_RECORDS_H
#define WDLTCFG_RECORDS_H

#include <stddef.h>
#include <stdint.h>

/* A UTF-16 unit. */
#if defined(_WIN32)
typedef wchar_t wdlt_wchar;
#elif defined(__cplusplus)
typedef char16_t wdlt_wchar;
#else
typedef uint_least16_t wdlt_wchar; /* the element type of u"…" */
#endif

/* Capacities of the lists, in entries. Those of the privacy and address lists are in the registry. */
#define WDLT_MAX_HANDLERS 16
#define WDLT_MAX_SPYWARE_RECORDS 256
#define WDLT_MAX_URL_RECORDS 500
#define WDLT_MAX_CATEGORIES 256
#define WDLT_MAX_CATEGORY_GROUPS 256
#define WDLT_MAX_LOG_INDEXES 256
#define WDLT_MAX_HOST_RECORDS 1024
#define WDLT_MAX_ASPM_RECORDS 500
#define WDLT_MAX_DRS_INDEX 1000
#define WDLT_MAX_REQUEST_METHODS 32
#define WDLT_MAX_EXCLUSION_EXTENSIONS 64

/* The largest size limit of the scans of mail, web mail and files. */
#define WDLT_MAX_SCAN_SIZE UINT32_C(0x9FFFF)

/* The compiler of a caller holds each record's size, and the offsets that depend on alignment or a reserved field. */
#ifdef __cplusplus
#define WDLT_CHECK(condition) static_assert(condition, #condition)
#else
#define WDLT_CHECK(condition) _Static_assert(condition, #condition)
#endif
#define WDLT_SIZE(record, size) WDLT_CHECK(sizeof(record) == (size))
#define WDLT_AT(record, field, offset) WDLT_CHECK(offsetof(record, field) == (offset))

/* The service, its handlers and scan items: system views. */

/* (10000, 0). A write stores proxyPort, the three paths and bmFlag; the rest is read only. */
typedef struct WdchSystemData {
    uint16_t proxyPort;                       /* 6999 when unset */
    char installPath[260];                    /* ends in a backslash: file names are appended to it directly */
    char tempPath[260];                       /* read with a trailing backslash, unless empty */
    char logPath[260];                        /* likewise */
    uint32_t bmFlag;                          /* 1: the Bm feature is on; stored inverted, as DisableBm */
    uint32_t handlerCount;                    /* entries in use in handlerTypes */
    uint32_t handlerTypes[WDLT_MAX_HANDLERS]; /* type, 1 to 16, of each handler that is on */
    uint32_t defRedirectFlag;
    uint32_t tcpAutoTuningLevel; /* 2 when unset */
} WdchSystemData;
WDLT_SIZE(WdchSystemData, 864);
WDLT_AT(WdchSystemData, installPath, 2);
WDLT_AT(WdchSystemData, bmFlag, 784);
WDLT_AT(WdchSystemData, handlerTypes, 792);
WDLT_AT(WdchSystemData, defRedirectFlag, 856);

/* One redirect of a handler: for a session, the process, image or port it applies to. */
typedef struct WdchSystemRedirect {
    uint8_t reserved[96];
    wdlt_wchar sessionType[11]; /* session's name: no backslash, 1 to 10 bytes in the code page and convertible back */
    uint8_t reserved2[2];
    uint32_t cancelAfMask;
    uint32_t direction;
    uint16_t port; /* 0: none; then process or image is needed */
    uint8_t reserved3[2];
    uint32_t flagPresent;       /* read only: 1 when a flag is stored */
    uint32_t flag;              /* WDLT_REDIRECT_IMAGE: image is used, not process. 0 isn't stored: an old flag stays */
    int32_t tcpAutoTuningLevel; /* -1 when unset */
    uint8_t reserved4[8];
    char process[16];      /* written without a terminator, it is cut to 15 bytes */
    wdlt_wchar image[300]; /* likewise, to 299 units */
} WdchSystemRedirect;
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

#define WDLT_REDIRECT_IMAGE UINT32_C(0x10)

/* (10000 + p, 0). The header; in the caller's buffer the redirects follow it. A write takes filename, type, enable and
   scan; redirects have config types of their own. The address finds the handler by its type: write back the type that
   was read. Another type removes the handler from this address: the write ends after the type with WDLT_E_GENERAL, and
   this can only be repaired in the registry itself. */
typedef struct WdchSystemProtocolHandler {
    char name[31]; /* of the handler's key; read only */
    char filename[260];
    uint32_t type;                 /* the protocol it serves */
    uint32_t enable;               /* 1: on */
    char scan[11];                 /* name of its folder under "Scan" */
    uint32_t dependentScanEngine;  /* read only: the scan bits that are on */
    uint32_t redirectCount;        /* read only */
    WdchSystemRedirect* redirects; /* read only: the first one, inside the buffer that was read into */
} WdchSystemProtocolHandler;
WDLT_SIZE(WdchSystemProtocolHandler, 328);
WDLT_AT(WdchSystemProtocolHandler, filename, 31);
WDLT_AT(WdchSystemProtocolHandler, type, 292);
WDLT_AT(WdchSystemProtocolHandler, scan, 300);
WDLT_AT(WdchSystemProtocolHandler, dependentScanEngine, 312);
WDLT_AT(WdchSystemProtocolHandler, redirects, 320);

/* (10000 + p, scan): the switch of a scan item. */
typedef struct WdchSystemScan {
    uint32_t enable;
    char logExtension[256];
} WdchSystemScan;
WDLT_SIZE(WdchSystemScan, 260);

/* (10000, scan): the item's file, for all protocols. */
typedef struct WdchSystemScanCommon {
    char filename[260];
} WdchSystemScanCommon;
WDLT_SIZE(WdchSystemScanCommon, 260);

/* Virus and spyware scan. */

/* (p, WDLT_SCAN_VIRUS, 0 or 1). Action fields hold the scan engine's own codes. */
typedef struct WdpeVsData {
    uint32_t dwFirstAction;
    uint32_t dwSecondAction;
    uint32_t dwZipClean;
    uint32_t dwZipScan;
    uint32_t dwZipLayer; /* read as 1 to 6, whatever is stored */
    uint32_t dwExtractFileSizeLimit;
    uint32_t dwPackerSnare;
    uint32_t dwMultiInfection; /* read only, at least 1 */
    uint32_t dwSpywareScan;
    uint32_t dwSpywareAction;
} WdpeVsData;
WDLT_SIZE(WdpeVsData, 40);

/* (0, WDLT_SCAN_VIRUS, 0) */
typedef struct WdpeVsCommon {
    uint32_t dwLanguage;
    char szPatternPath[260]; /* 258 bytes can be read back, with a backslash added; the install path when empty */
    uint32_t dwKeepNumber;   /* old pattern files kept; at most 0x7FFFFFFF on read */
    uint32_t dwPurgeBadPattern;
    uint32_t dwEngineType; /* read only */
} WdpeVsCommon;
WDLT_SIZE(WdpeVsCommon, 276);
WDLT_AT(WdpeVsCommon, dwKeepNumber, 264);

typedef struct WdpeSpyRecord {
    char szText[129]; /* 1 to 128 bytes */
} WdpeSpyRecord;
WDLT_SIZE(WdpeSpyRecord, 129);

typedef struct WdpeSpyList {
    uint32_t dwListType; /* 0, set before a read too */
    uint32_t dwNumOfRecords;
    WdpeSpyRecord records[WDLT_MAX_SPYWARE_RECORDS];
} WdpeSpyList;
WDLT_SIZE(WdpeSpyList, 33032);

/* Of WdltPvs…, WdltSvs…, WdltWmvs… and WdltHfsVirus… */
typedef struct WdltVsConfig {
    uint32_t dwFirstAction;
    uint32_t dwSecondAction;
    uint32_t dwZipClean;
    uint32_t dwZipScan;
    uint32_t dwZipLayer;
    uint32_t dwPackerSnare;
    uint32_t dwLimitSize; /* at most 0x9FFFF; kept with the protocol's other limits */
    uint32_t dwSpywareScan;
    uint32_t dwSpywareAction;
} WdltVsConfig;
WDLT_SIZE(WdltVsConfig, 36);

/* HTTP file scan. */

/* (0, WDLT_SCAN_VIRUS, 1) */
typedef struct WdpeHttpFileScanData {
    uint32_t dwHttpActionMode;
    uint32_t dwMaxScanSize;         /* stored as at most 0x9FFFF */
    uint32_t dwActionSizeThreshold; /* likewise */
    char szTargetTypes[256];
    uint8_t reserved[4];
} WdpeHttpFileScanData;
WDLT_SIZE(WdpeHttpFileScanData, 272);
WDLT_AT(WdpeHttpFileScanData, szTargetTypes, 12);

typedef struct WdltHfsConfig {
    uint32_t dwHttpActionMode;
    uint32_t dwActionSizeThreshold;
    char szTargetTypes[256];
} WdltHfsConfig;
WDLT_SIZE(WdltHfsConfig, 264);

/* URL filter, host filter and DRS. */
#include "url_records.h"

/* Privacy data protection: (0, WDLT_SCAN_PRIVACY). */

/* A write stores only dwItemEntryCount; it uses the charsets and file names given in this record. */
typedef struct PrivacyControlData {
    uint32_t dwCharSetEntry;     /* mask of the charsets (charsets.h) that items are searched in */
    uint32_t dwExtCharSetEntry;  /* not used */
    uint32_t dwDefaultCharSet;   /* bit of the charset of callers' texts */
    uint32_t dwAccessRetryCount; /* retries while another access is under way */
    uint32_t dwAccessWaitTime;   /* milliseconds between tries */
    uint32_t dwItemEntryMax;     /* view items allowed, above 0 */
    uint32_t dwItemEntryCount;   /* view items after this record */
    char szDataBaseName[16];     /* bare file name in the install directory, 1 to 14 bytes */
    char szBackUpDBName[16];     /* likewise */
} PrivacyControlData;
WDLT_SIZE(PrivacyControlData, 60);
WDLT_AT(PrivacyControlData, szDataBaseName, 28);

typedef struct PrivacyViewItem {
    uint32_t dwItemIndex; /* 0 to 31, unique */
    uint32_t dwScanTarget;
    char szItemName[36];
    char szDescription[68];
    char szPrivacyData[48]; /* in dwDefaultCharSet, cut to 32 bytes when stored; empty: kept, not searched for */
} PrivacyViewItem;
WDLT_SIZE(PrivacyViewItem, 160);
WDLT_AT(PrivacyViewItem, szPrivacyData, 112);

/* Precedes the exclusion items. */
typedef struct PrivacyExclusionListHead {
    uint32_t dwExclusionCount;
    uint32_t dwExclusionItemMax; /* read only: items allowed, 100 when unset */
} PrivacyExclusionListHead;
WDLT_SIZE(PrivacyExclusionListHead, 8);

typedef struct PrivacyExclusionItem {
    uint32_t dwExclusionId;
    uint32_t dwScanTarget; /* WDLT_PRIVACY_EXCLUSION_TARGET */
    char szText[2084];     /* 1 to 2083 bytes */
} PrivacyExclusionItem;
WDLT_SIZE(PrivacyExclusionItem, 2092);

#define WDLT_PRIVACY_EXCLUSION_TARGET UINT32_C(16)

/* The header of the privacy database, as it is in the file. */
typedef struct PrivacyDBHeader {
    char szMagic[28];
    uint32_t dwReserved;
    char szVersion[9];
    uint8_t byReserved[7];
    uint32_t dwDate; /* local, (year * 100 + month) * 100 + day */
    uint32_t dwTime; /* local, (hour * 100 + minute) * 100 + second */
    uint32_t dwSearchDataCount;
    uint32_t dwReserved2;
} PrivacyDBHeader;
WDLT_SIZE(PrivacyDBHeader, 64);
WDLT_AT(PrivacyDBHeader, szVersion, 32);
WDLT_AT(PrivacyDBHeader, dwDate, 48);
WDLT_AT(PrivacyDBHeader, dwSearchDataCount, 56);

/* One item in one charset. */
typedef struct PrivacySearchRecord {
    uint32_t dwSearchIndex; /* sequence number in the file, from 0 */
    uint32_t dwItemIndex;   /* of the PrivacyViewItem */
    uint32_t dwCharSet;     /* one bit */
    uint8_t byPattern[128]; /* 112 bytes of pattern, zero-padded, then a zero; the rest is unused */
} PrivacySearchRecord;
WDLT_SIZE(PrivacySearchRecord, 140);
WDLT_AT(PrivacySearchRecord, byPattern, 12);

/* Mail. */

/* (WDLT_PROTOCOL_POP3, 0) */
typedef struct WdphPop3 {
    uint32_t dwLimitSize; /* read as at most 0x9FFFF */
    uint32_t dwIntervalLength;
    uint32_t dwWaitTime;
} WdphPop3;
WDLT_SIZE(WdphPop3, 12);

/* (WDLT_PROTOCOL_SMTP, 0) */
typedef struct WdphSmtp {
    uint32_t dwLimitSize; /* read as at most 0x9FFFF */
    uint32_t dwIntervalLength;
    uint32_t dwWaitTime;
    uint32_t dwMaxSessionCount; /* 100 when unset, read as at least 1 */
} WdphSmtp;
WDLT_SIZE(WdphSmtp, 16);

/* (0, WDLT_SCAN_MAIL_MANAGER). A write stores only dwAddressCacheDirection. */
typedef struct WdsmMailConfig {
    uint32_t dwAddressCacheDirection;
    char szDisclaimerFile[16];
    char szDisclaimerCharset[16];
    char szDisclaimerSubject[256];
    char szDisclaimerAddress[256];
    char szDisclaimerOriginalName[16];
    char szWarningFilename[16];
    char szSpywareWarning[16];
    char szSpywareCharset[16];  /* szDisclaimerCharset when unset */
    char szSpywareSubject[256]; /* empty when unset */
    char szSpywareAddress[256]; /* szDisclaimerAddress when unset */
    char szSpywareExtension[256];
    uint32_t dwEnableDisclaimer;
    uint32_t dwHdrPerEnt;
    uint32_t dwParamPerHdrField;
    uint32_t dwEntPerMsg;
    uint32_t dwExtlactLvlPerMsg;
    uint32_t dwBytesPerEntHdr;
    uint32_t dwMaxAddressCacheCount; /* 100 when unset */
} WdsmMailConfig;
WDLT_SIZE(WdsmMailConfig, 1408);
WDLT_AT(WdsmMailConfig, szSpywareExtension, 1124);
WDLT_AT(WdsmMailConfig, dwEnableDisclaimer, 1380);

/* Precedes the records of the address cache. */
typedef struct MailAddressListHead {
    uint32_t dwCount;
} MailAddressListHead;
WDLT_SIZE(MailAddressListHead, 4);

typedef struct MailAddressRecord {
    uint32_t dwAddressTag;
    char szAddress[256]; /* written without a terminator, it is cut to 255 bytes */
} MailAddressRecord;
WDLT_SIZE(MailAddressRecord, 260);

/* Anti-spam. */

/* (0, WDLT_SCAN_ANTI_SPAM) */
typedef struct WdpeAspmCommonData {
    uint32_t dwScanType;
    char szPrefixSpam[17];
    char szPrefixPhishing[17];
    char szPrefixMalicious[17];
    char szPrefixSuspicious[17];
    char szPrefixBlack[17];
    uint32_t dwEnableImageDetection; /* 0 or 1 */
    uint32_t dwEnableInTheCloud;     /* 0 or 1 */
    uint32_t dwInTheCloudTimeout;    /* 100 to 10000, else 2000: a write corrects the caller's record too */
} WdpeAspmCommonData;
WDLT_SIZE(WdpeAspmCommonData, 104);
WDLT_AT(WdpeAspmCommonData, dwEnableImageDetection, 92);

/* (0, WDLT_SCAN_ANTI_SPAM) with WDLT_CONFIG_ASPM_RULE_PATH */
typedef struct WdpeAspmRulePath {
    char szRulePath[260]; /* at most 258 bytes can be read back, with a backslash added */
    uint8_t byReserved[264];
} WdpeAspmRulePath;
WDLT_SIZE(WdpeAspmRulePath, 524);

typedef struct WdpeAspmEntry {
    char szEntry[256]; /* one line of text, without its line end; an empty one isn't read back */
} WdpeAspmEntry;
WDLT_SIZE(WdpeAspmEntry, 256);

/* (WDLT_PROTOCOL_POP3, WDLT_SCAN_ANTI_SPAM) */
typedef struct WdpeAspmData {
    uint32_t dwLevel;          /* 0 to 2 */
    uint32_t dwUnreadLists;    /* which lists are empty because their files couldn't be read: WDLT_ASPM_UNREAD */
    double dblLow;             /* read only: above 0, at most 100 */
    double dblMedium;          /* likewise */
    double dblHigh;            /* likewise */
    char szWhitelistFile[257]; /* bare file name; at most 255 bytes can be read back */
    uint32_t dwWhitelistCount;
    char szBlacklistFile[257]; /* likewise */
    uint32_t dwBlacklistCount;
    WdpeAspmEntry whitelist[WDLT_MAX_ASPM_RECORDS];
    WdpeAspmEntry blacklist[WDLT_MAX_ASPM_RECORDS];
} WdpeAspmData;
WDLT_SIZE(WdpeAspmData, 256560);
WDLT_AT(WdpeAspmData, dblLow, 8);
WDLT_AT(WdpeAspmData, dwWhitelistCount, 292);
WDLT_AT(WdpeAspmData, dwBlacklistCount, 556);
WDLT_AT(WdpeAspmData, whitelist, 560);
WDLT_AT(WdpeAspmData, blacklist, 128560);

typedef struct WdltAspmConfig {
    uint32_t dwScanType;
    uint32_t dwLevel;
    char szPrefixSpam[17];
    char szPrefixPhishing[17];
    char szPrefixMalicious[17];
    char szPrefixSuspicious[17];
    char szPrefixBlack[17];
    uint32_t dwEnableImageDetection;
    uint32_t dwEnableInTheCloud;
} WdltAspmConfig;
WDLT_SIZE(WdltAspmConfig, 104);
WDLT_AT(WdltAspmConfig, dwEnableImageDetection, 96);

/* HTTP. */

/* (WDLT_PROTOCOL_HTTP, 0) */
typedef struct WdphHttp {
    char szTargetRequestMethods[WDLT_MAX_REQUEST_METHODS][17]; /* ends at the first empty one */
    uint32_t dwMessageBodyMemorySizeLimit;
    uint32_t dwMaxRequestBodyScanSize;
    uint32_t dwMaxResponseBodyScanSize;
    uint32_t dwMaxLineSize;
    uint32_t dwMaxHeaderCount;
    uint32_t dwReqSockOptSndBuf;    /* read only */
    uint32_t dwReceiveTimeout;      /* above 600 becomes 0, in the caller's record too, on a write */
    uint32_t dwEnableRequestSndBuf; /* 1 when unset; made 0 or 1 in the caller's record by a write */
    uint32_t dwSockSendBufSize;     /* 2048 when unset */
    uint32_t dwSockResponseBufSize; /* 8192 when unset */
    uint32_t dwSockRequestBufSize;  /* 1024 when unset */
} WdphHttp;
WDLT_SIZE(WdphHttp, 588);
WDLT_AT(WdphHttp, dwMessageBodyMemorySizeLimit, 544);

/* (0, WDLT_SCAN_HTTP_MANAGER). File fields hold bare names, of which at most 255 bytes can be read back; a write strips
   directories in the caller's record too. */
typedef struct WdsmHttpConfig {
    char szUrlHistoryFile[257];
    uint32_t dwMaxUrlHistoryCount;
    char szExclusionExtensions[WDLT_MAX_EXCLUSION_EXTENSIONS][6]; /* ends at the first empty one */
    char szUrlFilterAlertFile[257];
    char szUrlFilterCredAlertFile[257];
    char szHostFilterAlertFile[257];
    char szHostFilterErrorFile[257];
    char szPrivacyDataAlertFile[257];
    uint32_t dwMaxWebMailScanSize; /* limited to 0x9FFFF by a write, in the caller's record too */
    uint32_t WdsmHttpNotifyExFlag; /* 0 when unset */
} WdsmHttpConfig;
WDLT_SIZE(WdsmHttpConfig, 1944);
WDLT_AT(WdsmHttpConfig, dwMaxUrlHistoryCount, 260);
WDLT_AT(WdsmHttpConfig, szUrlFilterAlertFile, 648);
WDLT_AT(WdsmHttpConfig, dwMaxWebMailScanSize, 1936);

/* (0, WDLT_SCAN_HTTP_MANAGER) with WDLT_CONFIG_HTTP_WEB_MAIL */
typedef struct WdsmWebMailData {
    uint32_t dwReserved;
    uint32_t dwMaxWebMailScanSize;         /* 3072 when unset, stored as at most 0x9FFFF */
    uint32_t dwWebMailActionSizeThreshold; /* 256 when unset, stored as at most 0x9FFFF */
} WdsmWebMailData;
WDLT_SIZE(WdsmWebMailData, 12);

/* HTTP file events. */
typedef struct WdpeHfeData {
    uint32_t dwHfeTargetMethod;      /* 1 when unset */
    uint32_t dwHfeMaxDecompressSize; /* 65536 when unset or 0; a larger one is stored as 65536 */
} WdpeHfeData;
WDLT_SIZE(WdpeHfeData, 8);

/* HTTPS filter and plug-ins. */

/* (10003, WDLT_SCAN_HTTP_MANAGER, WDLT_INPUT_HTTPS_FILTER). All five files must be stored for a read to succeed. */
typedef struct WdltHttpsConfig {
    uint32_t enable; /* bits: WDLT_HTTPS_SCAN; the others belong to callers and the service */
    char HostFilterAlertFile[257];
    char HostFilterErrorFile[257];
    char PrivacyDataAlertFile[257];
    char UrlFilterAlertFile[257];
    char UrlFilterCredAlertFile[257];
} WdltHttpsConfig;
WDLT_SIZE(WdltHttpsConfig, 1292);
WDLT_AT(WdltHttpsConfig, UrlFilterCredAlertFile, 1032);

#define WDLT_HTTPS_SCAN UINT32_C(1)

typedef struct WdltPluginManagerConfig {
    uint32_t dwEnable;
    char szFilename[260];
} WdltPluginManagerConfig;
WDLT_SIZE(WdltPluginManagerConfig, 264);

/* SAL. */

/* (0, WDLT_SCAN_SAL) */
typedef struct WdpeSalData {
    uint32_t dwQueryIP;        /* 0 or 1 */
    uint32_t dwTakeAction;     /* 0 or 1 */
    uint32_t dwAddandScanMode; /* 0 or 1 */
    char szBlockImages[516];   /* at most 511 bytes can be read back */
} WdpeSalData;
WDLT_SIZE(WdpeSalData, 528);

typedef struct WdltSalConfig {
    uint32_t dwEnable; /* whether SAL is on: a write switches it */
    uint32_t dwQueryIP;
    uint32_t dwTakeAction;
    uint32_t dwAddandScanMode;
    char szBlockImages[513]; /* at most 511 bytes can be read back; empty on a write: the stored text stays */
} WdltSalConfig;
WDLT_SIZE(WdltSalConfig, 532);

#undef WDLT_AT
#undef WDLT_SIZE
#undef WDLT_CHECK

#endif
