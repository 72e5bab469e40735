// What can happen to a system call, and a watcher that lets it happen once.
#pragma once

#include "TracedChild.h"

#include <cerrno>
#include <filesystem>
#include <set>
#include <span>

namespace walk {

using Calls = std::set<long>;

struct Fault {
    const char* name;
    const Calls& calls;
    bool meetsOthers; // than those
    TracedChild::Fate fate;
};

std::span<const Fault> faults();

// Lets the fault happen behind the first `count` calls that it fits.
class Disturbance final : public TracedChild::Watcher {
  public:
    // A program's own start isn't looked at: it has begun when it opens something in the home.
    Disturbance(const Fault& fault, std::size_t count, const std::filesystem::path& home, bool isProgram)
        : m_fault(fault), m_left(count), m_home(home), m_hasBegun(!isProgram) {}

    TracedChild::Fate before(const TracedChild& child, const SystemCall& call) override;
    // Nobody is to hear of one.
    bool isInterruption() const { return m_fault.fate.error == EINTR; }
    // Of a call that only cleans up.
    bool metCleaning() const;

    bool wasMet = false;
    long number = -1; // of the call that was met

  private:
    const Fault& m_fault;
    std::size_t m_left;
    const std::filesystem::path& m_home;
    bool m_hasBegun;
};

} // namespace walk
