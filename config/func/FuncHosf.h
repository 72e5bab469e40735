// The host filter, as the WdltHosf functions have it.
#pragma once

#include "CfgHelper.h"

#include <wdltcfg/records.h>

class CFuncHosf : public CCfgHelper {
  public:
    std::int32_t Enable(std::int32_t enable);
    std::int32_t IsEnabled();

    // A write fails while nothing is stored.
    std::int32_t ConfigRead(WdpeHosfData* pConfig);
    std::int32_t ConfigWrite(const WdpeHosfData* pConfig);

    // As many records as there is room for; without room their number, and 0.
    std::int32_t RecordListRead(WdpeHosfHostRecord* records, std::int32_t* count);
    std::int32_t RecordListWrite(const WdpeHosfHostRecord* records, std::int32_t count);

    static constexpr std::int32_t GetMaxCount() { return WDLT_MAX_HOST_RECORDS; }
};
