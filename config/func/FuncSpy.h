// The list of tolerated spyware, as the WdltSpy functions have it. There is one list alone: the type that a caller
// gives is passed over.
#pragma once

#include "CfgHelper.h"

#include <wdltcfg/records.h>

class CFuncSpy : public CCfgHelper {
  public:
    // As many records as there is room for; without room their number, and 0.
    std::int32_t RecordListRead(std::uint32_t listType, WdpeSpyRecord* records, std::int32_t* count);
    std::int32_t RecordListWrite(std::uint32_t listType, const WdpeSpyRecord* records, std::int32_t count);

    static constexpr std::int32_t GetMaxCount() { return WDLT_MAX_SPYWARE_RECORDS; }
};
