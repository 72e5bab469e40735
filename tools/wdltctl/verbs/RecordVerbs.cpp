/* get and set: a record's fields by name. */

#include "LibraryStatus.h"
#include "Records.h"
#include "ToolError.h"
#include "Verbs.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

namespace wdlt {
namespace {

/* What follows a record's name on the command line: which of several like records, where there are several, then
   fields. */
class Request {
  public:
    Request(const std::string& recordName, const std::vector<std::string>& rest)
        : record(findRecord(recordName)), fields(rest) {
        if (record.whichName == nullptr)
            return;
        if (fields.empty())
            throw whichIsNeeded(record);
        which = fields.front();
        fields.erase(fields.begin());
    }

    const Record& record;
    std::string which;
    std::vector<std::string> fields;
};

std::vector<BYTE> readRecord(const Request& request) {
    std::vector<BYTE> bytes(request.record.size);
    checkStatus(request.record.read(request.which, bytes));
    return bytes;
}

void printFields(std::span<const Field> fields, std::span<const BYTE> bytes, const Options& options) {
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
        fmt::print("{:{}}  {}\n", field.member, width, fieldText(field, bytes, options.secrets));
}

void get(const Request& request, const Options& options) {
    if (request.fields.size() > 1)
        throw tooManyFields(request.fields[1]);
    if (request.fields.empty()) {
        printFields(request.record.fields, readRecord(request), options);
        return;
    }
    const Field& field = findField(request.record, request.fields.front());
    const auto bytes = readRecord(request);
    // A single field is printed as its bare value, for scripts.
    if (options.json)
        printFields({&field, 1}, bytes, options);
    else
        fmt::print("{}\n", fieldText(field, bytes, options.secrets));
}

using Assignment = std::pair<const Field*, std::string_view>;

std::vector<Assignment> parseAssignments(const Record& record, const std::vector<std::string>& texts) {
    std::vector<Assignment> assignments;
    for (const std::string_view text : texts) {
        const std::size_t equals = text.find('=');
        if (equals == std::string_view::npos)
            throw ToolError(ExitStatus::Usage, fmt::format("{}: FIELD=VALUE expected", text));
        const Field& field = findField(record, text.substr(0, equals));
        if (std::ranges::find(assignments, &field, &Assignment::first) != assignments.end())
            throw ToolError(ExitStatus::Usage, fmt::format("{}: the field is given twice", field.member));
        assignments.emplace_back(&field, text.substr(equals + 1));
    }
    return assignments;
}

void set(const Request& request, const Options& options) {
    const Record& record = request.record;
    const auto assignments = parseAssignments(record, request.fields);
    if (assignments.empty())
        throw ToolError(ExitStatus::Usage, fmt::format("{}: FIELD=VALUE is needed", record.name));
    // Try the values on a blank record first: a usage error comes before any call of the library.
    std::vector<BYTE> trial(record.size);
    for (const auto& [field, text] : assignments)
        setField(*field, trial, text);

    auto bytes = readRecord(request);
    std::vector<Field> changed;
    for (const auto& [field, text] : assignments) {
        setField(*field, bytes, text);
        changed.push_back(*field);
    }
    checkStatus(record.write(request.which, bytes));
    if (options.json)
        printFields(changed, bytes, options);
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
    verb->footer(recordHelp(false));
    runs(*verb, Needs::Tree, [arguments, &options] { get({arguments->record, arguments->rest}, options); });
}

void addSet(CLI::App& app, const Options& options) {
    struct Arguments {
        std::string record;
        std::vector<std::string> rest;
    };
    auto* verb = app.add_subcommand("set", "Change fields of a record: it is read, and written once");
    const auto arguments = std::make_shared<Arguments>();
    verb->add_option("RECORD", arguments->record, "Name of the record")->required();
    verb->add_option("FIELD=VALUE", arguments->rest,
                     "Fields with their new values; before them, which of several records")
        ->required();
    verb->footer(recordHelp(true));
    runs(*verb, Needs::Change, [arguments, &options] { set({arguments->record, arguments->rest}, options); });
}

} // namespace wdlt
