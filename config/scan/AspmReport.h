// What both classes of the anti-spam settings tell of a value that can't be read or written: one code for everything.
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
