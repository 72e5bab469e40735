/* Status codes of the library in words. */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace wdlt {

/* "status -9 (registry failure)". */
std::string statusText(std::int32_t status);

/* A list without a file is an empty one. */
std::int32_t missingIsEmpty(std::int32_t status);

/* Does nothing for WDLT_OK and for positive results, which are answers; otherwise throws a ToolError that names the
   status, followed by `detail` and the path of the file that it is about. WDLT_E_NO_ANSWER means that everything is
   stored, but the service wasn't told. */
void checkStatus(std::int32_t status, std::string_view detail = {}, std::string_view path = {});

} // namespace wdlt
