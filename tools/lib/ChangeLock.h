/* One change at a time: whoever reads settings, changes them and writes them holds this mutex from the read to the write.
   Every caller that does the same can take it by its name, which docs/api.md tells. It is passed on when its holder dies,
   and guards against other holders alone: a single write needs it no more than a read. */
#pragma once

#include <functional>
#include <platform/win32.h>

namespace wdlt {

class ChangeLock {
  public:
    static constexpr const char* kName = "Global\\wdlt_change_mutex";

    /* Waits as long as another has it; says so on a terminal after half a second. A ToolError when it can't be had. */
    ChangeLock();
    ~ChangeLock();
    /* Runs `body` under it unless another has it. A ToolError when that can't be told. */
    static void ifFree(const std::function<void()>& body);
    ChangeLock(const ChangeLock&) = delete;
    ChangeLock& operator=(const ChangeLock&) = delete;

  private:
    explicit ChangeLock(HANDLE mutex) : m_mutex(mutex) {}

    HANDLE m_mutex;
};

} // namespace wdlt
