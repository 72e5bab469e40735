// Compiles only where records.h and the others need nothing before them; the layouts are checked by records.h itself.
#include <wdltcfg/records.h>

#include <wdltcfg/wdltcfg.h>
