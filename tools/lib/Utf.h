/* UTF-8 <-> UTF-16 for everything the tools read and print. Names in the registry may hold halves of surrogate pairs:
   those take the three bytes that their number would have in UTF-8, so that each name has exactly one spelling in a
   file and comes back from it. */
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace wdlt {

/* Nothing when `text` isn't valid; `badByte` then gives the place of the first wrong byte. */
std::optional<std::u16string> utf16FromUtf8(std::string_view text, std::size_t* badByte = nullptr);
std::string utf8FromUtf16(std::u16string_view text);

/* The same for the command line and other texts of the user: what isn't valid is a usage error. */
std::u16string utf16FromArgument(std::string_view text);

inline bool isHighSurrogate(char16_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
inline bool isLowSurrogate(char16_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}
/* True when a half stands without its other half. */
bool hasLoneSurrogate(std::u16string_view text);

} // namespace wdlt
