// DRS, its settings and its white list of rules, for the WdltDRS functions and those of the white list. Accesses the
// registry directly, not through CConfigManager: a rule is a subkey with the rule's name. Registry failures are
// WDLT_E_GENERAL here; WDLT_E_NO_ANSWER means that a change is stored, but the service hasn't answered.
#pragma once

#include "CfgHelper.h"

#include <wdltcfg/records.h>

class CFuncDRSCfg : public CCfgHelper {
  public:
    [[nodiscard]] std::int32_t DRSEnable(std::uint32_t enable);
    [[nodiscard]] std::int32_t IsEnabled();

    // The two settings are stored with those of the URL filter. A stored number outside its limits reads as 0.
    [[nodiscard]] std::int32_t ReadConfig(WdltDrsConfig* pConfig);
    [[nodiscard]] std::int32_t WriteConfig(const WdltDrsConfig* pConfig);

    [[nodiscard]] std::int32_t EnableWhiteListItem(std::uint32_t enable, std::uint32_t option);
    [[nodiscard]] std::int32_t IsWhiteListEnabled();

    // Reads as many rules as there is room for, in the registry's order; the rest are counted unchecked, which makes
    // the result WDLT_E_BUFFER_SIZE. A rule that is invalid, or has an earlier one's index, is left out.
    [[nodiscard]] std::int32_t GetAllWhiteListItem(WdltDrsWhiteListItem* pItems, std::int32_t* pCount);
    [[nodiscard]] std::int32_t AddWhiteListItem(const WdltDrsWhiteListItem* pItem);
    // 0: all of them.
    [[nodiscard]] std::int32_t DeleteWhiteListItem(std::uint32_t index);

  private:
    enum class Notice { Drs = 1, UrlFilter = 2 };
    [[nodiscard]] static std::int32_t NotifyChange(Notice mode);
};
