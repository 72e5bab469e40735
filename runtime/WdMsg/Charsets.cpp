#include "Charsets.h"

#include "ShiftedText.h"

#include <cstdint>
#include <limits>
#include <memory>
#include <unicode/uclean.h>
#include <unicode/ucnv.h>

namespace wdmsg {
namespace {

struct Charset {
    const char* name;
    const char* icu;                      // ICU's name of the converter
    const ShiftedForm* shifted = nullptr; // set: converted through that form's EUC charset
};

constexpr Charset kCharsets[] = {
    {"ucs-2", "UTF-16LE"},
    {"us-ascii", "US-ASCII"},
    {"iso-686", "US-ASCII"}, // ISO 646: the same repertoire
    {"utf-8", "UTF-8"},
    {"iso-8859-1", "ISO-8859-1"},
    {"iso-8859-2", "ISO-8859-2"},
    {"iso-8859-3", "ISO-8859-3"},
    {"iso-8859-4", "ISO-8859-4"},
    {"iso-8859-5", "ISO-8859-5"},
    {"iso-8859-6", "ISO-8859-6"},
    {"iso-8859-7", "ISO-8859-7"},
    {"iso-8859-8", "ISO-8859-8"},
    {"iso-8859-9", "ISO-8859-9"},
    {"iso-8859-10", "ISO-8859-10"},
    {"iso-8859-13", "ISO-8859-13"},
    {"iso-8859-14", "ISO-8859-14"},
    {"iso-8859-15", "ISO-8859-15"},
    {"iso-2022-jp", "ISO-2022-JP"},
    {"iso-2022-kr", kIso2022Kr.euc, &kIso2022Kr},
    {"iso-2022-cn", "ISO-2022-CN"},
    {"iso-2022-cn-ext", "ISO-2022-CN-EXT"},
    {"euc-jp", "EUC-JP"},
    {"euc-kr", "EUC-KR"},
    {"euc-tw", "EUC-TW"},
    {"Shift_JIS", "Shift_JIS"},
    {"big5", "Big5"},
    {"gb2312", "GB2312"},
    {"hz-gb-2312", kHzGb2312.euc, &kHzGb2312},
    {"UTF-16BE", "UTF-16BE"},
    {"UTF-16LE", "UTF-16LE"},
};

// ICU's lengths are signed 32-bit numbers; a unit takes at most four bytes, and a shift a few more.
constexpr std::size_t kMostBytes = std::numeric_limits<std::int32_t>::max() / 16;

const Charset* findCharset(const char* name) {
    for (const Charset& charset : kCharsets)
        if (ucnv_compareNames(charset.name, name) == 0)
            return &charset;
    return nullptr;
}

// ICU's own stopping callback drops invisible characters, such as soft hyphens.
void stop(const void*, UConverterFromUnicodeArgs*, const UChar*, std::int32_t, UChar32, UConverterCallbackReason,
          UErrorCode*) {}

struct CloseConverter {
    void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, CloseConverter>;

Converter openConverter(const char* name) {
    UErrorCode error = U_ZERO_ERROR;
    Converter converter(ucnv_open(name, &error));
    if (U_FAILURE(error))
        return nullptr;
    ucnv_setFallback(converter.get(), false);
    ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &error);
    ucnv_setFromUCallBack(converter.get(), stop, nullptr, nullptr, nullptr, &error);
    return U_FAILURE(error) ? nullptr : std::move(converter);
}

// `convert` takes buffer, room and error, and returns the length needed; it is called again if the text doesn't fit.
template <class Text, class Convert>
std::optional<Text> convertInto(std::size_t room, Convert convert) {
    Text text(room, {});
    for (;;) {
        UErrorCode error = U_ZERO_ERROR;
        const std::int32_t length = convert(text.data(), static_cast<std::int32_t>(text.size()), &error);
        if (error != U_BUFFER_OVERFLOW_ERROR && U_FAILURE(error))
            return std::nullopt;
        const bool fits = error != U_BUFFER_OVERFLOW_ERROR;
        text.resize(static_cast<std::size_t>(length));
        if (fits)
            return text;
    }
}

std::optional<WideText> wideFrom(const Charset& charset, std::string_view text) {
    const Converter converter = openConverter(charset.icu);
    if (!converter || text.size() > kMostBytes)
        return std::nullopt;
    std::optional<Text> euc;
    if (charset.shifted != nullptr) {
        euc = eucFromShifted(*charset.shifted, text);
        if (!euc)
            return std::nullopt;
        text = *euc;
    }
    return convertInto<WideText>(text.size(), [&](char16_t* target, std::int32_t room, UErrorCode* error) {
        return ucnv_toUChars(converter.get(), target, room, text.data(), static_cast<std::int32_t>(text.size()), error);
    });
}

std::optional<Text> narrowFrom(const Charset& charset, std::u16string_view text) {
    const Converter converter = openConverter(charset.icu);
    if (!converter)
        return std::nullopt;
    auto narrow = convertInto<Text>(text.size() * 2 + 8, [&](char* target, std::int32_t room, UErrorCode* error) {
        return ucnv_fromUChars(converter.get(), target, room, text.data(), static_cast<std::int32_t>(text.size()),
                               error);
    });
    if (narrow && charset.shifted != nullptr)
        return shiftedFromEuc(*charset.shifted, *narrow);
    return narrow;
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
    UErrorCode error = U_ZERO_ERROR;
    u_init(&error);
    return U_SUCCESS(error) != 0;
}

} // namespace wdmsg
