// Texts written in one form and read in the other, and names in both.
#include <TestKey.h>

#include <gtest/gtest.h>

#include <platform/testing.h>
#include <platform/win32.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

std::string bytesOf(std::u16string_view units) {
    return {reinterpret_cast<const char*>(units.data()), units.size() * sizeof(char16_t)};
}

LONG setWide(HKEY key, LPCWSTR name, DWORD type, const std::string& bytes) {
    return RegSetValueExW(key, name, 0, type, reinterpret_cast<const BYTE*>(bytes.data()),
                          static_cast<DWORD>(bytes.size()));
}

std::string wideBytes(HKEY key, LPCWSTR name) {
    DWORD size = 0;
    EXPECT_EQ(RegQueryValueExW(key, name, nullptr, nullptr, nullptr, &size), 0);
    std::string bytes(size, '\0');
    EXPECT_EQ(RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(bytes.data()), &size), 0);
    EXPECT_EQ(size, bytes.size());
    return bytes;
}

TEST(RegistryText, EachFormComesBackByteForByteAndConvertsToTheOther) {
    const TestKey key = TestKey::create("Text");
    const struct {
        const char* what;
        DWORD type;
        std::string narrow;
        std::u16string wide;
    } cases[] = {
        {"plain", REG_SZ, "abc\0"s, u"abc\0"s},
        {"empty", REG_SZ, ""s, u""s},
        {"beyond ASCII", REG_EXPAND_SZ, "\u00e4\u20ac\U0001F600\0"s, u"\u00e4\u20ac\U0001F600\0"s},
        {"list", REG_MULTI_SZ, "a\0\u00e4\0\0"s, u"a\0\u00e4\0\0"s},
        {"invalid bytes", REG_SZ, "a\xff\xc3(\0"s, u"a\xdcff\xdcc3(\0"s},
        {"no text", REG_BINARY, "\xff\x01\x02"s, u""s},
    };
    for (const auto& c : cases) {
        ASSERT_EQ(key.setBytes("n", c.narrow, c.type), 0) << c.what;
        EXPECT_EQ(key.bytes("n"), c.narrow) << c.what;
        if (c.type == REG_BINARY) {
            EXPECT_EQ(wideBytes(key.get(), WTEXT("n")), c.narrow) << c.what;
            continue;
        }
        EXPECT_EQ(wideBytes(key.get(), WTEXT("N")), bytesOf(c.wide)) << c.what;
        ASSERT_EQ(setWide(key.get(), WTEXT("w"), c.type, bytesOf(c.wide)), 0) << c.what;
        EXPECT_EQ(wideBytes(key.get(), WTEXT("w")), bytesOf(c.wide)) << c.what;
        EXPECT_EQ(key.bytes("w"), c.narrow) << c.what;
    }
}

TEST(RegistryText, WideTextOfAnyUnitsAndOfOddSizeIsKept) {
    const TestKey key = TestKey::create("Odd");
    const std::string loneSurrogates = bytesOf(u"\xd800x\xdfff\xdc41");
    ASSERT_EQ(setWide(key.get(), WTEXT("s"), REG_SZ, loneSurrogates), 0);
    EXPECT_EQ(wideBytes(key.get(), WTEXT("s")), loneSurrogates + std::string(2, '\0'));
    const std::string odd = bytesOf(u"ab") + "c";
    ASSERT_EQ(setWide(key.get(), WTEXT("o"), REG_SZ, odd), 0);
    EXPECT_EQ(wideBytes(key.get(), WTEXT("o")), odd);
    EXPECT_EQ(key.bytes("o"), "ab");
    char narrow[] = "####"; // a reader that relies on the end finds one where there is room, and no size that counts it
    for (DWORD room : {2u, 3u}) {
        DWORD size = room;
        EXPECT_EQ(RegQueryValueExA(key.get(), "o", nullptr, nullptr, reinterpret_cast<BYTE*>(narrow), &size), 0);
        EXPECT_EQ(size, 2u);
        EXPECT_EQ(std::string_view(narrow, 4), room == 2 ? "ab##"sv : "ab\0#"sv);
    }
}

// With sizes that leave the terminator out, or the caller's bytes behind them unread.
TEST(RegistryText, ATextIsStoredWithItsTerminator) {
    const TestKey key = TestKey::create("End");
    for (const DWORD type : {REG_SZ, REG_EXPAND_SZ, REG_MULTI_SZ}) {
        for (const std::string& text : {"abc"s, "abc\0"s}) {
            ASSERT_EQ(key.setBytes("n", text, type), 0);
            EXPECT_EQ(key.bytes("n"), "abc\0"s) << type;
        }
        ASSERT_EQ(setWide(key.get(), WTEXT("w"), type, bytesOf(u"abc")), 0);
        EXPECT_EQ(wideBytes(key.get(), WTEXT("w")), bytesOf(u"abc\0"s)) << type;
    }
}

TEST(RegistryText, SizesCountTheFormOfTheCall) {
    const TestKey key = TestKey::create("Count");
    ASSERT_EQ(key.setBytes("v", "abc\0"s, REG_SZ), 0);
    WCHAR wide[8] = {u'#', u'#', u'#', u'#', u'#', u'#', u'#', u'#'};
    DWORD size = 7;
    EXPECT_EQ(RegQueryValueExW(key.get(), WTEXT("v"), nullptr, nullptr, reinterpret_cast<BYTE*>(wide), &size),
              static_cast<LONG>(ERROR_MORE_DATA));
    EXPECT_EQ(size, 8u);
    EXPECT_EQ(wide[0], u'#');
    EXPECT_EQ(RegQueryValueExW(key.get(), WTEXT("v"), nullptr, nullptr, reinterpret_cast<BYTE*>(wide), &size), 0);
    EXPECT_EQ(std::u16string(wide), u"abc");
}

TEST(RegistryText, NamesAreTheSameInBothForms) {
    HKEY handle = nullptr;
    ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, WTEXT("Bj\u00f6rk\\\U0001F600"), 0, nullptr, 0, KEY_ALL_ACCESS,
                              nullptr, &handle, nullptr),
              0);
    const TestKey key(handle);
    EXPECT_TRUE(TestKey::open("BJ\u00d6RK\\\U0001F600"));
    ASSERT_EQ(setWide(key.get(), WTEXT("Stra\u00dfe"), REG_SZ, bytesOf(u"x")), 0);
    EXPECT_EQ(key.bytes("stra\u00dfe"), "x\0"s);

    const TestKey parent = TestKey::open("Bj\u00f6rk", KEY_ALL_ACCESS);
    char narrow[8];
    DWORD length = sizeof narrow;
    ASSERT_EQ(RegEnumKeyExA(parent.get(), 0, narrow, &length, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_STREQ(narrow, "\U0001F600");
    EXPECT_EQ(length, 4u);
    WCHAR wide[4];
    length = 2;
    EXPECT_EQ(RegEnumKeyExW(parent.get(), 0, wide, &length, nullptr, nullptr, nullptr, nullptr),
              static_cast<LONG>(ERROR_MORE_DATA));
    length = 3;
    ASSERT_EQ(RegEnumKeyExW(parent.get(), 0, wide, &length, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(std::u16string(wide), u"\U0001F600");
    EXPECT_EQ(length, 2u);

    WCHAR valueName[16];
    length = 16;
    BYTE data[4];
    DWORD size = sizeof data;
    DWORD type = 0;
    ASSERT_EQ(RegEnumValueW(key.get(), 0, valueName, &length, nullptr, &type, data, &size), 0);
    EXPECT_EQ(std::u16string(valueName), u"Stra\u00dfe");
    EXPECT_EQ(size, 4u);
}

// Names of bytes that aren't valid in the code page: stored, listed and found again as they are.
TEST(RegistryText, InvalidBytesInNamesSurvive) {
    const std::string name = "bad\xff\x80name";
    const TestKey parent = TestKey::create("Invalid");
    const TestKey key = TestKey::create(name.c_str(), parent.get());
    ASSERT_TRUE(key);
    ASSERT_EQ(key.set("\xfe", 9), 0);
    EXPECT_EQ(TestKey::open("BAD\xff\x80NAME", KEY_READ, parent.get()).number("\xfe"), 9u);
    char listed[32];
    DWORD length = sizeof listed;
    ASSERT_EQ(RegEnumKeyExA(parent.get(), 0, listed, &length, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(listed, name);
}

// In code page 932 the second byte of a character may be a backslash: it parts nothing.
TEST(RegistryText, ADoubleByteNameIsOneComponent) {
    setenv("WARDLET_ACP", "932", 1);
    WdTestRereadEnvironment();
    constexpr const char* kName = "\x83\x5C\x95\x5C"; // two characters
    const TestKey key = TestKey::create((std::string("DoubleByte\\") + kName + "\\below").c_str());
    ASSERT_TRUE(key);
    EXPECT_EQ(key.setBytes(kName, std::string(kName) + '\0', REG_SZ), 0);
    EXPECT_EQ(key.bytes(kName), std::string(kName) + '\0');
    EXPECT_EQ(wideBytes(key.get(), WTEXT("\u30BD\u8868")), bytesOf(u"\u30BD\u8868\0"s));

    const TestKey parent = TestKey::open("DoubleByte");
    char name[8];
    DWORD length = sizeof name;
    ASSERT_EQ(RegEnumKeyExA(parent.get(), 0, name, &length, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_STREQ(name, kName);
    length = sizeof name;
    EXPECT_EQ(RegEnumKeyExA(parent.get(), 1, name, &length, nullptr, nullptr, nullptr, nullptr),
              static_cast<LONG>(ERROR_NO_MORE_ITEMS));
    unsetenv("WARDLET_ACP");
    WdTestRereadEnvironment();
}

} // namespace
