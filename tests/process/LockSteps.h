// Steps inside the locks, for these tests: WD_STEP calls wdStep, which counts, and kills the process at the chosen
// step.
#pragma once

#include <atomic>
#include <functional>
#include <string_view>

namespace steps {

// Records the step at which a process died. In memory shared with its parent.
struct Grave {
    std::atomic<const char*> step{nullptr}; // a literal, at the same address in parent and child
};

// Makes this process die at its `nth` step from now on (1 is the next; 0: never), or at the next step of that name.
void dieAt(unsigned nth, Grave& grave);
void dieAt(const char* step, Grave& grave);
// Passes a step of the test itself.
void pass(const char* name);
// While it exists, `action` is called each time this process passes the step; the newest At comes first.
class At {
  public:
    At(const char* step, std::function<void()> action);
    ~At();
    At(const At&) = delete;
    At& operator=(const At&) = delete;

    void pass(std::string_view step) const {
        if (m_step == step)
            m_action();
    }
    const At* next() const { return m_next; }

  private:
    std::string_view m_step;
    std::function<void()> m_action;
    const At* m_next;
};
// How often waits of this process have looked for dead holders.
unsigned looks();

} // namespace steps
