/* What privacy protection searches for: each item in each charset, as bytes. They reveal the item's text, so they are
   shown only on request. */

#include "Lists.h"
#include "PrivacyStore.h"
#include "Table.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <nlohmann/json.hpp>
#include <span>
#include <wdltcfg/charsets.h>

namespace wdlt {
namespace {

constexpr std::size_t kPatternBytes = 112;

/* Without the trailing padding zeros; those inside a text of 16-bit units stay. */
std::string digitsOf(const PrivacySearchRecord& record) {
    const std::span bytes = std::span(record.byPattern).first(kPatternBytes);
    const auto last = std::find_if(bytes.rbegin(), bytes.rend(), [](auto byte) { return byte != 0; });
    return fmt::format("{:02x}", fmt::join(bytes.first(static_cast<std::size_t>(bytes.rend() - last)), " "));
}

void listPatterns(const Options& options) {
    const PrivacyPatterns store = PrivacyPatterns::read();
    const auto shown = [&](const PrivacySearchRecord& record) {
        return options.secrets ? digitsOf(record) : std::string(kHiddenSecret);
    };
    if (options.json) {
        Json document = Json::array();
        for (const PrivacySearchRecord& record : store.items)
            document.push_back({{"item", record.dwItemIndex},
                                {"charset", wdltCharsetName(record.dwCharSet)},
                                {"pattern", shown(record)}});
        printJson(document);
        return;
    }
    std::vector<TableRow> rows = {{"ITEM", "CHARSET", "PATTERN"}};
    for (const PrivacySearchRecord& record : store.items)
        rows.push_back({std::to_string(record.dwItemIndex), wdltCharsetName(record.dwCharSet), shown(record)});
    printTable(rows);
}

void addPatternList(CLI::App& verb, const Options& options) {
    runs(*verb.add_subcommand("patterns", "Show the bytes that privacy items are searched by, in each charset"),
         Needs::Tree, [&options] { listPatterns(options); });
}

} // namespace

const List kPrivacyPatternList = {addPatternList, nullptr, nullptr};

} // namespace wdlt
