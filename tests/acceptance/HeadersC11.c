/* The public headers in C11: they compile, their constants serve as case labels, and a C caller's records are as large
   as the library's. */
#include <wdltcfg/wdltcfg.h>

#include <stddef.h>

/* In the order of kRecordSizes in ExportsTest.cpp. */
const size_t kRecordSizesFromC[] = {
    sizeof(WdchSystemData), sizeof(WdchSystemProtocolHandler), sizeof(WdchSystemRedirect), sizeof(WdpeUrlfDrsData),
    sizeof(WdpeUrlfQuery),  sizeof(WdltDrsWhiteListItem),      sizeof(WdpeAspmData),       sizeof(WdltSalConfig),
};
const size_t kRecordCountFromC = sizeof(kRecordSizesFromC) / sizeof(kRecordSizesFromC[0]);

const char* statusNameFromC(int32_t status) {
    return wdltStatusName(status);
}

/* The scan's registry name, of those that differ most. */
const char* scanNameFromC(uint32_t scan) {
    switch (scan) {
    case WDLT_SCAN_VIRUS:
        return "Virus";
    case WDLT_SCAN_TEST_MANAGER:
        return "TestManager";
    default:
        return NULL;
    }
}

const char* charsetNameFromC(uint32_t charset) {
    return wdltCharsetName(charset);
}
