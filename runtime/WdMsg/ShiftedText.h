// Charsets that shift between ASCII and two-byte characters: the same pairs as in an EUC charset, without the high
// bits. They are converted to and from EUC here, since ICU's own converters refuse a backslash in iso-2022-kr and don't
// shift back at the end of hz-gb-2312.
#pragma once

#include "WipedText.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace wdmsg {

struct ShiftedForm {
    const char* euc;         // ICU's name of the charset with the same pairs
    std::string_view header; // begins a text that has pairs; none when empty
    std::string_view toPairs;
    std::string_view toAscii;
    char doubled;          // the ASCII character that is written twice; 0: none
    std::uint8_t lastLead; // highest first byte of a pair
};

inline constexpr ShiftedForm kIso2022Kr = {"euc-kr", "\x1B$)C", "\x0E", "\x0F", '\0', 0x7E};
inline constexpr ShiftedForm kHzGb2312 = {"gb2312", "", "~{", "~}", '~', 0x77};

// A text without pairs gets neither header nor shift, and one that ends in a pair is shifted back. Nothing when the
// text has no such form.
std::optional<Text> shiftedFromEuc(const ShiftedForm& form, std::string_view euc);
// Nothing when the text is malformed.
std::optional<Text> eucFromShifted(const ShiftedForm& form, std::string_view text);

} // namespace wdmsg
