// How the helpers of the web settings report a value: any registry failure is WDLT_E_REGISTRY, whatever the store's
// code.
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

// A wrong size doesn't return the right one.
inline constexpr RecordFrame kWebFrame{.wrongSizeRead = WDLT_E_INVALID_ARGUMENT};

} // namespace wdlt
