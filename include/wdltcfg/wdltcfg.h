/* wdltcfg: reads and changes the settings of the content-scanning proxy service Wardlet. 103 functions, 101 of them
   distinct. C11 and C++11 or later; 64-bit.

   Results. int32_t: WDLT_OK (0) or a negative code of status.h. A function whose name asks (…IsEnabled,
   …IsRecordExists, WdltHfeIsEnablePluginEvent) answers 1 or 0 instead. Before the library is attached, and after it is
   detached, every function gives WDLT_E_GENERAL.

   Buffers are the caller's: the library neither keeps nor frees them, and they need no alignment. A null record, and a
   null pointer to a size, is WDLT_E_INVALID_ARGUMENT; a pointer to a count must be valid. A feature function that fails
   leaves the caller's record, entries and count alone, unless its comment says otherwise.

   Threads. There is no open or close: any function, from any thread, any number at once. A record that one thread
   writes must not be in another's hands meanwhile.

   Waiting. One reader/writer lock spans all features and all processes: [R], [W] and [-] at the end of a comment tell
   whether a function holds it for reading, for writing, or not at all. A wait for it has no time-out; each minute of it
   is logged. A function that stores something then waits for other writers, and tells the service: at once when none
   runs, else up to 60 s for its answer, and 100 ms more. Nothing is stored or told where nothing differs and the
   comment says so.

   Several values of one record are stored one after the other. The first failure ends a write: values before it stay
   stored, those behind it stay as they were, and the service isn't told of that record.

   An exception leaves a function only when memory is exhausted; it is logged first, and ends a program that can't catch
   it.

   Feature functions "enable" in two steps: the scan item, then the protocol handler that it needs. A handler goes on
   only with at least one of its scan items on, and off only with all of them off. A feature counts as on when both are
   on. When the second step fails, the first stays done. Neither stores or tells anything that is so already. */
#ifndef WDLTCFG_WDLTCFG_H
#define WDLTCFG_WDLTCFG_H

#include <wdltcfg/addresses.h>
#include <wdltcfg/charsets.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <stdint.h>

#ifndef WDLTCFG_API
#define WDLTCFG_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Any setting, by its address (addresses.h). No reader/writer lock: a record that another process is writing may be
   seen half new. */

/* Reads a record into `data`, of *size bytes. A size that doesn't fit gives WDLT_E_BUFFER_SIZE and stores the one
   needed; null data with a size of 0 asks for it. Not so for the records of HTTP and anti-spam and the URL query, where
   a wrong size is WDLT_E_INVALID_ARGUMENT, nor with null data for those of the filters, SMTP, the mail and HTTP
   managers, SAL and what virus scans have in common: their sizes are fixed (records.h). A list type, a query or a
   version in the record is looked at first: `data` is in and out. After a failure it may be partly filled. Input is
   WDLT_INPUT_NONE. [-] */
WDLTCFG_API int32_t WdltReadConfig(uint32_t protocol, uint32_t scan, uint64_t configType, void* data, uint64_t* size);

/* Stores a record of `size` bytes, exactly as records.h has it. Values out of their limits are put right in the
   caller's record too, where records.h says so: `data` is in and out. Tells the service. WDLT_E_NO_ANSWER: stored, not
   told. [-] */
WDLTCFG_API int32_t WdltWriteConfig(uint32_t protocol, uint32_t scan, uint64_t configType, void* data, uint64_t size);

/* The same two with an input. [-] */
WDLTCFG_API int32_t WdltReadConfigEx(uint32_t protocol, uint32_t scan, uint32_t input, uint64_t configType, void* data,
                                     uint64_t* size);
WDLTCFG_API int32_t WdltWriteConfigEx(uint32_t protocol, uint32_t scan, uint32_t input, uint64_t configType, void* data,
                                      uint64_t size);

/* Virus scan: Pvs of POP3, Svs of SMTP, Wmvs of web mail over HTTP, Hfs of files over HTTP. A configuration is kept in
   two records, the scan's and the one that holds the size limit; a write stores them in this order and tells the
   service of each. A read fails when either can't be read. */

/* Switches the scan on (not 0) or off (0). [W] */
WDLTCFG_API int32_t WdltPvsEnable(int32_t enable);
/* 1 when scan item and handler are on; 0 also when that can't be read. [R] */
WDLTCFG_API int32_t WdltPvsIsEnabled(void);
/* Reads all nine fields. [R] */
WDLTCFG_API int32_t WdltPvsReadConfig(WdltVsConfig* config);
/* Stores all nine fields; what the two records hold besides stays. A failure at the second leaves the first stored. [W]
 */
WDLTCFG_API int32_t WdltPvsWriteConfig(const WdltVsConfig* config);

/* As the four of POP3. [W] [R] [R] [W] */
WDLTCFG_API int32_t WdltSvsEnable(int32_t enable);
WDLTCFG_API int32_t WdltSvsIsEnabled(void);
WDLTCFG_API int32_t WdltSvsReadConfig(WdltVsConfig* config);
WDLTCFG_API int32_t WdltSvsWriteConfig(const WdltVsConfig* config);

/* As the four of POP3. [W] [R] [R] [W] */
WDLTCFG_API int32_t WdltWmvsEnable(int32_t enable);
WDLTCFG_API int32_t WdltWmvsIsEnabled(void);
WDLTCFG_API int32_t WdltWmvsReadConfig(WdltVsConfig* config);
WDLTCFG_API int32_t WdltWmvsWriteConfig(const WdltVsConfig* config);

/* As WdltPvsEnable and WdltPvsIsEnabled. [W] [W] */
WDLTCFG_API int32_t WdltHfsEnable(int32_t enable);
WDLTCFG_API int32_t WdltHfsIsEnabled(void);
/* Reads and stores mode, threshold and target types, of which at most 255 bytes are kept. The size limit stays. [W] [W]
 */
WDLTCFG_API int32_t WdltHfsReadConfig(WdltHfsConfig* config);
WDLTCFG_API int32_t WdltHfsWriteConfig(const WdltHfsConfig* config);
/* As WdltPvsReadConfig and WdltPvsWriteConfig: the virus scan of files. [W] [W] */
WDLTCFG_API int32_t WdltHfsVirusReadConfig(WdltVsConfig* config);
WDLTCFG_API int32_t WdltHfsVirusWriteConfig(const WdltVsConfig* config);

/* The spyware list; listType isn't looked at. Null records: *count becomes the number stored. Else at most *count
   records are copied, and *count is lowered to the number stored; a smaller one truncates without complaint. [R] */
WDLTCFG_API int32_t WdltSpyReadRecordList(uint32_t listType, WdpeSpyRecord* records, int32_t* count);
/* Replaces the list by `count` records, at most WDLT_MAX_SPYWARE_RECORDS. An empty text or one without a terminator,
   too many records or null ones: WDLT_E_INVALID_ARGUMENT, the stored list stays. [W] */
WDLTCFG_API int32_t WdltSpyWriteRecordList(uint32_t listType, const WdpeSpyRecord* records, int32_t count);

/* URL filter, of HTTP. Its settings are one record: a write reads it first, so that it fails while a value that has no
   default is missing. */

/* As WdltPvsEnable and WdltPvsIsEnabled. [W] [R] */
WDLTCFG_API int32_t WdltUrlfEnable(int32_t enable);
WDLTCFG_API int32_t WdltUrlfIsEnabled(void);
/* The settings but for the proxy, which a write leaves as it is. [R] [W] */
WDLTCFG_API int32_t WdltUrlfReadConfig(WdltUrlfConfig* config);
WDLTCFG_API int32_t WdltUrlfWriteConfig(const WdltUrlfConfig* config);
/* Reads the white or black list: *count is the room in `records`, and becomes the number stored. Too little room, or
   null records: WDLT_E_BUFFER_SIZE and nothing is copied. [R] */
WDLTCFG_API int32_t WdltUrlfReadRecordList(uint32_t listType, WdpeUrlfUrlRecord* records, int32_t* count);
/* Replaces the list by `count` records, at most WDLT_MAX_URL_RECORDS; null records and 0 empty it. An empty text, one
   without a terminator or another list type: WDLT_E_INVALID_ARGUMENT, the stored list stays. [W] */
WDLTCFG_API int32_t WdltUrlfWriteRecordList(uint32_t listType, const WdpeUrlfUrlRecord* records, int32_t count);
/* Read the groups and the categories, with counts as in WdltSpyReadRecordList. Nothing here writes them. [R] [R] */
WDLTCFG_API int32_t WdltUrlfReadCategoryGroup(WdpeUrlfCategoryGroup* records, int32_t* count);
WDLTCFG_API int32_t WdltUrlfReadCategory(WdpeUrlfCategory* records, int32_t* count);
/* The proxy, its texts plain; the other settings stay. [R] [W] */
WDLTCFG_API int32_t WdltUrlfReadProxy(WdltUrlfProxy* proxy);
WDLTCFG_API int32_t WdltUrlfWriteProxy(const WdltUrlfProxy* proxy);
/* 1 when the URL matches a record of the white list (0) or the black list (any other type). Asks the service, up to 60
   s; without its answer, the list file. 0 also when neither could tell. `url` is a whole record of 2084 bytes. [R] */
WDLTCFG_API int32_t WdltUrlfIsRecordExists(uint32_t listType, const WdpeUrlfUrlRecord* url);
/* Stores the header, dwSize + 12 bytes at `header`. dwVersion 0 stores nothing and returns the version spoken, 1;
   another version than that is WDLT_E_VERSION. [R] */
WDLTCFG_API int32_t WdltUrlfSetExtraHeader(const WdpeUrlfExtraHeader* header);
/* The rating server. A write needs a server's name, and one that is stored already. [R] [W] */
WDLTCFG_API int32_t WdltUrlfReadRSInfo(WdpeUrlfRSInfo* info);
WDLTCFG_API int32_t WdltUrlfWriteRSInfo(const WdpeUrlfRSInfo* info);
/* The check of untested URLs. A write of what is stored already stores and tells nothing. [R] [W] */
WDLTCFG_API int32_t WdltUrlfReadUUC(WdpeUrlfUUC* config);
WDLTCFG_API int32_t WdltUrlfWriteUUC(const WdpeUrlfUUC* config);
/* The retry with the backup query. It counts as on when it is unset or can't be read. [R] [W] */
WDLTCFG_API int32_t WdltUrlfEnableBackupLKQRetry(uint32_t enable);
WDLTCFG_API int32_t WdltUrlfIsBackupLKQRetryEnabled(void);
/* The socket family: 0, 1 or 2, any other number is stored as 0. Both give 0 always: failures stand in the log, and
 *leave family alone. [R] [R] */
WDLTCFG_API int32_t WdltUrlfSetSocketFamily(uint32_t family);
WDLTCFG_API int32_t WdltUrlfGetSocketFamily(uint32_t* family);
/* Stores a zero-terminated text, enciphered. Gives 0 always: failures stand in the log. [R] */
WDLTCFG_API int32_t WdltUrlfSetQXNGuid(const char* guid);
/* There is no list of the URL history: touches nothing and gives 0. [R] */
WDLTCFG_API int32_t WdltUrlhReadRecordList(void* records, int32_t* count);

/* Host filter, of HTTP. */

/* As WdltPvsEnable and WdltPvsIsEnabled. [W] [R] */
WDLTCFG_API int32_t WdltHosfEnable(int32_t enable);
WDLTCFG_API int32_t WdltHosfIsEnabled(void);
/* The settings. No value has a default: a read, and the read before a write, fails while one is missing. [R] [W] */
WDLTCFG_API int32_t WdltHosfReadConfig(WdpeHosfData* config);
WDLTCFG_API int32_t WdltHosfWriteConfig(const WdpeHosfData* config);
/* The host list, counts as in WdltSpyReadRecordList. A list that was never written is WDLT_E_FILE_NOT_FOUND. [R] */
WDLTCFG_API int32_t WdltHosfReadRecordList(WdpeHosfHostRecord* records, int32_t* count);
/* Replaces the list by `count` records, at most WDLT_MAX_HOST_RECORDS. Null records are an error even with 0. [W] */
WDLTCFG_API int32_t WdltHosfWriteRecordList(const WdpeHosfHostRecord* records, int32_t count);

/* DRS. A change is stored, then told to the service, up to 60 s: WDLT_E_NO_ANSWER. The registry's failures are
   WDLT_E_GENERAL. */

/* Switches DRS. With 1, the URL filter and the plug-in manager are switched on first; a failure there is the result,
   and DRS stays as it was. [W] */
WDLTCFG_API int32_t WdltDRSEnable(uint32_t enable);
WDLTCFG_API int32_t WdltDRSIsEnabled(void); /* 0 when unset. [-] */
/* A stored number out of its limits reads as 0; one in the record is WDLT_E_INVALID_ARGUMENT. [-] [W] */
WDLTCFG_API int32_t WdltDRSReadConfig(WdltDrsConfig* config);
WDLTCFG_API int32_t WdltDRSWriteConfig(const WdltDrsConfig* config);
/* Switches the white list and stores its option. [W] */
WDLTCFG_API int32_t WdltEnableDRSWhiteList(uint32_t enable, uint32_t option);
WDLTCFG_API int32_t WdltIsDRSWhiteListEnabled(void); /* 0 when unset. [-] */
/* Adds a rule. An index out of its limits, a text without a terminator, an empty rule name or one with a backslash, a
   rule name or an index that is there already: WDLT_E_INVALID_ARGUMENT. [W] */
WDLTCFG_API int32_t WdltAddDRSWhiteListItem(const WdltDrsWhiteListItem* item);
/* Deletes the rule with this index, or with 0 all of them. An index that no rule has is no error. [W] */
WDLTCFG_API int32_t WdltDeleteDRSWhiteListItem(uint32_t index);
/* Reads the rules: *count is the room in `items`, and becomes the number found. Above the room, WDLT_E_BUFFER_SIZE:
   what fits is filled, and the number counts rules that weren't looked at. Null items ask for it; *count isn't read
   then. [-] */
WDLTCFG_API int32_t WdltGetAllDRSWhiteListItem(WdltDrsWhiteListItem* items, int32_t* count);

/* Privacy data protection, of SMTP, HTTP and the protocols 4 to 7; `types` is made of WDLT_PRIVACY_ bits. Items are
   read and written one access at a time in all processes: a call waits for another's as long as the settings say, and
   then fails with WDLT_E_GENERAL. */

/* Switches all protocols, in ascending order; the first failure ends it, and those before it stay switched. [W] */
WDLTCFG_API int32_t WdltPdpEnable(int32_t enable);
/* The same for some protocols; none gives 0. [W] */
WDLTCFG_API int32_t WdltPdpProtocolEnable(int32_t enable, uint32_t types);
/* 1 when the feature is on for all protocols. [R] */
WDLTCFG_API int32_t WdltPdpIsEnabled(void);
/* 1 when it is on for all of these, of which there must be one. [R] */
WDLTCFG_API int32_t WdltPdpIsProtocolEnabled(uint32_t types);
/* The items and the exclusions, counts as in WdltSpyReadRecordList. [R] [R] */
WDLTCFG_API int32_t WdltPdpReadItemList(PrivacyViewItem* items, int32_t* count);
WDLTCFG_API int32_t WdltPdpReadExItemList(PrivacyExclusionItem* items, int32_t* count);
/* Replaces the items, and the patterns that are searched for. An index used twice or above 31, a name or description
   without its terminator, or more items than are allowed: WDLT_E_INVALID_ARGUMENT. An item that can't be converted to a
   charset wanted fails the call; in both cases all stays as it was. [W] */
WDLTCFG_API int32_t WdltPdpWriteItemList(const PrivacyViewItem* items, int32_t count);
/* Replaces the exclusions. An empty text, another target or too many items: WDLT_E_INVALID_ARGUMENT, all stays. [W] */
WDLTCFG_API int32_t WdltPdpWriteExItemList(const PrivacyExclusionItem* items, int32_t count);
/* Tries the items out and stores nothing: results[i] becomes 0 or WDLT_E_ITEM_CONVERSION, as an unsigned number. A
   failed item doesn't fail the call. [W] */
WDLTCFG_API int32_t WdltPdpVerifyItems(const PrivacyViewItem* items, int32_t count, uint32_t* results);

/* The mail address cache, counts as in WdltSpyReadRecordList. WDLT_E_FILE_NOT_FOUND: there is none yet. Fails also
   when the mail settings can't be read. Written through WdltWriteConfig. [R] */
WDLTCFG_API int32_t WdltMahReadRecordList(MailAddressRecord* records, int32_t* count);

/* Anti-spam, of POP3. Its settings are two records: common, and with level and lists. A write stores both, in this
   order, and the list files with the second. */

/* As WdltPvsEnable and WdltPvsIsEnabled. [W] [R] */
WDLTCFG_API int32_t WdltAspmEnable(int32_t enable);
WDLTCFG_API int32_t WdltAspmIsEnabled(void);
/* The settings. A read fails also when one of the three thresholds isn't stored as it must be. [R] [W] */
WDLTCFG_API int32_t WdltAspmReadConfig(WdltAspmConfig* config);
WDLTCFG_API int32_t WdltAspmWriteConfig(const WdltAspmConfig* config);
/* The white or black list, counts as in WdltSpyReadRecordList. A list file that can't be read is an empty list. [R] */
WDLTCFG_API int32_t WdltAspmReadRecordList(uint32_t listType, WdpeAspmEntry* records, int32_t* count);
/* Replaces the list by `count` entries, at most WDLT_MAX_ASPM_RECORDS. Null entries are an error even with 0. [W] */
WDLTCFG_API int32_t WdltAspmWriteRecordList(uint32_t listType, const WdpeAspmEntry* records, int32_t count);

/* HTTP file events. */

/* As WdltPvsEnable and WdltPvsIsEnabled. [W] [-] */
WDLTCFG_API int32_t WdltHfeEnable(uint32_t enable);
WDLTCFG_API int32_t WdltHfeIsEnabled(void);
/* The settings, each with a default. [-] [W] */
WDLTCFG_API int32_t WdltHfeReadConfig(WdpeHfeData* config);
WDLTCFG_API int32_t WdltHfeWriteConfig(const WdpeHfeData* config);
/* Events of the plug-ins; 0 when unset. [W] [-] */
WDLTCFG_API int32_t WdltHfeEnablePluginEvent(int32_t enable);
WDLTCFG_API int32_t WdltHfeIsEnablePluginEvent(void);

/* HTTPS filter and browser plug-ins. Switching one on, by a function that says so, switches the URL filter and the
   plug-in manager on first: a failure there is the result, and nothing else is done. Switching off leaves those two
   alone. */

/* The HTTPS filter's record; WdltPlugin… are second names of the same functions. With an enable other than 0 a write
   switches on what it needs first. A read fails with WDLT_E_NOT_FOUND while one of the files is unset. [W] [W] */
WDLTCFG_API int32_t WdltHttpsReadConfig(WdltHttpsConfig* config);
WDLTCFG_API int32_t WdltPluginReadConfig(WdltHttpsConfig* config);
WDLTCFG_API int32_t WdltHttpsWriteConfig(const WdltHttpsConfig* config);
WDLTCFG_API int32_t WdltPluginWriteConfig(const WdltHttpsConfig* config);
/* Sets or clears WDLT_HTTPS_SCAN and switches the handler; with 1 what it needs first. [W] */
WDLTCFG_API int32_t WdltHttpsScanEnable(uint32_t enable);
/* 1 when WDLT_HTTPS_SCAN is set and the handler is on. [W] */
WDLTCFG_API int32_t WdltHttpsScanIsEnabled(void);
/* Replaces all the bits; if any is set, what they need goes on first. The HTTP handler is asked to go on even with 0.
 * [W] */
WDLTCFG_API int32_t WdltPluginScanSetEnableFlag(uint32_t flags);
WDLTCFG_API int32_t WdltPluginScanGetEnableFlag(uint32_t* flags); /* all the bits. [-] */
/* The plug-in manager. A value that is unset is WDLT_E_REGISTRY, one of the wrong type WDLT_E_NOT_FOUND; the record is
   filled whole or not at all. A write with dwEnable 1 switches the HTTP handler on first. [-] [W] */
WDLTCFG_API int32_t WdltPluginManagerReadConfig(WdltPluginManagerConfig* config);
WDLTCFG_API int32_t WdltPluginManagerWriteConfig(const WdltPluginManagerConfig* config);
/* One browser's plug-in: on when unset or unreadable. Changes are told like those of the plug-in manager. [W] [-] */
WDLTCFG_API int32_t WdltIEPlugInEnable(uint32_t enable);
WDLTCFG_API int32_t WdltIEPlugInIsEnabled(void);
WDLTCFG_API int32_t WdltFirefoxExtensionEnable(uint32_t enable);
WDLTCFG_API int32_t WdltFirefoxExtensionIsEnabled(void);
WDLTCFG_API int32_t WdltChromeExtensionEnable(uint32_t enable);
WDLTCFG_API int32_t WdltChromeExtensionIsEnabled(void);

/* SAL, of HTTP. */

/* As WdltPvsEnable and WdltPvsIsEnabled. [W] [-] */
WDLTCFG_API int32_t WdltSalEnable(uint32_t enable);
WDLTCFG_API int32_t WdltSalIsEnabled(void);
/* Reads whether SAL is on, and its settings, none of which must be there. [-] */
WDLTCFG_API int32_t WdltSalReadConfig(WdltSalConfig* config);
/* Stores the settings, then switches SAL by dwEnable; a failure there leaves the settings stored. An empty
   szBlockImages keeps the stored text. [W] */
WDLTCFG_API int32_t WdltSalWriteConfig(const WdltSalConfig* config);

#ifdef __cplusplus
}
#endif

#endif
