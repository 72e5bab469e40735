// The charset library that was built, through the converter: each charset's bytes, both ways, and what it refuses.
#include "CharSetConverter.h"

#include <wdltcfg/status.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace {

constexpr DWORD kUcs2 = 1;
constexpr DWORD kAscii = 2;
constexpr DWORD kIso686 = 3;
constexpr DWORD kUtf8 = 4;
constexpr DWORD kLatin1 = 5;
constexpr DWORD kIso2022Jp = 18;
constexpr DWORD kIso2022Kr = 19;
constexpr DWORD kIso2022Cn = 20;
constexpr DWORD kIso2022CnExt = 21;
constexpr DWORD kEucJp = 22;
constexpr DWORD kEucKr = 23;
constexpr DWORD kShiftJis = 25;
constexpr DWORD kGb2312 = 27;
constexpr DWORD kHz = 28;
constexpr DWORD kUtf16Be = 29;
constexpr DWORD kUtf16Le = 30;
constexpr DWORD kCharsets = 30;

constexpr DWORD kSize = 128;

class Converter {
  public:
    Converter() { EXPECT_EQ(m_converter.Initialize(), WDLT_OK); }
    ~Converter() { EXPECT_EQ(m_converter.UnInitialize(), WDLT_OK); }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    // The result up to the first zero byte; nullopt when refused, and then every byte must be zero.
    std::optional<std::string> convert(const std::string& text, DWORD from, DWORD to, DWORD size = kSize) const {
        std::string output(size, 'x');
        const std::int32_t status = m_converter.ConvertResource(output.data(), text.c_str(), from, to, size);
        if (status == WDLT_OK)
            return output.substr(0, std::min(output.find('\0'), output.size()));
        EXPECT_EQ(status, WDLT_E_CHARSET) << text;
        EXPECT_EQ(output.find_first_not_of('\0'), std::string::npos) << text;
        return std::nullopt;
    }

  private:
    CCharSetConverter m_converter;
};

TEST(WdMsg, EachCharsetsBytesBothWays) {
    // None of these bytes is zero, which would end even a text in a wide charset.
    const struct {
        DWORD charset;
        const char* utf8;
        std::string bytes;
    } cases[] = {
        {kUcs2, "日本", "\xE5\x65\x2C\x67"},
        {kUcs2, "🔑", "\x3D\xD8\x11\xDD"},
        {kAscii, "Code-4711", "Code-4711"},
        {kIso686, "Code-4711", "Code-4711"},
        {kUtf8, "grün 日本 🔑", "gr\xC3\xBCn \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x94\x91"},
        {kLatin1, "grünß", "gr\xFCn\xDF"},
        {6, "Žluť", "\xAElu\xBB"},
        {7, "ĉĝ", "\xE6\xF8"},
        {8, "Āž", "\xC0\xBE"},
        {9, "Код", "\xBA\xDE\xD4"},
        {10, "سر", "\xD3\xD1"},
        {11, "κλειδί", "\xEA\xEB\xE5\xE9\xE4\xDF"},
        {12, "מפתח", "\xEE\xF4\xFA\xE7"},
        {13, "İşğ", "\xDD\xFE\xF0"},
        {14, "Ðęŋ", "\xD0\xEA\xBF"},
        {15, "Ąžuolas", "\xC0\xFEuolas"},
        {16, "ŵŷ", "\xF0\xFE"},
        {17, "5€ œ", "5\xA4 \xBD"},
        {kIso2022Jp, "a日本b", "a\x1B$BF|K\\\x1B(Bb"},
        {kIso2022Jp, "日本", "\x1B$BF|K\\\x1B(B"},
        {kIso2022Kr, "한글", "\x1B$)C\x0EGQ1[\x0F"},
        {kIso2022Kr, "a한x\\글", "\x1B$)Ca\x0EGQ\x0Fx\\\0161[\x0F"},
        {kIso2022Cn, "中文", "\x1B$)A\x0EVPND\x0F"},
        {kIso2022CnExt, "中文x", "\x1B$)A\x0EVPND\x0Fx"},
        {kEucJp, "日本ｱ", "\xC6\xFC\xCB\xDC\x8E\xB1"},
        {kEucKr, "한글", "\xC7\xD1\xB1\xDB"},
        {24, "中文", "\xC4\xE3\xC5\xC6"},
        {kShiftJis, "日本ｱ", "\x93\xFA\x96{\xB1"},
        {26, "中文", "\xA4\xA4\xA4\xE5"},
        {kGb2312, "中文", "\xD6\xD0\xCE\xC4"},
        {kHz, "中文", "~{VPND~}"},
        {kHz, "a~中~{文}", "a~~~{VP~}~~{~{ND~}}"},
        {kUtf16Be, "日本", "\x65\xE5\x67\x2C"},
        {kUtf16Le, "日本", "\xE5\x65\x2C\x67"},
    };
    std::vector<bool> tried(kCharsets + 1);
    const Converter converter;
    for (const auto& c : cases) {
        tried[c.charset] = true;
        EXPECT_EQ(converter.convert(c.utf8, kUtf8, c.charset), c.bytes) << c.charset;
        EXPECT_EQ(converter.convert(c.bytes, c.charset, kUtf8), c.utf8) << c.charset;
        EXPECT_EQ(converter.convert(c.bytes, c.charset, c.charset), c.bytes) << c.charset;
    }
    EXPECT_EQ(std::count(tried.begin(), tried.end(), false), 1);
}

// Every printable ASCII character can be searched for in every charset.
TEST(WdMsg, AllOfAsciiPassesThroughEachCharset) {
    std::string printable;
    for (char c = ' '; c < '\x7F'; ++c)
        printable += c;
    const Converter converter;
    for (DWORD charset = kAscii; charset < kUtf16Be; ++charset) {
        const auto bytes = converter.convert(printable, kUtf8, charset);
        ASSERT_TRUE(bytes) << charset;
        EXPECT_EQ(converter.convert(*bytes, charset, kUtf8), printable) << charset;
        if (charset != kHz) {
            EXPECT_EQ(*bytes, printable) << charset;
        }
    }
}

TEST(WdMsg, WhatIsMalformedOrLackingIsRefused) {
    const struct {
        const char* what;
        DWORD from, to;
        std::string text;
    } cases[] = {
        {"lacking", kUtf8, kAscii, "größe"},
        {"lacking, though similar", kUtf8, kIso2022Jp, "ｱ"},
        {"lacking, though invisible", kUtf8, kAscii, "a\xC2\xADx"},
        {"lacking, though invisible", kUtf8, kShiftJis, "a\xE2\x80\x8Bx"},
        {"lacking", kUtf8, kIso2022Kr, "€"},
        {"lacking", kUtf8, kHz, "한"},
        {"would read as a shift", kUtf8, kIso2022Kr, "a\x0E"},
        {"would read as a shift", kUtf8, kIso2022Jp, "a\x1B"},
        {"cut", kUtf8, kUtf16Le, "a\xE6\x97"},
        {"a surrogate", kUtf8, kUtf16Le, "\xED\xA0\x80"},
        {"longer than needed", kUtf8, kAscii, "\xC0\xAF"},
        {"not ASCII", kAscii, kUtf8, "a\x80"},
        {"half a unit", kUtf16Le, kUtf8, "abc"},
        {"half a pair of units", kUcs2, kUtf8, "\x3D\xD8"},
        {"cut", kShiftJis, kUtf8, "\x93"},
        {"no such pair", kEucKr, kUtf8, "\xFF\xFF"},
        {"no header", kIso2022Kr, kUtf8, "\x0EGQ\x0F"},
        {"another header", kIso2022Kr, kUtf8, "\x1B$)A\x0EGQ\x0F"},
        {"cut", kIso2022Kr, kUtf8, "\x1B$)C\x0EG"},
        {"cut", kHz, kUtf8, "~{V"},
        {"no such escape", kHz, kUtf8, "a~b"},
        {"beyond the table", kHz, kUtf8, "~{x!~}"},
        {"high bit", kHz, kUtf8, "\xD6\xD0"},
        {"high bit in a pair", kHz, kUtf8, "~{V\xD0~}"},
    };
    const Converter converter;
    for (const auto& c : cases)
        EXPECT_EQ(converter.convert(c.text, c.from, c.to), std::nullopt) << c.what << ": " << c.text;
}

TEST(WdMsg, ShiftsThatOtherWritersPut) {
    const struct {
        DWORD charset;
        std::string bytes;
        const char* utf8;
    } cases[] = {
        {kHz, "~}a~{VP", "a中"},   // a redundant shift, and none at the end
        {kHz, "~{VP\na", "中\na"}, // a newline shifts back
        {kHz, "ab~\ncd", "abcd"},  // after a tilde it joins the next line
        {kIso2022Kr, "\x1B$)C\x0EGQ\r\na\0161[", "한\r\na글"},
        {kIso2022Kr, "\x1B$)Cabc", "abc"},
    };
    const Converter converter;
    for (const auto& c : cases)
        EXPECT_EQ(converter.convert(c.bytes, c.charset, kUtf8), c.utf8);
}

// A result may fill the buffer without a terminator; if it is one byte short, it is refused and leaves zeros.
TEST(WdMsg, TheTargetsSize) {
    const Converter converter;
    EXPECT_EQ(converter.convert("日本", kUtf8, kIso2022Jp, 10), "\x1B$BF|K\\\x1B(B");
    EXPECT_EQ(converter.convert("日本", kUtf8, kIso2022Jp, 9), std::nullopt);
    EXPECT_EQ(converter.convert("\xA4", 17, kUtf8, 3), "€");
    EXPECT_EQ(converter.convert("\xA4", 17, kUtf8, 2), std::nullopt);
    { const Converter another; } // its end doesn't stop the first one
    const std::string whole(kSize, 'a');
    EXPECT_EQ(converter.convert(whole, kUtf8, kAscii), whole);
    EXPECT_EQ(converter.convert(whole, kUtf8, kHz), whole);
    EXPECT_EQ(converter.convert(whole, kUtf8, kUtf16Le), std::nullopt);
}

} // namespace
