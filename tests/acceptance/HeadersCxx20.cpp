// Compiles only if the public headers are self-contained; records.h itself checks the layouts.
#include <wdltcfg/records.h>

#include <wdltcfg/wdltcfg.h>
