/* The numbers that address a setting: protocol, scan and input locate it, the config type selects one of the records
   there. They are arguments of WdltReadConfig, WdltWriteConfig and their Ex forms; feature functions know their own
   addresses. Macros, since C has no other constant that holds 0x80000000. */
#ifndef WDLTCFG_ADDRESSES_H
#define WDLTCFG_ADDRESSES_H

#include <stdint.h>

/* Protocol. Below 10000 it addresses a feature's own settings; 10000 plus a protocol addresses the administrative
   record of that protocol's handler or scan item: whether it is on, and its files. */
#define WDLT_PROTOCOL_COMMON UINT32_C(0) /* settings common to all protocols */
#define WDLT_PROTOCOL_POP3 UINT32_C(1)
#define WDLT_PROTOCOL_SMTP UINT32_C(2)
#define WDLT_PROTOCOL_HTTP UINT32_C(3)
#define WDLT_PROTOCOL_SYSTEM UINT32_C(10000) /* the service itself; the offset of all system views */
#define WDLT_PROTOCOL_SYSTEM_POP3 (WDLT_PROTOCOL_SYSTEM + WDLT_PROTOCOL_POP3)
#define WDLT_PROTOCOL_SYSTEM_SMTP (WDLT_PROTOCOL_SYSTEM + WDLT_PROTOCOL_SMTP)
#define WDLT_PROTOCOL_SYSTEM_HTTP (WDLT_PROTOCOL_SYSTEM + WDLT_PROTOCOL_HTTP)

/* Scan: one bit, or none for the protocol handler itself. The name of the registry key is in quotes. */
#define WDLT_SCAN_NONE UINT32_C(0x0)
#define WDLT_SCAN_VIRUS UINT32_C(0x1)               /* "Virus"; with input 1 "HttpFileScan" */
#define WDLT_SCAN_HTTP_IMAGE_FILTER UINT32_C(0x2)   /* "HTTPImageFilter" */
#define WDLT_SCAN_URL_FILTER UINT32_C(0x4)          /* "URLFilter" */
#define WDLT_SCAN_PRIVACY UINT32_C(0x8)             /* "PrivacyProtection" */
#define WDLT_SCAN_MASS_MAIL UINT32_C(0x10)          /* "MassMailMonitor" */
#define WDLT_SCAN_HTTP_CLEANER UINT32_C(0x20)       /* "HTTPCleaner": named, but not supported at any address */
#define WDLT_SCAN_ANTI_SPAM UINT32_C(0x40)          /* "AntiSpam" */
#define WDLT_SCAN_HOST_FILTER UINT32_C(0x80)        /* "HostFilter" */
#define WDLT_SCAN_NETWORK_EVENTS UINT32_C(0x100)    /* "NetworkEvents": HTTP file events */
#define WDLT_SCAN_SAL UINT32_C(0x200)               /* "SAL" */
#define WDLT_SCAN_TEST_ENGINE UINT32_C(0x8000)      /* "TestEngine" */
#define WDLT_SCAN_MAIL_MANAGER UINT32_C(0x10000)    /* "MailManager" */
#define WDLT_SCAN_HTTP_MANAGER UINT32_C(0x20000)    /* "HttpManager"; with input 2 "HttpsFilter" */
#define WDLT_SCAN_IM_MANAGER UINT32_C(0x40000)      /* "ImManager" */
#define WDLT_SCAN_TEST_MANAGER UINT32_C(0x80000000) /* "TestManager" */

/* Input: 0 nearly everywhere. */
#define WDLT_INPUT_NONE UINT32_C(0)
#define WDLT_INPUT_HTTP_FILE_SCAN UINT32_C(1) /* with WDLT_SCAN_VIRUS */
#define WDLT_INPUT_HTTPS_FILTER UINT32_C(2)   /* with WDLT_SCAN_HTTP_MANAGER */

/* Config type: selects a record of an address. Addresses not listed here ignore it or accept only 0. (10000 + p, 0): */
#define WDLT_CONFIG_DEFAULT UINT64_C(0)         /* the address's main record */
#define WDLT_CONFIG_REDIRECT_ADD UINT64_C(1)    /* write a WdchSystemRedirect: add it, or overwrite the session's */
#define WDLT_CONFIG_REDIRECT_DELETE UINT64_C(2) /* write a WdchSystemRedirect: delete the one of its sessionType */

/* (0, WDLT_SCAN_VIRUS, 0): WdpeVsCommon with 0 */
#define WDLT_CONFIG_SPYWARE_LIST UINT64_C(1) /* WdpeSpyList */

/* (0, WDLT_SCAN_URL_FILTER). 2, 3, 4, 5 and 7 are written as a WdpeUrlfRSInfo. */
#define WDLT_CONFIG_URLF_SETTINGS UINT64_C(0)        /* WdpeUrlfData */
#define WDLT_CONFIG_URLF_LIST UINT64_C(1)            /* WdpeUrlfUrlList, its dwListType set beforehand */
#define WDLT_CONFIG_URLF_CATEGORIES UINT64_C(2)      /* WdpeUrlfCategoryList */
#define WDLT_CONFIG_URLF_CATEGORY_GROUPS UINT64_C(3) /* WdpeUrlfCategoryGroupList */
#define WDLT_CONFIG_URLF_FULL UINT64_C(4)            /* WdpeUrlfFullData */
#define WDLT_CONFIG_URLF_LOG_INDEX UINT64_C(5)       /* WdpeUrlfLogIndexList */
#define WDLT_CONFIG_URLF_QUERY UINT64_C(6)           /* WdpeUrlfQuery, read only */
#define WDLT_CONFIG_URLF_DRS UINT64_C(7)             /* WdpeUrlfDrsData */
#define WDLT_CONFIG_URLF_EXTRA_HEADER UINT64_C(8)    /* WdpeUrlfExtraHeader and its data */
#define WDLT_CONFIG_URLF_RS_INFO UINT64_C(9)         /* WdpeUrlfRSInfo */
#define WDLT_CONFIG_URLF_UUC UINT64_C(10)            /* WdpeUrlfUUC */
#define WDLT_CONFIG_URLF_BACKUP_RETRY UINT64_C(11)   /* one 32-bit flag */
#define WDLT_CONFIG_URLF_SOCKET_FAMILY UINT64_C(12)  /* one 32-bit number: 0, 1 or 2 */
#define WDLT_CONFIG_URLF_QXN_GUID UINT64_C(13)       /* text without a terminator; the size is its length */
#define WDLT_CONFIG_URLF_CACHE_FILE UINT64_C(14)     /* one 32-bit flag, read only */

/* (0, WDLT_SCAN_PRIVACY) */
#define WDLT_CONFIG_PRIVACY_ITEMS                                                                                      \
    UINT64_C(1) /* PrivacyControlData, then PrivacyViewItem records; a write accepts 0 too */
#define WDLT_CONFIG_PRIVACY_SEARCH UINT64_C(2)     /* PrivacyDBHeader, then PrivacySearchRecord records; read only */
#define WDLT_CONFIG_PRIVACY_EXCLUSIONS UINT64_C(3) /* PrivacyExclusionListHead, then PrivacyExclusionItem records */

/* (p, WDLT_SCAN_PRIVACY), p above 0: one 32-bit number, read and written with different config types */
#define WDLT_CONFIG_PRIVACY_TABLE_READ UINT64_C(0)
#define WDLT_CONFIG_PRIVACY_TABLE_WRITE UINT64_C(0xFFFFFFF8)

/* (0, WDLT_SCAN_ANTI_SPAM): WdpeAspmCommonData with 0 */
#define WDLT_CONFIG_ASPM_RULE_PATH UINT64_C(1) /* WdpeAspmRulePath */

/* (0, WDLT_SCAN_HOST_FILTER): WdpeHosfData with 0 */
#define WDLT_CONFIG_HOSF_LIST UINT64_C(1) /* WdpeHosfHostList */

/* (0, WDLT_SCAN_MAIL_MANAGER): WdsmMailConfig with 0, of which only dwAddressCacheDirection is written */
#define WDLT_CONFIG_MAIL_ADDRESS_CACHE UINT64_C(1) /* MailAddressListHead, then MailAddressRecord records */

/* (0, WDLT_SCAN_HTTP_MANAGER): WdsmHttpConfig with 0 */
#define WDLT_CONFIG_HTTP_WEB_MAIL UINT64_C(1)     /* WdsmWebMailData */
#define WDLT_CONFIG_HTTP_FILE_EVENTS UINT64_C(2)  /* WdpeHfeData */
#define WDLT_CONFIG_HTTP_PLUGIN_EVENT UINT64_C(3) /* one flag byte */

/* List types of the URL filter and of anti-spam. The spyware and host lists have only type 0. */
#define WDLT_LIST_WHITE UINT32_C(0)
#define WDLT_LIST_BLACK UINT32_C(1)

/* What a read of WdpeAspmData puts into dwUnreadLists when the file of a list can't be read: this mark, with the bits
   of those lists. A write leaves the file of a marked list alone, whether or not the record has entries for it, stores
   everything else and returns WDLT_E_FILE: a record that was read at a bad moment and written back, with or without a
   new entry, loses nothing. Read again to get the list; to replace one that can't be read, set dwUnreadLists to 0 and
   write at least one entry. A value without the mark counts as 0. */
#define WDLT_ASPM_UNREAD UINT32_C(0x756E7200)
#define WDLT_ASPM_UNREAD_WHITE UINT32_C(1)
#define WDLT_ASPM_UNREAD_BLACK UINT32_C(2)

/* Protocol type bits of the privacy functions. POP3 has none: privacy protection can't be on for it. */
#define WDLT_PRIVACY_SMTP UINT32_C(0x00000001)
#define WDLT_PRIVACY_HTTP UINT32_C(0x00000010)
#define WDLT_PRIVACY_PROTOCOL_4 UINT32_C(0x00000100)
#define WDLT_PRIVACY_PROTOCOL_5 UINT32_C(0x00001000)
#define WDLT_PRIVACY_PROTOCOL_6 UINT32_C(0x00010000)
#define WDLT_PRIVACY_PROTOCOL_7 UINT32_C(0x00100000)
#define WDLT_PRIVACY_ALL UINT32_C(0xFFFFFFFF)

#endif
