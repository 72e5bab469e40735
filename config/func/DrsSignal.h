// How the running service hears that something of DRS has changed: two events, named after the machine, that the
// service makes. Nothing says what has changed; the service reads its keys anew.
#pragma once

#include <cstdint>

namespace wdlt {

// 0, also when no service runs; WDLT_E_NO_ANSWER when it doesn't answer. The caller holds the mutex of all writers.
std::int32_t signalDrs();

} // namespace wdlt
