// Notifies the running service of a change of DRS: two events, named after the machine, that the service creates. They
// don't say what has changed; the service reads its keys again.
#pragma once

#include <cstdint>

namespace wdlt {

// 0, also when no service runs; WDLT_E_NO_ANSWER when it doesn't answer. The caller holds wdlt_config_mutex.
std::int32_t signalDrs();

} // namespace wdlt
