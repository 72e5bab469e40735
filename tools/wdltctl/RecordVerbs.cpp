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

std::vector<BYTE> readRecord(const Record& record) {
    std::vector<BYTE> bytes(record.size);
    checkStatus(record.read(bytes));
    return bytes;
}

void printFields(std::span<const Field> fields, std::span<const BYTE> bytes, const Options& options) {
    if (options.json) {
        Json document = Json::object();
        for (const Field& field : fields)
            document[std::string(field.name)] = fieldJson(field, bytes, options.secrets);
        printJson(document);
        return;
    }
    std::size_t width = 0;
    for (const Field& field : fields)
        width = std::max(width, field.name.size());
    for (const Field& field : fields)
        fmt::print("{:{}}  {}\n", field.name, width, fieldText(field, bytes, options.secrets));
}

void get(const Record& record, const std::string& fieldName, const Options& options) {
    if (fieldName.empty()) {
        printFields(record.fields, readRecord(record), options);
        return;
    }
    const Field& field = findField(record, fieldName);
    const auto bytes = readRecord(record);
    // One field alone is for scripts: its bare value.
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
        assignments.emplace_back(&findField(record, text.substr(0, equals)), text.substr(equals + 1));
    }
    return assignments;
}

void set(const Record& record, const std::vector<std::string>& texts, const Options& options) {
    const auto assignments = parseAssignments(record, texts);
    // What makes no sense is refused before the library is asked for anything.
    std::vector<BYTE> trial(record.size);
    for (const auto& [field, text] : assignments)
        setField(*field, trial, text);

    auto bytes = readRecord(record);
    std::vector<Field> changed;
    for (const auto& [field, text] : assignments) {
        setField(*field, bytes, text);
        changed.push_back(*field);
    }
    checkStatus(record.write(bytes));
    if (options.json)
        printFields(changed, bytes, options);
}

std::string recordHelp(bool writableOnly) {
    std::string help;
    for (const Record* record : allRecords()) {
        help += fmt::format("{}: {}\n", record->name, record->help);
        for (const Field& field : record->fields) {
            if (!writableOnly || !field.isReadOnly)
                help += fmt::format("  {:20} {}{}\n", field.name, field.help, field.isReadOnly ? " (read only)" : "");
        }
    }
    return help;
}

} // namespace

void addGet(CLI::App& app, const Options& options) {
    struct Arguments {
        std::string record;
        std::string field;
    };
    auto* verb = app.add_subcommand("get", "Show a record, or one field's bare value");
    const auto arguments = std::make_shared<Arguments>();
    verb->add_option("RECORD", arguments->record, "Name of the record")->required();
    verb->add_option("FIELD", arguments->field, "Name of a field");
    verb->footer(recordHelp(false));
    verb->callback([arguments, &options] { get(findRecord(arguments->record), arguments->field, options); });
}

void addSet(CLI::App& app, const Options& options) {
    struct Arguments {
        std::string record;
        std::vector<std::string> assignments;
    };
    auto* verb = app.add_subcommand("set", "Change fields of a record: it is read, and written once");
    const auto arguments = std::make_shared<Arguments>();
    verb->add_option("RECORD", arguments->record, "Name of the record")->required();
    verb->add_option("FIELD=VALUE", arguments->assignments, "Fields with their new values")->required();
    verb->footer(recordHelp(true));
    verb->callback([arguments, &options] { set(findRecord(arguments->record), arguments->assignments, options); });
}

} // namespace wdlt
