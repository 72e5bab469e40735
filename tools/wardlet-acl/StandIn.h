/* Hears of changes as the service does, while none runs: a thread makes the objects of the change notification, counts
   each notice and answers it. Of several helpers one does; when it ends, another takes its place within a second. A
   service may start at any time: it shares the objects, and gets what is asked from then on.
   Nothing here sets the request: a service would take it for a change. */
#pragma once

#include "Objects.h"

#include <atomic>
#include <cstdint>
#include <thread>

namespace wdlt {

class StandIn {
  public:
    StandIn();
    ~StandIn();
    StandIn(const StandIn&) = delete;
    StandIn& operator=(const StandIn&) = delete;

    /* How many notices have come; counted before they are answered. */
    std::uint64_t heard() const { return m_heard; }

  private:
    void run();
    void serveWhileAlone();
    bool isStopping() const { return WaitForSingleObject(m_stopping.get(), 0) == WAIT_OBJECT_0; }

    const Object m_stopping;
    std::atomic<std::uint64_t> m_heard = 0;
    std::thread m_thread;
};

} // namespace wdlt
