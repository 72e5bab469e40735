// Anti-spam of POP3, as the WdltAspm functions have it. Its settings are two records, the common one and the one with
// the level and both lists, which is read and written whole.
#pragma once

#include "CfgHelper.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>

class CFuncAspm : public CCfgHelper {
  public:
    std::int32_t Enable(std::int32_t enable);
    std::int32_t IsEnabled();

    // A write stores the common record first, and tells the service twice.
    std::int32_t ConfigRead(WdltAspmConfig* pConfig);
    std::int32_t ConfigWrite(const WdltAspmConfig* pConfig);

    // As many entries as there is room for; without room their number, and 0.
    std::int32_t RecordListRead(std::uint32_t listType, WdpeAspmEntry* entries, std::int32_t* count);
    // The other list is written again as it was read. One that couldn't be is left alone: WDLT_E_FILE, with this one
    // stored.
    std::int32_t RecordListWrite(std::uint32_t listType, const WdpeAspmEntry* entries, std::int32_t count);

    static constexpr std::int32_t GetMaxCount(std::uint32_t listType) {
        return listType == WDLT_LIST_WHITE || listType == WDLT_LIST_BLACK ? WDLT_MAX_ASPM_RECORDS : 0;
    }
};
