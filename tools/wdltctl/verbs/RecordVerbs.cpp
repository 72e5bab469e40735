/* get: a record's fields by name. */

#include "LibraryStatus.h"
#include "RecordRequest.h"
#include "Shown.h"
#include "ToolError.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <nlohmann/json.hpp>

namespace wdlt {

Request::Request(const std::string& recordName, const std::vector<std::string>& rest)
    : record(&findRecord(recordName)), words(rest) {
    if (record->whichName == nullptr)
        return;
    if (words.empty())
        throw whichIsNeeded(*record);
    which = words.front();
    words.erase(words.begin());
}

std::vector<BYTE> readRecord(const Request& request) {
    std::vector<BYTE> bytes(request.record->size);
    checkStatus(request.record->read(request.which, bytes));
    return bytes;
}

void printFields(std::span<const Field> fields, std::span<const BYTE> bytes, const Options& options,
                 const std::function<std::string(const Field&)>& remark) {
    if (options.json) {
        Json document = Json::object();
        for (const Field& field : fields)
            document[std::string(field.member)] = fieldJson(field, bytes, options.secrets);
        printJson(document);
        return;
    }
    std::size_t width = 0;
    for (const Field& field : fields)
        width = std::max(width, field.member.size());
    for (const Field& field : fields)
        fmt::print("{:{}}  {}{}\n", field.member, width, fieldText(field, bytes, options.secrets),
                   remark ? remark(field) : "");
}

std::string recordHelp(bool writableOnly) {
    std::string help = "A field is named as here or as in the C record, in any case; describe tells more of it.\n";
    for (const Record& record : allRecords()) {
        help += fmt::format("{}: {}\n", record.name, record.help);
        if (record.whichName != nullptr)
            help += fmt::format("  {:28} {}, before the fields\n", record.whichName, record.whichHelp);
        for (const Field& field : record.fields) {
            if (!writableOnly || !isReadOnly(field))
                help += fmt::format("  {:28} {}\n", nameOf(field), fieldHelp(field));
        }
    }
    return help;
}

namespace {

void get(const Request& request, const Options& options) {
    if (request.words.size() > 1)
        throw tooManyFields(request.words[1]);
    if (request.words.empty()) {
        printFields(request.record->fields, readRecord(request), options);
        return;
    }
    const Field& field = findField(*request.record, request.words.front());
    const auto bytes = readRecord(request);
    // A single field is printed as its bare value, for scripts.
    if (options.json)
        printFields({&field, 1}, bytes, options);
    else
        fmt::print("{}\n", fieldText(field, bytes, options.secrets));
}

} // namespace

void addGet(CLI::App& app, const Options& options) {
    struct Arguments {
        std::string record;
        std::vector<std::string> rest;
    };
    auto* verb = app.add_subcommand("get", "Show a record, or one field's bare value");
    const auto arguments = std::make_shared<Arguments>();
    verb->add_option("RECORD", arguments->record, "Name of the record")->required();
    verb->add_option("FIELD", arguments->rest, "Name of a field; before it, which of several records");
    verb->footer([] { return recordHelp(false); }); // made only for who asks
    runs(*verb, Needs::Tree, [arguments, &options] { get({arguments->record, arguments->rest}, options); });
}

} // namespace wdlt
