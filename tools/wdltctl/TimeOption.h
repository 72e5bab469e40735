/* An option that takes a time. */
#pragma once

#include <cstdint>

namespace CLI {
class App;
} // namespace CLI

namespace wdlt {

/* As 60s, 5m or 1h, in seconds: from `least` to a day. */
void addTime(CLI::App& verb, const char* name, std::uint64_t& seconds, const char* help, std::uint64_t least = 0);

} // namespace wdlt
