// The host filter, for the WdltHosf functions.
#pragma once

#include "CfgHelper.h"

#include <wdltcfg/records.h>

class CFuncHosf : public CCfgHelper {
  public:
    [[nodiscard]] std::int32_t Enable(std::int32_t enable);
    [[nodiscard]] std::int32_t IsEnabled();

    // A write fails while nothing is stored.
    [[nodiscard]] std::int32_t ConfigRead(WdpeHosfData* pConfig);
    [[nodiscard]] std::int32_t ConfigWrite(const WdpeHosfData* pConfig);

    // Reads as many records as there is room for; with null records only their number, and returns 0.
    [[nodiscard]] std::int32_t RecordListRead(WdpeHosfHostRecord* records, std::int32_t* count);
    [[nodiscard]] std::int32_t RecordListWrite(const WdpeHosfHostRecord* records, std::int32_t count);

    static constexpr std::int32_t GetMaxCount() { return WDLT_MAX_HOST_RECORDS; }
};
