// The helper of the privacy items as the manager makes it.
#pragma once

#include "ConfigManager.h"
#include "PrivacyFiles.h"

#include <wdltcfg/addresses.h>

namespace privacy_files {

class PrivacyHelperTest : public PrivacyListTest {
  protected:
    std::int32_t readInto(std::uint64_t type, void* data, std::uint64_t& size) override {
        return manager.ReadConfig(0, WDLT_SCAN_PRIVACY, 0, type, data, &size);
    }
    std::int32_t writeFrom(std::uint64_t type, void* data, std::uint64_t size) override {
        return manager.WriteConfig(0, WDLT_SCAN_PRIVACY, 0, type, data, size);
    }

    CConfigManager manager;
};

} // namespace privacy_files
