/* Statuses of the library in words. */
#pragma once

#include <cstdint>
#include <string_view>

namespace wdlt {

/* Nothing for 0 and for the positive results, which are answers; else a ToolError that names the status, with `detail`
   behind it. */
void checkStatus(std::int32_t status, std::string_view detail = {});

} // namespace wdlt
