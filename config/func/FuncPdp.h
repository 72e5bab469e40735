// Privacy data protection, as the WdltPdp functions have it: switched for each protocol by itself.
#pragma once

#include "CfgHelper.h"

#include <wdltcfg/records.h>

#include <map>

class CFuncPdp : public CCfgHelper {
  public:
    CFuncPdp();

    // `types`: the type bits of the protocols meant, WDLT_PRIVACY_…. In ascending order of protocols; the first that
    // fails ends it with its status, and what was switched before it stays.
    std::int32_t Enable(std::int32_t enable, std::uint32_t types);
    // 1 when `types` means a protocol, and each one that it means is on; else 0.
    std::int32_t IsEnabled(std::uint32_t types);

    // As many as there is room for; without room their number, and 0.
    std::int32_t ItemListRead(PrivacyViewItem* items, std::int32_t* count);
    std::int32_t ExItemListRead(PrivacyExclusionItem* items, std::int32_t* count);
    // Nothing is written over what can't be read.
    std::int32_t ItemListWrite(const PrivacyViewItem* items, std::int32_t count);
    std::int32_t ExItemListWrite(const PrivacyExclusionItem* items, std::int32_t count);

  private:
    std::map<std::uint32_t, std::uint32_t> m_types; // by protocol: its type bit
};
