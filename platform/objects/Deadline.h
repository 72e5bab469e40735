// A time limit for retries. Measured by the clock: a signal cuts a pause short, so under a profiling timer a fixed
// number of pauses would be over at once.
#pragma once

#include "SystemCalls.h"

#include <chrono>

namespace wd {

class Deadline {
  public:
    explicit Deadline(std::chrono::milliseconds allowed) : m_end(std::chrono::steady_clock::now() + allowed) {}

    bool isOver() const { return std::chrono::steady_clock::now() >= m_end; }
    // Sleeps a millisecond at most before the next try; false, without a sleep, when the time is over.
    bool pause() const {
        constexpr struct timespec kPause { 0, 1'000'000 };
        if (isOver())
            return false;
        sys::nanosleep(&kPause, nullptr);
        return true;
    }

  private:
    std::chrono::steady_clock::time_point m_end;
};

} // namespace wd
