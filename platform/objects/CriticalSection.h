// Critical sections and what a fork does to them: in the child, a section that another thread held is free again, since
// that thread isn't there; one that the forking thread held is held by it still. What such a section guards may be
// half changed then: its users keep that in mind.
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

    Section* next = nullptr; // of all sections of the process, guarded by the list's mutex
    Section** link = nullptr;

  private:
    std::mutex m_mutex;
    // A thread's own address of a thread-local: the same in a child, unlike a thread's number. Only its owner ever
    // finds its own address here, so relaxed is enough.
    std::atomic<const void*> m_owner{nullptr};
    unsigned m_depth = 0; // of the owner
};

} // namespace wd
