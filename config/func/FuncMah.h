// The mail address cache, as WdltMahReadRecordList has it.
#pragma once

#include "CfgHelper.h"

#include <wdltcfg/records.h>

class CFuncMah : public CCfgHelper {
  public:
    // As many records as there is room for; without room their number, and 0. WDLT_E_FILE_NOT_FOUND while there is no
    // cache. Fails also when the mail settings can't be read.
    std::int32_t RecordListRead(MailAddressRecord* records, std::int32_t* count);
};
