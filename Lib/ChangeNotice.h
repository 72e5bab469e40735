// How the running service hears that a setting has changed: one exchange of the pair of events that all writers share.
#pragma once

#include "WdCommon/EventLine.h"

#include <platform/base.h>

#include <cstdint>

namespace wdlt {

// A handle of wdlt_config_mutex, for a CWdMutex; null, logged, when it can't be made. Whoever writes or tells of a
// change holds it until the service has answered, in all processes: behind the reader/writer lock, before any mutex of
// a store.
HANDLE createConfigMutex();

// A sender's lines for the two ways in which a notice doesn't arrive.
struct ChangeLines {
    EventLine noService;
    EventLine noAnswer;
};

// Tells the service which address was written, then pauses. 0, also when no service runs; WDLT_E_NO_ANSWER when it
// doesn't answer. What a writer that died has told is waited for first, within the rest of its minute, since the memory
// has room for one. The caller holds the mutex.
std::int32_t noticeChange(std::uint32_t protocol, std::uint32_t scan, const ChangeLines& lines);

} // namespace wdlt
