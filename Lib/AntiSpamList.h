// A list of the anti-spam settings: a plain text file that people edit too, one entry per line, whose lines end with LF
// or CR LF. The mutex between processes is held for one call at a time.
#pragma once

#include "StoreMutex.h"

#include <wdltcfg/records.h>

class CAntiSpamList {
  public:
    enum class State {
        Read,
        Missing,    // there is no such file
        Unreadable, // there may be entries in it
    };

    CAntiSpamList() = default;
    virtual ~CAntiSpamList() = default;
    CAntiSpamList(const CAntiSpamList&) = delete;
    CAntiSpamList& operator=(const CAntiSpamList&) = delete;

    // False when this object holds the mutex already, when the mutex was abandoned, and when it can't be taken.
    bool Lock();
    void Unlock() { m_mutex.release(); }

    // 1, or 0 with an empty list when the file is missing or can't be read. Lines beyond `maximum` are ignored, empty
    // ones skipped; a line longer than an entry becomes several.
    [[nodiscard]] int ReadList(const char* path, WdpeAspmEntry* entries, int maximum, int* count);
    // 1, or 0. A crash leaves the old list or the new one; but where no file can be created beside it, the list is
    // truncated and rewritten in place.
    [[nodiscard]] int WriteList(const char* path, const WdpeAspmEntry* entries, int count);

    // ReadList, with the kind of failure.
    State Load(const char* path, WdpeAspmEntry* entries, int maximum, int& count);
    // What Load would return, without reading the entries.
    State Look(const char* path);

  private:
    template <class Use>
    State withFile(const char* path, Use&& use);

    wdlt::StoreMutex m_mutex;
};
