// The steps inside the locks as these tests see them: WD_STEP calls wdStep, which counts, and ends the process at the
// step that was chosen.
#pragma once

#include <atomic>
#include <functional>
#include <string_view>

namespace steps {

// Of a process that died at a step: which. In memory shared with its parent.
struct Grave {
    std::atomic<const char*> step{nullptr}; // a literal, at the same address in parent and child
};

// From here on this process dies at its `nth` step of all (1 is the next; 0: at none) or of one name.
void dieAt(unsigned nth, Grave& grave);
void dieAt(const char* step, Grave& grave);
// The steps of the test itself, besides those of the locks.
void pass(const char* name);
// While it exists, the last made going first: what this process does at each pass of a step.
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
// How often a wait of this process has looked after dead holders.
unsigned looks();

} // namespace steps
