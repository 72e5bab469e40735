#include "ConfigControl.h"

#include "WdCommon/DebugLog.h"

#include <wdltcfg/status.h>

#include <optional>
#include <utility>

namespace {

constexpr const char* kLockName = "wdlt_config_rw";

// m_rwLock in one of the three modes, released when the scope ends.
class OperationLock {
  public:
    OperationLock(LockMode mode, CWdRWLock& lock) {
        switch (mode) {
        case LockMode::None:
            break;
        case LockMode::Read:
            m_read.emplace(&lock);
            break;
        case LockMode::Write:
            m_write.emplace(&lock);
            break;
        }
    }

  private:
    std::optional<CWdRWReadLock> m_read;
    std::optional<CWdRWWriteLock> m_write;
};

} // namespace

template <class Operation>
auto CConfigControl::guarded(LockMode mode, const char* caught, Operation&& operation) {
    try {
        const OperationLock lock(mode, m_rwLock);
        return std::forward<Operation>(operation)();
    } catch (...) {
        WDLOG_ERROR("%s", caught);
        throw;
    }
}

CConfigControl::~CConfigControl() = default;

std::int32_t CConfigControl::Initialize() {
    if (!m_rwLock.Initialize(kLockName)) {
        WDLOG_ERROR("Failed to initialize m_rwLock");
        return WDLT_E_GENERAL;
    }
    return WDLT_OK;
}

std::int32_t CConfigControl::ReadConfig(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input,
                                        std::uint64_t configType, void* data, std::uint64_t* size) {
    return guarded(LockMode::None, "ConfigControl::ReadConfig(): Caught exception",
                   [&] { return m_configManager.ReadConfig(protocol, scan, input, configType, data, size); });
}

std::int32_t CConfigControl::WriteConfig(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input,
                                         std::uint64_t configType, void* data, std::uint64_t size) {
    return guarded(LockMode::None, "ConfigControl::WriteConfig(): Caught exception",
                   [&] { return m_configManager.WriteConfig(protocol, scan, input, configType, data, size); });
}

std::int32_t CConfigControl::Pending(LockMode mode, const char* operation) {
    return guarded(mode, "CConfigControl::Pending(): Caught exception", [&] {
        WDLOG_ERROR("CConfigControl::%s(): not available in this version", operation);
        return std::int32_t{WDLT_E_GENERAL};
    });
}
