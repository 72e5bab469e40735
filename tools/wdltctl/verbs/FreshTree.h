/* share/wardlet.reg, embedded at build time. */
#pragma once

#include <string_view>

namespace wdlt {

extern const std::string_view kFreshTree;

} // namespace wdlt
