// Constants for what tests can't do under the sanitizers, and suppressions of false reports.
#pragma once

#if defined(__SANITIZE_ADDRESS__)
#define WDLT_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define WDLT_ADDRESS_SANITIZER 1
#endif
#if __has_feature(thread_sanitizer)
#define WDLT_THREAD_SANITIZER 1
#endif
#endif
#if defined(__SANITIZE_THREAD__)
#define WDLT_THREAD_SANITIZER 1
#endif

#if defined(WDLT_ADDRESS_SANITIZER) || defined(WDLT_THREAD_SANITIZER)
inline constexpr bool kIsSanitized = true;
#else
inline constexpr bool kIsSanitized = false;
#endif

// A forked child forgets its parent's state on purpose; if it ends with exit it is checked for leaks.
#ifdef WDLT_ADDRESS_SANITIZER
// NOLINTNEXTLINE(bugprone-reserved-identifier): the runtime's name
extern "C" __attribute__((used, weak)) inline const char* __lsan_default_suppressions() {
    return "leak:wd::*makeState";
}
#endif
