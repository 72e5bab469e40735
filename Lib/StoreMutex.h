// The mutex of a store between processes: taken under its name for a pass, with a wait that ends, and made anew each
// time. Whoever takes it says in lines of its own what went wrong.
#pragma once

#include "WdCommon/Synchronize.h"

#include <platform/win32.h>

namespace wdlt {

class StoreMutex {
  public:
    enum class Outcome {
        Taken,
        HeldAlready, // by this object: it goes on holding it
        NotCreated,
        Abandoned, // its holder died; the next taker gets it
        TimedOut,
        Failed,
    };
    struct Taking {
        Outcome outcome;
        int waited = 0;          // what the wait gave
        unsigned long error = 0; // the last error of a call that failed
    };

    StoreMutex() = default;
    ~StoreMutex() { release(); }
    StoreMutex(const StoreMutex&) = delete;
    StoreMutex& operator=(const StoreMutex&) = delete;

    // `name` is that of the store, without the prefix of all sessions.
    Taking take(const char* name);
    // Nothing when it isn't held.
    void release();

  private:
    static Taking waitFor(HANDLE mutex);

    WdCommon::Synchronize::CriticalSection m_csLock;   // held while the wait lasts
    HANDLE m_hMutex WD_GUARDED_BY(m_csLock) = nullptr; // not null while this object holds the mutex
};

} // namespace wdlt
