// The service's plug-in manager and its switches for three browsers, as the WdltPluginManager, WdltIEPlugIn,
// WdltFirefoxExtension and WdltChromeExtension functions have them. Works on its own key of the registry, without the
// manager of the addresses.
#pragma once

#include "CfgHelper.h"

#include <wdltcfg/records.h>

class CFuncPluginManager : public CCfgHelper {
  public:
    // WDLT_E_REGISTRY for a value that can't be read, WDLT_E_NOT_FOUND for one of another type.
    std::int32_t ReadConfig(WdltPluginManagerConfig* pConfig);
    // An enable of 1 asks for the HTTP handler first; nothing here ever switches it off. WDLT_E_NO_ANSWER: stored, not
    // told.
    std::int32_t WriteConfig(const WdltPluginManagerConfig* pConfig);

    // The switch of that name.
    std::int32_t PlugInEnable(const char* pValue, std::uint32_t enable);
    // 1 or 0; `standard` when it can't be read.
    std::int32_t PlugInIsEnabled(const char* pValue, std::uint32_t standard);

  private:
    static std::int32_t NotifyChange();
};
