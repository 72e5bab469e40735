// The scan items' names in the registry.
#pragma once

#include <platform/base.h>

namespace wdlt {

// Key name of a scan item; null for a scan that has none. Scan 1 and scan 0x20000 hold two items, told apart by the
// input.
const char* scanItemName(DWORD scan, DWORD input);

} // namespace wdlt
