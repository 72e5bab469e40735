// A store's named mutex between processes: opened and taken for each pass, with a time-out. The caller logs failures,
// in its own words.
#pragma once

#include "WdCommon/Synchronize.h"

#include <platform/win32.h>

namespace wdlt {

class StoreMutex {
  public:
    enum class Outcome {
        Taken,
        HeldAlready, // by this object, which goes on holding it
        NotCreated,
        Abandoned, // its owner died; released, so that the next caller gets it
        TimedOut,
        Failed,
    };
    struct Taking {
        Outcome outcome;
        int waited = 0;          // the result of the wait
        unsigned long error = 0; // the last error of a call that failed
    };

    StoreMutex() = default;
    ~StoreMutex() { release(); }
    StoreMutex(const StoreMutex&) = delete;
    StoreMutex& operator=(const StoreMutex&) = delete;

    // `name`: that of the store, without the prefix for all sessions.
    Taking take(const char* name);
    // Does nothing when the mutex isn't held.
    void release();

  private:
    static Taking waitFor(HANDLE mutex);

    WdCommon::Synchronize::CriticalSection m_csLock;   // held during the wait too
    HANDLE m_hMutex WD_GUARDED_BY(m_csLock) = nullptr; // not null while this object holds the mutex
};

} // namespace wdlt
