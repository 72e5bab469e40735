// CConfigControl, the one object of the library: every export arrives here. An operation holds the cross-process lock
// in the mode of its family's table, calls the family, and logs an exception that passes through.
#pragma once

#include "ConfigManager.h"
#include "RWLock.h"

#include <cstdint>

// How an operation holds m_rwLock.
enum class LockMode { None, Read, Write };

class CConfigControl {
  public:
    CConfigControl() = default;
    virtual ~CConfigControl();
    CConfigControl(const CConfigControl&) = delete;
    CConfigControl& operator=(const CConfigControl&) = delete;

    // Called once, by the module entry, before the first export. 0, or -1 when the lock can't be set up.
    std::int32_t Initialize();

    // Raw addresses: outside m_rwLock.
    std::int32_t ReadConfig(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input, std::uint64_t configType,
                            void* data, std::uint64_t* size);
    std::int32_t WriteConfig(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input, std::uint64_t configType,
                             void* data, std::uint64_t size);

    // An operation of PendingOperations.inc: holds the lock in its mode, says so in the log and gives -1.
    std::int32_t Pending(LockMode mode, const char* operation);

  private:
    // Guard, lock, call: how every operation runs. `caught` is the line for an exception, which goes on to the caller.
    template <class Operation>
    auto guarded(LockMode mode, const char* caught, Operation&& operation);

    // In the order of construction; destruction runs the reverse.
    CWdRWLockEx m_rwLock;
    CConfigManager m_configManager;
};
