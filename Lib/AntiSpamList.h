// A list of the anti-spam settings in its file: plain text that people edit too, one entry a line, whose lines end as
// they do here or with a carriage return in front. The mutex between processes is held for the length of one call.
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

    // False when this object has the mutex already, when its last holder died with it, and when it can't be taken.
    bool Lock();
    void Unlock() { m_mutex.release(); }

    // 1, or 0 with an empty list for a file that isn't there or can't be read. Lines beyond `maximum` are passed over,
    // empty ones not counted; a line longer than an entry is several.
    int ReadList(const char* path, WdpeAspmEntry* entries, int maximum, int* count);
    // 1, or 0. The file is the old list or the new one after any crash; where no file can be made beside it, it is
    // emptied and written.
    int WriteList(const char* path, const WdpeAspmEntry* entries, int count);

    // ReadList, told apart.
    State Load(const char* path, WdpeAspmEntry* entries, int maximum, int& count);
    // What a Load would find, without its entries.
    State Look(const char* path);

  private:
    template <class Use>
    State withFile(const char* path, Use&& use);

    wdlt::StoreMutex m_mutex;
};
