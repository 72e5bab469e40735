// HTTP file events, as the WdltHfe functions have them.
#pragma once

#include "CfgHelper.h"

#include <wdltcfg/records.h>

class CFuncHfe : public CCfgHelper {
  public:
    std::int32_t Enable(std::int32_t enable);
    std::int32_t IsEnabled();

    std::int32_t ConfigRead(WdpeHfeData* pConfig);
    std::int32_t ConfigWrite(const WdpeHfeData* pConfig);

    // Whether the plug-ins raise events too: 1 or 0, 0 also when it can't be read.
    std::int32_t IsEnabledPluginEvent();
    std::int32_t EnablePluginEvent(std::int32_t enable);
};
