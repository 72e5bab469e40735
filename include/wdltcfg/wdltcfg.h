/* wdltcfg: reads and changes the settings of the content-scanning proxy service Wardlet. 103 functions, 101 of them
   distinct. C11 and C++11 or later; 64-bit.

   Results. int32_t: WDLT_OK (0) or a negative code of status.h. A function whose name asks (…IsEnabled,
   …IsRecordExists, WdltHfeIsEnablePluginEvent) answers 1 or 0 instead. While the library isn't
   attached, as when memory gave out at its start, they answer 0 and every other function gives WDLT_E_GENERAL; a later
   call tries the start again, at most once a second.

   Buffers are the caller's: the library neither keeps nor frees them. Records and lists of them need no alignment;
   pointers to a number, as a size or a count, point to one as the language has it. A null pointer is
   WDLT_E_INVALID_ARGUMENT, unless a comment or the table below says otherwise. A feature function that fails leaves the
   caller's record, entries and count alone, unless its comment says otherwise.

   Texts have a terminator in their field: a write of one that fills it without is WDLT_E_INVALID_ARGUMENT, and nothing
   of the record is stored, unless records.h says that it is cut. Where records.h says that fewer bytes can be read back
   than a field holds, a longer text is stored and makes the read of its record fail, or takes its default: whoever
   writes keeps to that number.

   Threads. There is no open or close: any function, from any thread, any number at once. A record that one thread
   writes must not be in another's hands meanwhile. A thread that is cancelled inside a function comes to its end first.

   Waiting. One reader/writer lock spans all features and all processes: [R], [W] and [-] at the end of a comment tell
   whether a function holds it for reading, for writing, or not at all. A wait for it has no time-out; each minute of it
   is logged. A function that stores something then waits for other writers, and tells the service of each record that it
   stores: at once when none runs, else up to 60 s for its answer, and 100 ms more. Nothing is stored or told where
   nothing differs and the comment says so.

   A service that dies while it is told isn't waited for, unless another has taken its place within 100 ms: then the
   minute passes. When a writer died while it told the service, the next one waits for that answer first, within the same
   minute.

   Several values of one record are stored one after the other. The first failure ends a write: values before it stay
   stored, those behind it stay as they were, and the service isn't told of that record.

   An exception leaves a function only when memory is exhausted; it is logged first, and ends a program that can't catch
   it.

   Caveats. The environment's WARDLET_HOME says whose settings these are, unless the program is set-user-id;
   docs/security.md tells whose they may be. Who may not read them gets defaults, not errors, from the functions that
   have defaults. In the program that loads it the library handles SIGBUS (others' go on to the handler that was there),
   registers fork handlers, keeps descriptors open, none below 3 and each closed by exec, and writes to standard error
   only what docs/security.md lists. The URL that is being asked about can be read by whoever may enter the home.

   Feature functions "enable" in two steps: the scan item, then the protocol handler that it needs. A handler goes on
   only with at least one of its scan items on, and off only with all of them off. A feature counts as on when both are
   on. When the second step fails, the first stays done. Neither stores or tells anything that is so already. An item
   that can't be read counts as off: switching it off then gives 0 and stores nothing. */
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
   seen half new.

   Each record with its size, and what a call gives for null data of that size (null) and for data of another (size):
   -1 WDLT_E_GENERAL, -2 WDLT_E_BUFFER_SIZE with the size needed stored, -3 WDLT_E_INVALID_ARGUMENT. >= takes a larger
   size too; + stands for the records behind the head. "asks": null data with a size of 0 gives -2 and the size. Input 0
   where none is told, p is any protocol, and s any scan of addresses.h. Any other address is -1, any other config type -3
   where types are told apart.

   Record                      Address, input, config type    Read size  null  size  asks    Write size  null  size

     WdchSystemData            (10000, 0)                           864    -3    -2   yes           864    -3    -1
     WdchSystemProtocolHandler (10000 + p, 0)                      328+    -1    -2   yes          328+    -3    -1
     WdchSystemRedirect        (10000 + p, 0), type 1                 -     -     -     -           768    -3    -1
     WdchSystemRedirect        (10000 + p, 0), type 2                 -     -     -     -           768    -3    -1
     WdchSystemScan            (10000 + p, s)                       260    -1    -2   yes           260    -1    -1
     WdchSystemScanCommon      (10000, s)                           260    -1    -2   yes           260    -1    -1
     WdltHttpsConfig           (10003, 0x20000), input 2           1292    -1    -2   yes          1292    -1    -1
     WdpeVsData                (p, 1)                                40    -3    -2   yes            40    -3    -3
     WdpeVsCommon              (0, 1)                               276    -3    -2    no           276    -3    -3
     WdpeSpyList               (0, 1), type 1                   >=33032    -3    -2    no         33032    -3    -3
     WdpeHttpFileScanData      (0, 1), input 1                    >=272    -3    -2    no           272    -3    -3
     WdpeUrlfData              (0, 4)                            >=2124    -3    -2    no          2124    -3    -3
     WdpeUrlfUrlList           (0, 4), type 1                 >=1042008    -3    -2    no       1042008    -3    -3
     WdpeUrlfCategoryList      (0, 4), type 2                   >=33540    -3    -2    no           264    -3    -3
     WdpeUrlfCategoryGroupList (0, 4), type 3                  >=230148    -3    -2    no           264    -3    -3
     WdpeUrlfFullData          (0, 4), type 4                    >=3440    -3    -2    no           264    -3    -3
     WdpeUrlfLogIndexList      (0, 4), type 5                  >=197636    -3    -2    no           264    -3    -3
     WdpeUrlfQuery             (0, 4), type 6                        16    -3    -3    no             -     -     -
     WdpeUrlfDrsData           (0, 4), type 7                    >=3452    -3    -2    no           264    -3    -3
     WdpeUrlfExtraHeader       (0, 4), type 8                     >=12+    -3    -2    no         >=12+    -3    -3
     WdpeUrlfRSInfo            (0, 4), type 9                     >=264    -3    -2    no           264    -3    -3
     WdpeUrlfUUC               (0, 4), type 10                     >=12    -3    -2    no            12    -3    -3
     uint32_t                  (0, 4), type 11                      >=4    -3    -2    no             4    -3    -3
     uint32_t                  (0, 4), type 12                      >=4    -3    -2    no             4    -3    -3
     uint32_t                  (0, 4), type 14                      >=4    -3    -2    no             -     -     -
     PrivacyControlData        (0, 8), type 1                     >=60+    -3    -2   yes           60+    -3    -2
     PrivacyDBHeader           (0, 8), type 2                     >=64+    -3    -2   yes             -     -     -
     PrivacyExclusionListHead  (0, 8), type 3                      >=8+    -3    -2   yes          >=8+    -3    -2
     uint32_t                  (p, 8)                                 4    -3    -2    no             -     -     -
     uint32_t                  (p, 8), type 4294967288                -     -     -     -             4    -3    -2
     WdpeAspmCommonData        (0, 64)                              104    -3    -3    no           104    -3    -3
     WdpeAspmRulePath          (0, 64), type 1                      524    -3    -3    no           524    -3    -3
     WdpeAspmData              (1, 64)                           256560    -3    -3    no        256560    -3    -3
     WdpeHosfData              (0, 128)                           >=776    -3    -2    no           776    -3    -3
     WdpeHosfHostList          (0, 128), type 1                >=313352    -3    -2    no        313352    -3    -3
     WdpeSalData               (0, 512)                           >=528    -3    -2    no         >=528    -3    -2
     WdsmMailConfig            (0, 0x10000)                        1408    -3    -2    no          1408    -3    -3
     MailAddressListHead       (0, 0x10000), type 1                >=4+    -3    -2   yes          >=4+    -3    -3
     WdsmHttpConfig            (0, 0x20000)                        1944    -3    -3    no          1944    -3    -3
     WdsmWebMailData           (0, 0x20000), type 1                  12    -3    -3    no            12    -3    -3
     WdpeHfeData               (0, 0x20000), type 2                   8    -3    -3    no             8    -3    -3
     uint8_t                   (0, 0x20000), type 3                   1    -3    -3    no             1    -3    -3
     WdphPop3                  (1, 0)                                12    -1    -2   yes            12    -3    -3
     WdphSmtp                  (2, 0)                                16    -3    -2    no            16    -3    -3
     WdphHttp                  (3, 0)                               588    -3    -3    no           588    -3    -3

   (0, 4), type 13 is a text of any size: -2 when it doesn't fit. */

/* Reads a record into `data`, of *size bytes. A list type, a query or a version in the record is looked at first: `data`
   is in and out. After a failure it may be partly filled. Input is WDLT_INPUT_NONE.

   The service's own record (10000, 0) never fails for its values: one that can't be read takes its default, all of them
   where the registry can't be read (no rights, no descriptors). Whoever changes a field of it and writes it back looks at
   installPath first: it is empty then, and a write would store that. [-] */
WDLTCFG_API int32_t WdltReadConfig(uint32_t protocol, uint32_t scan, uint64_t configType, void* data, uint64_t* size);
/* Stores a record of `size` bytes. Values out of their limits are put right in the caller's record too where records.h
   says so, and nothing else of it is touched. Tells the service, and gives 0 whatever becomes of its answer. [-] */
WDLTCFG_API int32_t WdltWriteConfig(uint32_t protocol, uint32_t scan, uint64_t configType, void* data, uint64_t size);
/* WdltReadConfig with an input. [-] */
WDLTCFG_API int32_t WdltReadConfigEx(uint32_t protocol, uint32_t scan, uint32_t input, uint64_t configType, void* data,
                                     uint64_t* size);
/* WdltWriteConfig with an input. [-] */
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
/* Stores all nine fields; what the two records hold besides stays. A failure at the second leaves the first stored.
   [W] */
WDLTCFG_API int32_t WdltPvsWriteConfig(const WdltVsConfig* config);

/* As WdltPvsEnable. [W] */
WDLTCFG_API int32_t WdltSvsEnable(int32_t enable);
/* As WdltPvsIsEnabled. [R] */
WDLTCFG_API int32_t WdltSvsIsEnabled(void);
/* As WdltPvsReadConfig. [R] */
WDLTCFG_API int32_t WdltSvsReadConfig(WdltVsConfig* config);
/* As WdltPvsWriteConfig. [W] */
WDLTCFG_API int32_t WdltSvsWriteConfig(const WdltVsConfig* config);

/* As WdltPvsEnable. [W] */
WDLTCFG_API int32_t WdltWmvsEnable(int32_t enable);
/* As WdltPvsIsEnabled. [R] */
WDLTCFG_API int32_t WdltWmvsIsEnabled(void);
/* As WdltPvsReadConfig. [R] */
WDLTCFG_API int32_t WdltWmvsReadConfig(WdltVsConfig* config);
/* As WdltPvsWriteConfig. [W] */
WDLTCFG_API int32_t WdltWmvsWriteConfig(const WdltVsConfig* config);

/* As WdltPvsEnable. [W] */
WDLTCFG_API int32_t WdltHfsEnable(int32_t enable);
/* As WdltPvsIsEnabled. [W] */
WDLTCFG_API int32_t WdltHfsIsEnabled(void);
/* Reads mode, threshold and target types. [W] */
WDLTCFG_API int32_t WdltHfsReadConfig(WdltHfsConfig* config);
/* Stores mode, threshold and target types, of which at most 255 bytes are kept. The size limit stays. [W] */
WDLTCFG_API int32_t WdltHfsWriteConfig(const WdltHfsConfig* config);
/* As WdltPvsReadConfig: the virus scan of files. [W] */
WDLTCFG_API int32_t WdltHfsVirusReadConfig(WdltVsConfig* config);
/* As WdltPvsWriteConfig: the virus scan of files. [W] */
WDLTCFG_API int32_t WdltHfsVirusWriteConfig(const WdltVsConfig* config);

/* The spyware list; listType isn't looked at. Null records: *count becomes the number stored. Else at most *count
   records are copied, and *count is lowered to the number stored; a smaller one truncates without complaint. [R] */
WDLTCFG_API int32_t WdltSpyReadRecordList(uint32_t listType, WdpeSpyRecord* records, int32_t* count);
/* Replaces the list by `count` records, at most WDLT_MAX_SPYWARE_RECORDS. An empty text or one without a terminator,
   too many records or null ones: WDLT_E_INVALID_ARGUMENT, the stored list stays. [W] */
WDLTCFG_API int32_t WdltSpyWriteRecordList(uint32_t listType, const WdpeSpyRecord* records, int32_t count);

/* URL filter, of HTTP. Its settings are one record: a write reads it first, so that it fails while a value that has no
   default is missing. */

/* As WdltPvsEnable. [W] */
WDLTCFG_API int32_t WdltUrlfEnable(int32_t enable);
/* As WdltPvsIsEnabled. [R] */
WDLTCFG_API int32_t WdltUrlfIsEnabled(void);
/* Reads the settings but for the proxy. [R] */
WDLTCFG_API int32_t WdltUrlfReadConfig(WdltUrlfConfig* config);
/* Stores the settings; the proxy stays. [W] */
WDLTCFG_API int32_t WdltUrlfWriteConfig(const WdltUrlfConfig* config);
/* Reads the white or black list: *count is the room in `records`, and becomes the number stored. Too little room, or
   null records: WDLT_E_BUFFER_SIZE and nothing is copied. [R] */
WDLTCFG_API int32_t WdltUrlfReadRecordList(uint32_t listType, WdpeUrlfUrlRecord* records, int32_t* count);
/* Replaces the list by `count` records, at most WDLT_MAX_URL_RECORDS; null records and 0 empty it. An empty text, one
   without a terminator or another list type: WDLT_E_INVALID_ARGUMENT, the stored list stays. [W] */
WDLTCFG_API int32_t WdltUrlfWriteRecordList(uint32_t listType, const WdpeUrlfUrlRecord* records, int32_t count);
/* Reads the groups, with counts as in WdltSpyReadRecordList. Nothing here writes them. [R] */
WDLTCFG_API int32_t WdltUrlfReadCategoryGroup(WdpeUrlfCategoryGroup* records, int32_t* count);
/* Reads the categories, likewise. [R] */
WDLTCFG_API int32_t WdltUrlfReadCategory(WdpeUrlfCategory* records, int32_t* count);
/* Reads the proxy, its texts plain. [R] */
WDLTCFG_API int32_t WdltUrlfReadProxy(WdltUrlfProxy* proxy);
/* Stores the proxy; the other settings stay. [W] */
WDLTCFG_API int32_t WdltUrlfWriteProxy(const WdltUrlfProxy* proxy);
/* 1 when the URL matches a record of the white list (0) or the black list (any other type). Asks the service, up to 60
   s; without its answer, the list file. 0 also when neither could tell, and for a null URL. `url` is a whole record of
   2084 bytes. [R] */
WDLTCFG_API int32_t WdltUrlfIsRecordExists(uint32_t listType, const WdpeUrlfUrlRecord* url);
/* Stores the header, dwSize + 12 bytes at `header`. dwVersion 0 stores nothing and returns the version spoken, 1;
   another version than that is WDLT_E_VERSION. [R] */
WDLTCFG_API int32_t WdltUrlfSetExtraHeader(const WdpeUrlfExtraHeader* header);
/* Reads the rating server. [R] */
WDLTCFG_API int32_t WdltUrlfReadRSInfo(WdpeUrlfRSInfo* info);
/* Stores the rating server. It needs a server's name, and one that is stored already. [W] */
WDLTCFG_API int32_t WdltUrlfWriteRSInfo(const WdpeUrlfRSInfo* info);
/* Reads the check of untested URLs. [R] */
WDLTCFG_API int32_t WdltUrlfReadUUC(WdpeUrlfUUC* config);
/* Stores the check of untested URLs; what is stored already is neither stored nor told again. [W] */
WDLTCFG_API int32_t WdltUrlfWriteUUC(const WdpeUrlfUUC* config);
/* Stores whether the backup query is tried. [R] */
WDLTCFG_API int32_t WdltUrlfEnableBackupLKQRetry(uint32_t enable);
/* 1 also when that is unset or can't be read. [W] */
WDLTCFG_API int32_t WdltUrlfIsBackupLKQRetryEnabled(void);
/* Stores the socket family: 0, 1 or 2, any other number as 0. Gives 0 always: failures stand in the log. [R] */
WDLTCFG_API int32_t WdltUrlfSetSocketFamily(uint32_t family);
/* Reads the socket family. Gives 0 always: a failure stands in the log and leaves *family alone; null does nothing.
   [R] */
WDLTCFG_API int32_t WdltUrlfGetSocketFamily(uint32_t* family);
/* Stores a zero-terminated text, enciphered. Gives 0 always: failures stand in the log, and null does nothing. [R] */
WDLTCFG_API int32_t WdltUrlfSetQXNGuid(const char* guid);
/* There is no list of the URL history: touches nothing and gives 0. [R] */
WDLTCFG_API int32_t WdltUrlhReadRecordList(void* records, int32_t* count);

/* Host filter, of HTTP. */

/* As WdltPvsEnable. [W] */
WDLTCFG_API int32_t WdltHosfEnable(int32_t enable);
/* As WdltPvsIsEnabled. [R] */
WDLTCFG_API int32_t WdltHosfIsEnabled(void);
/* Reads the settings. No value has a default: it fails while one is missing. [R] */
WDLTCFG_API int32_t WdltHosfReadConfig(WdpeHosfData* config);
/* Stores the settings, behind a read of them, which fails likewise. [W] */
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
/* 0 when unset. [-] */
WDLTCFG_API int32_t WdltDRSIsEnabled(void);
/* A stored number that is missing or out of its limits reads as 0. [-] */
WDLTCFG_API int32_t WdltDRSReadConfig(WdltDrsConfig* config);
/* A number out of its limits is WDLT_E_INVALID_ARGUMENT. [W] */
WDLTCFG_API int32_t WdltDRSWriteConfig(const WdltDrsConfig* config);
/* Switches the white list and stores its option. [W] */
WDLTCFG_API int32_t WdltEnableDRSWhiteList(uint32_t enable, uint32_t option);
/* 0 when unset. [-] */
WDLTCFG_API int32_t WdltIsDRSWhiteListEnabled(void);
/* Adds a rule. An index out of its limits, a text without a terminator, an empty rule name or one with a backslash, a
   rule name or an index that is there already: WDLT_E_INVALID_ARGUMENT. [W] */
WDLTCFG_API int32_t WdltAddDRSWhiteListItem(const WdltDrsWhiteListItem* item);
/* Deletes the rule with this index, or with 0 all of them. An index that no rule has is no error; with 0, a rule that
   can't be deleted isn't either. [W] */
WDLTCFG_API int32_t WdltDeleteDRSWhiteListItem(uint32_t index);
/* Reads the rules: *count is the room in `items`, and becomes the number found. Above the room, WDLT_E_BUFFER_SIZE:
   what fits is filled, and the number counts rules that weren't looked at. Null items ask for it; *count isn't read
   then. A rule that is deleted meanwhile may leave an item of zeros, with Index 0. WDLT_E_GENERAL leaves *count alone;
   some items may be filled. [-] */
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
/* Reads the items, counts as in WdltSpyReadRecordList. A text comes back cut to its first 32 bytes. [R] */
WDLTCFG_API int32_t WdltPdpReadItemList(PrivacyViewItem* items, int32_t* count);
/* Reads the exclusions, likewise. [R] */
WDLTCFG_API int32_t WdltPdpReadExItemList(PrivacyExclusionItem* items, int32_t* count);
/* Replaces the items, and the patterns that are searched for. An index used twice or above 31, a name or description
   without its terminator, or more items than are allowed: WDLT_E_INVALID_ARGUMENT. An item that can't be converted to a
   charset wanted fails the call; in both cases all stays as it was. [W] */
WDLTCFG_API int32_t WdltPdpWriteItemList(const PrivacyViewItem* items, int32_t count);
/* Replaces the exclusions. An empty text, another target or too many items: WDLT_E_INVALID_ARGUMENT, all stays. [W] */
WDLTCFG_API int32_t WdltPdpWriteExItemList(const PrivacyExclusionItem* items, int32_t count);
/* Tries the items out and stores nothing: results[i] becomes 0 or WDLT_E_ITEM_CONVERSION, as an unsigned number. A
   failed item doesn't fail the call. A count of 0 or below is 0 and leaves `results` alone. [W] */
WDLTCFG_API int32_t WdltPdpVerifyItems(const PrivacyViewItem* items, int32_t count, uint32_t* results);

/* The mail address cache, counts as in WdltSpyReadRecordList. WDLT_E_FILE_NOT_FOUND: there is none yet. Fails also
   when the mail settings can't be read. Written through WdltWriteConfig. [R] */
WDLTCFG_API int32_t WdltMahReadRecordList(MailAddressRecord* records, int32_t* count);

/* Anti-spam, of POP3. Its settings are two records: common, and with level and lists.

   Every write rewrites both list files from what it has just read of them. So it costs a list the lines behind the
   500th, cuts those above 255 bytes in pieces, and drops empty lines and what somebody appends between the read and the
   write; bytes of any encoding pass as they are, a zero byte ends its line, and each line gets the end that this system
   has. A list that couldn't be read is read as empty, and is not written, whatever it is to become: WDLT_E_FILE, while
   the settings and the other list are stored. A list without a file name is WDLT_E_FILE too. After WDLT_E_FILE the
   service isn't told. */

/* As WdltPvsEnable. [W] */
WDLTCFG_API int32_t WdltAspmEnable(int32_t enable);
/* As WdltPvsIsEnabled. [R] */
WDLTCFG_API int32_t WdltAspmIsEnabled(void);
/* Reads the settings. Fails also when one of the three thresholds isn't stored as it must be. [R] */
WDLTCFG_API int32_t WdltAspmReadConfig(WdltAspmConfig* config);
/* Stores the common record, then the other with both lists. A level above 2 is stored, and fails all reads then, those
   of a later write too. [W] */
WDLTCFG_API int32_t WdltAspmWriteConfig(const WdltAspmConfig* config);
/* Reads the white or black list, counts as in WdltSpyReadRecordList. A list file that can't be read is an empty list.
   Who adds to a list reads it by its address: dwUnreadLists of WdpeAspmData tells them apart. [R] */
WDLTCFG_API int32_t WdltAspmReadRecordList(uint32_t listType, WdpeAspmEntry* records, int32_t* count);
/* Replaces the list by `count` entries, at most WDLT_MAX_ASPM_RECORDS. An entry without a terminator, with a newline or
   with a carriage return at its end, and null entries, even with 0: WDLT_E_INVALID_ARGUMENT, and nothing changes.
   WDLT_E_FILE also when the list can't be read during the call: it stays. What an earlier call read isn't known here.
   By its address such a list can be replaced (WDLT_ASPM_UNREAD). [W] */
WDLTCFG_API int32_t WdltAspmWriteRecordList(uint32_t listType, const WdpeAspmEntry* records, int32_t count);

/* HTTP file events. */

/* As WdltPvsEnable. [W] */
WDLTCFG_API int32_t WdltHfeEnable(uint32_t enable);
/* As WdltPvsIsEnabled. [-] */
WDLTCFG_API int32_t WdltHfeIsEnabled(void);
/* Reads the settings, each of which has a default. [-] */
WDLTCFG_API int32_t WdltHfeReadConfig(WdpeHfeData* config);
/* Stores the settings. [W] */
WDLTCFG_API int32_t WdltHfeWriteConfig(const WdpeHfeData* config);
/* Switches the events of the plug-ins. [W] */
WDLTCFG_API int32_t WdltHfeEnablePluginEvent(int32_t enable);
/* 0 when unset. [-] */
WDLTCFG_API int32_t WdltHfeIsEnablePluginEvent(void);

/* HTTPS filter and browser plug-ins. Switching one on, by a function that says so, switches the URL filter and the
   plug-in manager on first: a failure there is the result, and nothing else is done. Switching off leaves those two
   alone. */

/* Reads the HTTPS filter's record. Fails with WDLT_E_NOT_FOUND while one of the files is unset. [W] */
WDLTCFG_API int32_t WdltHttpsReadConfig(WdltHttpsConfig* config);
/* Another name of WdltHttpsReadConfig. [W] */
WDLTCFG_API int32_t WdltPluginReadConfig(WdltHttpsConfig* config);
/* Stores the HTTPS filter's record; with an enable other than 0 what it needs is switched on first. [W] */
WDLTCFG_API int32_t WdltHttpsWriteConfig(const WdltHttpsConfig* config);
/* Another name of WdltHttpsWriteConfig. [W] */
WDLTCFG_API int32_t WdltPluginWriteConfig(const WdltHttpsConfig* config);
/* Sets or clears WDLT_HTTPS_SCAN and switches the handler; with 1 what it needs first. [W] */
WDLTCFG_API int32_t WdltHttpsScanEnable(uint32_t enable);
/* 1 when WDLT_HTTPS_SCAN is set and the handler is on. [W] */
WDLTCFG_API int32_t WdltHttpsScanIsEnabled(void);
/* Replaces all the bits; if any is set, what they need goes on first. The HTTP handler is asked to go on even with 0.
   [W] */
WDLTCFG_API int32_t WdltPluginScanSetEnableFlag(uint32_t flags);
/* Reads all the bits. [-] */
WDLTCFG_API int32_t WdltPluginScanGetEnableFlag(uint32_t* flags);
/* Reads the plug-in manager's record, whole or not at all. A value that is unset is WDLT_E_REGISTRY, one of the wrong
   type WDLT_E_NOT_FOUND. [-] */
WDLTCFG_API int32_t WdltPluginManagerReadConfig(WdltPluginManagerConfig* config);
/* Stores the plug-in manager's record; with dwEnable 1 the HTTP handler is switched on first. A file name without a
   terminator loses its last byte. WDLT_E_NO_ANSWER: stored, and not told. [W] */
WDLTCFG_API int32_t WdltPluginManagerWriteConfig(const WdltPluginManagerConfig* config);
/* Switches one browser's plug-in. WDLT_E_NO_ANSWER: stored, and not told. [W] */
WDLTCFG_API int32_t WdltIEPlugInEnable(uint32_t enable);
/* 1 also when unset or unreadable. [-] */
WDLTCFG_API int32_t WdltIEPlugInIsEnabled(void);
/* As WdltIEPlugInEnable. [W] */
WDLTCFG_API int32_t WdltFirefoxExtensionEnable(uint32_t enable);
/* As WdltIEPlugInIsEnabled. [-] */
WDLTCFG_API int32_t WdltFirefoxExtensionIsEnabled(void);
/* As WdltIEPlugInEnable. [W] */
WDLTCFG_API int32_t WdltChromeExtensionEnable(uint32_t enable);
/* As WdltIEPlugInIsEnabled. [-] */
WDLTCFG_API int32_t WdltChromeExtensionIsEnabled(void);

/* SAL, of HTTP. */

/* As WdltPvsEnable. [W] */
WDLTCFG_API int32_t WdltSalEnable(uint32_t enable);
/* As WdltPvsIsEnabled. [-] */
WDLTCFG_API int32_t WdltSalIsEnabled(void);
/* Reads whether SAL is on, and its settings, none of which must be there. [-] */
WDLTCFG_API int32_t WdltSalReadConfig(WdltSalConfig* config);
/* Stores the settings, then switches SAL by dwEnable; a failure there leaves the settings stored. An empty
   szBlockImages keeps the stored text, also one that can't be read. [W] */
WDLTCFG_API int32_t WdltSalWriteConfig(const WdltSalConfig* config);

#ifdef __cplusplus
}
#endif

#endif
