// How long something is tried again. By the clock: pauses that a signal cuts short would be counted for whole ones.
#pragma once

#include "SystemCalls.h"

#include <cstdint>

namespace wd {

class Deadline {
  public:
    explicit Deadline(std::uint32_t milliseconds) : m_end(now() + milliseconds * kMillisecond) {}

    // Sleeps for a millisecond, or what a signal leaves of it; false, without sleeping, when the time is over.
    bool pause() const {
        if (now() >= m_end)
            return false;
        constexpr struct timespec kPause { 0, kMillisecond };
        sys::nanosleep(&kPause, nullptr);
        return true;
    }

  private:
    static constexpr long kMillisecond = 1'000'000;

    static std::int64_t now() {
        struct timespec time {};
        ::clock_gettime(CLOCK_MONOTONIC, &time);
        return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
    }

    const std::int64_t m_end; // nanoseconds
};

} // namespace wd
