/* Status codes of the library in words. */
#pragma once

#include <cstdint>
#include <string_view>

namespace wdlt {

/* Does nothing for WDLT_OK and for positive results, which are answers; otherwise throws a ToolError that names the
   status, followed by `detail`. */
void checkStatus(std::int32_t status, std::string_view detail = {});

} // namespace wdlt
