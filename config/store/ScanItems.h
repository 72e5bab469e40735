// The scan items' names in the registry.
#pragma once

#include <platform/base.h>

namespace wdlt {

// Key name of a scan item; null for a scan that has none. WDLT_SCAN_VIRUS and WDLT_SCAN_HTTP_MANAGER have two items
// each, which differ by the input.
const char* scanItemName(DWORD scan, DWORD input);

} // namespace wdlt
