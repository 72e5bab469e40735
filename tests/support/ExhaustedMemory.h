// Lets one allocation of the calling thread fail. The program that links this has an operator new of its own, which its
// libraries use too; but the thread sanitizer brings one that can't be replaced: a test of this skips itself there.
#pragma once

#include "Sanitizers.h"

// The allocation that comes after `count` others fails, once, while this object lives.
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
    // Of `count`, those that are still to come.
    static int left() {
        return t_allocationsLeft;
    }
    // For an allocation: whether it is the one.
    static bool isMet() {
        return t_allocationsLeft >= 0 && t_allocationsLeft-- == 0;
    }

  private:
    static constexpr int kEnough = -1;
    static inline thread_local constinit int t_allocationsLeft = kEnough;
};
