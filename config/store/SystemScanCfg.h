// The switch of a scan item and its log's extension, WdchSystemScan, at (10000 + p, scan, any). Its record is that of
// the item itself; the item's own settings stand at (p, scan). The config type isn't looked at.
#pragma once

#include "WdchHelper.h"

class CSystemScanCfg : public WdchHelper {
  public:
    using WdchHelper::WdchHelper;

    // WDLT_E_BUFFER_SIZE with the size for any other size, WDLT_E_GENERAL without data; a value that can't be read
    // takes its default.
    [[nodiscard]] std::int32_t ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) override;
    // WDLT_E_GENERAL for anything but a whole record, and when a value can't be written: those before it stay.
    [[nodiscard]] std::int32_t WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) override;
};
