// How both anti-spam helpers report a value that can't be read or written: always WDLT_E_REGISTRY.
#pragma once

#include "ValueMap.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/status.h>

namespace wdlt {

inline constexpr ValueReport kAspmReport{
    .readFailed = "Reg read failed (key=%s, ret=%d)",
    .writeFailed = "Reg write failed (key=%s, ret=%d)",
    .readCode = WDLT_E_REGISTRY,
    .writeCode = WDLT_E_REGISTRY,
};

} // namespace wdlt
