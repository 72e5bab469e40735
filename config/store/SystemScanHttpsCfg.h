// The HTTPS filter's item, WdltHttpsConfig, at (10000 + p, WDLT_SCAN_HTTP_MANAGER, 2): its switch, a set of bits here,
// and the files shown to users. The config type is ignored.
#pragma once

#include "SystemScanCfg.h"

class CSystemScanHttpsCfg final : public CSystemScanCfg {
  public:
    using CSystemScanCfg::CSystemScanCfg;

    // Unlike the other items' records this one needs all its files: the first that can't be read ends the read with the
    // store's status.
    [[nodiscard]] std::int32_t ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) override;
    [[nodiscard]] std::int32_t WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) override;
};
