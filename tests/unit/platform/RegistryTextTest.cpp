// Texts written in one form and read in the other, and names in both.
#include <TestKey.h>

#include <gtest/gtest.h>

#include <platform/testing.h>
#include <platform/win32.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

using namespace std::string_literals;

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

std::string firstSubkey(const TestKey& key) {
    char name[32];
    DWORD length = sizeof name;
    EXPECT_EQ(RegEnumKeyExA(key.get(), 0, name, &length, nullptr, nullptr, nullptr, nullptr), 0);
    return {name, length};
}

// Texts come back with a terminator, even if the caller's size left it out.
TEST(RegistryText, EachFormComesBackByteForByteAndConvertsToTheOther) {
    const TestKey key = TestKey::create("Text");
    const struct {
        DWORD type;
        std::string narrow;
        std::u16string wide;
    } rows[] = {
        {REG_SZ, "abc", u"abc"},
        {REG_MULTI_SZ, "a\0\u00e4"s, u"a\0\u00e4"s},
        {REG_EXPAND_SZ, "\u00e4\u20ac\U0001F600", u"\u00e4\u20ac\U0001F600"},
        {REG_SZ, "a\xff\xc3(", u"a\xdcff\xdcc3("}, // bytes that aren't valid text
    };
    for (const auto& row : rows)
        for (const std::size_t end : {std::size_t{0}, std::size_t{1}}) {
            const std::string narrow = row.narrow + '\0';
            const std::string wide = bytesOf(row.wide + u'\0');
            ASSERT_EQ(key.setBytes("n", row.narrow + std::string(end, '\0'), row.type), 0);
            EXPECT_EQ(key.bytes("n"), narrow);
            EXPECT_EQ(wideBytes(key.get(), WTEXT("N")), wide) << narrow;
            ASSERT_EQ(setWide(key.get(), WTEXT("w"), row.type, bytesOf(row.wide + std::u16string(end, u'\0'))), 0);
            EXPECT_EQ(wideBytes(key.get(), WTEXT("w")), wide) << narrow;
            EXPECT_EQ(key.bytes("w"), narrow);
        }
    ASSERT_EQ(key.setBytes("n", "\xff\x01\x02"), 0);
    EXPECT_EQ(wideBytes(key.get(), WTEXT("n")), "\xff\x01\x02") << "no text";
    const std::string loneSurrogates = bytesOf(u"\xd800x\xdfff\xdc41\0"s);
    ASSERT_EQ(setWide(key.get(), WTEXT("w"), REG_SZ, loneSurrogates), 0);
    EXPECT_EQ(wideBytes(key.get(), WTEXT("w")), loneSurrogates);
}

// A reader that relies on a terminator finds one if there is room, but the size doesn't count it.
TEST(RegistryText, SizesCountTheFormOfTheCall) {
    const TestKey key = TestKey::create("Count");
    ASSERT_EQ(key.setBytes("v", "abc\0"s, REG_SZ), 0);
    ASSERT_EQ(setWide(key.get(), WTEXT("o"), REG_SZ, bytesOf(u"ab") + "c"), 0); // plus half a unit
    EXPECT_EQ(wideBytes(key.get(), WTEXT("o")), bytesOf(u"ab") + "c");
    for (const DWORD room : {2u, 3u, 7u, 8u}) {
        std::string buffer(8, '#');
        auto* const data = reinterpret_cast<BYTE*>(buffer.data());
        DWORD size = room;
        EXPECT_EQ(RegQueryValueExW(key.get(), WTEXT("v"), nullptr, nullptr, data, &size),
                  room < 8 ? LONG{ERROR_MORE_DATA} : 0);
        EXPECT_EQ(size, 8u);
        EXPECT_EQ(buffer, room < 8 ? "########" : bytesOf(u"abc\0"s));
        buffer.assign(8, '#');
        size = room;
        EXPECT_EQ(RegQueryValueExA(key.get(), "o", nullptr, nullptr, data, &size), 0);
        EXPECT_EQ(size, 2u);
        EXPECT_EQ(buffer, room < 3 ? "ab######" : "ab\0#####"s) << room;
    }
}

TEST(RegistryText, NamesAreTheSameInBothForms) {
    HKEY handle = nullptr;
    ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, WTEXT("Bj\u00f6rk\\\U0001F600"), 0, nullptr, 0, KEY_ALL_ACCESS,
                              nullptr, &handle, nullptr),
              0);
    const TestKey key(handle);
    ASSERT_EQ(setWide(key.get(), WTEXT("Stra\u00dfe"), REG_SZ, bytesOf(u"x")), 0);
    EXPECT_EQ(key.bytes("stra\u00dfe"), "x\0"s);
    const TestKey parent = TestKey::open("BJ\u00d6RK");
    EXPECT_EQ(firstSubkey(parent), "\U0001F600");
    WCHAR wide[16];
    for (DWORD room : {2u, 3u}) {
        DWORD length = room;
        EXPECT_EQ(RegEnumKeyExW(parent.get(), 0, wide, &length, nullptr, nullptr, nullptr, nullptr),
                  room == 2 ? LONG{ERROR_MORE_DATA} : 0);
        EXPECT_EQ(length, 2u);
    }
    EXPECT_EQ(std::u16string(wide), u"\U0001F600");
    DWORD length = 16;
    ASSERT_EQ(RegEnumValueW(key.get(), 0, wide, &length, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(std::u16string(wide), u"Stra\u00dfe");
}

// Names of any bytes are stored, listed and found unchanged, even if they aren't valid text. In code page 932 the
// second byte of a character may be a backslash, which isn't a separator then.
TEST(RegistryText, AnyBytesSurviveAsANarrowName) {
    const std::pair<const char*, std::vector<const char*>> rows[] = {
        {"65001", {"bad\xff\x80name", "a\xC3", "\xF0\x90\x80", "\xFD\xFE\xFF", "\xE2\x82\xAC"}},
        {"932", {"\x83\x5C\x95\x5C", "\x83", "\x81 \x81", "\xFD\xFE\xFF"}},
    };
    for (const auto& [codePage, names] : rows) {
        setenv("WARDLET_ACP", codePage, 1);
        WdTestRereadEnvironment();
        for (const char* name : names) {
            SCOPED_TRACE(testing::Message() << codePage << ' ' << name);
            const TestKey parent = TestKey::create("Any");
            const TestKey key = TestKey::create(name, parent.get());
            ASSERT_EQ(key.set(name, 9), 0);
            EXPECT_EQ(TestKey::open((std::string("ANY\\") + name).c_str()).number(name), 9u);
            EXPECT_EQ(firstSubkey(parent), name);
            EXPECT_EQ(RegDeleteKeyA(parent.get(), name), 0);
        }
    }
    unsetenv("WARDLET_ACP");
    WdTestRereadEnvironment();
}

} // namespace
