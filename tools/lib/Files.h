/* Reads and writes whole files; "-" is the standard input or output. A failure is a ToolError that names the file. */
#pragma once

#include <string>
#include <string_view>

namespace wdlt {

inline constexpr std::string_view kStandardStream = "-";

std::string readFile(const std::string& file);
void writeFile(const std::string& file, std::string_view content);

} // namespace wdlt
