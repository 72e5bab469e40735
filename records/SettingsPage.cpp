// Prints docs/settings.md: every setting of the catalog, with everything its row says about it.
#include "Catalog.h"

#include <fmt/format.h>

#include <string>

namespace {

using namespace wdlt;

std::string kindOf(const Field& field) {
    switch (field.kind) {
    case FieldKind::Number:
        return field.isFlag ? "flag" : "number";
    case FieldKind::Text:
    case FieldKind::SealedText:
        return fmt::format("{}{}{}", field.isFileName ? "file name" : "text",
                           field.bytes == 0 ? "" : fmt::format(", {} bytes", mostBytes(field)),
                           field.kind == FieldKind::SealedText ? ", enciphered" : "");
    case FieldKind::NameList:
        return fmt::format("names, {} of {} bytes", field.bytes / field.slotBytes, field.slotBytes - 1);
    case FieldKind::NumberList:
        return "numbers";
    }
    return {};
}

// What happens to a number outside its limits: `takes` refuses it, a rule replaces it.
std::string rangeText(const Field& field) {
    const Range range = rangeOf(field);
    std::string text;
    if (field.kind == FieldKind::Number && !field.isFlag && !range.isAll()) {
        const bool isRefused = field.least != 0 || field.most != UINT32_MAX;
        const bool hasOther = field.onRead.outside == NumberRule::Outside::TakesOther ||
                              field.onWrite.outside == NumberRule::Outside::TakesOther;
        const std::uint32_t other =
            field.onWrite.outside == NumberRule::Outside::TakesOther ? field.onWrite.other : field.onRead.other;
        text = range.high == UINT32_MAX ? fmt::format("from {}", range.low)
                                        : fmt::format("{} to {}", range.low, range.high);
        text += isRefused ? ", else refused" : hasOther ? fmt::format(", else {}", other) : ", else the nearest";
    }
    return fmt::format("{}{}{}", text, text.empty() || *field.unit == '\0' ? "" : "; ", field.unit);
}

std::string contentText(const Field& field, std::uint32_t number, std::string_view text) {
    if (field.kind != FieldKind::Number)
        return text.empty() ? "empty" : fmt::format("`{}`", text);
    return number > INT32_MAX && field.isSigned ? fmt::format("{}", static_cast<std::int32_t>(number))
                                                : fmt::format("{}", number);
}

// What a read gives for a missing value and, if it differs, for one that can't be read.
std::string whenMissing(const Field& field) {
    if (field.value == nullptr)
        return "";
    if (field.isFromDefaults)
        return "the fresh value of its place";
    if (field.otherValue != nullptr)
        return fmt::format("as `{}`", field.otherValue);
    if (!field.whenAbsent.goesOn)
        return "the read fails";
    return contentText(field, field.onRead(field.number), field.text) +
           (field.whenFailed.goesOn ? "" : "; unreadable: the read fails");
}

void printRow(const Field& field, bool hasNames) {
    const std::string fresh =
        field.hasFresh ? contentText(field, field.onRead(field.freshNumber), field.freshText) : std::string();
    const char* const note = field.isReadOnly ? " (read only)" : field.isKept ? " (tools leave it)" : "";
    fmt::print("| {} | {} | {} | {} | {} | {} | {}{}{}{} |\n",
               !hasNames ? "" : fmt::format("`{}`, `{}`", nameOf(field), field.member),
               field.value == nullptr ? "" : fmt::format("`{}`", field.value), kindOf(field), rangeText(field), fresh,
               whenMissing(field), field.isFlag ? "1: " : "", field.help, field.isSecret ? "; secret" : "", note);
}

constexpr const char* kIntroduction = R"(# Settings

Every setting. Field: the two names by which `wdltctl get RECORD FIELD` takes it; Value: the registry's name. This page is
made of the tables in `records/` (`settings_page` prints it), and a gate holds it against them.

Range is what `wdltctl set` takes, and after it what the library makes of any other number, unless it is the tools that
refuse it. Fresh is what `wdltctl init` lays down. The type of a value isn't looked at: a number is its first bytes. Unreadable is one
that has more bytes than the field takes, or that the registry fails to give. Privacy items and redirects are lists, and
not here. Keys stand below `SOFTWARE\Halvermoor\PLK\Wardlet`; `*` is any name.
)";

} // namespace

int main() {
    fmt::print("{}", kIntroduction);
    for (const Settings& settings : kSettings) {
        fmt::print("\n## {}{}\n\nKey: `{}`\n\n", settings.name.empty() ? "" : fmt::format("{}: ", settings.name),
                   settings.help, settings.key.empty() ? "." : settings.key);
        fmt::print("| Field | Value | Kind | Range | Fresh | When missing | |\n|---|---|---|---|---|---|---|\n");
        for (const Field& field : settings.fields)
            printRow(field, !settings.name.empty());
    }
}
