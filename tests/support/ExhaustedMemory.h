// Lets one allocation of the calling thread fail. The program that links this has an operator new of its own, which its
// libraries use too; but the thread sanitizer brings one that can't be replaced.
#pragma once

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define WDLT_FIXED_OPERATOR_NEW
#endif
#endif
#if defined(__SANITIZE_THREAD__)
#define WDLT_FIXED_OPERATOR_NEW
#endif

// The allocation that comes after `count` others fails, once, while this object lives.
class ExhaustedMemory {
  public:
    explicit ExhaustedMemory(int count);
    ~ExhaustedMemory();
    ExhaustedMemory(const ExhaustedMemory&) = delete;
    ExhaustedMemory& operator=(const ExhaustedMemory&) = delete;

    // A test of this skips itself where it can't be had.
#ifdef WDLT_FIXED_OPERATOR_NEW
    static constexpr bool kIsPossible = false;
#else
    static constexpr bool kIsPossible = true;
#endif

    // Whether it has failed.
    static bool wasMet();
};
