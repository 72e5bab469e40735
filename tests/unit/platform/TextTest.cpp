// Code pages: what converts, what is refused, and how a text is walked over.
#include "TestObject.h"

#include <platform/testing.h>
#include <platform/win32.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>

namespace {

void useCodePage(const char* number) {
    setenv("WARDLET_ACP", number, 1);
    WdTestRereadEnvironment();
}

// A conversion with its length asked for first, which must agree.
std::u16string widen(std::string_view text, DWORD flags = 0) {
    std::array<WCHAR, 300> buffer{};
    const auto size = static_cast<int>(text.size());
    const int asked = MultiByteToWideChar(CP_ACP, flags, text.data(), size, nullptr, 0);
    const int given = MultiByteToWideChar(CP_ACP, flags, text.data(), size, buffer.data(), 300);
    EXPECT_EQ(asked, given);
    return {buffer.data(), static_cast<std::size_t>(given)};
}

std::string narrow(std::u16string_view text, const char* substitute = nullptr, BOOL* substituted = nullptr) {
    std::array<char, 300> buffer{};
    const auto size = static_cast<int>(text.size());
    const int asked = WideCharToMultiByte(CP_ACP, 0, text.data(), size, nullptr, 0, substitute, nullptr);
    const int given = WideCharToMultiByte(CP_ACP, 0, text.data(), size, buffer.data(), 300, substitute, substituted);
    EXPECT_EQ(asked, given);
    return {buffer.data(), static_cast<std::size_t>(given)};
}

TEST(Text, Utf8IsStrict) {
    useCodePage("65001");
    EXPECT_EQ(GetACP(), CP_UTF8);
    const struct {
        std::string_view bytes;
        std::u16string_view wide; // with U+FFFD for what is invalid
        bool valid;
    } cases[] = {
        {"plain ascii, more than eight", u"plain ascii, more than eight", true},
        {"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80x", u"\u00E4\u20AC\U0001F600x", true},
        {"a\xC3", u"a\uFFFD", false},
        {"\xC3(", u"\uFFFD(", false},
        {"\x80 12345678", u"\uFFFD 12345678", false},
        {"\xC0\xAF", u"\uFFFD\uFFFD", false},                     // overlong
        {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD", false},           // a surrogate
        {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD", false}, // beyond the last character
        {"\xE2\x82x", u"\uFFFDx", false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(widen(c.bytes), c.wide) << c.bytes;
        SetLastError(0);
        EXPECT_EQ(widen(c.bytes, MB_ERR_INVALID_CHARS).empty(), !c.valid) << c.bytes;
        EXPECT_EQ(GetLastError(), c.valid ? ERROR_SUCCESS : ERROR_NO_UNICODE_TRANSLATION) << c.bytes;
        if (c.valid) {
            EXPECT_EQ(narrow(c.wide), c.bytes);
        }
    }
    BOOL substituted = FALSE;
    EXPECT_EQ(narrow(u"a\xD800z", nullptr, &substituted), "a\xEF\xBF\xBDz");
    EXPECT_EQ(substituted, TRUE);
    EXPECT_FALSE(IsDBCSLeadByte(0x81));
    EXPECT_STREQ(CharNextA("\xE2\x82\xAC"), "\x82\xAC");
}

TEST(Text, LengthsAndErrors) {
    std::array<WCHAR, 4> wide{};
    std::array<char, 4> bytes{};
    const auto widens = [&](UINT page, LPCSTR text, int length, LPWSTR target, int room) {
        return MultiByteToWideChar(page, MB_PRECOMPOSED, text, length, target, room);
    };
    const auto narrows = [&](UINT page, LPCWSTR text, int length, LPSTR target, int room) {
        return WideCharToMultiByte(page, 0, text, length, target, room, nullptr, nullptr);
    };
    EXPECT_EQ(widens(CP_ACP, "abc", -1, wide.data(), 4), 4);
    EXPECT_EQ(std::u16string_view(wide.data(), 4), std::u16string_view(u"abc\0", 4));
    EXPECT_EQ(narrows(CP_UTF8, u"abc", -1, bytes.data(), 4), 4);
    EXPECT_EQ(std::string_view(bytes.data(), 4), std::string_view("abc\0", 4));
    EXPECT_EQ(widens(CP_ACP, "", -1, nullptr, 0), 1);
    EXPECT_EQ(widens(CP_ACP, "abcd", -1, wide.data(), 4), 0);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(narrows(CP_ACP, u"\u20AC\u20AC", -1, bytes.data(), 4), 0);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    const std::function<int()> refused[] = {
        [&] { return widens(CP_ACP, nullptr, 1, wide.data(), 4); },
        [&] { return widens(CP_ACP, "a", 0, wide.data(), 4); },
        [&] { return widens(CP_ACP, "a", -2, wide.data(), 4); },
        [&] { return widens(CP_ACP, "a", 1, nullptr, 4); },
        [&] { return widens(CP_ACP, "a", 1, wide.data(), -4); },
        [&] { return widens(12345, "a", 1, wide.data(), 4); },
        [&] { return narrows(12345, u"a", 1, bytes.data(), 4); },
    };
    for (const auto& call : refused)
        EXPECT_EQ(errorOf(call()), ERROR_INVALID_PARAMETER) << &call - refused;
}

TEST(Text, CodePagesConvertTheirOwnCharacters) {
    const struct {
        const char* codePage;
        std::string_view bytes;
        std::u16string_view wide;
    } cases[] = {
        {"932", "\\\x83\x5C~\xB1", u"\\\u30BD~\uFF71"},
        {"936", "\xC4\xE3\x80", u"\u4F60\u20AC"},
        {"949", "\xB0\xA1\x81\x41", u"\uAC00\uAC02"},
        {"950", "\xA7\x41", u"\u4F60"},
        {"1252", "\x80\xE4\x81", u"\u20AC\u00E4\u0081"},
        {"1251", "\xC0", u"\u0410"},
        {"28605", "\xA4", u"\u20AC"},
    };
    for (const auto& c : cases) {
        useCodePage(c.codePage);
        EXPECT_EQ(GetACP(), static_cast<UINT>(std::atoi(c.codePage)));
        EXPECT_EQ(widen(c.bytes, MB_ERR_INVALID_CHARS), c.wide) << c.codePage;
        EXPECT_EQ(narrow(c.wide), c.bytes) << c.codePage;
    }
    // What a code page lacks: no look-alike, least of all of a separator.
    BOOL substituted = FALSE;
    EXPECT_EQ(narrow(u"\uFF3C\u0410\U0001F600z", nullptr, &substituted), "????z");
    EXPECT_EQ(substituted, TRUE);
    EXPECT_EQ(narrow(u"\u0410", "##"), "##");
    EXPECT_EQ(narrow(u"\u00E4", "##", &substituted), "\xE4");
    EXPECT_EQ(substituted, FALSE);
}

TEST(Text, EveryPairOfADoubleByteCodePageIsACharacterOrInvalid) {
    for (const char* const codePage : {"932", "936", "949", "950"}) {
        useCodePage(codePage);
        unsigned valid = 0;
        for (unsigned lead = 0x80; lead < 0x100; ++lead) {
            for (unsigned trail = 1; trail < 0x100; ++trail) {
                const std::string pair{static_cast<char>(lead), static_cast<char>(trail)};
                WCHAR units[2] = {};
                if (MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, pair.data(), 2, units, 2) != 1)
                    continue;
                ASSERT_TRUE(IsDBCSLeadByte(static_cast<BYTE>(lead)));
                // Several pairs may mean one character: what comes back means it too.
                const std::string back = narrow({units, 1});
                ASSERT_EQ(widen(back), std::u16string(units, 1)) << codePage << std::hex << lead << trail;
                ++valid;
            }
        }
        EXPECT_GT(valid, 7000u) << codePage;
    }
}

// U+30BD and U+8868 have a backslash as their second byte. In UTF-8 each byte is looked at, and the last one ends
// nothing.
TEST(Text, AWalkOverDoubleByteTextNeverMistakesATrailByte) {
    for (const auto& [path, name] : {std::pair{"..\\a\\b.c", "b.c"},
                                     {"/usr/x\\y", "y"},
                                     {"plain", "plain"},
                                     {"C:file", "file"},
                                     {"a/b/", "b/"},
                                     {"a//b", "b"},
                                     {"", ""}})
        EXPECT_STREQ(PathFindFileNameA(path), name);
    useCodePage("65001");
    constexpr const char* kPath = "C:\\\x83\x5C\x95\x5C";
    EXPECT_STREQ(PathFindFileNameA(kPath), "\x95\x5C");
    useCodePage("932");
    EXPECT_STREQ(PathFindFileNameA(kPath), "\x83\x5C\x95\x5C");
    EXPECT_STREQ(PathFindFileNameA("\x83\x5C/\x95\x5C"), "\x95\x5C");
    for (const int single : {0x41, 0x80, 0xA0, 0xB1, 0xDF, 0xFD})
        EXPECT_FALSE(IsDBCSLeadByte(static_cast<BYTE>(single))) << single;
    EXPECT_TRUE(IsDBCSLeadByte(0x81) && IsDBCSLeadByte(0xFC));
    EXPECT_STREQ(CharNextA("\x83\x5C!"), "!");
    EXPECT_STREQ(CharNextA("\x83"), ""); // a lead byte at the end stands alone
    constexpr const char* kEnd = "";
    EXPECT_EQ(CharNextA(kEnd), kEnd);
    EXPECT_EQ(widen("\x83 \x83"), u"\uFFFD \uFFFD");
}

} // namespace
