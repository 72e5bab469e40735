// Code pages: what converts, what is refused, and walking over a text by characters.
#include "TestKey.h"
#include "TestObject.h"

#include <platform/testing.h>
#include <platform/win32.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>

namespace {

void useCodePage(const char* number) {
    setenv("WARDLET_ACP", number, 1);
    WdTestRereadEnvironment();
}

// Converts; the length that is queried first must agree.
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
    const struct {
        std::string_view bytes;
        std::u16string_view wide; // with U+FFFD for invalid bytes
        bool valid;
    } cases[] = {
        {"plain ascii, more than eight", u"plain ascii, more than eight", true},
        {"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80x", u"\u00E4\u20AC\U0001F600x", true},
        {"a\xC3", u"a\uFFFD", false},
        {"\xC3(", u"\uFFFD(", false},
        {"\xC0\xAF", u"\uFFFD\uFFFD", false},                     // overlong
        {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD", false},           // a surrogate
        {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD", false}, // beyond the last character
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
}

TEST(Text, LengthsAndErrors) {
    std::array<WCHAR, 4> wide{};
    std::array<char, 4> bytes{};
    const auto widens = [&](UINT page, LPCSTR text, int length, LPWSTR target, int room) {
        return MultiByteToWideChar(page, MB_PRECOMPOSED, text, length, target, room);
    };
    const auto narrows = [&](UINT page, LPCWSTR text) {
        return WideCharToMultiByte(page, 0, text, -1, bytes.data(), 4, nullptr, nullptr);
    };
    EXPECT_EQ(widens(CP_ACP, "abc", -1, wide.data(), 4), 4);
    EXPECT_EQ(narrows(CP_UTF8, u"abc"), 4);
    EXPECT_EQ(widens(CP_ACP, "", -1, nullptr, 0), 1);
    EXPECT_EQ(errorOf(widens(CP_ACP, "abcd", -1, wide.data(), 4)), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(errorOf(narrows(CP_ACP, u"\u20AC\u20AC")), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(widens(CP_ACP, "abc", -7, wide.data(), 4), 4);
    EXPECT_EQ(errorOf(widens(CP_ACP, "a", 0, wide.data(), 4)), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(errorOf(widens(CP_ACP, reinterpret_cast<LPCSTR>(wide.data()), 1, wide.data(), 4)),
              ERROR_INVALID_PARAMETER);
    EXPECT_EQ(errorOf(widens(12345, "a", 1, wide.data(), 4)), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(errorOf(narrows(12345, u"a")), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(errorOf(MultiByteToWideChar(CP_ACP, 0x10, "a", 1, nullptr, 0)), ERROR_INVALID_FLAGS);
    EXPECT_EQ(errorOf(WideCharToMultiByte(CP_ACP, 1, u"a", 1, nullptr, 0, nullptr, nullptr)), ERROR_INVALID_FLAGS);
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, u"a", 1, nullptr, 0, nullptr, nullptr), 1);
    // A character that doesn't fit whole isn't begun, and what is refused leaves the target alone.
    const std::string untouched(4, '#');
    std::string target = untouched;
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, u"a\u20ACb", 3, target.data(), 3, nullptr, nullptr), 0);
    EXPECT_EQ(target, "a###");
    wide.fill(u'#');
    EXPECT_EQ(widens(CP_UTF8, "a\xF0\x9F\x98\x80", 5, wide.data(), 2), 0);
    EXPECT_EQ(std::u16string(wide.data(), 2), u"a#");
    EXPECT_EQ(MultiByteToWideChar(932, MB_ERR_INVALID_CHARS, "xy\x83", 3, wide.data(), 4), 0);
    EXPECT_EQ(std::u16string(wide.data(), 2), u"a#");
}

TEST(Text, CodePagesConvertTheirOwnCharacters) {
    const struct {
        const char* codePage;
        std::string_view bytes;
        std::u16string_view wide;
    } cases[] = {
        {"932", "\\\x83\x5C~\xB1", u"\\\u30BD~\uFF71"},
        {"936", "\xC4\xE3\x80", u"\u4F60\u20AC"},
        {"949", "\x81\x41", u"\uAC02"},
        {"950", "\xA4\x40", u"\u4E00"},
        {"1251", "\xC0", u"\u0410"},
        {"1252", "\x80\xE4\x81", u"\u20AC\u00E4\u0081"},
        {"28605", "\xA4", u"\u20AC"},
    };
    for (const auto& c : cases) {
        useCodePage(c.codePage);
        EXPECT_EQ(widen(c.bytes, MB_ERR_INVALID_CHARS), c.wide) << c.codePage;
        EXPECT_EQ(narrow(c.wide), c.bytes) << c.codePage;
    }
    // Characters that a code page lacks become no look-alike, least of all that of a separator.
    BOOL substituted = FALSE;
    EXPECT_EQ(narrow(u"\uFF3C\u0410\U0001F600z", nullptr, &substituted), "????z");
    EXPECT_EQ(substituted, TRUE);
    EXPECT_EQ(narrow(u"\u0410", "##"), "##");
}

// In code page 932, U+30BD and U+8868 have a backslash as their second byte. In UTF-8 the walk goes byte by byte.
TEST(Text, AWalkOverDoubleByteTextNeverMistakesATrailByte) {
    for (const auto& [path, name] :
         {std::pair{"..\\a\\b.c", "b.c"}, {"/usr/x\\y", "y"}, {"C:file", "file"}, {"a/b/", "b/"}})
        EXPECT_STREQ(PathFindFileNameA(path), name);
    useCodePage("65001");
    constexpr const char* kPath = "C:\\\x83\x5C\x95\x5C";
    EXPECT_STREQ(PathFindFileNameA(kPath), "\x95\x5C");
    useCodePage("932");
    EXPECT_STREQ(PathFindFileNameA(kPath), "\x83\x5C\x95\x5C");
    EXPECT_TRUE(IsDBCSLeadByte(0x81) && IsDBCSLeadByte(0xFC) && !IsDBCSLeadByte(0xA0) && !IsDBCSLeadByte(0xFD));
    EXPECT_STREQ(CharNextA("\x83\x5C!"), "!");
    EXPECT_STREQ(CharNextA("\x83"), ""); // a lead byte at the end counts alone
    EXPECT_EQ(widen("\x83 \x83"), u"\uFFFD\uFFFD");
}

// A lead byte and a byte that is no trail to it: one character for a walk, a conversion, a path and a key.
TEST(Text, APairThatIsNoCharacterIsOneForAll) {
    useCodePage("949");
    std::filesystem::create_directory(TestHome::instance().path() / "drive_c");
    for (const std::string pair : {"\x81\\", "\x81/", "\xFE\xFF", "\x81 "}) {
        const std::string name = "a" + pair + "b";
        EXPECT_EQ(widen(name), u"a\uFFFDb") << pair;
        EXPECT_STREQ(CharNextA(pair.c_str()), "");
        EXPECT_STREQ(PathFindFileNameA(("x\\" + name).c_str()), name.c_str());
        const TestKey key = TestKey::create(("Pairs\\" + name).c_str());
        std::array<char, 20> listed{};
        DWORD size = listed.size();
        EXPECT_EQ(
            RegEnumKeyExA(TestKey::open("Pairs").get(), 0, listed.data(), &size, nullptr, nullptr, nullptr, nullptr),
            0);
        EXPECT_EQ(listed.data(), name);
        EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, ("Pairs\\" + name).c_str()), 0) << pair;
        HANDLE file = CreateFileA(("C:\\" + name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
        EXPECT_EQ(errorOf(file != INVALID_HANDLE_VALUE), ERROR_SUCCESS) << pair << " is one name in a folder";
        CloseHandle(file);
    }
    // Nor does the escape of a separator become one where no lead byte takes it along.
    EXPECT_EQ(narrow(u"a\xDC5C\xDC81\xDC81\xDC2F"), "a?\x81\x81?");
}

} // namespace
