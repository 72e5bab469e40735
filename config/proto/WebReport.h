// How the helpers of the web settings tell of a value: one code for every failure of the registry, whatever the store's
// was.
#pragma once

#include "ValueMap.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/status.h>

#include <cstdint>

namespace wdlt {

inline void reportWebRead(DWORD level, const char* name, std::int32_t status) {
    if (level == kLogTrace)
        WDLOG_TRACE("[WdltCfg] ReadValue failed (key=%s, ret=%ld)", name, static_cast<long>(status));
    else
        WDLOG_ERROR("[WdltCfg] ReadValue failed (key=%s, ret=%ld)", name, static_cast<long>(status));
}

constexpr ValueReport webReport(void (*nameSkipped)(const char* name, const char* value),
                                void (*corrected)(const char* name, std::uint32_t stored)) {
    return {
        .readFailed = reportWebRead,
        .writeFailed =
            [](const char* name, std::int32_t status) {
                WDLOG_ERROR("[WdltCfg] WriteValue failed (key=%s, ret=%ld)", name, static_cast<long>(status));
            },
        .nameSkipped = nameSkipped,
        .corrected = corrected,
        .readCode = WDLT_E_REGISTRY,
        .writeCode = WDLT_E_REGISTRY,
    };
}

} // namespace wdlt
