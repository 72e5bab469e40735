// The switch of a scan item and its log's extension, WdchSystemScan, at (10000 + p, scan, any); the item's own settings
// are at (p, scan). The config type is ignored.
#pragma once

#include "WdchHelper.h"

class CSystemScanCfg : public WdchHelper {
  public:
    using WdchHelper::WdchHelper;

    // WDLT_E_BUFFER_SIZE with the size needed for any other size, WDLT_E_GENERAL without data; a value that can't be
    // read takes its default.
    [[nodiscard]] std::int32_t ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) override;
    // WDLT_E_GENERAL without data, for another size, and when a value can't be written: those before it stay.
    [[nodiscard]] std::int32_t WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) override;
};
