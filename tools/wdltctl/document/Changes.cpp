#include "Changes.h"

#include "Display.h"
#include "Files.h"
#include "RecordFields.h"
#include "Utf.h"

#include <algorithm>
#include <fmt/format.h>
#include <span>
#include <unistd.h>

namespace wdlt {
namespace {

constexpr const char* kRed = "\x1b[31m";
constexpr const char* kGreen = "\x1b[32m";
constexpr const char* kPlain = "\x1b[0m";

bool isSecretAt(const DocumentPath& path) {
    return std::ranges::any_of(allParts(), [&](const Part* part) {
        const DocumentPath& start = part->path();
        return path.size() > start.size() && std::equal(start.begin(), start.end(), path.begin()) &&
               part->isSecret(std::span(path).subspan(start.size()));
    });
}

void compare(const Json& before, const Json& after, const DocumentPath& path, std::vector<Change>& changes) {
    if (!before.is_object() || !after.is_object()) {
        if (before != after)
            changes.push_back({path, before, after});
        return;
    }
    for (const auto& [name, value] : before.items())
        compare(value, after.contains(name) ? after[name] : Json(), below(path, name), changes);
    for (const auto& [name, value] : after.items())
        if (!before.contains(name))
            compare(Json(), value, below(path, name), changes);
}

bool isList(const Change& change) {
    return change.from.is_array() && change.to.is_array() && change.path.front() == "lists";
}

/* The entries of `list` that aren't in `other`, each as often as it is there more often. */
std::vector<Json> without(const Json& list, const Json& other) {
    std::vector<Json> rest(list.begin(), list.end());
    std::vector<Json> gone(other.begin(), other.end());
    std::erase_if(rest, [&](const Json& entry) {
        const auto found = std::ranges::find(gone, entry);
        const bool isThere = found != gone.end();
        if (isThere)
            gone.erase(found);
        return isThere;
    });
    return rest;
}

/* Without the secrets in it. */
Json shownValue(const Json& value, const DocumentPath& path) {
    if (value.is_object()) {
        Json shown = Json::object();
        for (const auto& [name, member] : value.items())
            shown[name] = shownValue(member, below(path, name));
        return shown;
    }
    const bool isText = value.is_string() && !value.get_ref<const std::string&>().empty();
    return isText && isSecretAt(path) ? Json(kHiddenSecret) : value;
}

std::string textOfValue(const Json& value) {
    return value.is_null() ? "(none)" : displayText(utf16FromUtf8(value.dump()).value_or(u"?"));
}

std::string lineOf(const std::string& path, const char* colour, const std::string& text) {
    const bool isColoured = colour != kPlain && ::isatty(STDOUT_FILENO) == 1;
    return fmt::format("{}{}: {}{}\n", isColoured ? colour : "", path, text, isColoured ? kPlain : "");
}

std::string linesOf(const Change& change, bool showSecrets) {
    const std::string path = pathText(change.path);
    if (!isList(change)) {
        const auto shown = [&](const Json& value) {
            return textOfValue(showSecrets ? value : shownValue(value, change.path));
        };
        if (change.to.is_object())
            return lineOf(path, kGreen, "+ " + shown(change.to));
        if (change.from.is_object())
            return lineOf(path, kRed, "- " + shown(change.from));
        return lineOf(path, kPlain, fmt::format("{} -> {}", shown(change.from), shown(change.to)));
    }
    const auto text = [](const Json& entry) {
        return displayText(utf16FromUtf8(entry.get_ref<const std::string&>()).value_or(u"?"));
    };
    std::string lines;
    for (const Json& entry : without(change.from, change.to))
        lines += lineOf(path, kRed, "- " + text(entry));
    for (const Json& entry : without(change.to, change.from))
        lines += lineOf(path, kGreen, "+ " + text(entry));
    return lines.empty() ? lineOf(path, kPlain, "another order") : lines;
}

} // namespace

std::vector<Change> changesBetween(const Json& before, const Json& after) {
    std::vector<Change> changes;
    for (const char* const section : {"records", "features", "lists"})
        compare(before.value(section, Json::object()), after.value(section, Json::object()), {section}, changes);
    return changes;
}

std::string changeLines(const std::vector<Change>& changes, bool showSecrets) {
    std::string lines;
    for (const Change& change : changes)
        lines += linesOf(change, showSecrets);
    return lines;
}

Json changesJson(const std::vector<Change>& changes, bool showSecrets) {
    Json document = Json::array();
    for (const Change& change : changes) {
        Json each = {{"path", pathText(change.path)}};
        const auto shown = [&](const Json& value) { return showSecrets ? value : shownValue(value, change.path); };
        if (isList(change)) {
            each["removed"] = without(change.from, change.to);
            each["added"] = without(change.to, change.from);
        } else {
            each["from"] = shown(change.from);
            each["to"] = shown(change.to);
        }
        document.push_back(std::move(each));
    }
    return document;
}

void printChanges(const std::vector<Change>& changes, bool asJson, bool showSecrets) {
    if (asJson)
        printJson(changesJson(changes, showSecrets));
    else
        writeFile(std::string(kStandardStream), changeLines(changes, showSecrets));
}

} // namespace wdlt
