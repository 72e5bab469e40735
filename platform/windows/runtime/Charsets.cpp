// The charsets as the system's code pages have them. It has none for iso-8859-10, iso-8859-14, iso-2022-cn,
// iso-2022-cn-ext and euc-tw: they are refused like unknown ones, and so is any whose code page isn't installed. Its
// euc-jp has the characters of the third set in a form of its own: they are refused.
#include "Charsets.h"

#include "ShiftedText.h"

#include <cstdint>
#include <limits>
#include <string.h>

#include <windows.h>

namespace wdmsg {
namespace {

static_assert(sizeof(wchar_t) == sizeof(char16_t));

constexpr UINT kUtf16Le = 1200; // the system's names for them; converted here
constexpr UINT kUtf16Be = 1201;
constexpr std::uint8_t kEucLead = 0xA1;
constexpr std::uint8_t kHalfWidthLead = 0x8E;

struct Charset {
    const char* name;
    UINT page;
    const ShiftedForm* shifted = nullptr; // set: converted through that form's EUC charset
    std::uint8_t eucLead = 0;             // set: its page knows other pairs than EUC's, whose lowest lead byte this is
};

constexpr Charset kCharsets[] = {
    {"ucs-2", kUtf16Le},
    {"us-ascii", 20127},
    {"iso-686", 20127}, // ISO 646: the same repertoire
    {"utf-8", CP_UTF8},
    {"iso-8859-1", 28591},
    {"iso-8859-2", 28592},
    {"iso-8859-3", 28593},
    {"iso-8859-4", 28594},
    {"iso-8859-5", 28595},
    {"iso-8859-6", 28596},
    {"iso-8859-7", 28597},
    {"iso-8859-8", 28598},
    {"iso-8859-9", 28599},
    {"iso-8859-13", 28603},
    {"iso-8859-15", 28605},
    {"iso-2022-jp", 50220},
    {"iso-2022-kr", 20949, &kIso2022Kr, kEucLead},
    {"euc-jp", 20932, nullptr, kHalfWidthLead},
    {"euc-kr", 20949, nullptr, kEucLead},
    {"Shift_JIS", 932},
    {"big5", 950},
    {"gb2312", 936, nullptr, kEucLead},
    {"hz-gb-2312", 936, &kHzGb2312, kEucLead},
    {"UTF-16BE", kUtf16Be},
    {"UTF-16LE", kUtf16Le},
};

constexpr std::size_t kMostBytes = std::numeric_limits<std::int32_t>::max() / 16;

const Charset* findCharset(const char* name) {
    for (const Charset& charset : kCharsets)
        if (_stricmp(charset.name, name) == 0)
            return &charset;
    return nullptr;
}

int lengthOf(std::size_t size) {
    return static_cast<int>(size);
}

WideText pageToWide(UINT page, std::string_view text) {
    WideText wide(text.size() * 2 + 1, u'\0');
    const int length = MultiByteToWideChar(page, 0, text.data(), lengthOf(text.size()),
                                           reinterpret_cast<LPWSTR>(wide.data()), lengthOf(wide.size()));
    wide.resize(static_cast<std::size_t>(length));
    return wide;
}

Text pageToNarrow(UINT page, std::u16string_view text) {
    Text narrow(text.size() * 8 + 16, '\0');
    const int length = WideCharToMultiByte(page, 0, reinterpret_cast<LPCWSTR>(text.data()), lengthOf(text.size()),
                                           narrow.data(), lengthOf(narrow.size()), nullptr, nullptr);
    narrow.resize(static_cast<std::size_t>(length));
    return narrow;
}

bool hasWholePairs(std::u16string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isHigh = text[i] >= 0xD800 && text[i] < 0xDC00;
        const bool isLow = text[i] >= 0xDC00 && text[i] < 0xE000;
        if (isLow || (isHigh && (i + 1 == text.size() || text[i + 1] < 0xDC00 || text[i + 1] >= 0xE000)))
            return false;
        i += isHigh ? 1 : 0;
    }
    return true;
}

bool hasEucPairsAlone(std::string_view text, std::uint8_t lowestLead) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto lead = static_cast<std::uint8_t>(text[i]);
        if (lead < 0x80)
            continue;
        if ((lead < kEucLead && lead != lowestLead) || i + 1 == text.size() ||
            static_cast<std::uint8_t>(text[i + 1]) < kEucLead)
            return false;
        ++i;
    }
    return true;
}

std::optional<WideText> wideFromUnits(std::string_view text, bool isBigEndian) {
    if (text.size() % 2 != 0)
        return std::nullopt;
    WideText wide;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        const auto low = static_cast<std::uint8_t>(text[i + (isBigEndian ? 1 : 0)]);
        const auto high = static_cast<std::uint8_t>(text[i + (isBigEndian ? 0 : 1)]);
        wide += static_cast<char16_t>(low | (high << 8));
    }
    return hasWholePairs(wide) ? std::optional(wide) : std::nullopt;
}

Text unitsFromWide(std::u16string_view text, bool isBigEndian) {
    Text units;
    for (const char16_t unit : text) {
        const auto low = static_cast<char>(unit & 0xFF);
        const auto high = static_cast<char>(unit >> 8);
        units += isBigEndian ? high : low;
        units += isBigEndian ? low : high;
    }
    return units;
}

bool isOfEuc(const Charset& charset, std::string_view text) {
    return charset.eucLead == 0 || hasEucPairsAlone(text, charset.eucLead);
}

bool isUtf16(const Charset& charset) {
    return charset.page == kUtf16Le || charset.page == kUtf16Be;
}

// The system's conversion replaces what it doesn't know, and some pages have no flag against that: a text that doesn't
// come back as it was is malformed, or lost a character.
std::optional<WideText> wideFrom(const Charset& charset, std::string_view text) {
    if (text.size() > kMostBytes)
        return std::nullopt;
    if (isUtf16(charset))
        return wideFromUnits(text, charset.page == kUtf16Be);
    std::optional<Text> euc;
    if (charset.shifted != nullptr) {
        euc = eucFromShifted(*charset.shifted, text);
        if (!euc)
            return std::nullopt;
        text = *euc;
    }
    WideText wide = pageToWide(charset.page, text);
    if (std::string_view(pageToNarrow(charset.page, wide)) != text || !isOfEuc(charset, text))
        return std::nullopt;
    return wide;
}

std::optional<Text> narrowFrom(const Charset& charset, std::u16string_view text) {
    if (isUtf16(charset))
        return unitsFromWide(text, charset.page == kUtf16Be);
    Text narrow = pageToNarrow(charset.page, text);
    if (std::u16string_view(pageToWide(charset.page, narrow)) != text || !isOfEuc(charset, narrow))
        return std::nullopt;
    return charset.shifted != nullptr ? shiftedFromEuc(*charset.shifted, narrow) : std::optional(narrow);
}

} // namespace

std::optional<Text> convert(std::string_view text, const char* from, const char* to) {
    const Charset* const source = findCharset(from);
    const Charset* const target = findCharset(to);
    if (source == nullptr || target == nullptr)
        return std::nullopt;
    const std::optional<WideText> wide = wideFrom(*source, text);
    return wide ? narrowFrom(*target, *wide) : std::nullopt;
}

bool startCharsets() {
    return true;
}

} // namespace wdmsg
