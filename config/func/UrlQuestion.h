// Asks the running service whether a URL is on a list. The question is in shared memory, which holds one at a time: a
// mutex of its own is held from writing it to reading the answer.
#pragma once

#include "CfgHelper.h"

#include <wdltcfg/records.h>

#include <cstdint>
#include <optional>

namespace wdlt {

// Waits up to a minute for the answer. Nothing when no service runs, it doesn't answer, or it refuses.
std::optional<bool> askService(CCfgHelper& family, std::uint32_t listType, const WdpeUrlfUrlRecord& url);

} // namespace wdlt
