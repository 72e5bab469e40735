// The registry's calls in one process: values, keys, enumeration, handles, access and limits.
#include <TestKey.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <platform/win32.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

using testing::ElementsAre;

std::vector<std::string> subkeys(HKEY key) {
    std::vector<std::string> names;
    char name[512];
    for (DWORD index = 0;; ++index) {
        DWORD length = sizeof name;
        const LONG error = RegEnumKeyExA(key, index, name, &length, nullptr, nullptr, nullptr, nullptr);
        if (error != 0) {
            EXPECT_EQ(error, static_cast<LONG>(ERROR_NO_MORE_ITEMS));
            return names;
        }
        EXPECT_EQ(length, std::strlen(name));
        names.emplace_back(name);
    }
}

TEST(RegistryValues, KeepTypeAndBytes) {
    const TestKey key = TestKey::create("Values");
    ASSERT_TRUE(key);
    const std::string everyByte = [] {
        std::string bytes;
        for (int i = 0; i < 256; ++i)
            bytes += static_cast<char>(i);
        return bytes;
    }();
    const struct {
        const char* name;
        DWORD type;
        std::string data;
    } cases[] = {
        {"number", REG_DWORD, std::string("\x01\x02\x03\x04", 4)},
        {"text", REG_SZ, std::string("abc\0", 4)},
        {"list", REG_MULTI_SZ, std::string("a\0b\0\0", 5)},
        {"bytes", REG_BINARY, everyByte},
        {"long number", REG_QWORD, "12345678"},
        {"nothing", REG_NONE, ""},
        {"unknown type", 4711, everyByte},
        {"", REG_SZ, std::string("the key's own\0", 14)},
        {"largest", REG_BINARY, std::string(1 << 20, 'x')},
    };
    for (const auto& c : cases)
        EXPECT_EQ(key.setBytes(c.name, c.data, c.type), 0) << c.name;
    for (const auto& c : cases) {
        std::string data(c.data.size() + 8, '#');
        DWORD type = 0;
        auto size = static_cast<DWORD>(data.size());
        EXPECT_EQ(RegQueryValueExA(key.get(), c.name, nullptr, &type, reinterpret_cast<BYTE*>(data.data()), &size), 0);
        EXPECT_EQ(type, c.type) << c.name;
        EXPECT_EQ(data.substr(0, size), c.data) << c.name;
        EXPECT_EQ(data.substr(size), "########") << c.name;
    }
    DWORD size = 0;
    EXPECT_EQ(RegQueryValueExA(key.get(), nullptr, nullptr, nullptr, nullptr, &size), 0);
    EXPECT_EQ(size, 14u) << "a null name is the empty name";
}

TEST(RegistryValues, SizeIsToldAndASmallBufferLeftAlone) {
    const TestKey key = TestKey::create("Sizes");
    ASSERT_EQ(key.setBytes("v", "12345", REG_BINARY), 0);
    DWORD type = 0;
    DWORD size = 99;
    EXPECT_EQ(RegQueryValueExA(key.get(), "v", nullptr, &type, nullptr, &size), 0);
    EXPECT_EQ(size, 5u);
    EXPECT_EQ(type, REG_BINARY);

    BYTE buffer[8] = {7, 7, 7, 7, 7, 7, 7, 7};
    size = 4;
    EXPECT_EQ(RegQueryValueExA(key.get(), "v", nullptr, nullptr, buffer, &size), static_cast<LONG>(ERROR_MORE_DATA));
    EXPECT_EQ(size, 5u);
    EXPECT_TRUE(std::all_of(std::begin(buffer), std::end(buffer), [](BYTE b) { return b == 7; }));
    size = 5;
    EXPECT_EQ(RegQueryValueExA(key.get(), "v", nullptr, nullptr, buffer, &size), 0);

    size = sizeof buffer;
    EXPECT_EQ(RegQueryValueExA(key.get(), "w", nullptr, nullptr, buffer, &size),
              static_cast<LONG>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(RegQueryValueExA(key.get(), "v", nullptr, &type, nullptr, nullptr), 0) << "the type alone";
    EXPECT_EQ(RegQueryValueExA(key.get(), "v", nullptr, nullptr, buffer, nullptr),
              static_cast<LONG>(ERROR_INVALID_PARAMETER));
}

TEST(RegistryValues, ReplaceAndDelete) {
    const TestKey key = TestKey::create("Replace");
    for (const char* name : {"b", "a", "c"})
        ASSERT_EQ(key.set(name, 1), 0);
    ASSERT_EQ(key.setBytes("B", "longer than before"), 0);
    EXPECT_EQ(key.bytes("b"), "longer than before");
    EXPECT_EQ(RegDeleteValueA(key.get(), "A"), 0);
    EXPECT_EQ(RegDeleteValueA(key.get(), "A"), static_cast<LONG>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(key.number("c"), 1u);
    EXPECT_EQ(key.number("a"), std::nullopt);
}

TEST(RegistryNames, CompareWithoutCaseAndKeepTheirSpelling) {
    const struct {
        const char* written;
        const char* other;
    } cases[] = {
        {"Port", "pORT"},
        {"Gr\u00f6\u00dfe", "GR\u00d6\u00dfE"}, // the sharp s has no single upper case and stays itself
        {"\u0434\u043e\u043c", "\u0414\u041e\u041c"},
        {"\U00010428", "\U00010428"}, // folding goes by UTF-16 unit and leaves such a pair alone
    };
    const TestKey key = TestKey::create("Names");
    for (const auto& c : cases) {
        ASSERT_EQ(key.set(c.written, 5), 0);
        ASSERT_EQ(key.set(c.other, 6), 0);
        EXPECT_EQ(key.number(c.written), 6u) << c.written;
        const TestKey subkey = TestKey::create(c.written, key.get());
        EXPECT_TRUE(TestKey::open(c.other, KEY_READ, key.get())) << c.written;
    }
    std::vector<std::string> names = subkeys(key.get());
    for (const auto& c : cases)
        EXPECT_THAT(names, testing::Contains(std::string(c.written)));

    char name[64];
    DWORD length = sizeof name;
    DWORD type = 0;
    BYTE data[4];
    DWORD size = sizeof data;
    EXPECT_EQ(RegEnumValueA(key.get(), 0, name, &length, nullptr, &type, data, &size), 0);
    EXPECT_STREQ(name, cases[1].written);
    EXPECT_EQ(type, REG_DWORD);
    EXPECT_EQ(data[0], 6);
}

TEST(RegistryEnumeration, GoesInCaseInsensitiveOrder) {
    const TestKey key = TestKey::create("Order");
    for (const char* name : {"delta", "Alpha", "charlie", "BRAVO", "alpha2", "_x", "\u00e4", "Z"})
        ASSERT_TRUE(TestKey::create(name, key.get()));
    EXPECT_THAT(subkeys(key.get()), ElementsAre("Alpha", "alpha2", "BRAVO", "charlie", "delta", "Z", "_x", "\u00e4"));

    ASSERT_EQ(RegDeleteKeyA(key.get(), "CHARLIE"), 0);
    EXPECT_THAT(subkeys(key.get()), ElementsAre("Alpha", "alpha2", "BRAVO", "delta", "Z", "_x", "\u00e4"));
}

TEST(RegistryEnumeration, TellsASmallBufferFromTheEnd) {
    const TestKey key = TestKey::create("Buffers");
    ASSERT_TRUE(TestKey::create("five5", key.get()));
    ASSERT_EQ(key.set("value", 3), 0);
    char name[8] = "unset";
    DWORD length = 5; // no room for the terminator
    EXPECT_EQ(RegEnumKeyExA(key.get(), 0, name, &length, nullptr, nullptr, nullptr, nullptr),
              static_cast<LONG>(ERROR_MORE_DATA));
    EXPECT_STREQ(name, "unset");
    length = 6;
    char className[4] = "abc";
    DWORD classLength = sizeof className;
    EXPECT_EQ(RegEnumKeyExA(key.get(), 0, name, &length, nullptr, className, &classLength, nullptr), 0);
    EXPECT_STREQ(name, "five5");
    EXPECT_EQ(length, 5u);
    EXPECT_STREQ(className, "");
    EXPECT_EQ(classLength, 0u);

    length = sizeof name;
    EXPECT_EQ(RegEnumKeyExA(key.get(), 1, name, &length, nullptr, nullptr, nullptr, nullptr),
              static_cast<LONG>(ERROR_NO_MORE_ITEMS));
    BYTE data[4] = {9, 9, 9, 9};
    DWORD size = 3;
    length = sizeof name;
    EXPECT_EQ(RegEnumValueA(key.get(), 0, name, &length, nullptr, nullptr, data, &size),
              static_cast<LONG>(ERROR_MORE_DATA));
    EXPECT_EQ(size, 4u);
    EXPECT_EQ(data[0], 9);
    EXPECT_STREQ(name, "five5");
    EXPECT_EQ(RegEnumValueA(key.get(), 1, name, &length, nullptr, nullptr, data, &size),
              static_cast<LONG>(ERROR_NO_MORE_ITEMS));
}

TEST(RegistryKeys, CreationMakesThePathAndSaysWhatWasThere) {
    HKEY handle = nullptr;
    DWORD disposition = 0;
    ASSERT_EQ(
        RegCreateKeyExA(HKEY_LOCAL_MACHINE, "A\\B\\C", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &handle, &disposition),
        0);
    const TestKey leaf(handle);
    EXPECT_EQ(disposition, REG_CREATED_NEW_KEY);
    ASSERT_EQ(
        RegCreateKeyExA(HKEY_LOCAL_MACHINE, "a\\b", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &handle, &disposition), 0);
    const TestKey middle(handle);
    EXPECT_EQ(disposition, REG_OPENED_EXISTING_KEY);
    EXPECT_THAT(subkeys(middle.get()), ElementsAre("C"));
    EXPECT_TRUE(TestKey::open("c", KEY_READ, middle.get()));
    EXPECT_TRUE(TestKey::open("A\\B\\C\\")) << "one trailing backslash is passed over";

    ASSERT_EQ(middle.set("v", 1), 0);
    EXPECT_EQ(TestKey::open("", KEY_READ, middle.get()).number("v"), 1u) << "an empty path is the key itself";
    EXPECT_EQ(TestKey::open(nullptr, KEY_READ, middle.get()).number("v"), 1u);
}

TEST(RegistryKeys, DeletionRefusesWhatHasSubkeys) {
    const TestKey top = TestKey::create("Top");
    ASSERT_TRUE(TestKey::create("Top\\Middle\\Leaf"));
    EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, "Top\\Middle"), static_cast<LONG>(ERROR_ACCESS_DENIED));
    EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, "Top\\Nothing"), static_cast<LONG>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(RegDeleteKeyW(top.get(), WTEXT("middle\\LEAF")), 0);
    EXPECT_EQ(RegDeleteKeyA(top.get(), "Middle\\"), 0);
    EXPECT_EQ(RegDeleteKeyA(top.get(), "Middle"), static_cast<LONG>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(RegDeleteKeyA(top.get(), ""), static_cast<LONG>(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(RegDeleteKeyA(top.get(), nullptr), static_cast<LONG>(ERROR_INVALID_PARAMETER));
    EXPECT_THAT(subkeys(top.get()), ElementsAre());
}

TEST(RegistryKeys, AHandleToADeletedKeySaysSoForGood) {
    TestKey::create("Gone\\Sub");
    const TestKey key = TestKey::open("Gone\\Sub", KEY_ALL_ACCESS);
    ASSERT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, "Gone\\Sub"), 0);
    const auto expectDeleted = [&] {
        constexpr auto kDeleted = static_cast<LONG>(ERROR_KEY_DELETED);
        char name[16];
        DWORD length = sizeof name;
        DWORD size = 0;
        HKEY handle = nullptr;
        EXPECT_EQ(RegQueryValueExA(key.get(), "v", nullptr, nullptr, nullptr, &size), kDeleted);
        EXPECT_EQ(key.set("v", 1), kDeleted);
        EXPECT_EQ(RegDeleteValueA(key.get(), "v"), kDeleted);
        EXPECT_EQ(RegEnumKeyExA(key.get(), 0, name, &length, nullptr, nullptr, nullptr, nullptr), kDeleted);
        EXPECT_EQ(RegOpenKeyExA(key.get(), "", 0, KEY_READ, &handle), kDeleted);
        EXPECT_EQ(RegOpenKeyExA(key.get(), "x", 0, KEY_READ, &handle), kDeleted);
        EXPECT_EQ(RegCreateKeyExA(key.get(), "x", 0, nullptr, 0, KEY_READ, nullptr, &handle, nullptr), kDeleted);
    };
    expectDeleted();
    ASSERT_TRUE(TestKey::create("Gone\\Sub")); // another key of the same name
    expectDeleted();
}

TEST(RegistryKeys, MalformedPathsAndLimits) {
    constexpr auto kBadPath = static_cast<LONG>(ERROR_BAD_PATHNAME);
    constexpr auto kInvalid = static_cast<LONG>(ERROR_INVALID_PARAMETER);
    std::string euros; // 255 units of three bytes each
    for (int i = 0; i < 255; ++i)
        euros += "\u20ac";
    const struct {
        std::string path;
        LONG error;
    } paths[] = {
        {"\\", kBadPath},
        {"\\a", kBadPath},
        {"a\\\\b", kBadPath},
        {"a\\\\", kBadPath},
        {"\u00e4\\\\b", kBadPath},
        {std::string(255, 'n'), 0},
        {std::string(256, 'n'), kInvalid},
        {"a\\" + std::string(256, 'n') + "\\b", kInvalid},
        {euros, 0},
        {euros + "\u20ac", kInvalid},
    };
    for (const auto& c : paths) {
        HKEY handle = nullptr;
        EXPECT_EQ(
            RegCreateKeyExA(HKEY_LOCAL_MACHINE, c.path.c_str(), 0, nullptr, 0, KEY_READ, nullptr, &handle, nullptr),
            c.error)
            << c.path;
        const TestKey key(handle);
        EXPECT_EQ(static_cast<bool>(key), c.error == 0);
        EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, c.path.c_str()), c.error);
    }
    const TestKey key = TestKey::create("Limits");
    EXPECT_EQ(key.set(std::string(255, 'n').c_str(), 1), 0);
    EXPECT_EQ(key.set(std::string(256, 'n').c_str(), 1), kInvalid);
    EXPECT_EQ(key.set(euros.c_str(), 1), 0);
    EXPECT_EQ(key.set((euros + "\u20ac").c_str(), 1), kInvalid);
    EXPECT_EQ(key.setBytes("data", std::string((1 << 20) + 1, 'x')), kInvalid);
    EXPECT_EQ(RegSetValueExA(key.get(), "data", 0, REG_BINARY, nullptr, 1), kInvalid);
    EXPECT_EQ(RegSetValueExA(key.get(), "data", 0, REG_BINARY, nullptr, 0), 0);
}

// Paths beyond the database's key size are found by a digest; the two longest here differ in their last letter alone.
TEST(RegistryKeys, LongPathsAreKeysLikeAnyOther) {
    std::string path;
    for (int level = 0; level < 12; ++level)
        path += std::string(200, static_cast<char>('a' + level)) + "\\";
    const std::string first = path + "x1";
    const std::string second = path + "x2";
    ASSERT_EQ(TestKey::create(first.c_str()).set("v", 1), 0);
    ASSERT_EQ(TestKey::create(second.c_str()).set("v", 2), 0);
    EXPECT_EQ(TestKey::open(first.c_str()).number("v"), 1u);
    EXPECT_EQ(TestKey::open(second.c_str()).number("v"), 2u);
    EXPECT_THAT(subkeys(TestKey::open(path.c_str()).get()), ElementsAre("x1", "x2"));
    EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, first.c_str()), 0);
    EXPECT_FALSE(TestKey::open(first.c_str()));
    EXPECT_EQ(TestKey::open(second.c_str()).number("v"), 2u);
}

TEST(RegistryHandles, StaleAndForeignOnesAreRefused) {
    TestKey::create("H").set("v", 1);
    HKEY stale = nullptr;
    ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "H", 0, KEY_READ, &stale), 0);
    ASSERT_EQ(RegCloseKey(stale), 0);
    const TestKey again = TestKey::open("H"); // takes the place that became free
    int onStack = 0;
    const HKEY handles[] = {
        stale,
        nullptr,
        reinterpret_cast<HKEY>(&onStack),
        reinterpret_cast<HKEY>(std::uintptr_t{0x80000001}),
        reinterpret_cast<HKEY>(~std::uintptr_t{0}),
        reinterpret_cast<HKEY>(reinterpret_cast<std::uintptr_t>(again.get()) + 0x100),
        reinterpret_cast<HKEY>(reinterpret_cast<std::uintptr_t>(again.get()) + (std::uintptr_t{1} << 32)),
    };
    constexpr auto kInvalid = static_cast<LONG>(ERROR_INVALID_HANDLE);
    for (auto* handle : handles) {
        DWORD size = 0;
        HKEY result = nullptr;
        EXPECT_EQ(RegQueryValueExA(handle, "v", nullptr, nullptr, nullptr, &size), kInvalid);
        EXPECT_EQ(RegOpenKeyExA(handle, "x", 0, KEY_READ, &result), kInvalid);
        EXPECT_EQ(RegSetValueExA(handle, "v", 0, REG_BINARY, nullptr, 0), kInvalid);
        EXPECT_EQ(RegFlushKey(handle), kInvalid);
        SetLastError(0);
        EXPECT_EQ(RegCloseKey(handle), kInvalid);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    }
    EXPECT_EQ(again.number("v"), 1u);
    EXPECT_EQ(RegFlushKey(again.get()), 0);
}

TEST(RegistryHandles, ThousandsOpenAtOnceFromManyThreads) {
    const TestKey parent = TestKey::create("Many");
    ASSERT_EQ(parent.set("v", 42), 0);
    std::vector<std::thread> threads;
    threads.reserve(4);
    std::atomic<int> wrong{0};
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            std::vector<TestKey> keys;
            keys.reserve(3000);
            for (int i = 0; i < 3000; ++i)
                keys.push_back(TestKey::open("Many"));
            for (const TestKey& key : keys)
                wrong += key.number("v") == 42u ? 0 : 1;
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

TEST(RegistryAccess, AHandleAllowsWhatItWasOpenedFor) {
    TestKey::create("Access\\Sub");
    constexpr auto kDenied = static_cast<LONG>(ERROR_ACCESS_DENIED);
    const TestKey reader = TestKey::open("Access", KEY_READ);
    const TestKey writer = TestKey::open("Access", KEY_WRITE);
    const TestKey nobody = TestKey::open("Access", 0);
    DWORD size = 0;
    char name[8];
    DWORD length = sizeof name;
    HKEY handle = nullptr;
    EXPECT_EQ(reader.set("v", 1), kDenied);
    EXPECT_EQ(RegDeleteValueA(reader.get(), "v"), kDenied);
    EXPECT_EQ(RegDeleteKeyA(reader.get(), "Sub"), kDenied);
    EXPECT_EQ(RegCreateKeyExA(reader.get(), "New", 0, nullptr, 0, KEY_READ, nullptr, &handle, nullptr), kDenied);
    EXPECT_EQ(writer.set("v", 1), 0);
    EXPECT_EQ(RegQueryValueExA(writer.get(), "v", nullptr, nullptr, nullptr, &size), kDenied);
    EXPECT_EQ(RegEnumKeyExA(nobody.get(), 0, name, &length, nullptr, nullptr, nullptr, nullptr), kDenied);
    EXPECT_TRUE(TestKey::open("Sub", KEY_READ, nobody.get())) << "the right to open lies with the key opened";
    EXPECT_EQ(reader.number("v"), 1u);
}

} // namespace
