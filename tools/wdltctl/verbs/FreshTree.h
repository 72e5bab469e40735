/* share/wardlet.reg, embedded when the program is built. */
#pragma once

#include <string_view>

namespace wdlt {

extern const std::string_view kFreshTree;

} // namespace wdlt
