// Lets many calls in at once, or one change of what they all use. Entering is one atomic addition, on a counter that
// few other threads use; a change shuts the gate, waits until the last call has left, and is then alone. A thread that
// is inside must not enter again: a change that waits for it would keep it out. A thread that enters leaves by itself.
// Private to one process; a child of a fork makes another.
#pragma once

#include "ThreadShard.h"

#include <platform/thread_annotations.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>

namespace wd {

class WD_CAPABILITY("gate") Gate {
  public:
    // Sequential consistency is needed here: a call counts itself, then checks the gate; a change shuts the gate, then
    // checks the counts. So one of them sees the other.
    void enter() WD_ACQUIRE_SHARED() {
        auto& inside = m_counts[threadShard()].inside;
        for (;;) {
            inside.fetch_add(1);
            if (m_shut.load() == 0)
                return;
            uncount(inside);
            m_shut.wait(1);
        }
    }
    void leave() WD_RELEASE_SHARED() { uncount(m_counts[threadShard()].inside); }

    void shut() WD_ACQUIRE() {
        m_changers.lock();
        m_shut.store(1);
        for (auto& count : m_counts)
            for (std::uint32_t inside = count.inside.load(); inside != 0; inside = count.inside.load())
                count.inside.wait(inside);
    }
    void open() WD_RELEASE() {
        m_shut.store(0);
        m_shut.notify_all();
        m_changers.unlock();
    }

  private:
    struct alignas(kCacheLineBytes) Count {
        std::atomic<std::uint32_t> inside{0};
    };

    void uncount(std::atomic<std::uint32_t>& inside) {
        inside.fetch_sub(1);
        if (m_shut.load() != 0)
            inside.notify_all();
    }

    std::array<Count, kShards> m_counts;
    alignas(kCacheLineBytes) std::atomic<std::uint32_t> m_shut{0};
    std::mutex m_changers; // one change at a time
};

class WD_SCOPED_CAPABILITY GateShut {
  public:
    explicit GateShut(Gate& gate) WD_ACQUIRE(gate) : m_gate(gate) { m_gate.shut(); }
    ~GateShut() WD_RELEASE() { m_gate.open(); }
    GateShut(const GateShut&) = delete;
    GateShut& operator=(const GateShut&) = delete;

  private:
    Gate& m_gate;
};

} // namespace wd
