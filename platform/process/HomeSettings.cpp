// The text of <home>/settings.
#include "Home.h"
#include "IniText.h"

#include <charconv>

namespace wd {

namespace {

bool parseNumber(std::string_view text, unsigned& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

bool parseDurability(std::string_view text, bool& durable) {
    durable = text == "disk";
    return durable || text == "process";
}

bool parseLine(std::string_view line, HomeSettings& settings) {
    line = trimmed(line);
    if (line.empty() || line.front() == '#')
        return true;
    const auto equals = line.find('=');
    if (equals == std::string_view::npos)
        return false;
    const auto name = trimmed(line.substr(0, equals));
    const auto value = trimmed(line.substr(equals + 1));
    if (name == "layout")
        return parseNumber(value, settings.layout);
    if (name == "codepage")
        return parseNumber(value, settings.codePage);
    if (name == "folding")
        return parseNumber(value, settings.folding);
    if (name == "durability")
        return parseDurability(value, settings.durable);
    return true;
}

} // namespace

std::optional<HomeSettings> HomeSettings::parse(std::string_view text) {
    HomeSettings settings;
    settings.layout = 0; // the one required line: without it this is another file, or a truncated one
    while (!text.empty()) {
        const auto line = text.substr(0, text.find('\n'));
        if (!parseLine(line, settings))
            return std::nullopt;
        text.remove_prefix(std::min(line.size() + 1, text.size()));
    }
    if (settings.layout == 0)
        return std::nullopt;
    return settings;
}

std::string HomeSettings::text() const {
    return "# What all processes that use this home agree on.\n"
           "layout = " +
           std::to_string(layout) + "\ncodepage = " + std::to_string(codePage) +
           "\nfolding = " + std::to_string(folding) + "\ndurability = " + (durable ? "disk" : "process") + "\n";
}

} // namespace wd
