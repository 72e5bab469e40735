// Lets registry calls fail as with a full disk or a missing permission, or lets others act between them: the program
// that links this has its own definitions, which replace the layer's, also for a library that it loads.
#pragma once

#include <atomic>
#include <functional>
#include <string>

// While it lives, calls of that name (without A or W) for that value or key (the last part of a path) fail with
// ERROR_ACCESS_DENIED, on all threads. Only one at a time.
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

// RegEnumKeyExW fails with ERROR_REGISTRY_CORRUPT, as with a damaged record.
using FailingEnumeration = WhileItLives<registry_faults::enumeration>;
// The end of a batch reports ERROR_DISK_FULL.
using FailingCommit = WhileItLives<registry_faults::commit>;
// The nth write of a value, on any thread, fails with ERROR_DISK_FULL.
using FailingWrite = WhileItLives<registry_faults::write>;

// While it lives, `act` is called after each read of a value, with the value's name, to simulate another process acting
// at that moment. Reads in `act` itself don't count. Only one at a time.
class AfterEachRead {
  public:
    explicit AfterEachRead(std::function<void(const std::string& name)> act);
    ~AfterEachRead();
    AfterEachRead(const AfterEachRead&) = delete;
    AfterEachRead& operator=(const AfterEachRead&) = delete;
};
