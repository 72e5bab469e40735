#include "Table.h"

#include <algorithm>
#include <fmt/format.h>

namespace wdlt {

void printTable(const std::vector<TableRow>& rows) {
    std::vector<std::size_t> widths;
    for (const TableRow& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], fmt::formatted_size("{}", row[i]));
    }
    for (const TableRow& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i)
            line += fmt::format("{:{}}  ", row[i], widths[i]);
        line.erase(line.find_last_not_of(' ') + 1);
        fmt::print("{}\n", line);
    }
}

} // namespace wdlt
