// The process-wide debug log: decides whether a line is wanted, builds it, and hands it to the trace library beside the
// module. Nothing here throws, changes the thread's last error, or needs its result checked. Lines may be logged from
// any thread, before startLog and after stopLog too, and in the child of a fork.
#pragma once

#include "WdCommon/LogFormat.h"
#include "WdCommon/Storage.h"

#include <atomic>
#include <string>

// Logs a line at a level: the arguments are evaluated only when the line is wanted.
#define WDLOG(level, ...)                                                                                              \
    do {                                                                                                               \
        const DWORD wdlogLevel = (level);                                                                              \
        if (::wdlt::isLogged(wdlogLevel)) [[unlikely]]                                                                 \
            ::wdlt::Trace(__FILE__, __LINE__, wdlogLevel, __VA_ARGS__);                                                \
    } while (false)
#define WDLOG_ERROR(...) WDLOG(::wdlt::kLogError, __VA_ARGS__)
#define WDLOG_TRACE(...) WDLOG(::wdlt::kLogTrace, __VA_ARGS__)
#define WDLOG_ENTRY(...) WDLOG(::wdlt::kLogEntry, __VA_ARGS__)

// The same with a UTF-16 format, whose %s stands for UTF-16 text.
#define WDLOGW(level, ...)                                                                                             \
    do {                                                                                                               \
        const DWORD wdlogLevel = (level);                                                                              \
        if (::wdlt::isLogged(wdlogLevel)) [[unlikely]]                                                                 \
            ::wdlt::TraceW(WTEXT("") __FILE__, __LINE__, wdlogLevel, __VA_ARGS__);                                     \
    } while (false)

namespace wdlt {

inline constexpr DWORD kLogEntry = 1;
inline constexpr DWORD kLogTrace = 16;
inline constexpr DWORD kLogError = 256;

// The levels that are wanted now: the mask while the log is started and enabled, and those that a listener in this
// process (platform/log.h) gets in any case. Written by the log alone; a relaxed load is enough, since Trace checks
// again under the lock.
extern constinit std::atomic<DWORD> g_wantedLevels;

inline bool isLogged(DWORD level) {
    return (g_wantedLevels.load(std::memory_order_relaxed) & level) != 0;
}

// Reads the settings and starts the log; if it is started already, only reads the settings again.
bool startLog(const char* tag, const WdCommon::Storage::Key& key);
// True when the log was started.
bool stopLog();

bool traceLine(const char* file, unsigned line, DWORD level, const char* format,
               std::span<const LogArgument> arguments) noexcept;
bool traceLine(const WCHAR* file, unsigned line, DWORD level, const WCHAR* format,
               std::span<const LogArgument> arguments) noexcept;

template <class... Args>
bool Trace(const char* file, unsigned line, DWORD level, LogFormat<Args...> format, const Args&... args) noexcept {
    const std::array<LogArgument, sizeof...(Args)> arguments{LogArgument::of(args)...};
    return traceLine(file, line, level, format.text(), arguments);
}

template <class... Args>
bool TraceW(const WCHAR* file, unsigned line, DWORD level, WideLogFormat<Args...> format,
            const Args&... args) noexcept {
    const std::array<LogArgument, sizeof...(Args)> arguments{LogArgument::of(args)...};
    return traceLine(file, line, level, format.text(), arguments);
}

} // namespace wdlt
