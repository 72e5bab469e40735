#include "Entries.h"

#include "Display.h"
#include "KeyPath.h"
#include "Utf.h"

#include <algorithm>
#include <cctype>
#include <fmt/format.h>
#include <iterator>
#include <optional>
#include <set>

namespace wdlt {
namespace {

/* Empty: it can be stored. */
std::string whyNot(const Column& column, const Json& value) {
    if (column.kind == Column::Kind::Number) {
        const bool isInRange = value.is_number_integer() &&
                               (!value.is_number_unsigned() || value.get<std::uint64_t>() <= INT64_MAX) &&
                               value.get<std::int64_t>() >= column.least && value.get<std::int64_t>() <= column.most;
        return isInRange ? "" : fmt::format("a number from {} to {} is needed", column.least, column.most);
    }
    if (!value.is_string())
        return "a text is needed";
    const auto& text = value.get_ref<const std::string&>();
    if (text.find('\0') != std::string::npos)
        return "a zero byte inside";
    std::string narrow;
    if (column.kind == Column::Kind::Narrow &&
        (!narrowFromUtf8(text, narrow) || narrow.size() > static_cast<std::size_t>(column.most)))
        return fmt::format("at most {} bytes in the system code page", column.most);
    if (column.kind == Column::Kind::Wide &&
        utf16FromUtf8(text).value_or(std::u16string()).size() > static_cast<std::size_t>(column.most))
        return fmt::format("at most {} characters", column.most);
    return "";
}

} // namespace

Json wantedEntry(std::span<const Column> columns, const Json& given, const DocumentPath& place,
                 Complaints& complaints) {
    std::vector<std::string> known;
    Json entry = Json::object();
    for (const Column& column : columns) {
        known.emplace_back(column.name);
        if (!column.mayBeAbsent)
            entry[column.name] = column.kind == Column::Kind::Number ? Json(column.absent) : Json("");
    }
    eachMember(given, place, known, complaints, [&](const std::string& name, const Json& value) {
        const Column& column = *std::ranges::find(columns, name, &Column::name);
        if (const std::string why = whyNot(column, value); why.empty())
            entry[name] = value;
        else
            complaints.add(below(place, name), why);
    });
    return entry;
}

Json entriesSchema(std::span<const Column> columns, const char* names) {
    Json properties = Json::object();
    for (const Column& column : columns) {
        Json& type = properties[column.name];
        if (column.kind == Column::Kind::Number)
            type = {{"type", "integer"}, {"minimum", column.least}, {"maximum", column.most}};
        else
            type = {{"type", "string"}};
        if (column.kind == Column::Kind::Narrow || column.kind == Column::Kind::Wide)
            type["maxLength"] = column.most;
    }
    const Json entry = {{"type", "object"}, {"properties", properties}, {"additionalProperties", false}};
    return {{"type", "object"}, {"propertyNames", {{"pattern", names}}}, {"additionalProperties", entry}};
}

bool eachEntry(const Json& given, const DocumentPath& path, Complaints& complaints,
               const std::function<void(const std::string& name, const Json& entry)>& take) {
    if (given.is_null())
        return true;
    if (!given.is_object()) {
        complaints.add(path, "an object is needed");
        return false;
    }
    std::set<std::string> lowered;
    for (const auto& [name, entry] : given.items()) {
        std::string key = name;
        std::ranges::transform(key, key.begin(),
                               [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
        if (lowered.insert(key).second)
            take(name, entry);
        else
            complaints.add(below(path, name), "there twice, but for the letters' case");
    }
    return true;
}

} // namespace wdlt
