// The list of tolerated spyware, for the WdltSpy functions. There is only one list: the caller's type is ignored.
#pragma once

#include "CfgHelper.h"

#include <wdltcfg/records.h>

class CFuncSpy : public CCfgHelper {
  public:
    // Reads as many records as there is room for; with null records only their number, and returns 0.
    [[nodiscard]] std::int32_t RecordListRead(std::uint32_t listType, WdpeSpyRecord* records, std::int32_t* count);
    [[nodiscard]] std::int32_t RecordListWrite(std::uint32_t listType, const WdpeSpyRecord* records,
                                               std::int32_t count);

    static constexpr std::int32_t GetMaxCount() { return WDLT_MAX_SPYWARE_RECORDS; }
};
