// The HTTPS filter, for the WdltHttps and WdltPluginScan functions. Its item's switch is a set of flags: bit 0 is the
// scan of HTTPS; the others belong to callers and the service.
#pragma once

#include "CfgHelper.h"

#include <wdltcfg/records.h>

class CFuncBrowserPlugin : public CCfgHelper {
  public:
    // These set or clear, and test, bit 0 alone.
    [[nodiscard]] std::int32_t EnableScanEngine(std::int32_t enable, std::uint32_t protocol, std::uint32_t scan,
                                                std::uint32_t input) override;
    [[nodiscard]] std::int32_t IsScanEngineEnabled(std::uint32_t protocol, std::uint32_t scan,
                                                   std::uint32_t input) override;

    [[nodiscard]] std::int32_t ConfigRead(WdltHttpsConfig* pConfig);
    // Writes the whole record without reading it first.
    [[nodiscard]] std::int32_t ConfigWrite(const WdltHttpsConfig* pConfig);

    [[nodiscard]] std::int32_t ScanEnable(std::uint32_t enable);
    [[nodiscard]] std::int32_t IsEnabled();

    // Sets all flags at once. Tries to switch the handler on whatever they are, and never off.
    [[nodiscard]] std::int32_t SetEnableFlag(std::uint32_t flags);
    [[nodiscard]] std::int32_t GetEnableFlag(std::uint32_t* pdwEnableFlag);

    // Whether a record has any flag set; false for null.
    static bool isOnIn(const WdltHttpsConfig* config);

  private:
    [[nodiscard]] std::int32_t EnableSE(std::uint32_t flags);
};
