// Faults that can happen to a system call, and a watcher that makes one happen once.
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
    bool meetsOthers; // than those: hits all calls except `calls`
    TracedChild::Fate fate;
};

std::span<const Fault> faults();

// Skips the first `count` calls that the fault applies to, and makes it happen at the next one.
class Disturbance final : public TracedChild::Watcher {
  public:
    // `isLoaded`: the process starts by loading something. The loader's calls are skipped then: the operation begins
    // when something in the home is opened.
    Disturbance(const Fault& fault, std::size_t count, const std::filesystem::path& home, bool isLoaded)
        : m_fault(fault), m_left(count), m_home(home), m_isLoaded(isLoaded), m_hasBegun(!isLoaded) {}

    TracedChild::Fate before(const TracedChild& child, const SystemCall& call) override;
    bool hasSeenAll() const override { return wasMet; }
    // An interruption must be handled without the caller noticing.
    bool isInterruption() const { return m_fault.fate.error == EINTR; }
    // The fault hit a call that only cleans up.
    bool metCleaning() const;

    bool wasMet = false;
    long number = -1; // of the system call that was hit

  private:
    bool isOthers(const TracedChild& child, const SystemCall& call) const;

    const Fault& m_fault;
    std::size_t m_left;
    const std::filesystem::path& m_home;
    const bool m_isLoaded;
    bool m_hasBegun;
};

} // namespace walk
