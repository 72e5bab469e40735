/* Rows of text in columns as wide as their widest cell. */
#pragma once

#include "Json.h"

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace wdlt {

using TableRow = std::vector<std::string>;

/* Prints to the standard output: two spaces between columns, none after the last. The first row is the heading. */
void printTable(const std::vector<TableRow>& rows);

/* A row is a line of the table, or an object whose members are named after the columns. A cell is a word, a number or a
   list of words. */
struct Overview {
    TableRow columns;
    std::vector<std::vector<Json>> rows;
};
/* On the standard output. */
void printOverview(const Overview& overview, bool asJson);

} // namespace wdlt
