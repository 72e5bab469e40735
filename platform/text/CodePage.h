// Text between the system code page and UTF-16, and the folding of names. UTF-8 is decoded here; any other code page is
// a table taken from ICU at its first use, which no call changes afterwards: every function may be called from any
// thread and in the child of a fork. Plain ASCII never asks which code page it is, so it needs neither home nor ICU.
#pragma once

#include <platform/base.h>

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace wd {

// Lossless both ways round for whatever bytes come in: a byte that isn't valid in the code page is the lone surrogate
// U+DC00 + byte, and such a surrogate is that byte again. A unit that the code page lacks becomes '?' (in UTF-8, where
// only other lone surrogates are lacking, U+FFFD). Bytes that mean the same character as others come back as the usual
// ones.
std::u16string wideFromCodePage(std::string_view text);
std::string codePageFromWide(std::u16string_view text);

// The same into the caller's memory, which needs room for a unit a byte, or for kMaxBytesPerUnit bytes a unit. Returns
// what was written.
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

// Whether `byte` begins a double-byte character of the system code page.
bool isLeadByte(BYTE byte);

// Whether the layer has this code page. One that it lacks, named as the system's, is taken for UTF-8.
bool isKnownCodePage(UINT number);

// What the conversion calls of the interface are made of. `number` may be CP_ACP.
enum class InvalidBytes { Escape, Replace };
struct Conversion {
    std::size_t length = 0; // of the whole result, whether or not the target has room for it
    bool clean = true;      // nothing was invalid or lacking
};
Conversion convertToWide(UINT number, std::string_view text, std::span<char16_t> target, InvalidBytes invalid);
Conversion convertToNarrow(UINT number, std::u16string_view text, std::span<char> target, const char* substitute);

} // namespace wd
