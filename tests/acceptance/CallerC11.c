/* A C program linked with the library: a switch, a list and a size, on the tree of the web features. Its exit status is
   the number of the first step that failed. */
#include <wdltcfg/wdltcfg.h>

#include <string.h>

int main(void) {
    const WdltDrsWhiteListItem rule = {1, {'r'}, {'p'}, {'d'}};
    WdltDrsWhiteListItem rules[2];
    int32_t count = 2;
    uint64_t size = 0;
    if (WdltSalEnable(1) != WDLT_OK || WdltSalIsEnabled() != 1)
        return 1;
    if (WdltAddDRSWhiteListItem(&rule) != WDLT_OK || WdltGetAllDRSWhiteListItem(rules, &count) != WDLT_OK)
        return 2;
    if (count != 1 || memcmp(&rules[0], &rule, sizeof rule) != 0)
        return 3;
    switch (WdltReadConfig(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, 0, NULL, &size)) {
    case WDLT_E_BUFFER_SIZE:
        return size == sizeof(WdchSystemData) && strcmp(wdltStatusName(-2), "WDLT_E_BUFFER_SIZE") == 0 ? 0 : 4;
    default:
        return 5;
    }
}
