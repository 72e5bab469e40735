// Sets up and inspects the registry for a test: paths are relative to the service's base key.
#pragma once

#include "TestKey.h"

#include <platform/win32.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tree {

inline std::string path(std::string_view below) {
    std::string whole = "SOFTWARE\\Halvermoor\\PLK\\Wardlet";
    if (!below.empty())
        whole.append("\\").append(below);
    return whole;
}

inline TestKey open(std::string_view key, REGSAM access = KEY_READ) {
    return TestKey::open(path(key).c_str(), access);
}

inline void set(std::string_view key, const char* name, DWORD type, const std::string& bytes) {
    const TestKey handle = TestKey::create(path(key).c_str());
    if (!handle || handle.setBytes(name, bytes, type) != 0)
        throw std::runtime_error("can't set " + path(key) + "\\" + name);
}

inline void set(std::string_view key, const char* name, DWORD type, const void* data, DWORD size) {
    set(key, name, type, std::string(static_cast<const char*>(data), size));
}

inline void setNumber(std::string_view key, const char* name, DWORD number) {
    set(key, name, REG_DWORD, &number, sizeof number);
}

inline void setText(std::string_view key, const char* name, const std::string& text) {
    set(key, name, REG_SZ, text + '\0');
}

struct Value {
    DWORD type;
    std::string data;
};

inline std::optional<Value> get(std::string_view key, const char* name) {
    const TestKey handle = open(key);
    DWORD type = 0;
    if (!handle || RegQueryValueExA(handle.get(), name, nullptr, &type, nullptr, nullptr) != 0)
        return std::nullopt;
    return Value{type, handle.bytes(name).value()};
}

inline std::optional<DWORD> number(std::string_view key, const char* name) {
    const auto value = get(key, name);
    return value && value->type == REG_DWORD ? open(key).number(name) : std::nullopt;
}

// A text with all its stored bytes: the terminator shows as '\0'.
inline std::optional<std::string> storedText(std::string_view key, const char* name) {
    const auto value = get(key, name);
    return value && value->type == REG_SZ ? std::optional(value->data) : std::nullopt;
}

inline bool keyExists(std::string_view key) {
    return static_cast<bool>(open(key));
}

inline void deleteValue(std::string_view key, const char* name) {
    if (const TestKey handle = open(key, KEY_ALL_ACCESS))
        RegDeleteValueA(handle.get(), name);
}

// Names below a key; its path is relative to the root, empty for the root itself.
template <class Enumerate>
std::vector<std::string> namesIn(const std::string& key, Enumerate&& enumerate) {
    std::vector<std::string> names;
    const TestKey handle = TestKey::open(key.c_str());
    char name[512];
    DWORD length = sizeof name;
    for (DWORD index = 0;
         handle && enumerate(handle.get(), index, name, &length, nullptr, nullptr, nullptr, nullptr) == 0;
         ++index, length = sizeof name)
        names.emplace_back(name, length);
    return names;
}
inline std::vector<std::string> subkeys(const std::string& key) {
    return namesIn(key, RegEnumKeyExA);
}
inline std::vector<std::string> values(const std::string& key) {
    return namesIn(key, RegEnumValueA);
}

// Deletes everything below the key, so that cases that share a process don't see each other's tree.
inline void clear(const std::string& key = "SOFTWARE") {
    for (const std::string& name : subkeys(key))
        clear(key + "\\" + name);
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, key.c_str());
}

} // namespace tree
