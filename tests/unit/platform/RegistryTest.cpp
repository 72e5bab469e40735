// The registry's calls in one process: values, keys, enumeration, handles, access and limits.
#include <TestKey.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <platform/win32.h>

#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace {

using testing::ElementsAre;

constexpr LONG kInvalid = ERROR_INVALID_PARAMETER;
constexpr LONG kMissing = ERROR_FILE_NOT_FOUND;

std::vector<std::string> subkeys(HKEY key) {
    std::vector<std::string> names;
    char name[512];
    for (DWORD index = 0;; ++index) {
        DWORD length = sizeof name;
        const LONG error = RegEnumKeyExA(key, index, name, &length, nullptr, nullptr, nullptr, nullptr);
        if (error != 0) {
            EXPECT_EQ(error, LONG{ERROR_NO_MORE_ITEMS});
            return names;
        }
        EXPECT_EQ(length, std::strlen(name));
        names.emplace_back(name);
    }
}

// The calls on a key, grouped by the access that they need.
using Calls = std::vector<std::function<LONG(HKEY)>>;
HKEY unused = nullptr;
const Calls kReads = {
    [](HKEY key) { return RegQueryValueExA(key, "v", nullptr, nullptr, nullptr, nullptr); },
    [](HKEY key) {
        char name[8];
        DWORD length = sizeof name;
        return RegEnumKeyExA(key, 0, name, &length, nullptr, nullptr, nullptr, nullptr);
    },
};
const Calls kWrites = {
    [](HKEY key) { return RegSetValueExA(key, "v", 0, REG_BINARY, nullptr, 0); },
    [](HKEY key) { return RegDeleteValueA(key, "v"); },
};
const Calls kWritesBelow = {
    [](HKEY key) { return RegDeleteKeyA(key, "Sub"); },
    [](HKEY key) { return RegCreateKeyExA(key, "New", 0, nullptr, 0, KEY_READ, nullptr, &unused, nullptr); },
};
const Calls kOpenings = {
    [](HKEY key) { return RegOpenKeyExA(key, "x", 0, KEY_READ, &unused); },
    [](HKEY key) { return RegOpenKeyExA(key, "", 0, KEY_READ, &unused); },
};
const std::vector<Calls> kAll = {kReads, kWrites, kWritesBelow, kOpenings};
void expectAll(const std::vector<Calls>& lists, HKEY key, DWORD error) {
    for (const Calls& calls : lists)
        for (const auto& call : calls)
            EXPECT_EQ(call(key), static_cast<LONG>(error)) << &call - calls.data() << " of " << calls.size();
}

TEST(RegistryValues, KeepTypeAndBytes) {
    const TestKey key = TestKey::create("Values");
    const struct {
        const char* name;
        DWORD type;
        std::string data;
    } rows[] = {
        {"", REG_SZ, std::string("the key's own\0", 14)},
        {nullptr, REG_NONE, ""}, // means the empty name too
        {"unknown type", 4711, std::string("\xFF\0\x80", 3)},
        {"UNKNOWN Type", REG_BINARY, std::string(1 << 20, 'x')}, // the largest, replacing another
    };
    for (const auto& row : rows) {
        EXPECT_EQ(key.setBytes(row.name, row.data, row.type), 0);
        DWORD type = 0;
        EXPECT_EQ(RegQueryValueExA(key.get(), row.name, nullptr, &type, nullptr, nullptr), 0);
        EXPECT_EQ(type, row.type);
        EXPECT_EQ(key.bytes(row.name), row.data);
    }
    EXPECT_EQ(key.bytes("unknown type"), rows[3].data);
    EXPECT_EQ(RegDeleteValueW(key.get(), WTEXT("unknown type")), 0);
    EXPECT_EQ(RegDeleteValueA(key.get(), "unknown type"), kMissing);
    EXPECT_EQ(key.bytes(""), "");
}

TEST(RegistryValues, ASmallBufferIsLeftAloneAndTheSizeTold) {
    const TestKey key = TestKey::create("Sizes");
    ASSERT_EQ(key.setBytes("value", "12345"), 0);
    ASSERT_TRUE(TestKey::create("five5", key.get()));
    const struct {
        DWORD nameRoom; // including the terminator
        DWORD dataRoom;
        LONG name;
        LONG data;
    } rows[] = {{6, 5, 0, 0}, {5, 4, ERROR_MORE_DATA, ERROR_MORE_DATA}};
    for (const auto& row : rows) {
        char name[8] = "unset";
        char data[8] = "unset";
        auto* const bytes = reinterpret_cast<BYTE*>(data);
        DWORD length = row.nameRoom;
        EXPECT_EQ(RegEnumKeyExA(key.get(), 0, name, &length, nullptr, nullptr, nullptr, nullptr), row.name);
        EXPECT_STREQ(name, row.name == 0 ? "five5" : "unset");
        DWORD size = row.dataRoom;
        EXPECT_EQ(RegQueryValueExA(key.get(), "value", nullptr, nullptr, bytes, &size), row.data);
        EXPECT_EQ(size, 5u);
        EXPECT_STREQ(data, row.data == 0 ? "12345" : "unset");
        std::strcpy(name, "unset");
        length = row.nameRoom;
        DWORD type = REG_NONE;
        size = 0;
        EXPECT_EQ(RegEnumValueA(key.get(), 0, name, &length, nullptr, &type, nullptr, &size), row.name);
        EXPECT_STREQ(name, row.name == 0 ? "value" : "unset");
        EXPECT_TRUE(type == REG_BINARY && size == 5);
        WCHAR wide[8];
        length = 8;
        size = row.dataRoom;
        EXPECT_EQ(RegEnumValueW(key.get(), 0, wide, &length, nullptr, nullptr, bytes, &size), row.data);
        EXPECT_EQ(std::u16string(wide, length), u"value");
        size = row.dataRoom; // takes the type too
        EXPECT_EQ(RegQueryValueExA(key.get(), "value", nullptr, &size, bytes, &size), row.data);
        EXPECT_EQ(size, 5u);
        EXPECT_EQ(RegQueryValueExA(key.get(), "none", nullptr, nullptr, nullptr, &size), kMissing);
        EXPECT_EQ(size, 0u);
    }
}

TEST(RegistryNames, CompareWithoutCaseAndKeepTheirSpellingAndOrder) {
    const std::pair<const char*, const char*> rows[] = {
        {"Port", "pORT"},
        {"Gr\u00f6\u00dfe", "GR\u00d6\u00dfE"}, // the sharp s has no single upper-case letter and stays
        {"\u0434\u043e\u043c", "\u0414\u041e\u041c"},
        {"\U00010428", "\U00010428"}, // folding works on UTF-16 units and leaves surrogates alone
    };
    const TestKey key = TestKey::create("Names");
    for (const auto& [written, other] : rows) {
        ASSERT_EQ(key.set(written, 6), 0);
        EXPECT_EQ(key.number(other), 6u) << written;
        ASSERT_TRUE(TestKey::create(written, key.get()));
        EXPECT_TRUE(TestKey::open(other, KEY_READ, key.get())) << written;
    }
    for (const char* name : {"delta", "Alpha", "BRAVO", "alpha2", "_x", "Z"})
        ASSERT_TRUE(TestKey::create(name, key.get()));
    ASSERT_EQ(RegDeleteKeyA(key.get(), "pORT"), 0);
    EXPECT_THAT(subkeys(key.get()), ElementsAre("Alpha", "alpha2", "BRAVO", "delta", rows[1].first, "Z", "_x",
                                                rows[2].first, rows[3].first));
}

TEST(RegistryKeys, CreationMakesThePathAndSaysWhatWasThere) {
    for (const auto& [path, expected] :
         {std::pair{"A\\B\\C", REG_CREATED_NEW_KEY}, {"a\\b\\", REG_OPENED_EXISTING_KEY}}) {
        HKEY key = nullptr; // one trailing backslash is ignored
        DWORD found = 0;
        EXPECT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, path, 0, nullptr, 0, KEY_READ, nullptr, &key, &found), 0);
        EXPECT_EQ(found, DWORD(expected)) << path;
        EXPECT_TRUE(TestKey::open("", KEY_READ, key) && TestKey::open(nullptr, KEY_READ, key)) << "itself";
        EXPECT_EQ(subkeys(key).size(), expected == REG_CREATED_NEW_KEY ? 0u : 1u);
        RegCloseKey(key);
    }
}

TEST(RegistryKeys, DeletionRefusesWhatHasSubkeys) {
    const TestKey top = TestKey::create("Top");
    ASSERT_TRUE(TestKey::create("Top\\Middle\\Leaf"));
    EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, "Top\\Middle"), LONG{ERROR_ACCESS_DENIED});
    EXPECT_EQ(RegDeleteKeyW(top.get(), WTEXT("middle\\LEAF")), 0);
    EXPECT_EQ(RegDeleteKeyA(top.get(), "Middle\\"), 0);
    EXPECT_EQ(RegDeleteKeyA(top.get(), "Middle"), kMissing);
    EXPECT_EQ(RegDeleteKeyA(top.get(), ""), kInvalid);
}

TEST(RegistryKeys, AHandleToADeletedKeySaysSoForGood) {
    for (const bool thereAgain : {false, true}) { // whether a new key has the same name
        TestKey::create("Gone\\Sub");
        const TestKey key = TestKey::open("Gone\\Sub", KEY_ALL_ACCESS);
        ASSERT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, "Gone\\Sub"), 0);
        if (thereAgain) {
            ASSERT_TRUE(TestKey::create("Gone\\Sub"));
        }
        expectAll(kAll, key.get(), ERROR_KEY_DELETED);
    }
}

TEST(RegistryKeys, MalformedPathsAndLimits) {
    std::string euros; // 255 units of three bytes each
    for (int i = 0; i < 255; ++i)
        euros += "\u20ac";
    const std::string longest(255, 'n');
    const TestKey key = TestKey::create("Limits");
    const std::pair<LONG, std::vector<std::string>> rows[] = {
        {ERROR_BAD_PATHNAME, {"\\", "\\a", "a\\\\b", "a\\\\", "\u00e4\\\\b"}},
        {kInvalid, {longest + "n", "a\\" + longest + "n\\b", euros + "\u20ac"}},
        {0, {longest, euros}},
    };
    for (const auto& [error, paths] : rows)
        for (const std::string& path : paths) {
            const TestKey made = TestKey::create(path.c_str(), key.get());
            EXPECT_EQ(made ? 0 : static_cast<LONG>(GetLastError()), error) << path;
            EXPECT_TRUE(path.find('\\') != std::string::npos || key.set(path.c_str(), 1) == error) << path;
            HKEY opened = key.get();
            EXPECT_EQ(RegOpenKeyExA(key.get(), path.c_str(), 0, KEY_READ, &opened), error) << path;
            EXPECT_TRUE(error == 0 ? RegCloseKey(opened) == 0 : opened == nullptr) << path;
        }
    for (const char* name : {"", longest.c_str()})
        ASSERT_EQ(key.set(name, 1), 0);
    EXPECT_EQ(key.number((longest + "n").c_str()), std::nullopt);
    EXPECT_EQ(RegDeleteValueA(key.get(), (longest + "n").c_str()), kMissing);
    const auto create = [&](DWORD reserved, DWORD options, HKEY* result) {
        return RegCreateKeyExA(key.get(), "x", reserved, nullptr, options, KEY_READ, nullptr, result, nullptr);
    };
    EXPECT_EQ(create(1, 0, &unused), kInvalid);
    EXPECT_EQ(create(0, 1, &unused), kInvalid);
    EXPECT_EQ(create(0, 0, nullptr), LONG{ERROR_BADKEY});
    EXPECT_EQ(key.setBytes("data", std::string((1 << 20) + 1, 'x')), kInvalid);
    EXPECT_EQ(RegSetValueExA(key.get(), "data", 0, REG_BINARY, nullptr, 1), LONG{ERROR_NOACCESS});
}

// Paths beyond the database's key size are stored under a digest; the two longest here differ only in their last
// letter.
TEST(RegistryKeys, LongPathsAreKeysLikeAnyOther) {
    std::string path;
    for (int level = 0; level < 12; ++level)
        path += std::string(200, static_cast<char>('a' + level)) + "\\";
    const std::string first = path + "x1";
    const std::string second = path + "x2";
    ASSERT_EQ(TestKey::create(first.c_str()).set("v", 1), 0);
    ASSERT_EQ(TestKey::create(second.c_str()).set("v", 2), 0);
    EXPECT_EQ(TestKey::open(first.c_str()).number("v"), 1u);
    EXPECT_THAT(subkeys(TestKey::open(path.c_str()).get()), ElementsAre("x1", "x2"));
    EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, first.c_str()), 0);
    EXPECT_FALSE(TestKey::open(first.c_str()));
    EXPECT_EQ(TestKey::open(second.c_str()).number("v"), 2u);
}

TEST(RegistryHandles, StaleAndForeignOnesAreRefused) {
    TestKey::create("H").set("v", 1);
    HKEY stale = TestKey::open("H").get();
    const TestKey again = TestKey::open("H"); // takes the slot that became free
    int onStack = 0;
    const auto open = reinterpret_cast<std::uintptr_t>(again.get());
    for (const std::uintptr_t number :
         {reinterpret_cast<std::uintptr_t>(stale), std::uintptr_t{0}, reinterpret_cast<std::uintptr_t>(&onStack),
          std::uintptr_t{0x80000001}, ~std::uintptr_t{0}, open + 0x100, open + (std::uintptr_t{1} << 32)}) {
        auto* const handle = reinterpret_cast<HKEY>(number);
        unused = again.get();
        expectAll(kAll, handle, ERROR_INVALID_HANDLE);
        EXPECT_EQ(unused, nullptr);
        expectAll({{RegCloseKey}}, handle, ERROR_INVALID_HANDLE);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    }
    for (const std::uintptr_t tag : {0u, 1u, 2u, 3u}) // is the caller's
        EXPECT_EQ(RegQueryValueExA(reinterpret_cast<HKEY>(open + tag), "v", nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(HKEY_LOCAL_MACHINE), 0xFFFFFFFF80000002);
    for (const std::uintptr_t upperHalf : {0u, 0xFFFFFFFFu, 0x12345678u}) {
        auto* const root = reinterpret_cast<HKEY>(upperHalf << 32 | 0x80000002);
        HKEY same = nullptr;
        EXPECT_EQ(RegOpenKeyExA(root, "", 0, KEY_READ, &same), 0);
        EXPECT_EQ(same, root);
        EXPECT_EQ(RegCloseKey(root), 0);
        EXPECT_TRUE(TestKey::open("H", KEY_READ, root));
    }
}

TEST(RegistryHandles, ThousandsOpenAtOnceFromManyThreads) {
    ASSERT_EQ(TestKey::create("Many").set("v", 42), 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([] {
            std::vector<TestKey> keys;
            for (int i = 0; i < 3000; ++i)
                keys.push_back(TestKey::open("Many"));
            for (const TestKey& key : keys)
                EXPECT_EQ(key.number("v"), 42u);
        });
    for (auto& thread : threads)
        thread.join();
}

TEST(RegistryAccess, AHandleAllowsWhatItWasOpenedFor) {
    TestKey::create("Access\\Below\\x");
    TestKey::create("Access\\Sub");
    const TestKey reader = TestKey::open("Access", KEY_READ);
    const TestKey writer = TestKey::open("Access", KEY_WRITE);
    const TestKey nobody = TestKey::open("Access", 0);
    expectAll({kWrites}, reader.get(), ERROR_ACCESS_DENIED);
    expectAll({kWritesBelow}, reader.get(), 0);
    EXPECT_EQ(writer.set("v", 1), 0);
    expectAll({kReads}, writer.get(), ERROR_ACCESS_DENIED);
    EXPECT_TRUE(TestKey::open("Below", KEY_READ, nobody.get())) << "the right to open lies with the key opened";
    EXPECT_EQ(reader.number("v"), 1u);
    for (const auto& [access, reads, writes] : {std::tuple{GENERIC_READ, true, false},
                                                {GENERIC_EXECUTE, true, false},
                                                {GENERIC_WRITE, false, true},
                                                {GENERIC_ALL, true, true},
                                                {MAXIMUM_ALLOWED, true, true}}) {
        const TestKey key = TestKey::open("Access", access);
        EXPECT_EQ(key.number("v").has_value(), reads) << access;
        EXPECT_EQ(key.set("v", 1) == 0, writes) << access;
    }
}

} // namespace
