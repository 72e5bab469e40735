// The question to the running service whether a URL is on a list. It lies in memory between the processes, which holds
// one question at a time: a mutex of its own is held from laying it down to reading the answer.
#pragma once

#include "CfgHelper.h"

#include <wdltcfg/records.h>

#include <cstdint>
#include <optional>

namespace wdlt {

// Waits up to a minute for the answer. Nothing when the service isn't there, gives none, or refuses.
std::optional<bool> askService(CCfgHelper& family, std::uint32_t listType, const WdpeUrlfUrlRecord& url);

} // namespace wdlt
