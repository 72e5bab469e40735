// DRS, its settings and its white list of rules, as the WdltDRS functions and those of its white list have them. Works
// on the registry itself, without the manager of the addresses: a rule is a subkey named as the rule. Failures of the
// registry are WDLT_E_GENERAL here; WDLT_E_NO_ANSWER means that a change is stored and the service hasn't answered.
#pragma once

#include "CfgHelper.h"

#include <wdltcfg/records.h>

class CFuncDRSCfg : public CCfgHelper {
  public:
    std::int32_t DRSEnable(std::uint32_t enable);
    std::int32_t IsEnabled();

    // The two settings stand with those of the URL filter. A stored number out of its limits reads as 0.
    std::int32_t ReadConfig(WdltDrsConfig* pConfig);
    std::int32_t WriteConfig(const WdltDrsConfig* pConfig);

    std::int32_t EnableWhiteListItem(std::uint32_t enable, std::uint32_t option);
    std::int32_t IsWhiteListEnabled();

    // As many rules as there is room for, in the registry's order; the rest is counted without a look:
    // WDLT_E_BUFFER_SIZE then. A rule that isn't sound, or has an earlier one's index, is left out.
    std::int32_t GetAllWhiteListItem(WdltDrsWhiteListItem* pItems, std::int32_t* pCount);
    std::int32_t AddWhiteListItem(const WdltDrsWhiteListItem* pItem);
    // 0: all of them.
    std::int32_t DeleteWhiteListItem(std::uint32_t index);

  private:
    enum class Notice { Drs = 1, UrlFilter = 2 };
    static std::int32_t NotifyChange(Notice mode);
};
