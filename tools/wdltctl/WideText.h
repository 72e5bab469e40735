/* UTF-16 texts in the fields of records. */
#pragma once

#include "ToolError.h"
#include "Utf.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <string>
#include <string_view>
#include <wdltcfg/records.h>

namespace wdlt {

/* Works with or without a terminator in the field. */
template <std::size_t size>
std::u16string textOf(const wdlt_wchar (&field)[size]) {
    return {std::begin(field), std::find(std::begin(field), std::end(field), u'\0')};
}

/* A text that doesn't fit with its terminator is a usage error that begins with `name`. */
template <std::size_t size>
void setWide(wdlt_wchar (&field)[size], std::string_view name, const std::string& argument) {
    const auto text = utf16FromArgument(argument);
    if (text.size() >= size)
        throw ToolError(ExitStatus::Usage, fmt::format("{}: at most {} characters", name, size - 1));
    std::fill(std::copy(text.begin(), text.end(), std::begin(field)), std::end(field), u'\0');
}

} // namespace wdlt
