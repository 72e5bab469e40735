/* One change at a time: whoever reads settings, changes them and writes them holds this mutex from the read to the write.
   Every caller that does the same can take it by its name, which docs/api.md tells. It is passed on when its holder dies,
   and guards against other holders alone: a single write needs it no more than a read. */
#pragma once

#include <platform/win32.h>

namespace wdlt {

class ChangeLock {
  public:
    static constexpr const char* kName = "Global\\wdlt_change_mutex";

    /* Waits as long as another has it; says so on a terminal after half a second. A ToolError when it can't be had. */
    ChangeLock();
    ~ChangeLock();
    ChangeLock(const ChangeLock&) = delete;
    ChangeLock& operator=(const ChangeLock&) = delete;

  private:
    HANDLE m_mutex;
};

} // namespace wdlt
