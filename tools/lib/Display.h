/* Texts from the registry and from records on their way to a terminal: a name or a value must not be able to move its
   cursor or break its line. */
#pragma once

#include <cstddef>
#include <platform/base.h>
#include <span>
#include <string>
#include <string_view>

namespace wdlt {

/* UTF-8, with control characters as \xNN and surrogate halves as \uNNNN. */
std::string displayText(std::u16string_view text);
/* Bytes in the system code page likewise; what is invalid there becomes U+FFFD. */
std::string displayNarrow(std::string_view text);

/* Offset, sixteen bytes and their ASCII characters a line; lines like the one before are one *, the last line is the
   size. */
std::string hexDump(std::span<const BYTE> bytes);
/* Two digits a byte, nothing between. */
std::string hexDigits(std::span<const BYTE> bytes);

/* Text in the system code page as UTF-8, and back; the latter is empty-handed when the code page lacks a character. */
std::string utf8FromNarrow(std::string_view text);
bool narrowFromUtf8(std::string_view text, std::string& narrow);

} // namespace wdlt
