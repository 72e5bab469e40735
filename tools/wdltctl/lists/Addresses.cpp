/* The mail address cache, which the service fills. */

#include "Display.h"
#include "LibraryStatus.h"
#include "Lists.h"
#include "Table.h"

#include <CLI/CLI.hpp>
#include <cstring>
#include <nlohmann/json.hpp>
#include <string_view>
#include <vector>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {
namespace {

/* Empty when the service has never written a cache. */
std::vector<MailAddressRecord> readAddresses() {
    std::int32_t count = 0;
    std::int32_t status = WdltMahReadRecordList(nullptr, &count);
    if (status == WDLT_E_FILE_NOT_FOUND)
        return {};
    checkStatus(status, "address cache");
    std::vector<MailAddressRecord> records(static_cast<std::size_t>(count) + 1);
    status = WdltMahReadRecordList(records.data(), &count);
    checkStatus(status, "address cache");
    records.resize(static_cast<std::size_t>(count));
    return records;
}

std::string_view addressOf(const MailAddressRecord& record) {
    return {record.szAddress, strnlen(record.szAddress, sizeof record.szAddress)};
}

void listAddresses(const Options& options) {
    const auto records = readAddresses();
    if (options.json) {
        Json document = Json::array();
        for (const MailAddressRecord& record : records)
            document.push_back({{"tag", record.dwAddressTag}, {"address", utf8FromNarrow(addressOf(record))}});
        printJson(document);
        return;
    }
    std::vector<TableRow> rows = {{"TAG", "ADDRESS"}};
    for (const MailAddressRecord& record : records)
        rows.push_back({std::to_string(record.dwAddressTag), displayNarrow(addressOf(record))});
    printTable(rows);
}

void addAddressList(CLI::App& verb, const Options& options) {
    runs(*verb.add_subcommand("addresses", "Show the mail addresses that the service remembers"), Needs::Tree,
         [&options] { listAddresses(options); });
}

} // namespace

const List kAddressList = {addAddressList, nullptr, nullptr};

} // namespace wdlt
