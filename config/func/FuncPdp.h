// Privacy data protection, for the WdltPdp functions: each protocol is switched separately.
#pragma once

#include "CfgHelper.h"

#include <wdltcfg/records.h>

#include <map>

class CFuncPdp : public CCfgHelper {
  public:
    CFuncPdp();

    // `types`: the type bits of the protocols, WDLT_PRIVACY_…. In ascending order of protocols; the first failure ends
    // it with its status, and those before it stay switched.
    [[nodiscard]] std::int32_t Enable(std::int32_t enable, std::uint32_t types);
    // 1 when `types` has at least one protocol and all that it has are on; else 0.
    [[nodiscard]] std::int32_t IsEnabled(std::uint32_t types);

    // Reads as many as there is room for; with null items only their number, and returns 0.
    [[nodiscard]] std::int32_t ItemListRead(PrivacyViewItem* items, std::int32_t* count);
    [[nodiscard]] std::int32_t ExItemListRead(PrivacyExclusionItem* items, std::int32_t* count);
    // Writes nothing if the stored list can't be read.
    [[nodiscard]] std::int32_t ItemListWrite(const PrivacyViewItem* items, std::int32_t count);
    [[nodiscard]] std::int32_t ExItemListWrite(const PrivacyExclusionItem* items, std::int32_t count);

  private:
    std::map<std::uint32_t, std::uint32_t> m_types; // from protocol to type bit
};
