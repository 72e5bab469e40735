// The file of a scan item for all protocols, WdchSystemScanCommon, at (10000, scan, any). The config type is ignored.
#pragma once

#include "WdchHelper.h"

class CSystemScanCommonCfg final : public WdchHelper {
  public:
    using WdchHelper::WdchHelper;

    // As CSystemScanCfg.
    [[nodiscard]] std::int32_t ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) override;
    [[nodiscard]] std::int32_t WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) override;
};
