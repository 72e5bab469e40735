// SAL, as the WdltSal functions have it.
#pragma once

#include "CfgHelper.h"

#include <wdltcfg/records.h>

class CFuncSal : public CCfgHelper {
  public:
    std::int32_t Enable(std::int32_t enable);
    std::int32_t IsEnabled();

    std::int32_t ConfigRead(WdltSalConfig* pConfig);
    // Stores the settings, then switches SAL as the record says. An empty text leaves the stored one as it is.
    std::int32_t ConfigWrite(const WdltSalConfig* pConfig);
};
