// Notifies the running service of a changed setting: one exchange over the pair of events that all writers share.
#pragma once

#include "WdCommon/EventLine.h"

#include <platform/base.h>

#include <cstdint>

namespace wdlt {

// A handle of wdlt_config_mutex, for a CWdMutex; null (logged) when it can't be created. In every process, whoever
// writes or announces a change holds the mutex until the service has answered. Lock order: the reader/writer lock, this
// mutex, the mutex of a store.
HANDLE createConfigMutex();

// A sender's log lines for the two ways in which a notice can fail to arrive.
struct ChangeLines {
    EventLine noService;
    EventLine noAnswer;
};

// Tells the service which address was written, awaits its answer, then pauses. WDLT_OK, also when no service runs;
// WDLT_E_NO_ANSWER when it doesn't answer. The memory has room for one notice: if a writer died with one pending, its
// answer is awaited first, for the rest of its minute. The caller holds the mutex.
std::int32_t noticeChange(std::uint32_t protocol, std::uint32_t scan, const ChangeLines& lines);

} // namespace wdlt
