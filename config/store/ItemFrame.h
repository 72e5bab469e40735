// What the records of scan items have in common: the size comes first, and everything else is WDLT_E_GENERAL.
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
