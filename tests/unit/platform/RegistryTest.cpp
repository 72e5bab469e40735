// The registry's calls in one process: values, keys, enumeration, handles, access and limits.
#include <TestKey.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <platform/win32.h>

#include <cstring>
#include <functional>
#include <string>
#include <thread>
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

// Each call on a key; what it gives for one that it isn't meant for.
struct Call {
    const char* name;
    std::function<LONG(HKEY)> call;
};
const std::vector<Call> kReads = {
    {"query", [](HKEY key) { return RegQueryValueExA(key, "v", nullptr, nullptr, nullptr, nullptr); }},
    {"enumerate",
     [](HKEY key) {
         char name[8];
         DWORD length = sizeof name;
         return RegEnumKeyExA(key, 0, name, &length, nullptr, nullptr, nullptr, nullptr);
     }},
};
const std::vector<Call> kWrites = {
    {"set", [](HKEY key) { return RegSetValueExA(key, "v", 0, REG_BINARY, nullptr, 0); }},
    {"delete value", [](HKEY key) { return RegDeleteValueA(key, "v"); }},
    {"delete key", [](HKEY key) { return RegDeleteKeyA(key, "Sub"); }},
    {"create",
     [](HKEY key) {
         HKEY made = nullptr;
         return RegCreateKeyExA(key, "New", 0, nullptr, 0, KEY_READ, nullptr, &made, nullptr);
     }},
};
const std::vector<Call> kOpenings = {
    {"open below",
     [](HKEY key) {
         HKEY opened = nullptr;
         return RegOpenKeyExA(key, "x", 0, KEY_READ, &opened);
     }},
    {"open itself",
     [](HKEY key) {
         HKEY opened = nullptr;
         return RegOpenKeyExA(key, "", 0, KEY_READ, &opened);
     }},
};
void expectAll(const std::vector<std::vector<Call>>& lists, HKEY key, DWORD error) {
    for (const auto& calls : lists)
        for (const Call& call : calls)
            EXPECT_EQ(call.call(key), static_cast<LONG>(error)) << call.name;
}

TEST(RegistryValues, KeepTypeAndBytes) {
    const TestKey key = TestKey::create("Values");
    std::string everyByte;
    for (int i = 0; i < 256; ++i)
        everyByte += static_cast<char>(i);
    const struct {
        const char* name;
        DWORD type;
        std::string data;
    } rows[] = {
        {"number", REG_DWORD, std::string("\x01\x02\x03\x04", 4)},
        {"bytes", REG_BINARY, everyByte},
        {"long number", REG_QWORD, "12345678"},
        {"nothing", REG_NONE, ""},
        {"unknown type", 4711, everyByte},
        {"", REG_SZ, std::string("the key's own\0", 14)},
        {"largest", REG_BINARY, std::string(1 << 20, 'x')},
        {"NUMBER", REG_BINARY, "longer than before"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(key.setBytes(row.name, row.data, row.type), 0) << row.name;
        std::string data(row.data.size() + 8, '#');
        DWORD type = 0;
        auto size = static_cast<DWORD>(data.size());
        EXPECT_EQ(RegQueryValueExA(key.get(), row.name, nullptr, &type, reinterpret_cast<BYTE*>(data.data()), &size),
                  0);
        EXPECT_EQ(type, row.type) << row.name;
        EXPECT_EQ(data, row.data.substr(0, size) + "########") << row.name;
    }
    EXPECT_EQ(key.bytes(nullptr), rows[5].data) << "a null name is the empty name";
    EXPECT_EQ(key.bytes("number"), rows[7].data);
    EXPECT_EQ(RegDeleteValueA(key.get(), "number"), 0);
    EXPECT_EQ(RegDeleteValueA(key.get(), "number"), kMissing);
    EXPECT_EQ(key.bytes("bytes"), everyByte);
}

// A buffer that is too small is left alone, and the size told.
TEST(RegistryValues, ASmallBufferIsLeftAloneAndTheSizeTold) {
    const TestKey key = TestKey::create("Sizes");
    ASSERT_EQ(key.setBytes("value", "12345"), 0);
    ASSERT_TRUE(TestKey::create("five5", key.get()));
    const struct {
        DWORD nameRoom; // also for the terminator
        DWORD dataRoom;
        DWORD index;
        LONG error;
        std::string name;
        std::string data;
    } rows[] = {
        {6, 5, 0, 0, "value", "12345"},
        {5, 5, 0, ERROR_MORE_DATA, "unset", "#####"},
        {6, 4, 0, ERROR_MORE_DATA, "unset", "#####"},
        {6, 5, 1, ERROR_NO_MORE_ITEMS, "unset", "#####"},
    };
    for (const auto& row : rows) {
        char name[8] = "unset";
        std::string data = "#####";
        DWORD length = row.nameRoom;
        DWORD size = row.dataRoom;
        auto* const bytes = reinterpret_cast<BYTE*>(data.data());
        EXPECT_EQ(RegEnumValueA(key.get(), row.index, name, &length, nullptr, nullptr, bytes, &size), row.error);
        EXPECT_EQ(name, row.name);
        EXPECT_EQ(data, row.data);
        EXPECT_EQ(size, row.nameRoom == 6 && row.index == 0 ? 5 : row.dataRoom);
        size = row.dataRoom;
        EXPECT_EQ(RegQueryValueExA(key.get(), row.index == 0 ? "value" : "none", nullptr, nullptr, bytes, &size),
                  row.dataRoom < 5 ? LONG{ERROR_MORE_DATA}
                  : row.index == 0 ? 0
                                   : kMissing);
        char className[4] = "abc";
        DWORD classLength = sizeof className;
        std::strcpy(name, "unset");
        length = row.nameRoom;
        const LONG error =
            RegEnumKeyExA(key.get(), row.index, name, &length, nullptr, className, &classLength, nullptr);
        EXPECT_EQ(error, row.nameRoom < 6 ? LONG{ERROR_MORE_DATA} : row.index == 0 ? 0 : row.error);
        EXPECT_STREQ(name, error == 0 ? "five5" : "unset");
        EXPECT_STREQ(className, error == 0 ? "" : "abc");
    }
    DWORD type = 0;
    BYTE byte = 0;
    EXPECT_EQ(RegQueryValueExA(key.get(), "value", nullptr, &type, nullptr, nullptr), 0) << "the type alone";
    EXPECT_EQ(type, REG_BINARY);
    EXPECT_EQ(RegQueryValueExA(key.get(), "value", nullptr, nullptr, &byte, nullptr), kInvalid);
}

TEST(RegistryNames, CompareWithoutCaseAndKeepTheirSpellingAndOrder) {
    const struct {
        const char* written;
        const char* other;
    } rows[] = {
        {"Port", "pORT"},
        {"Gr\u00f6\u00dfe", "GR\u00d6\u00dfE"}, // the sharp s has no single upper case and stays itself
        {"\u0434\u043e\u043c", "\u0414\u041e\u041c"},
        {"\U00010428", "\U00010428"}, // folding goes by UTF-16 unit and leaves such a pair alone
    };
    const TestKey key = TestKey::create("Names");
    for (const auto& row : rows) {
        ASSERT_EQ(key.set(row.written, 5), 0);
        ASSERT_EQ(key.set(row.other, 6), 0);
        EXPECT_EQ(key.number(row.written), 6u) << row.written;
        const TestKey subkey = TestKey::create(row.written, key.get());
        EXPECT_TRUE(TestKey::open(row.other, KEY_READ, key.get())) << row.written;
        EXPECT_THAT(subkeys(key.get()), testing::Contains(std::string(row.written)));
    }
    const TestKey order = TestKey::create("Order");
    for (const char* name : {"delta", "Alpha", "charlie", "BRAVO", "alpha2", "_x", "\u00e4", "Z"})
        ASSERT_TRUE(TestKey::create(name, order.get()));
    EXPECT_THAT(subkeys(order.get()), ElementsAre("Alpha", "alpha2", "BRAVO", "charlie", "delta", "Z", "_x", "\u00e4"));
    ASSERT_EQ(RegDeleteKeyA(order.get(), "CHARLIE"), 0);
    EXPECT_THAT(subkeys(order.get()), ElementsAre("Alpha", "alpha2", "BRAVO", "delta", "Z", "_x", "\u00e4"));
}

TEST(RegistryKeys, CreationMakesThePathAndSaysWhatWasThere) {
    for (const auto& [path, expected] :
         {std::pair{"A\\B\\C", REG_CREATED_NEW_KEY}, {"a\\b", REG_OPENED_EXISTING_KEY}}) {
        HKEY handle = nullptr;
        DWORD disposition = 0;
        EXPECT_EQ(
            RegCreateKeyExA(HKEY_LOCAL_MACHINE, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &handle, &disposition),
            0);
        EXPECT_EQ(disposition, DWORD(expected)) << path;
        RegCloseKey(handle);
    }
    const TestKey middle = TestKey::open("A\\B\\", KEY_ALL_ACCESS); // one trailing backslash is passed over
    EXPECT_THAT(subkeys(middle.get()), ElementsAre("C"));
    ASSERT_EQ(middle.set("v", 1), 0);
    for (const char* itself : {"", static_cast<const char*>(nullptr)})
        EXPECT_EQ(TestKey::open(itself, KEY_READ, middle.get()).number("v"), 1u);
}

TEST(RegistryKeys, DeletionRefusesWhatHasSubkeys) {
    const TestKey top = TestKey::create("Top");
    ASSERT_TRUE(TestKey::create("Top\\Middle\\Leaf"));
    EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, "Top\\Middle"), LONG{ERROR_ACCESS_DENIED});
    EXPECT_EQ(RegDeleteKeyW(top.get(), WTEXT("middle\\LEAF")), 0);
    EXPECT_EQ(RegDeleteKeyA(top.get(), "Middle\\"), 0);
    EXPECT_EQ(RegDeleteKeyA(top.get(), "Middle"), kMissing);
    for (const char* itself : {"", static_cast<const char*>(nullptr)})
        EXPECT_EQ(RegDeleteKeyA(top.get(), itself), kInvalid);
    EXPECT_THAT(subkeys(top.get()), ElementsAre());
}

TEST(RegistryKeys, AHandleToADeletedKeySaysSoForGood) {
    for (const bool thereAgain : {false, true}) { // another key of the same name
        TestKey::create("Gone\\Sub");
        const TestKey key = TestKey::open("Gone\\Sub", KEY_ALL_ACCESS);
        ASSERT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, "Gone\\Sub"), 0);
        if (thereAgain) {
            ASSERT_TRUE(TestKey::create("Gone\\Sub"));
        }
        expectAll({kReads, kWrites, kOpenings}, key.get(), ERROR_KEY_DELETED);
    }
}

TEST(RegistryKeys, MalformedPathsAndLimits) {
    constexpr LONG kBadPath = ERROR_BAD_PATHNAME;
    std::string euros; // 255 units of three bytes each
    for (int i = 0; i < 255; ++i)
        euros += "\u20ac";
    const struct {
        std::string path;
        LONG error;
    } rows[] = {
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
    const TestKey key = TestKey::create("Limits");
    for (const auto& row : rows) {
        HKEY handle = nullptr;
        const char* const path = row.path.c_str();
        EXPECT_EQ(RegCreateKeyExA(key.get(), path, 0, nullptr, 0, KEY_READ, nullptr, &handle, nullptr), row.error)
            << path;
        EXPECT_EQ(static_cast<bool>(TestKey(handle)), row.error == 0);
        EXPECT_EQ(RegDeleteKeyA(key.get(), path), row.error) << path;
        if (row.error != kBadPath && row.path.find('\\') == std::string::npos) {
            EXPECT_EQ(key.set(path, 1), row.error) << path;
        }
    }
    EXPECT_EQ(key.setBytes("data", std::string((1 << 20) + 1, 'x')), kInvalid);
    EXPECT_EQ(RegSetValueExA(key.get(), "data", 0, REG_BINARY, nullptr, 1), kInvalid);
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
    EXPECT_THAT(subkeys(TestKey::open(path.c_str()).get()), ElementsAre("x1", "x2"));
    EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, first.c_str()), 0);
    EXPECT_FALSE(TestKey::open(first.c_str()));
    EXPECT_EQ(TestKey::open(second.c_str()).number("v"), 2u);
}

TEST(RegistryHandles, StaleAndForeignOnesAreRefused) {
    TestKey::create("H").set("v", 1);
    HKEY stale = TestKey::open("H").get();
    const TestKey again = TestKey::open("H"); // takes the place that became free
    int onStack = 0;
    const auto open = reinterpret_cast<std::uintptr_t>(again.get());
    for (const std::uintptr_t number :
         {reinterpret_cast<std::uintptr_t>(stale), std::uintptr_t{0}, reinterpret_cast<std::uintptr_t>(&onStack),
          std::uintptr_t{0x80000001}, ~std::uintptr_t{0}, open + 0x100, open + (std::uintptr_t{1} << 32)}) {
        auto* const handle = reinterpret_cast<HKEY>(number);
        expectAll({kReads, kWrites, kOpenings, {{"flush", RegFlushKey}, {"close", RegCloseKey}}}, handle,
                  ERROR_INVALID_HANDLE);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    }
    EXPECT_EQ(again.number("v"), 1u);
    EXPECT_EQ(RegFlushKey(again.get()), 0);
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
    TestKey::create("Access\\Sub");
    const TestKey reader = TestKey::open("Access", KEY_READ);
    const TestKey writer = TestKey::open("Access", KEY_WRITE);
    const TestKey nobody = TestKey::open("Access", 0);
    expectAll({kWrites}, reader.get(), ERROR_ACCESS_DENIED);
    EXPECT_EQ(writer.set("v", 1), 0);
    expectAll({kReads}, writer.get(), ERROR_ACCESS_DENIED);
    expectAll({kReads, kWrites}, nobody.get(), ERROR_ACCESS_DENIED);
    EXPECT_TRUE(TestKey::open("Sub", KEY_READ, nobody.get())) << "the right to open lies with the key opened";
    EXPECT_EQ(reader.number("v"), 1u);
}

} // namespace
