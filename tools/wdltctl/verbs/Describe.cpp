/* describe: what the tables say about a record and its fields. Needs no home. */

#include "Catalog.h"
#include "Described.h"
#include "KeyPath.h"
#include "Records.h"
#include "Suggestion.h"
#include "Table.h"
#include "ToolError.h"
#include "Utf.h"
#include "Verbs.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdint>
#include <fmt/format.h>
#include <memory>
#include <nlohmann/json.hpp>

namespace wdlt {
namespace {

constexpr char kQuote = '"';

struct Limits {
    std::int64_t least;
    std::int64_t most;
};

Limits limitsOf(const Field& field) {
    const std::int64_t values = std::int64_t{1} << (8 * field.bytes);
    if (field.isSigned)
        return {-values / 2, values / 2 - 1};
    const Range range = rangeOf(field);
    return {range.low, std::min<std::int64_t>(range.high, values - 1)};
}

std::string limitsText(const Field& field) {
    if (field.kind != FieldKind::Number)
        return "";
    const Limits limits = limitsOf(field);
    const std::string range = rangeText(field);
    return range.empty() ? fmt::format("{} to {}", limits.least, limits.most) : range;
}

std::string keyOf(const Settings& settings) {
    return fullKeyName(joinPath(kBasePath, utf16FromArgument(settings.key)));
}

Json fieldDescription(const Settings& settings, const Field& field) {
    Json row = {{"field", nameOf(field)},
                {"member", field.member},
                {"key", keyOf(settings)},
                {"value", field.value == nullptr ? Json(nullptr) : Json(field.value)},
                {"kind", kindOf(field)}};
    if (field.kind == FieldKind::Number) {
        row["least"] = limitsOf(field).least;
        row["most"] = limitsOf(field).most;
        row["unit"] = field.unit;
    } else if (field.kind != FieldKind::NumberList) {
        row["mostBytes"] = mostBytes(field);
    }
    row["whenMissing"] = whenMissing(field, kQuote);
    row["fresh"] = !field.hasFresh                   ? Json(nullptr)
                   : field.kind == FieldKind::Number ? Json(field.onRead(field.freshNumber))
                                                     : Json(field.freshText);
    row["secret"] = field.isSecret;
    row["readOnly"] = isReadOnly(field);
    row["help"] = field.help;
    return row;
}

void describeField(const Settings& settings, const Field& field, const Options& options) {
    if (options.json) {
        printJson(fieldDescription(settings, field));
        return;
    }
    const std::pair<const char*, std::string> facts[] = {
        {"key", keyOf(settings)},
        {"value", field.value == nullptr ? "none of its own" : field.value},
        {"kind", kindOf(field)},
        {"range", limitsText(field)},
        {"unit", field.unit},
        {"when missing", whenMissing(field, kQuote)},
        {"fresh", freshText(field, kQuote)},
        {"secret", field.isSecret ? "shown with --secrets only" : ""},
        {"read only", isReadOnly(field) ? "yes" : ""},
    };
    fmt::print("{}, {}: {}\n", nameOf(field), field.member, field.help);
    std::vector<TableRow> rows;
    for (const auto& [name, fact] : facts)
        if (!fact.empty())
            rows.push_back({name, fact});
    printTable(rows);
}

void describeRecord(const Settings& settings, const Record& record, const Options& options) {
    if (options.json) {
        Json document = {
            {"record", settings.name}, {"help", record.help}, {"key", keyOf(settings)}, {"fields", Json::array()}};
        for (const Field& field : settings.fields)
            document["fields"].push_back(fieldDescription(settings, field));
        printJson(document);
        return;
    }
    fmt::print("{}: {}\n{}\n\n", settings.name, record.help, keyOf(settings));
    std::vector<TableRow> rows = {{"FIELD", "VALUE", "KIND", "WHEN MISSING", "HELP"}};
    for (const Field& field : settings.fields)
        rows.push_back({nameOf(field), field.value == nullptr ? "" : field.value, kindOf(field),
                        whenMissing(field, kQuote), fieldHelp(field)});
    printTable(rows);
}

/* The catalog has a row for each of a record's places, named after both. */
const Settings& settingsOf(const Record& record, std::vector<std::string>& words) {
    const auto* const own = std::ranges::find(kSettings, record.name, &Settings::name);
    if (own != std::end(kSettings))
        return *own;
    if (words.empty())
        throw whichIsNeeded(record);
    const std::string name = fmt::format("{} {}", record.name, words.front());
    words.erase(words.begin());
    std::vector<const Settings*> places;
    for (const Settings& settings : kSettings)
        if (settings.name.starts_with(std::string(record.name) + " "))
            places.push_back(&settings);
    return *findNamed(places, name, "record", [](const Settings* settings) { return settings->name; });
}

void describe(const std::string& name, std::vector<std::string> words, const Options& options) {
    const Record& record = findRecord(name);
    const Settings& settings = settingsOf(record, words);
    if (words.size() > 1)
        throw tooManyFields(words[1]);
    if (words.empty())
        describeRecord(settings, record, options);
    else
        describeField(
            settings,
            findField({record.name, record.help, record.size, settings.fields, nullptr, nullptr}, words.front()),
            options);
}

} // namespace

void addDescribe(CLI::App& app, const Options& options) {
    struct Arguments {
        std::string record;
        std::vector<std::string> words;
    };
    auto* verb = app.add_subcommand("describe", "Tell what a record's fields are, or one field");
    const auto arguments = std::make_shared<Arguments>();
    verb->add_option("RECORD", arguments->record, "Name of the record; wdltctl list records has all")->required();
    verb->add_option("FIELD", arguments->words, "Name of a field; before it, for virus, which place");
    verb->footer("The registry's key and value, what is stored in it, the numbers or bytes that it takes, what a read "
                 "gives when the value is missing, and what a fresh installation has. * is any name.");
    verb->callback([arguments, &options] { describe(arguments->record, arguments->words, options); });
}

} // namespace wdlt
