// Calls of the registry that fail as a full disk or a missing right would make them fail, or that others come between:
// the program that links this has its own definitions of them before the layer's, for a library that it loads too.
#pragma once

#include <atomic>
#include <functional>
#include <string>

// While it lives, the calls of that name (without its A or W) fail with error 5 when they are about that value or key:
// the last name of a path. In all threads; one at a time.
class RegistryRefusal {
  public:
    RegistryRefusal(const char* call, std::string name);
    ~RegistryRefusal();
    RegistryRefusal(const RegistryRefusal&) = delete;
    RegistryRefusal& operator=(const RegistryRefusal&) = delete;
};

template <std::atomic<int>& Fault>
class WhileItLives {
  public:
    explicit WhileItLives(int number = 1) { Fault = number; }
    ~WhileItLives() { Fault = 0; }
    WhileItLives(const WhileItLives&) = delete;
    WhileItLives& operator=(const WhileItLives&) = delete;
};

namespace registry_faults {
extern std::atomic<int> enumeration;
extern std::atomic<int> commit;
extern std::atomic<int> write;
} // namespace registry_faults

// An enumeration of keys in their wide form fails with error 1015, as a damaged record makes it fail.
using FailingEnumeration = WhileItLives<registry_faults::enumeration>;
// The end of a batch says that nothing could be put on disk.
using FailingCommit = WhileItLives<registry_faults::commit>;
// The n-th value that any thread writes is refused, with error 112.
using FailingWrite = WhileItLives<registry_faults::write>;

// While it lives, this is called behind each read of a value, with its name: what somebody else does in that moment.
// Not in its own reads; one at a time.
class AfterEachRead {
  public:
    explicit AfterEachRead(std::function<void(const std::string& name)> act);
    ~AfterEachRead();
    AfterEachRead(const AfterEachRead&) = delete;
    AfterEachRead& operator=(const AfterEachRead&) = delete;
};
