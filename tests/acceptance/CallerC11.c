/* A program in C that is linked with the library: a switch, a record, a list and a size, on the tree of the web
   features. Its exit status is the number of the first step that went wrong. */
#include <wdltcfg/wdltcfg.h>

#include <string.h>

int main(void) {
    const WdltDrsConfig config = {1, 50};
    const WdltDrsWhiteListItem rule = {1, {'r'}, {'p'}, {'d'}};
    WdltDrsConfig stored;
    WdltDrsWhiteListItem rules[2];
    int32_t count = 2;
    uint64_t size = 0;
    if (WdltSalEnable(1) != WDLT_OK || WdltSalIsEnabled() != 1)
        return 1;
    if (WdltDRSWriteConfig(&config) != WDLT_OK || WdltDRSReadConfig(&stored) != WDLT_OK)
        return 2;
    if (memcmp(&stored, &config, sizeof stored) != 0 ||
        strcmp(wdltCharsetName(WDLT_CHARSET_SHIFT_JIS), "Shift_JIS") != 0)
        return 3;
    if (WdltAddDRSWhiteListItem(&rule) != WDLT_OK || WdltGetAllDRSWhiteListItem(rules, &count) != WDLT_OK)
        return 4;
    if (count != 1 || memcmp(&rules[0], &rule, sizeof rule) != 0)
        return 5;
    switch (WdltReadConfig(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, 0, NULL, &size)) {
    case WDLT_E_BUFFER_SIZE:
        return size == sizeof(WdchSystemData) && strcmp(wdltStatusName(-2), "WDLT_E_BUFFER_SIZE") == 0 ? 0 : 7;
    default:
        return 6;
    }
}
