// Critical sections and what a fork does to them: in the child, a section that another thread held is free again, since
// that thread doesn't exist there; one that the forking thread held is still held by it. What a freed section guards
// may be half changed: its users must allow for that.
#pragma once

#include <platform/sync.h>

#include <atomic>
#include <mutex>

namespace wd {

// What CRITICAL_SECTION::impl points at.
class Section {
  public:
    void enter();
    void leave();
    void resetInChild();

    Section* next = nullptr; // list of all sections of the process, guarded by sectionsMutex
    Section** link = nullptr;

  private:
    std::mutex m_mutex;
    // The address of a thread-local of the owner: the same in a child, unlike a thread id. Only the owner ever finds
    // its own address here, so relaxed is enough.
    std::atomic<const void*> m_owner{nullptr};
    unsigned m_depth = 0; // recursion depth of the owner
};

} // namespace wd
