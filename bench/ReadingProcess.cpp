// The shortest useful caller: loads the library, reads the system record and ends.
#include "PeakMemory.h"

#include <wdltcfg/wdltcfg.h>

#include <cstdint>

int main() {
    WdchSystemData record;
    std::uint64_t size = sizeof record;
    const std::int32_t status = WdltReadConfig(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, 0, &record, &size);
    bench::printPeakMemory();
    return status == WDLT_OK ? 0 : 1;
}
