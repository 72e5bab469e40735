#include "Registry.h"

#include <algorithm>
#include <array>
#include <vector>

namespace {

using namespace std::literals;

template <class Char>
using Text = std::basic_string<Char>;
template <class Char>
constexpr Word kForm = {sizeof(Char) == 1 ? "A" : "W"};
template <class Char>
Text<Char> formed(std::string_view text) {
    return Text<Char>(text.begin(), text.end());
}
/* Null where the text is one. */
template <class Char>
struct Name {
    explicit Name(const char* text) : isNull(text == nullptr), text(formed<Char>(isNull ? ""sv : text)) {}
    const Char* get() const { return isNull ? nullptr : text.c_str(); }
    bool isNull;
    Text<Char> text;
};

/* Outputs that are undefined after a failure. */
template <class Item>
Outcome onSuccess(LONG code, const Item& item) {
    return {code == ERROR_SUCCESS ? shown(item) : "-", code == ERROR_SUCCESS};
}

// What a call wrote into a buffer, which was full of this byte.
constexpr BYTE kFill = 0xEE;
struct Buffer {
    explicit Buffer(std::size_t size) : bytes(size + 8, kFill) {}
    Bytes written() const {
        const auto end = std::find_if(bytes.rbegin(), bytes.rend(), [](BYTE byte) { return byte != kFill; });
        return {bytes.data(), static_cast<std::size_t>(bytes.rend() - end)};
    }
    std::vector<BYTE> bytes;
};

struct Value {
    const char* name;
    DWORD type;
    std::string_view data;
    /* What stands behind the data in the caller's memory. */
    char behind = 0;
};
constexpr Value kValues[] = {
    {"text", REG_SZ, "abc\0"sv},
    {"unterminated", REG_SZ, "abcd"sv, '#'},
    {"end-not-counted", REG_SZ, "abcd"sv},
    {"odd", REG_SZ, "abc"sv, '#'},
    {"empty", REG_SZ, ""sv},
    {"zero", REG_SZ, "\0"sv},
    {"zeros", REG_SZ, "\0\0"sv},
    {"inner-zero", REG_SZ, "ab\0\0cd\0\0"sv},
    {"two-ends", REG_SZ, "ab\0\0\0\0"sv},
    {"expand", REG_EXPAND_SZ, "%a%\0"sv},
    {"expand-unterminated", REG_EXPAND_SZ, "%a"sv, '#'},
    {"multi", REG_MULTI_SZ, "a\0b\0\0\0"sv},
    {"multi-unterminated", REG_MULTI_SZ, "a\0b\0cd"sv, '#'},
    {"multi-empty", REG_MULTI_SZ, ""sv},
    {"binary", REG_BINARY, "\1\0\2\0\3"sv},
    {"binary-empty", REG_BINARY, ""sv},
    {"dword", REG_DWORD, "\1\2\3\4"sv},
    {"dword-short", REG_DWORD, "\1\2\3"sv},
    {"dword-empty", REG_DWORD, ""sv},
    {"qword", REG_QWORD, "\1\2\3\4\5\6\7\10"sv},
    {"none", REG_NONE, "\1\2\3"sv},
    {"type-99", 99, "\1\2\3"sv},
    {"type-max", 0xFFFFFFFF, "ab"sv},
};

template <class Char>
void queryRows(HKEY key, Word written) {
    for (const Value& value : kValues) {
        const Name<Char> name(value.name);
        DWORD type = 77;
        DWORD whole = 7777;
        const LONG code = queryValue(key, name.get(), &type, nullptr, &whole);
        row("registry.size", kForm<Char>, written, value.name)(code, type, whole);
        for (const int more : {-2, -1, 0, 1, 3}) {
            if (more < 0 && whole < static_cast<DWORD>(-more))
                continue;
            DWORD size = whole + static_cast<DWORD>(more);
            Buffer buffer(size);
            const LONG read = queryValue(key, name.get(), &type, buffer.bytes.data(), &size);
            row("registry.query", kForm<Char>, written, value.name, more)(read, type, size,
                                                                          onSuccess(read, buffer.written()));
        }
    }
}

/* The texts among the values in the form, but for the one that ends in the middle of a character. */
template <class Char>
std::string dataOf(const Value& value) {
    const bool isText = value.type == REG_SZ || value.type == REG_EXPAND_SZ || value.type == REG_MULTI_SZ;
    std::string data(value.data);
    if (isText && value.name != "odd"sv) {
        const auto text = formed<Char>(value.data);
        data.assign(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(Char));
    }
    return data.append(sizeof(Char), value.behind);
}

template <class Char>
void valueRows() {
    const ScratchKey key;
    for (const Value& value : kValues) {
        const std::string data = dataOf<Char>(value);
        row("registry.set", kForm<Char>, value.name, value.type,
            value.data)(setValue(key, Name<Char>(value.name).get(), value.type, data.data(),
                                 static_cast<DWORD>(data.size() - sizeof(Char))));
    }
    queryRows<char>(key, kForm<Char>);
    queryRows<WCHAR>(key, kForm<Char>);
}

template <class Char>
void enumValueRow(HKEY key, DWORD index, DWORD nameRoom, DWORD dataRoom) {
    Text<Char> name(40, Char{'#'});
    Buffer data(40);
    DWORD length = nameRoom;
    DWORD size = dataRoom;
    DWORD type = 77;
    const LONG code = enumValue(key, index, name.data(), &length, &type, data.bytes.data(), &size);
    row("registry.enum-value", kForm<Char>, index, nameRoom,
        dataRoom)(code, length, type, size, onSuccess(code, name.c_str()), onSuccess(code, data.written()));
}

template <class Char>
void enumRows() {
    const ScratchKey key;
    for (const char* name : {"beta", "Alpha", "gamma", "alphabet", "B", "a b", ""})
        setValue(key, name, REG_SZ, name, static_cast<DWORD>(std::string_view(name).size() + 1));
    for (const char* name : {"beta", "Alpha", "gamma", "alphabet", "B", "a b"})
        RegCloseKey(key.make(name));
    for (DWORD index = 0; index < 8; ++index)
        enumValueRow<Char>(key, index, 40, 40);
    enumValueRow<Char>(key, 0xFFFFFFFF, 40, 40);
    for (const DWORD nameRoom : {0u, 4u, 5u, 6u})
        for (const DWORD dataRoom : {0u, 5u, 6u, 12u})
            enumValueRow<Char>(key, 6, nameRoom, dataRoom);
    for (const DWORD index : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 0xFFFFFFFFu})
        for (const DWORD room : {0u, 1u, 5u, 6u, 40u}) {
            Text<Char> name(48, Char{'#'});
            DWORD length = room;
            const LONG code = enumKey(key, index, name.data(), &length);
            row("registry.enum-key", kForm<Char>, index, room)(code, onSuccess(code, length),
                                                               onSuccess(code, name.c_str()));
        }
}

const std::string kLong255(255, 'n');
const std::string kLong256(256, 'n');
const std::string kDeep = [] {
    std::string path = "d";
    for (int i = 0; i < 40; ++i)
        path += "\\d";
    return path;
}();

template <class Char>
void pathRows() {
    const std::array<const char*, 23> paths = {"a",
                                               "A",
                                               "a\\b",
                                               "a\\b\\c",
                                               "\\a",
                                               "a\\",
                                               "e\\\\f",
                                               "a\\b\\",
                                               "a/b",
                                               ".",
                                               "..",
                                               "a b",
                                               " a",
                                               "a ",
                                               "a.",
                                               "nosuch\\",
                                               "\\",
                                               "*?<>|\"",
                                               "\x01",
                                               "%41",
                                               kLong255.c_str(),
                                               kLong256.c_str(),
                                               kDeep.c_str()};
    const ScratchKey key;
    const auto opened = [&](const char* call, const char* path) {
        HKEY result = nullptr;
        const LONG code = openKey(key, Name<Char>(path).get(), KEY_READ, &result);
        row(call, kForm<Char>, path)(code, result);
        if (code == ERROR_SUCCESS)
            RegCloseKey(result);
    };
    for (const char* path : paths)
        opened("registry.open-missing", path);
    for (const char* path : paths) {
        HKEY result = nullptr;
        DWORD disposition = 77;
        const LONG code = createKey(key, Name<Char>(path).get(), KEY_READ, &result, &disposition);
        row("registry.create", kForm<Char>, path)(code, onSuccess(code, disposition));
        if (code == ERROR_SUCCESS)
            RegCloseKey(result);
    }
    for (const char* path : paths)
        opened("registry.open", path);
    for (const char* path : paths)
        row("registry.delete", kForm<Char>, path)(deleteKey(key, Name<Char>(path).get()));
    for (const char* path : paths)
        opened("registry.open-deleted", path);
}

template <class Char>
void ofKey(std::string_view call, Word what, HKEY key) {
    const Name<Char> name("v");
    const Name<Char> sub("sub");
    const Name<Char> empty("");
    DWORD size = 7;
    DWORD length = 20;
    Char text[20];
    HKEY result = nullptr;
    const auto tell = [&](std::string_view verb, LONG code) { row(call, kForm<Char>, what, Word{verb})(code); };
    tell("query", queryValue(key, name.get(), nullptr, nullptr, &size));
    tell("enum-key", enumKey(key, 0, text, &length));
    length = 20;
    tell("enum-value", enumValue(key, 0, text, &length, nullptr, nullptr, nullptr));
    tell("set", setValue(key, name.get(), REG_SZ, "x", 2));
    tell("delete-value", deleteValue(key, name.get()));
    tell("delete-key", deleteKey(key, sub.get()));
    const LONG created = createKey(key, sub.get(), KEY_READ, &result, nullptr);
    tell("create", created);
    if (created == ERROR_SUCCESS)
        RegCloseKey(result);
    const LONG opened = openKey(key, empty.get(), KEY_READ, &result);
    tell("open-itself", opened);
    if (opened == ERROR_SUCCESS)
        RegCloseKey(result);
}

template <class Char>
void handleRows() {
    const ScratchKey key;
    ofKey<Char>("registry.handle", {"null"}, nullptr);
    HKEY other = key.make("other");
    RegCloseKey(other);
    ofKey<Char>("registry.handle", {"closed"}, other);
    other = key.make("other");
    row("registry.handle", kForm<Char>, Word{"delete-open"})(deleteKey(key, Name<Char>("other").get()));
    ofKey<Char>("registry.handle", {"deleted"}, other);
    RegCloseKey(key.make("other"));
    ofKey<Char>("registry.handle", {"deleted-and-made-anew"}, other);
    row("registry.handle", kForm<Char>, Word{"close-deleted"})(RegCloseKey(other));
    row("registry.handle", kForm<Char>, Word{"close-null"})(RegCloseKey(nullptr));
    row("registry.handle", kForm<Char>, Word{"close-machine"})(RegCloseKey(HKEY_LOCAL_MACHINE));
    RegCloseKey(key.make("deep\\er"));
    row("registry.handle", kForm<Char>, Word{"delete-with-subkey"})(deleteKey(key, Name<Char>("deep").get()));
    const LONG inner = deleteKey(key, Name<Char>("deep\\er").get());
    row("registry.handle", kForm<Char>, Word{"delete-in-order"})(inner, deleteKey(key, Name<Char>("deep").get()));
}

template <class Char>
void accessRows() {
    struct Right {
        Word name;
        REGSAM access;
    };
    constexpr Right rights[] = {{{"none"}, 0},
                                {{"query"}, KEY_QUERY_VALUE},
                                {{"set"}, KEY_SET_VALUE},
                                {{"create"}, KEY_CREATE_SUB_KEY},
                                {{"enumerate"}, KEY_ENUMERATE_SUB_KEYS},
                                {{"read"}, KEY_READ},
                                {{"write"}, KEY_WRITE},
                                {{"generic-read"}, GENERIC_READ},
                                {{"generic-write"}, GENERIC_WRITE},
                                {{"generic-all"}, GENERIC_ALL},
                                {{"maximum"}, 0x2000000},
                                {{"all"}, KEY_ALL_ACCESS}};
    const ScratchKey key;
    for (const Right& right : rights) {
        HKEY full = key.make("rights");
        setValue(full, "v", REG_SZ, "x", 2);
        RegCloseKey(key.make("rights\\sub"));
        HKEY limited = nullptr;
        const LONG code = openKey(key, Name<Char>("rights").get(), right.access, &limited);
        row("registry.access", kForm<Char>, right.name)(code);
        if (code == ERROR_SUCCESS) {
            ofKey<Char>("registry.access", right.name, limited);
            RegCloseKey(limited);
        }
        RegCloseKey(full);
    }
}

template <class Char>
void limitRows() {
    const ScratchKey key;
    for (const std::size_t length : {1u, 254u, 255u, 256u, 300u, 16383u, 16384u}) {
        const Text<Char> name(length, Char{'v'});
        const LONG set = setValue(key, name.c_str(), REG_SZ, "x", 2);
        const LONG read = queryValue(key, name.c_str(), nullptr, nullptr, nullptr);
        const LONG deleted = deleteValue(key, name.c_str());
        row("registry.name-length", kForm<Char>, length)(set, read, deleted, deleteValue(key, name.c_str()));
    }
    for (const char* name : {"Mixed", "mIXED", "", static_cast<const char*>(nullptr), "a\\b", " x", "x ", "\x01"}) {
        const Name<Char> formed(name);
        DWORD type = 77;
        const LONG before = queryValue(key, formed.get(), nullptr, nullptr, nullptr);
        const LONG set = setValue(key, formed.get(), REG_BINARY, "x", 1);
        row("registry.name", kForm<Char>, name)(before, set, queryValue(key, formed.get(), &type, nullptr, nullptr),
                                                type);
    }
    const Name<Char> missing("missing");
    DWORD type = 77;
    DWORD size = 77;
    BYTE data[8];
    row("registry.missing", kForm<Char>, Word{"no-data"})(queryValue(key, missing.get(), &type, nullptr, &size), size);
    size = 8;
    row("registry.missing", kForm<Char>, Word{"data"})(queryValue(key, missing.get(), &type, data, &size), size);
    row("registry.missing", kForm<Char>,
        Word{"data-without-size"})(queryValue(key, missing.get(), &type, data, nullptr));
    row("registry.present", kForm<Char>,
        "data-without-size")(queryValue(key, Name<Char>("Mixed").get(), &type, data, nullptr));
    row("registry.missing", kForm<Char>, Word{"delete"})(deleteValue(key, missing.get()));
    row("registry.set-null", kForm<Char>, REG_SZ, 0)(setValue(key, missing.get(), REG_SZ, nullptr, 0));
    row("registry.set-null", kForm<Char>, REG_BINARY, 0)(setValue(key, missing.get(), REG_BINARY, nullptr, 0));
    for (const std::size_t bytes : {0xFFFFFu, 0x100000u, 0x100001u}) {
        const std::vector<BYTE> many(bytes, BYTE{'m'});
        row("registry.data-size", kForm<Char>,
            bytes)(setValue(key, Name<Char>("big").get(), REG_BINARY, many.data(), static_cast<DWORD>(bytes)));
    }
}

template <class Char>
void machineRows() {
    for (const char* path :
         {"", static_cast<const char*>(nullptr), "SOFTWARE", "software\\", "\\SOFTWARE", "no such key"}) {
        HKEY result = nullptr;
        const LONG code = openKey(HKEY_LOCAL_MACHINE, Name<Char>(path).get(), KEY_READ, &result);
        row("registry.machine", kForm<Char>, path)(code, Word{result == HKEY_LOCAL_MACHINE ? "itself"
                                                              : result == nullptr          ? "null"
                                                                                           : "another"});
        if (code == ERROR_SUCCESS && result != HKEY_LOCAL_MACHINE)
            RegCloseKey(result);
    }
    const ScratchKey key;
    HKEY result = reinterpret_cast<HKEY>(std::uintptr_t{1});
    const LONG code = openKey(key, Name<Char>("missing").get(), KEY_READ, &result);
    row("registry.result-of-failure", kForm<Char>)(code, result);
    RegCloseKey(key.make("gone"));
    HKEY gone = key.make("gone");
    row("registry.delete-itself", kForm<Char>, Word{"empty"})(deleteKey(gone, Name<Char>("").get()));
    row("registry.delete-itself", kForm<Char>, Word{"null"})(deleteKey(gone, static_cast<const Char*>(nullptr)));
    RegCloseKey(gone);
}

template <class Char>
void formRows() {
    valueRows<Char>();
    enumRows<Char>();
    pathRows<Char>();
    handleRows<Char>();
    accessRows<Char>();
    limitRows<Char>();
    machineRows<Char>();
}

} // namespace

void registryRows() {
    formRows<char>();
    formRows<WCHAR>();
}
