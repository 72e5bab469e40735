#include "ConfigControl.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

namespace {

constexpr const char* kLockName = "wdlt_config_rw";

} // namespace

CConfigControl::OperationLock::OperationLock(LockMode mode, CWdRWLock& lock) {
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

CConfigControl::~CConfigControl() = default;

std::int32_t CConfigControl::Initialize() {
    if (!m_rwLock.Initialize(kLockName)) {
        WDLOG_ERROR("Failed to initialize m_rwLock");
        return WDLT_E_GENERAL;
    }
    CCfgHelper* const families[] = {&m_pvs,           &m_svs,    &m_wmvs, &m_spy,  &m_aspm, &m_urlf,
                                    &m_hosf,          &m_pdp,    &m_mah,  &m_urlh, &m_hfs,  &m_browserPlugin,
                                    &m_pluginManager, &m_drsCfg, &m_hfe,  &m_sal};
    for (CCfgHelper* const family : families)
        if (const std::int32_t status = family->Initialize(&m_cfgIF); status != WDLT_OK)
            return status;
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

std::int32_t CConfigControl::EnsureWebDependencies(std::uint32_t value) {
    const auto wanted = static_cast<std::int32_t>(value);
    if (m_urlf.IsEnabled() != wanted)
        if (const std::int32_t status = m_urlf.Enable(wanted); status != WDLT_OK)
            return status;
    WdltPluginManagerConfig manager{};
    if (const std::int32_t status = m_pluginManager.ReadConfig(&manager); status != WDLT_OK)
        return status;
    if (manager.dwEnable == value)
        return WDLT_OK;
    manager.dwEnable = value;
    return m_pluginManager.WriteConfig(&manager);
}
