// What both classes of the anti-spam settings tell of a value that can't be read or written: one code for everything.
#pragma once

#include "ValueMap.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/status.h>

namespace wdlt {

inline constexpr ValueReport kAspmReport{
    .readFailed = [](DWORD, const char* key,
                     std::int32_t status) { WDLOG_ERROR("Reg read failed (key=%s, ret=%d)", key, status); },
    .writeFailed = [](const char* key,
                      std::int32_t status) { WDLOG_ERROR("Reg write failed (key=%s, ret=%d)", key, status); },
    .readCode = WDLT_E_REGISTRY,
    .writeCode = WDLT_E_REGISTRY,
};

} // namespace wdlt
