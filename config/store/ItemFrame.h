// Common to the records of scan items: a read checks the size first, and every other misuse is WDLT_E_GENERAL.
#pragma once

#include "FixedRecord.h"

namespace wdlt {

inline constexpr RecordFrame kItemFrame{
    .readFirst = RecordFrame::First::Size,
    .noDataRead = WDLT_E_GENERAL,
    .noDataWritten = WDLT_E_GENERAL,
    .wrongSizeWritten = WDLT_E_GENERAL,
    .noDataReadLine = "data is NULL",
};

} // namespace wdlt
