// SAL, for the WdltSal functions.
#pragma once

#include "CfgHelper.h"

#include <wdltcfg/records.h>

class CFuncSal : public CCfgHelper {
  public:
    [[nodiscard]] std::int32_t Enable(std::int32_t enable);
    [[nodiscard]] std::int32_t IsEnabled();

    [[nodiscard]] std::int32_t ConfigRead(WdltSalConfig* pConfig);
    // Stores the settings, then switches SAL as the record says. An empty text leaves the stored one as it is.
    [[nodiscard]] std::int32_t ConfigWrite(const WdltSalConfig* pConfig);
};
