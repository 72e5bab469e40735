/* Rows of text in columns as wide as they need. */
#pragma once

#include <string>
#include <vector>

namespace wdlt {

using TableRow = std::vector<std::string>;

/* To the standard output: two spaces between columns, none behind the last. The first row is the heading. */
void printTable(const std::vector<TableRow>& rows);

} // namespace wdlt
