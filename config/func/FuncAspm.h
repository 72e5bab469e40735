// Anti-spam of POP3, for the WdltAspm functions. Its settings are two records: the common one, and the one with the
// level and both lists, which is read and written as a whole.
#pragma once

#include "CfgHelper.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>

class CFuncAspm : public CCfgHelper {
  public:
    [[nodiscard]] std::int32_t Enable(std::int32_t enable);
    [[nodiscard]] std::int32_t IsEnabled();

    // A write stores the common record first, and notifies the service twice.
    [[nodiscard]] std::int32_t ConfigRead(WdltAspmConfig* pConfig);
    [[nodiscard]] std::int32_t ConfigWrite(const WdltAspmConfig* pConfig);

    // Reads as many entries as there is room for; with null entries only their number, and returns 0.
    [[nodiscard]] std::int32_t RecordListRead(std::uint32_t listType, WdpeAspmEntry* entries, std::int32_t* count);
    // The other list is written back as it was read. If it couldn't be read, it is left alone: WDLT_E_FILE, with this
    // list stored.
    [[nodiscard]] std::int32_t RecordListWrite(std::uint32_t listType, const WdpeAspmEntry* entries,
                                               std::int32_t count);

    static constexpr std::int32_t GetMaxCount(std::uint32_t listType) {
        return listType == WDLT_LIST_WHITE || listType == WDLT_LIST_BLACK ? WDLT_MAX_ASPM_RECORDS : 0;
    }
};
