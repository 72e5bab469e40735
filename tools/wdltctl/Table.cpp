#include "Table.h"

#include "Display.h"
#include "Utf.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>

namespace wdlt {
namespace {

std::string cellText(const Json& cell) {
    if (cell.is_array()) {
        std::vector<std::string> words;
        std::ranges::transform(cell, std::back_inserter(words), cellText);
        return fmt::format("{}", fmt::join(words, " "));
    }
    return cell.is_string() ? displayText(utf16FromUtf8(cell.get<std::string>()).value_or(u"?")) : cell.dump();
}

} // namespace

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

void printOverview(const Overview& overview, bool asJson) {
    Json document = Json::array();
    std::vector<TableRow> table = {overview.columns};
    for (std::string& column : table[0])
        std::ranges::transform(column, column.begin(),
                               [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
    for (const auto& row : overview.rows) {
        Json each = Json::object();
        table.emplace_back();
        for (std::size_t i = 0; i < row.size(); ++i) {
            each[overview.columns[i]] = row[i];
            table.back().push_back(cellText(row[i]));
        }
        document.push_back(std::move(each));
    }
    if (asJson)
        printJson(document);
    else
        printTable(table);
}

} // namespace wdlt
