// Conversion between the system code page and UTF-16, and the folding of names. UTF-8 is decoded here; any other code
// page is a table that never changes: every function may be called from any thread and in the child of a fork. Plain
// ASCII is converted without looking up the code page, so it needs no home.
#pragma once

#include <platform/base.h>

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace wd {

// Any bytes survive the round trip: a byte that isn't valid in the code page becomes the lone surrogate U+DC00 + byte,
// and such a surrogate becomes that byte again. A lead byte and a byte that is no trail to it are one character, as for
// CharNextA: a separator in that place becomes such a surrogate too, so that it separates nothing. Where several byte
// sequences mean the same character, it comes back as the usual one. A unit that the code page lacks becomes '?' (in
// UTF-8, which lacks only other lone surrogates, U+FFFD).
std::u16string wideFromCodePage(std::string_view text);
std::string codePageFromWide(std::u16string_view text);

// The same into the caller's buffer, which needs room for one unit per byte, or for kMaxBytesPerUnit bytes per unit.
// Returns how many were written.
std::size_t wideFromCodePage(std::string_view text, char16_t* target);
std::size_t codePageFromWide(std::u16string_view text, char* target);
inline constexpr std::size_t kMaxBytesPerUnit = 3;

// Simple upper case of one UTF-16 unit: what names are compared by.
char16_t foldUnitBeyondAscii(char16_t unit);
inline char16_t foldUnit(char16_t unit) {
    if (unit >= 0x80)
        return foldUnitBeyondAscii(unit);
    return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - (u'a' - u'A')) : unit;
}

// In a path. Not where it is a trail byte.
inline bool isSeparator(char c) {
    return c == '\\' || c == '/';
}

// Whether `byte` begins a double-byte character of the system code page.
bool isLeadByte(BYTE byte);

bool endsInSeparator(std::string_view path);

// Whether the layer has this code page. The system code page is always one that it has.
bool isKnownCodePage(UINT number);

// Building blocks of the interface's conversion calls. `number` may be CP_ACP.
enum class InvalidBytes { Escape, Replace };
struct Conversion {
    std::size_t length = 0; // of the whole result, whether or not the target has room for it
    bool clean = true;      // nothing was invalid, nor lacking in the code page
};
Conversion convertToWide(UINT number, std::string_view text, std::span<char16_t> target, InvalidBytes invalid);
Conversion convertToNarrow(UINT number, std::u16string_view text, std::span<char> target, const char* substitute);

} // namespace wd
