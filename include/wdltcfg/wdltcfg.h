/* wdltcfg: reads and changes the settings of the content-scanning proxy service Wardlet. 103 functions, 101 of them
   distinct. C11 and C++11 or later; 64-bit.

   Results. int32_t: WDLT_OK (0) or a negative code of status.h. Functions that ask a question (…IsEnabled,
   …IsRecordExists, WdltHfeIsEnablePluginEvent) return 1 or 0 instead. While the library isn't attached, for example
   because it ran out of memory at its start, these return 0 and all others WDLT_E_GENERAL; a later call tries the start
   again, at most once a second.

   Buffers belong to the caller: the library neither keeps nor frees them. Records and lists of them need no alignment;
   pointers to a number, such as a size or a count, must be aligned as usual. A null pointer is WDLT_E_INVALID_ARGUMENT,
   unless a comment or the table below says otherwise. A feature function that fails leaves the caller's record, entries
   and count alone, unless its comment says otherwise.

   Texts end with a terminator within their field. Writing one that fills its field without a terminator is
   WDLT_E_INVALID_ARGUMENT and stores nothing of the record, unless records.h says that it is cut. Where records.h gives
   a smaller number of bytes that can be read back, a longer text is stored, but a read of its record then fails or
   gives the default: don't write more than that number.

   Threads. There is no open or close: any thread may call any function at any time. While a call fills or corrects a
   record, no other thread may use that record. A thread that is cancelled inside a function finishes the call first.

   Waiting. One reader/writer lock covers all features and all processes: [R], [W] or [-] at the end of a comment says
   that the function holds it for reading, for writing, or not at all. Waiting for it has no time-out; each minute of
   waiting is logged. A function that stores something then waits for other writers and notifies the service of each
   record stored. With no service running, that takes no time; otherwise up to 60 s until the service answers, and 100
   ms more. Where a comment says so, unchanged settings are not stored, and the service isn't notified.

   A service that dies during a notification isn't waited for, unless another has started within 100 ms: then the wait
   lasts the full minute. When a writer has died during its notification, the next writer first waits for that answer,
   as part of its own minute.

   The values of a record are stored one after another. The first failure ends the write: values before it stay stored,
   those after it stay as they were, and the service isn't notified of that record.

   A function throws only when memory is exhausted; the exception is logged first, and ends a program that can't catch
   it.

   Caveats, on Linux (for Windows see docs/platforms.md). The environment variable WARDLET_HOME selects whose settings these are, unless the program is set-user-id;
   see docs/security.md for the kinds of homes. Callers without permission to read them get defaults, not errors, from
   the functions that have defaults. The library handles SIGBUS in the process that loads it (signals that concern other
   memory go on to the previous handler), registers fork handlers, keeps descriptors open (close-on-exec, none below 3),
   and writes to standard error only what docs/security.md lists. While the service is asked about a URL, everybody who
   may enter the home can read that URL.

   Feature functions enable in two steps: first the scan item, then the protocol handler that it needs. A handler is
   switched on only while at least one of its scan items is on, and off only when all are off. A feature counts as on
   when both are on. If the second step fails, the first stays done. A step that would change nothing stores nothing and
   notifies nobody. An item that can't be read counts as off: switching it off then returns 0 and stores nothing. */
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
   read partly old and partly new.

   Each record with its size, and the result for null data of that size (null) and for data of another size (size).
   Results: -1 WDLT_E_GENERAL, -2 WDLT_E_BUFFER_SIZE with the size needed stored, -3 WDLT_E_INVALID_ARGUMENT. >= accepts
   a larger size too; + stands for the records after the head. "asks": null data with a size of 0 returns
   WDLT_E_BUFFER_SIZE and the size needed. The input is 0 unless given; p is any protocol, and s any scan of
   addresses.h. Any other address is WDLT_E_GENERAL; another config type is WDLT_E_INVALID_ARGUMENT where the address
   distinguishes types.

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

   (0, 4), type 13 is a text of any size: WDLT_E_BUFFER_SIZE when it doesn't fit. */

/* Reads a record into `data`, of *size bytes. `data` is in and out: a list type, a query or a version in it is read
   first. After a failure it may be partly filled. Input is WDLT_INPUT_NONE.

   The service's own record (10000, 0) never fails because of its values: one that can't be read takes its default, and
   all of them do when the registry can't be read (no permission, no descriptors left). Before writing the record back
   with a field changed, check installPath: it is empty then, and the write would store that. [-] */
WDLTCFG_API int32_t WdltReadConfig(uint32_t protocol, uint32_t scan, uint64_t configType, void* data, uint64_t* size);
/* Stores a record of `size` bytes. Where records.h says so, values outside their limits are corrected in the caller's
   record too; nothing else in it is modified. Notifies the service; a missing answer is no error. [-] */
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
/* Stores all nine fields; the other fields of the two records stay. A failure at the second leaves the first stored.
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

/* Reads the spyware list; listType is ignored. With null records, *count becomes the number stored. Otherwise at most
   *count records are copied, and *count is lowered to the number stored; if it is smaller, the list is cut without an
   error. [R] */
WDLTCFG_API int32_t WdltSpyReadRecordList(uint32_t listType, WdpeSpyRecord* records, int32_t* count);
/* Replaces the list with `count` records, at most WDLT_MAX_SPYWARE_RECORDS. An empty text or one without a terminator,
   too many records or null `records`: WDLT_E_INVALID_ARGUMENT, and the stored list stays. [W] */
WDLTCFG_API int32_t WdltSpyWriteRecordList(uint32_t listType, const WdpeSpyRecord* records, int32_t count);

/* URL filter, of HTTP. Its settings are one record, which a write reads first: it fails while a value without a default
   is missing. */

/* As WdltPvsEnable. [W] */
WDLTCFG_API int32_t WdltUrlfEnable(int32_t enable);
/* As WdltPvsIsEnabled. [R] */
WDLTCFG_API int32_t WdltUrlfIsEnabled(void);
/* Reads the settings except the proxy. [R] */
WDLTCFG_API int32_t WdltUrlfReadConfig(WdltUrlfConfig* config);
/* Stores the settings; the proxy stays. [W] */
WDLTCFG_API int32_t WdltUrlfWriteConfig(const WdltUrlfConfig* config);
/* Reads the white or black list: *count is the room in `records`, and becomes the number stored. Too little room, or
   null records: WDLT_E_BUFFER_SIZE and nothing is copied. [R] */
WDLTCFG_API int32_t WdltUrlfReadRecordList(uint32_t listType, WdpeUrlfUrlRecord* records, int32_t* count);
/* Replaces the list with `count` records, at most WDLT_MAX_URL_RECORDS; null records with a count of 0 empty it. An
   empty text, one without a terminator or another list type: WDLT_E_INVALID_ARGUMENT, and the stored list stays. [W] */
WDLTCFG_API int32_t WdltUrlfWriteRecordList(uint32_t listType, const WdpeUrlfUrlRecord* records, int32_t count);
/* Reads the category groups; the count works as in WdltSpyReadRecordList. No function writes them. [R] */
WDLTCFG_API int32_t WdltUrlfReadCategoryGroup(WdpeUrlfCategoryGroup* records, int32_t* count);
/* Reads the categories, likewise. [R] */
WDLTCFG_API int32_t WdltUrlfReadCategory(WdpeUrlfCategory* records, int32_t* count);
/* Reads the proxy, with user and password in plain text. [R] */
WDLTCFG_API int32_t WdltUrlfReadProxy(WdltUrlfProxy* proxy);
/* Stores the proxy; the other settings stay. [W] */
WDLTCFG_API int32_t WdltUrlfWriteProxy(const WdltUrlfProxy* proxy);
/* 1 when the URL matches a record of the white list (type 0) or the black list (any other type). Asks the service, for
   up to 60 s; without its answer, searches the list's file. 0 also when neither can answer, and for a null URL. `url`
   is a whole record of 2084 bytes. [R] */
WDLTCFG_API int32_t WdltUrlfIsRecordExists(uint32_t listType, const WdpeUrlfUrlRecord* url);
/* Stores the header, dwSize + 12 bytes at `header`. dwVersion 0 stores nothing and returns the supported version, 1;
   any other version is WDLT_E_VERSION. [R] */
WDLTCFG_API int32_t WdltUrlfSetExtraHeader(const WdpeUrlfExtraHeader* header);
/* Reads the rating server. [R] */
WDLTCFG_API int32_t WdltUrlfReadRSInfo(WdpeUrlfRSInfo* info);
/* Stores the rating server. Fails for an empty server name, and while no server is stored. [W] */
WDLTCFG_API int32_t WdltUrlfWriteRSInfo(const WdpeUrlfRSInfo* info);
/* Reads the settings for untested URLs. [R] */
WDLTCFG_API int32_t WdltUrlfReadUUC(WdpeUrlfUUC* config);
/* Stores the settings for untested URLs; unchanged ones are not stored, and the service isn't notified. [W] */
WDLTCFG_API int32_t WdltUrlfWriteUUC(const WdpeUrlfUUC* config);
/* Stores whether the backup query is tried. [R] */
WDLTCFG_API int32_t WdltUrlfEnableBackupLKQRetry(uint32_t enable);
/* 1 also when unset or unreadable. [W] */
WDLTCFG_API int32_t WdltUrlfIsBackupLKQRetryEnabled(void);
/* Stores the socket family: 0, 1 or 2, any other number as 0. Always returns 0: failures are only logged. [R] */
WDLTCFG_API int32_t WdltUrlfSetSocketFamily(uint32_t family);
/* Reads the socket family. Always returns 0: a failure is only logged and leaves *family alone; null does nothing.
   [R] */
WDLTCFG_API int32_t WdltUrlfGetSocketFamily(uint32_t* family);
/* Stores a zero-terminated text, enciphered. Always returns 0: failures are only logged, and null does nothing. [R] */
WDLTCFG_API int32_t WdltUrlfSetQXNGuid(const char* guid);
/* There is no URL history list: does nothing and returns 0. [R] */
WDLTCFG_API int32_t WdltUrlhReadRecordList(void* records, int32_t* count);

/* Host filter, of HTTP. */

/* As WdltPvsEnable. [W] */
WDLTCFG_API int32_t WdltHosfEnable(int32_t enable);
/* As WdltPvsIsEnabled. [R] */
WDLTCFG_API int32_t WdltHosfIsEnabled(void);
/* Reads the settings. No value has a default: it fails while one is missing. [R] */
WDLTCFG_API int32_t WdltHosfReadConfig(WdpeHosfData* config);
/* Stores the settings. Reads them first, and fails likewise. [W] */
WDLTCFG_API int32_t WdltHosfWriteConfig(const WdpeHosfData* config);
/* Reads the host list; the count works as in WdltSpyReadRecordList. A list that was never written is
   WDLT_E_FILE_NOT_FOUND. [R] */
WDLTCFG_API int32_t WdltHosfReadRecordList(WdpeHosfHostRecord* records, int32_t* count);
/* Replaces the list with `count` records, at most WDLT_MAX_HOST_RECORDS. Null records are an error even with a count of
   0. [W] */
WDLTCFG_API int32_t WdltHosfWriteRecordList(const WdpeHosfHostRecord* records, int32_t count);

/* DRS. A change is stored, then the service is notified: WDLT_E_NO_ANSWER when it doesn't answer within 60 s. Registry
   failures are WDLT_E_GENERAL. */

/* Switches DRS. With 1, the URL filter and the plug-in manager are switched on first; a failure there is the result,
   and DRS stays as it was. [W] */
WDLTCFG_API int32_t WdltDRSEnable(uint32_t enable);
/* 0 when unset. [-] */
WDLTCFG_API int32_t WdltDRSIsEnabled(void);
/* A stored number that is missing or outside its limits reads as 0. [-] */
WDLTCFG_API int32_t WdltDRSReadConfig(WdltDrsConfig* config);
/* A number outside its limits is WDLT_E_INVALID_ARGUMENT. [W] */
WDLTCFG_API int32_t WdltDRSWriteConfig(const WdltDrsConfig* config);
/* Switches the white list and stores its option. [W] */
WDLTCFG_API int32_t WdltEnableDRSWhiteList(uint32_t enable, uint32_t option);
/* 0 when unset. [-] */
WDLTCFG_API int32_t WdltIsDRSWhiteListEnabled(void);
/* Adds a rule. An index outside its limits, a text without a terminator, an empty rule name or one with a backslash, or
   a rule name or index that is already in use: WDLT_E_INVALID_ARGUMENT. [W] */
WDLTCFG_API int32_t WdltAddDRSWhiteListItem(const WdltDrsWhiteListItem* item);
/* Deletes the rule with this index, or with 0 all of them. An index that no rule has is no error; with 0, a rule that
   can't be deleted isn't either. [W] */
WDLTCFG_API int32_t WdltDeleteDRSWhiteListItem(uint32_t index);
/* Reads the rules: *count is the room in `items`, and becomes the number found. If there are more, what fits is filled
   and the result is WDLT_E_BUFFER_SIZE; the number then includes rules that weren't checked. Null items only ask for
   the number; *count isn't read then. A rule that is deleted during the call may leave an item of zeros, with Index 0.
   WDLT_E_GENERAL leaves *count alone; some items may be filled. [-] */
WDLTCFG_API int32_t WdltGetAllDRSWhiteListItem(WdltDrsWhiteListItem* items, int32_t* count);

/* Privacy data protection, of SMTP, HTTP and the protocols 4 to 7; `types` is made of WDLT_PRIVACY_ bits. Across all
   processes only one call at a time reads or writes items: another one retries as long as the settings say, and then
   fails with WDLT_E_GENERAL. */

/* Switches all protocols, in ascending order; the first failure ends it, and those before it stay switched. [W] */
WDLTCFG_API int32_t WdltPdpEnable(int32_t enable);
/* The same for some protocols; returns 0 for none. [W] */
WDLTCFG_API int32_t WdltPdpProtocolEnable(int32_t enable, uint32_t types);
/* 1 when the feature is on for all protocols. [R] */
WDLTCFG_API int32_t WdltPdpIsEnabled(void);
/* 1 when it is on for all protocols in `types`, which must contain at least one. [R] */
WDLTCFG_API int32_t WdltPdpIsProtocolEnabled(uint32_t types);
/* Reads the items; the count works as in WdltSpyReadRecordList. A text comes back cut to its first 32 bytes. [R] */
WDLTCFG_API int32_t WdltPdpReadItemList(PrivacyViewItem* items, int32_t* count);
/* Reads the exclusions, likewise. [R] */
WDLTCFG_API int32_t WdltPdpReadExItemList(PrivacyExclusionItem* items, int32_t* count);
/* Replaces the items, and the patterns that are searched for. An index used twice or above 31, a name or description
   without its terminator, or more items than are allowed: WDLT_E_INVALID_ARGUMENT. An item that can't be converted to
   one of the configured charsets fails the call; in both cases the stored items stay as they were. [W] */
WDLTCFG_API int32_t WdltPdpWriteItemList(const PrivacyViewItem* items, int32_t count);
/* Replaces the exclusions. An empty text, another target or too many items: WDLT_E_INVALID_ARGUMENT, and nothing
   changes. [W] */
WDLTCFG_API int32_t WdltPdpWriteExItemList(const PrivacyExclusionItem* items, int32_t count);
/* Checks whether the items can be converted; stores nothing. results[i] becomes 0 or WDLT_E_ITEM_CONVERSION, as an
   unsigned number. A failed item doesn't fail the call. A count of 0 or less checks nothing and leaves `results` alone.
   [W] */
WDLTCFG_API int32_t WdltPdpVerifyItems(const PrivacyViewItem* items, int32_t count, uint32_t* results);

/* Reads the mail address cache; the count works as in WdltSpyReadRecordList. WDLT_E_FILE_NOT_FOUND: there is none yet.
   Fails also when the mail settings can't be read. Written through WdltWriteConfig. [R] */
WDLTCFG_API int32_t WdltMahReadRecordList(MailAddressRecord* records, int32_t* count);

/* Anti-spam, of POP3. Its settings are two records: a common one, and one with the level and the lists.

   Every write rewrites both list files from what it has just read of them. So a list loses the lines after the 500th,
   empty lines, and whatever is appended between the read and the write; lines longer than 255 bytes are split. Bytes of
   any encoding are kept, a zero byte ends its line, and each line gets this system's line end. A list that couldn't be
   read is read as empty, and isn't written, whatever its new content: the result is WDLT_E_FILE, while the settings and
   the other list are stored. A list without a file name is WDLT_E_FILE too. After WDLT_E_FILE the service isn't
   notified. */

/* As WdltPvsEnable. [W] */
WDLTCFG_API int32_t WdltAspmEnable(int32_t enable);
/* As WdltPvsIsEnabled. [R] */
WDLTCFG_API int32_t WdltAspmIsEnabled(void);
/* Reads the settings. Fails also when one of the three stored thresholds is missing or invalid. [R] */
WDLTCFG_API int32_t WdltAspmReadConfig(WdltAspmConfig* config);
/* Stores the common record, then the other with both lists. A level above 2 is stored, but makes all further reads
   fail, those of a later write too. [W] */
WDLTCFG_API int32_t WdltAspmWriteConfig(const WdltAspmConfig* config);
/* Reads the white or black list; the count works as in WdltSpyReadRecordList. A list whose file can't be read comes
   back empty. To add to a list, read it by its address: dwUnreadLists of WdpeAspmData tells the two cases apart. [R] */
WDLTCFG_API int32_t WdltAspmReadRecordList(uint32_t listType, WdpeAspmEntry* records, int32_t* count);
/* Replaces the list with `count` entries, at most WDLT_MAX_ASPM_RECORDS. An entry without a terminator, with a newline
   or with a trailing carriage return, or null records, even with a count of 0: WDLT_E_INVALID_ARGUMENT, and nothing
   changes. WDLT_E_FILE also when the list can't be read during the call: it stays. This function doesn't know what an
   earlier call couldn't read. Such a list can be replaced by its address (WDLT_ASPM_UNREAD). [W] */
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

/* HTTPS filter and browser plug-ins. Where a comment says so, switching one on first switches on what it needs: the URL
   filter, then the plug-in manager. A failure there is the result, and nothing else is done. Switching off leaves those
   two alone. */

/* Reads the HTTPS filter's record. Fails with WDLT_E_NOT_FOUND while one of the files is unset. [W] */
WDLTCFG_API int32_t WdltHttpsReadConfig(WdltHttpsConfig* config);
/* Another name for WdltHttpsReadConfig. [W] */
WDLTCFG_API int32_t WdltPluginReadConfig(WdltHttpsConfig* config);
/* Stores the HTTPS filter's record; with an enable other than 0 what it needs is switched on first. [W] */
WDLTCFG_API int32_t WdltHttpsWriteConfig(const WdltHttpsConfig* config);
/* Another name for WdltHttpsWriteConfig. [W] */
WDLTCFG_API int32_t WdltPluginWriteConfig(const WdltHttpsConfig* config);
/* Sets or clears WDLT_HTTPS_SCAN and switches the handler; with 1 what it needs first. [W] */
WDLTCFG_API int32_t WdltHttpsScanEnable(uint32_t enable);
/* 1 when WDLT_HTTPS_SCAN is set and the handler is on. [W] */
WDLTCFG_API int32_t WdltHttpsScanIsEnabled(void);
/* Replaces all the bits; if any is set, what they need is switched on first. Tries to switch the HTTP handler on even
   with 0. [W] */
WDLTCFG_API int32_t WdltPluginScanSetEnableFlag(uint32_t flags);
/* Reads all the bits. [-] */
WDLTCFG_API int32_t WdltPluginScanGetEnableFlag(uint32_t* flags);
/* Reads the plug-in manager's record, completely or not at all. A value that is unset is WDLT_E_REGISTRY, one of the
   wrong type WDLT_E_NOT_FOUND. [-] */
WDLTCFG_API int32_t WdltPluginManagerReadConfig(WdltPluginManagerConfig* config);
/* Stores the plug-in manager's record; with dwEnable 1 the HTTP handler is switched on first. A file name without a
   terminator loses its last byte. WDLT_E_NO_ANSWER: stored, but the service didn't answer. [W] */
WDLTCFG_API int32_t WdltPluginManagerWriteConfig(const WdltPluginManagerConfig* config);
/* Switches one browser's plug-in. WDLT_E_NO_ANSWER: stored, but the service didn't answer. [W] */
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
/* Reads whether SAL is on, and its settings, each of which has a default. [-] */
WDLTCFG_API int32_t WdltSalReadConfig(WdltSalConfig* config);
/* Stores the settings, then switches SAL by dwEnable; a failure there leaves the settings stored. An empty
   szBlockImages keeps the stored text, even one that can't be read. [W] */
WDLTCFG_API int32_t WdltSalWriteConfig(const WdltSalConfig* config);

#ifdef __cplusplus
}
#endif

#endif
