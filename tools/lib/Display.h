/* Makes texts from the registry and from records safe to print: a name or a value must not be able to move the
   terminal's cursor or break its line. */
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
/* A path as the file system has it likewise: in UTF-8 whatever the code page is. */
std::string displayFile(std::string_view path);
/* A path in UTF-8 with separators of one kind: those of its root. */
std::string displayPath(std::string path);

/* Each line has an offset, sixteen bytes and their ASCII characters; a run of repeated lines becomes one *, and the
   last line is the size. */
std::string hexDump(std::span<const BYTE> bytes);
/* Two digits per byte, no separators. */
std::string hexDigits(std::span<const BYTE> bytes);

/* Text in the system code page; what is invalid there becomes U+FFFD, and makes `isValid` false. */
std::u16string utf16FromNarrow(std::string_view text, bool* isValid = nullptr);
/* Text in the system code page to UTF-8, and back; the latter fails when the code page lacks a character. */
std::string utf8FromNarrow(std::string_view text);
bool narrowFromUtf8(std::string_view text, std::string& narrow);
/* Whether the bytes are a text of the system code page. */
bool isCodePageText(std::string_view bytes);

} // namespace wdlt
