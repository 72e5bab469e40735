/* Rows of text in columns as wide as their widest cell. */
#pragma once

#include <string>
#include <vector>

namespace wdlt {

using TableRow = std::vector<std::string>;

/* Prints to the standard output: two spaces between columns, none after the last. The first row is the heading. */
void printTable(const std::vector<TableRow>& rows);

} // namespace wdlt
