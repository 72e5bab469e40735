// The service's plug-in manager and its switches for three browsers, for the WdltPluginManager, WdltIEPlugIn,
// WdltFirefoxExtension and WdltChromeExtension functions. Accesses its own registry key directly, not through
// CConfigManager.
#pragma once

#include "CfgHelper.h"

#include <wdltcfg/records.h>

class CFuncPluginManager : public CCfgHelper {
  public:
    // WDLT_E_REGISTRY for a value that can't be read, WDLT_E_NOT_FOUND for one of another type.
    [[nodiscard]] std::int32_t ReadConfig(WdltPluginManagerConfig* pConfig);
    // With dwEnable 1, switches the HTTP handler on first; nothing here ever switches it off. WDLT_E_NO_ANSWER: stored,
    // but the service didn't answer.
    [[nodiscard]] std::int32_t WriteConfig(const WdltPluginManagerConfig* pConfig);

    // Writes the switch of that name.
    [[nodiscard]] std::int32_t PlugInEnable(const char* pValue, std::uint32_t enable);
    // 1 or 0; `standard` when it can't be read.
    [[nodiscard]] std::int32_t PlugInIsEnabled(const char* pValue, std::uint32_t standard);

  private:
    [[nodiscard]] static std::int32_t NotifyChange();
};
