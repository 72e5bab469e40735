// The configuration interface of this process: straight to the manager.
#pragma once

#include "CfgIF.h"
#include "ConfigManager.h"

#include <wdltcfg/addresses.h>

class CCfgDirectIF final : public CCfgIF {
  public:
    explicit CCfgDirectIF(CConfigManager& manager) : m_manager(manager) {}

    bool IsInitialized() override { return true; }
    [[nodiscard]] std::int32_t ReadConfigEx(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input,
                                            std::uint64_t configType, void* data, std::uint64_t* size) override {
        return m_manager.ReadConfig(protocol, scan, input, configType, data, size);
    }
    [[nodiscard]] std::int32_t ReadConfig(std::uint32_t protocol, std::uint32_t scan, std::uint64_t configType,
                                          void* data, std::uint64_t* size) override {
        return ReadConfigEx(protocol, scan, WDLT_INPUT_NONE, configType, data, size);
    }
    [[nodiscard]] std::int32_t WriteConfigEx(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input,
                                             std::uint64_t configType, void* data, std::uint64_t size) override {
        return m_manager.WriteConfig(protocol, scan, input, configType, data, size);
    }
    [[nodiscard]] std::int32_t WriteConfig(std::uint32_t protocol, std::uint32_t scan, std::uint64_t configType,
                                           void* data, std::uint64_t size) override {
        return WriteConfigEx(protocol, scan, WDLT_INPUT_NONE, configType, data, size);
    }

  private:
    CConfigManager& m_manager;
};
