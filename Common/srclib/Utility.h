// Small functions that every room above needs.
#pragma once

#include <cstdint>
#include <limits>

namespace wdlt {

// A 64-bit size for a log text that has room for 32 bits: a larger one is shown as the largest int.
constexpr int loggedSize(std::uint64_t size) {
    constexpr int kMost = std::numeric_limits<int>::max();
    return size > std::uint64_t{kMost} ? kMost : static_cast<int>(size);
}

} // namespace wdlt
