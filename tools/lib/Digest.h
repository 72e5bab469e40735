/* SHA-256. */
#pragma once

#include <array>
#include <cstddef>
#include <platform/base.h>
#include <string_view>

namespace wdlt {

std::array<BYTE, 32> sha256(std::string_view bytes);

} // namespace wdlt
