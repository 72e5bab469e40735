/* A caller in C, linked with the library: calls every export once as it is meant and, where it takes a pointer, once
   with null, in the tree of a fresh installation. Prints the name of each export that answered as it should; what
   didn't goes to the standard error, and its number is the exit status. */
#include <wdltcfg/wdltcfg.h>

#include <stdio.h>
#include <string.h>

static int failures = 0;

static void check(const char* call, int32_t status, int32_t expected) {
    if (status == expected) {
        printf("%.*s\n", (int)strcspn(call, "("), call);
        return;
    }
    fprintf(stderr, "%s gave %d (%s), not %d (%s)\n", call, (int)status, wdltStatusName(status), (int)expected,
            wdltStatusName(expected));
    ++failures;
}

#define GIVES(expected, call) check(#call, call, expected)
#define WORKS(call) GIVES(WDLT_OK, call)
#define REFUSES(call) GIVES(WDLT_E_INVALID_ARGUMENT, call)

/* A record read and written back, and the same with null. */
#define READ_AND_WRITTEN(read, write, record)                                                                          \
    do {                                                                                                               \
        check(#read "(record)", read(record), WDLT_OK);                                                                \
        check(#write "(record)", write(record), WDLT_OK);                                                              \
        check(#read "(null)", read(NULL), WDLT_E_INVALID_ARGUMENT);                                                    \
        check(#write "(null)", write(NULL), WDLT_E_INVALID_ARGUMENT);                                                  \
    } while (0)

#define SWITCHED(enable, isEnabled)                                                                                    \
    do {                                                                                                               \
        check(#enable "(1)", enable(1), WDLT_OK);                                                                      \
        check(#isEnabled "()", isEnabled(), 1);                                                                        \
        check(#enable "(0)", enable(0), WDLT_OK);                                                                      \
        check(#isEnabled "()", isEnabled(), 0);                                                                        \
    } while (0)

static void any_address(void) {
    WdchSystemData system;
    uint64_t size = sizeof system;
    WORKS(WdltReadConfig(WDLT_PROTOCOL_SYSTEM, 0, 0, &system, &size));
    WORKS(WdltWriteConfig(WDLT_PROTOCOL_SYSTEM, 0, 0, &system, size));
    REFUSES(WdltReadConfig(WDLT_PROTOCOL_SYSTEM, 0, 0, &system, NULL));
    REFUSES(WdltWriteConfig(WDLT_PROTOCOL_SYSTEM, 0, 0, NULL, size));

    WdpeVsData scan;
    size = sizeof scan;
    WORKS(WdltReadConfigEx(WDLT_PROTOCOL_POP3, WDLT_SCAN_VIRUS, 0, 0, &scan, &size));
    WORKS(WdltWriteConfigEx(WDLT_PROTOCOL_POP3, WDLT_SCAN_VIRUS, 0, 0, &scan, size));
    REFUSES(WdltReadConfigEx(WDLT_PROTOCOL_POP3, WDLT_SCAN_VIRUS, 0, 0, NULL, &size));
    REFUSES(WdltWriteConfigEx(WDLT_PROTOCOL_POP3, WDLT_SCAN_VIRUS, 0, 0, NULL, size));
}

static void virus_scan(void) {
    WdltVsConfig scan;
    WdltHfsConfig files;
    SWITCHED(WdltPvsEnable, WdltPvsIsEnabled);
    SWITCHED(WdltSvsEnable, WdltSvsIsEnabled);
    SWITCHED(WdltWmvsEnable, WdltWmvsIsEnabled);
    SWITCHED(WdltHfsEnable, WdltHfsIsEnabled);
    READ_AND_WRITTEN(WdltPvsReadConfig, WdltPvsWriteConfig, &scan);
    READ_AND_WRITTEN(WdltSvsReadConfig, WdltSvsWriteConfig, &scan);
    READ_AND_WRITTEN(WdltWmvsReadConfig, WdltWmvsWriteConfig, &scan);
    READ_AND_WRITTEN(WdltHfsVirusReadConfig, WdltHfsVirusWriteConfig, &scan);
    READ_AND_WRITTEN(WdltHfsReadConfig, WdltHfsWriteConfig, &files);

    static WdpeSpyRecord spyware[2] = {{"one"}, {"two"}};
    int32_t count = 2;
    WORKS(WdltSpyWriteRecordList(0, spyware, count));
    WORKS(WdltSpyReadRecordList(0, spyware, &count));
    WORKS(WdltSpyReadRecordList(0, NULL, &count));
    REFUSES(WdltSpyWriteRecordList(0, NULL, 0));
}

static void url_filter(void) {
    WdltUrlfConfig config;
    WdltUrlfProxy proxy;
    WdpeUrlfUUC untested;
    static WdpeUrlfRSInfo server;
    static WdpeUrlfUrlRecord urls[2] = {{"http://a.b/*"}, {"*c.d*"}};
    SWITCHED(WdltUrlfEnable, WdltUrlfIsEnabled);
    READ_AND_WRITTEN(WdltUrlfReadConfig, WdltUrlfWriteConfig, &config);
    READ_AND_WRITTEN(WdltUrlfReadProxy, WdltUrlfWriteProxy, &proxy);
    READ_AND_WRITTEN(WdltUrlfReadUUC, WdltUrlfWriteUUC, &untested);
    WORKS(WdltUrlfReadRSInfo(&server));
    REFUSES(WdltUrlfReadRSInfo(NULL));
    strcpy(server.szRatingServer, "rating.example");
    WORKS(WdltUrlfWriteRSInfo(&server));
    REFUSES(WdltUrlfWriteRSInfo(NULL));

    int32_t count = 2;
    WORKS(WdltUrlfWriteRecordList(WDLT_LIST_BLACK, urls, count));
    WORKS(WdltUrlfReadRecordList(WDLT_LIST_BLACK, urls, &count));
    GIVES(WDLT_E_BUFFER_SIZE, WdltUrlfReadRecordList(WDLT_LIST_BLACK, NULL, &count));
    REFUSES(WdltUrlfReadRecordList(WDLT_LIST_BLACK, urls, NULL));
    REFUSES(WdltUrlfWriteRecordList(WDLT_LIST_BLACK, NULL, 1));
    strcpy(urls[0].szUrl, "http://a.b/c");
    GIVES(1, WdltUrlfIsRecordExists(WDLT_LIST_BLACK, &urls[0]));
    GIVES(0, WdltUrlfIsRecordExists(WDLT_LIST_BLACK, NULL));
    WdpeUrlfCategory category;
    WdpeUrlfCategoryGroup group;
    count = 1;
    GIVES(WDLT_E_FILE_NOT_FOUND, WdltUrlfReadCategory(&category, &count));
    GIVES(WDLT_E_FILE_NOT_FOUND, WdltUrlfReadCategoryGroup(&group, &count));

    struct {
        WdpeUrlfExtraHeader head;
        char room[4];
    } header = {{WDLT_EXTRA_HEADER_VERSION, 4, {1, 2, 3, 4}}, {0}};
    WORKS(WdltUrlfSetExtraHeader(&header.head));
    REFUSES(WdltUrlfSetExtraHeader(NULL));
    WORKS(WdltUrlfEnableBackupLKQRetry(0));
    GIVES(0, WdltUrlfIsBackupLKQRetryEnabled());
    uint32_t family = 9;
    WORKS(WdltUrlfSetSocketFamily(1));
    WORKS(WdltUrlfGetSocketFamily(&family));
    GIVES(1, WdltUrlfGetSocketFamily(&family) == 0 && family == 1);
    WORKS(WdltUrlfGetSocketFamily(NULL));
    WORKS(WdltUrlfSetQXNGuid("0123"));
    WORKS(WdltUrlfSetQXNGuid(NULL));
    WORKS(WdltUrlhReadRecordList(NULL, NULL));
}

static void host_filter(void) {
    WdpeHosfData config;
    static WdpeHosfHostRecord hosts[2];
    SWITCHED(WdltHosfEnable, WdltHosfIsEnabled);
    READ_AND_WRITTEN(WdltHosfReadConfig, WdltHosfWriteConfig, &config);
    int32_t count = 2;
    WORKS(WdltHosfWriteRecordList(hosts, count));
    WORKS(WdltHosfReadRecordList(hosts, &count));
    REFUSES(WdltHosfReadRecordList(hosts, NULL));
    REFUSES(WdltHosfWriteRecordList(NULL, 0));
}

static void drs(void) {
    WdltDrsConfig config;
    static WdltDrsWhiteListItem rule = {1, {'p'}, {'r'}, {'d'}};
    SWITCHED(WdltDRSEnable, WdltDRSIsEnabled);
    READ_AND_WRITTEN(WdltDRSReadConfig, WdltDRSWriteConfig, &config);
    WORKS(WdltEnableDRSWhiteList(1, 0));
    GIVES(1, WdltIsDRSWhiteListEnabled());
    WORKS(WdltDeleteDRSWhiteListItem(0));
    WORKS(WdltAddDRSWhiteListItem(&rule));
    REFUSES(WdltAddDRSWhiteListItem(&rule));
    REFUSES(WdltAddDRSWhiteListItem(NULL));
    int32_t count = 1;
    WORKS(WdltGetAllDRSWhiteListItem(&rule, &count));
    REFUSES(WdltGetAllDRSWhiteListItem(&rule, NULL));
    WORKS(WdltDeleteDRSWhiteListItem(1));
}

static void privacy(void) {
    static PrivacyViewItem item = {3, 1, "name", "", "secret"};
    static PrivacyExclusionItem exclusion = {1, WDLT_PRIVACY_EXCLUSION_TARGET, "http://a.b/"};
    uint32_t result = 9;
    int32_t count = 1;
    /* A fresh installation has handlers for two of the six protocols. */
    WORKS(WdltPdpProtocolEnable(1, WDLT_PRIVACY_SMTP | WDLT_PRIVACY_HTTP));
    GIVES(1, WdltPdpIsProtocolEnabled(WDLT_PRIVACY_SMTP | WDLT_PRIVACY_HTTP));
    GIVES(0, WdltPdpIsEnabled());
    WORKS(WdltPdpEnable(0));
    WORKS(WdltPdpWriteItemList(&item, count));
    WORKS(WdltPdpReadItemList(&item, &count));
    REFUSES(WdltPdpWriteItemList(NULL, 1));
    WORKS(WdltPdpReadItemList(NULL, &count));
    WORKS(WdltPdpWriteExItemList(&exclusion, count));
    WORKS(WdltPdpReadExItemList(&exclusion, &count));
    REFUSES(WdltPdpWriteExItemList(NULL, 1));
    WORKS(WdltPdpVerifyItems(&item, 1, &result));
    GIVES(0, WdltPdpVerifyItems(&item, 1, &result) + (int32_t)result);
    REFUSES(WdltPdpVerifyItems(NULL, 1, &result));
    REFUSES(WdltPdpVerifyItems(&item, 1, NULL));
}

static void mail(void) {
    WdltAspmConfig config;
    static WdpeAspmEntry entries[2] = {{"a@b.c"}, {"d@e.f"}};
    SWITCHED(WdltAspmEnable, WdltAspmIsEnabled);
    READ_AND_WRITTEN(WdltAspmReadConfig, WdltAspmWriteConfig, &config);
    int32_t count = 2;
    WORKS(WdltAspmWriteRecordList(WDLT_LIST_WHITE, entries, count));
    WORKS(WdltAspmReadRecordList(WDLT_LIST_WHITE, entries, &count));
    REFUSES(WdltAspmWriteRecordList(WDLT_LIST_WHITE, NULL, 0));
    MailAddressRecord address;
    count = 1;
    GIVES(WDLT_E_FILE_NOT_FOUND, WdltMahReadRecordList(&address, &count));
}

static void web(void) {
    WdpeHfeData events;
    WdltHttpsConfig https;
    WdltPluginManagerConfig plugins;
    WdltSalConfig sal;
    uint32_t flags = 0;
    SWITCHED(WdltHfeEnable, WdltHfeIsEnabled);
    SWITCHED(WdltHfeEnablePluginEvent, WdltHfeIsEnablePluginEvent);
    READ_AND_WRITTEN(WdltHfeReadConfig, WdltHfeWriteConfig, &events);
    READ_AND_WRITTEN(WdltHttpsReadConfig, WdltHttpsWriteConfig, &https);
    READ_AND_WRITTEN(WdltPluginReadConfig, WdltPluginWriteConfig, &https);
    SWITCHED(WdltHttpsScanEnable, WdltHttpsScanIsEnabled);
    WORKS(WdltPluginScanSetEnableFlag(2));
    WORKS(WdltPluginScanGetEnableFlag(&flags));
    REFUSES(WdltPluginScanGetEnableFlag(NULL));
    READ_AND_WRITTEN(WdltPluginManagerReadConfig, WdltPluginManagerWriteConfig, &plugins);
    SWITCHED(WdltIEPlugInEnable, WdltIEPlugInIsEnabled);
    SWITCHED(WdltFirefoxExtensionEnable, WdltFirefoxExtensionIsEnabled);
    SWITCHED(WdltChromeExtensionEnable, WdltChromeExtensionIsEnabled);
    SWITCHED(WdltSalEnable, WdltSalIsEnabled);
    READ_AND_WRITTEN(WdltSalReadConfig, WdltSalWriteConfig, &sal);
}

int main(void) {
    any_address();
    virus_scan();
    url_filter();
    host_filter();
    drs();
    privacy();
    mail();
    web();
    return failures < 100 ? failures : 100;
}
