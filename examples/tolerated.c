/* tolerated: prints the spyware that the virus scan lets pass, and whether that scan is on for POP3. A list is asked for
   its count with null records; nothing says that the list was cut, so there is room for one more. In C. */
#include <wdltcfg/wdltcfg.h>

#include <stdio.h>
#include <stdlib.h>

int main(void) {
    WdpeSpyRecord* records = NULL;
    int32_t room = 0;
    int32_t count = 0;
    int32_t status = WdltSpyReadRecordList(0, NULL, &count);
    /* Once more when somebody has added to it meanwhile. */
    while (status == WDLT_OK && count >= room) {
        room = count + 1;
        free(records);
        records = calloc((size_t)room, sizeof *records);
        if (records == NULL)
            return 1;
        count = room;
        status = WdltSpyReadRecordList(0, records, &count);
    }
    if (status == WDLT_E_FILE_NOT_FOUND) /* never written */
        status = count = 0;
    for (int32_t i = 0; status == WDLT_OK && i < count; ++i)
        printf("%s\n", records[i].szText);
    free(records);
    if (status != WDLT_OK) {
        fprintf(stderr, "the list can't be read: %s\n", wdltStatusText(status));
        return 1;
    }
    /* A question answers 1 or 0, and a function that changes something a status. */
    printf("%d tolerated; the scan of POP3 is %s\n", (int)count, WdltPvsIsEnabled() == 1 ? "on" : "off");
    return 0;
}
