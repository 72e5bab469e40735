// Config types between families and helpers, which callers don't know.
#pragma once

#include <cstdint>

namespace wdlt {

// A write of WdpeSalData that leaves the stored text as it is, even one that can't be read.
inline constexpr std::uint64_t kSalFlagsAlone = 0x8000'0000'5A1F'0001;

} // namespace wdlt
