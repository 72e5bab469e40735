/* The public headers in C11: they compile, and their constants serve as case labels. */
#include <wdltcfg/wdltcfg.h>

#include <stddef.h>

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
