// The mail address cache, for WdltMahReadRecordList.
#pragma once

#include "CfgHelper.h"

#include <wdltcfg/records.h>

class CFuncMah : public CCfgHelper {
  public:
    // Reads as many records as there is room for; with null records only their number, and returns 0.
    // WDLT_E_FILE_NOT_FOUND while there is no cache. Fails also when the mail settings can't be read.
    [[nodiscard]] std::int32_t RecordListRead(MailAddressRecord* records, std::int32_t* count);
};
