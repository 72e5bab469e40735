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
    // What the loader does first isn't looked at: the operation has begun when it opens something in the home.
    Disturbance(const Fault& fault, std::size_t count, const std::filesystem::path& home, bool isLoaded)
        : m_fault(fault), m_left(count), m_home(home), m_isLoaded(isLoaded), m_hasBegun(!isLoaded) {}

    TracedChild::Fate before(const TracedChild& child, const SystemCall& call) override;
    bool hasSeenAll() const override { return wasMet; }
    // Nobody is to hear of one.
    bool isInterruption() const { return m_fault.fate.error == EINTR; }
    // Of a call that only cleans up.
    bool metCleaning() const;

    bool wasMet = false;
    long number = -1; // of the call that was met

  private:
    bool isOthers(const TracedChild& child, const SystemCall& call) const;

    const Fault& m_fault;
    std::size_t m_left;
    const std::filesystem::path& m_home;
    const bool m_isLoaded;
    bool m_hasBegun;
};

} // namespace walk
