/* UTF-8 <-> UTF-16 for everything the tools read and print. Names in the registry may contain lone surrogates: those
   are written as the three bytes that their code point would have in UTF-8, so that each name has exactly one spelling
   in a file and survives the round trip. */
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace wdlt {

/* nullopt when `text` isn't valid; `badByte` then receives the offset of the first bad byte. */
std::optional<std::u16string> utf16FromUtf8(std::string_view text, std::size_t* badByte = nullptr);
std::string utf8FromUtf16(std::u16string_view text);

/* The same for user input such as the command line: invalid text is a usage error. */
std::u16string utf16FromArgument(std::string_view text);

inline bool isHighSurrogate(char16_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
inline bool isLowSurrogate(char16_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}
/* True when `text` has an unpaired surrogate. */
bool hasLoneSurrogate(std::u16string_view text);

} // namespace wdlt
