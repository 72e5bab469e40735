// What the records of most engines have in common: a read takes a larger buffer too.
#pragma once

#include "FixedRecord.h"

namespace wdlt {

inline constexpr RecordFrame kEngineFrame{.readFits = RecordFrame::Fits::Larger};

} // namespace wdlt
