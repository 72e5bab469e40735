// HTTP file events, for the WdltHfe functions.
#pragma once

#include "CfgHelper.h"

#include <wdltcfg/records.h>

class CFuncHfe : public CCfgHelper {
  public:
    [[nodiscard]] std::int32_t Enable(std::int32_t enable);
    [[nodiscard]] std::int32_t IsEnabled();

    [[nodiscard]] std::int32_t ConfigRead(WdpeHfeData* pConfig);
    [[nodiscard]] std::int32_t ConfigWrite(const WdpeHfeData* pConfig);

    // Whether the plug-ins raise events too: 1 or 0, 0 also when it can't be read.
    [[nodiscard]] std::int32_t IsEnabledPluginEvent();
    [[nodiscard]] std::int32_t EnablePluginEvent(std::int32_t enable);
};
