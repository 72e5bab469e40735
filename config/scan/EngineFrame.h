// Common to the records of most engines: a read accepts a larger buffer too.
#pragma once

#include "FixedRecord.h"

namespace wdlt {

inline constexpr RecordFrame kEngineFrame{.readFits = RecordFrame::Fits::Larger};

} // namespace wdlt
