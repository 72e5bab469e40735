// Prints docs/settings.md: every setting of the catalog, with everything its row says about it.
#include "Catalog.h"
#include "Described.h"

#include <fmt/format.h>

#include <string>

namespace {

using namespace wdlt;

// A page in Markdown.
constexpr char kQuote = '`';

std::string limits(const Field& field) {
    const std::string range = rangeText(field);
    return fmt::format("{}{}{}", range, range.empty() || *field.unit == '\0' ? "" : "; ", field.unit);
}

void printRow(const Field& field, bool hasNames) {
    const char* const note = field.isReadOnly ? " (read only)" : field.isKept ? " (tools leave it)" : "";
    fmt::print("| {} | {} | {} | {} | {} | {} | {}{}{}{} |\n",
               !hasNames ? "" : fmt::format("`{}`, `{}`", nameOf(field), field.member),
               field.value == nullptr ? "" : fmt::format("`{}`", field.value), kindOf(field), limits(field),
               freshText(field, kQuote), whenMissing(field, kQuote), field.isFlag ? "1: " : "", field.help,
               field.isSecret ? "; secret" : "", note);
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
