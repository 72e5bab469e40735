/* Narrow texts in the fields of records. */
#pragma once

#include "Display.h"
#include "ToolError.h"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <iterator>
#include <string>

namespace wdlt {

/* A text that doesn't fit with its terminator, or has one inside, is a usage error that begins with `name`. */
template <std::size_t size>
void setNarrow(char (&field)[size], std::string_view name, const std::string& argument) {
    std::string text;
    if (!narrowFromUtf8(argument, text) || text.size() >= size || text.find('\0') != std::string::npos)
        throw ToolError(ExitStatus::Usage, fmt::format("{}: at most {} bytes in the system code page", name, size - 1));
    std::fill(std::copy(text.begin(), text.end(), std::begin(field)), std::end(field), '\0');
}

/* Works with or without a terminator in the field. */
template <std::size_t size>
std::string narrowOf(const char (&field)[size]) {
    return {field, strnlen(field, size)};
}

} // namespace wdlt
