// How the helpers of the web settings tell of a value: one code for every failure of the registry, whatever the store's
// was.
#pragma once

#include "FixedRecord.h"
#include "ValueMap.h"

#include <wdltcfg/status.h>

#include <cstdint>

namespace wdlt {

constexpr ValueReport webReport(const EventLine& nameSkipped, const EventLine& corrected) {
    return {
        .readFailed = "[WdltCfg] ReadValue failed (key=%s, ret=%ld)",
        .writeFailed = "[WdltCfg] WriteValue failed (key=%s, ret=%ld)",
        .nameSkipped = nameSkipped,
        .corrected = corrected,
        .readCode = WDLT_E_REGISTRY,
        .writeCode = WDLT_E_REGISTRY,
    };
}

// Nobody can ask for a size.
inline constexpr RecordFrame kWebFrame{.wrongSizeRead = WDLT_E_INVALID_ARGUMENT};

} // namespace wdlt
