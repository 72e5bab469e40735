// Lets one allocation of the calling thread fail. The program that links this has its own operator new, which its
// libraries use too. The thread sanitizer has one that can't be replaced, so tests that need this are skipped there.
#pragma once

#include "Sanitizers.h"

// While this object lives, the allocation after `count` others fails, once.
class ExhaustedMemory {
  public:
    explicit ExhaustedMemory(int count) { t_allocationsLeft = count; }
    ~ExhaustedMemory() { t_allocationsLeft = kEnough; }
    ExhaustedMemory(const ExhaustedMemory&) = delete;
    ExhaustedMemory& operator=(const ExhaustedMemory&) = delete;

#ifdef WDLT_THREAD_SANITIZER
    static constexpr bool kIsPossible = false;
#else
    static constexpr bool kIsPossible = true;
#endif

    static bool wasMet() {
        return t_allocationsLeft < 0;
    }
    // How many of the `count` allocations are left.
    static int left() {
        return t_allocationsLeft;
    }
    // Called by each allocation: whether it is the one that fails.
    static bool isMet() {
        return t_allocationsLeft >= 0 && t_allocationsLeft-- == 0;
    }

  private:
    static constexpr int kEnough = -1;
    static inline thread_local constinit int t_allocationsLeft = kEnough;
};
