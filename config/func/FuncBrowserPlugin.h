// The HTTPS filter, as the WdltHttps and WdltPluginScan functions have it. Its item's switch is a set of flags, of
// which bit 0 is the scan of HTTPS; the others are the callers' and the service's.
#pragma once

#include "CfgHelper.h"

#include <wdltcfg/records.h>

class CFuncBrowserPlugin : public CCfgHelper {
  public:
    // Bit 0 alone: set or cleared, and asked for.
    std::int32_t EnableScanEngine(std::int32_t enable, std::uint32_t protocol, std::uint32_t scan,
                                  std::uint32_t input) override;
    std::int32_t IsScanEngineEnabled(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input) override;

    std::int32_t ConfigRead(WdltHttpsConfig* pConfig);
    // The whole record, with nothing read before it.
    std::int32_t ConfigWrite(const WdltHttpsConfig* pConfig);

    std::int32_t ScanEnable(std::uint32_t enable);
    std::int32_t IsEnabled();

    // All flags at once. The handler is asked to go on whatever they are, and never to go off.
    std::int32_t SetEnableFlag(std::uint32_t flags);
    std::int32_t GetEnableFlag(std::uint32_t* pdwEnableFlag);

    // Whether a record has any flag; one that isn't there has none.
    static bool isOnIn(const WdltHttpsConfig* config);

  private:
    std::int32_t EnableSE(std::uint32_t flags);
};
