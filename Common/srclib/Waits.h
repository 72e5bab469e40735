// Time-outs and pauses, in milliseconds. The platform layer scales them for tests (WARDLET_TIME_SCALE).
#pragma once

#include <platform/base.h>

namespace wdlt {

constexpr DWORD kLockSliceMs = 60'000;   // one wait for a reader/writer lock, after which it warns and waits again
constexpr DWORD kReplyWaitMs = 60'000;   // the service's answer to a notification or a question
constexpr DWORD kStoreLockMs = 60'000;   // the mutex of a record store
constexpr DWORD kAfterSendPauseMs = 100; // after a notification, before the next one may go out

} // namespace wdlt
