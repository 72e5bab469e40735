// The registry as a test lays it out and looks at it: paths are relative to the service's base key.
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

inline void set(std::string_view key, const char* name, DWORD type, const void* data, DWORD size) {
    const TestKey made = TestKey::create(path(key).c_str());
    if (!made || RegSetValueExA(made.get(), name, 0, type, static_cast<const BYTE*>(data), size) != 0)
        throw std::runtime_error(path(key) + ": can't set " + name);
}

inline void setNumber(std::string_view key, const char* name, DWORD number) {
    set(key, name, REG_DWORD, &number, sizeof number);
}

inline void setText(std::string_view key, const char* name, const std::string& text) {
    set(key, name, REG_SZ, text.c_str(), static_cast<DWORD>(text.size() + 1));
}

struct Value {
    DWORD type;
    std::string data;
};

inline std::optional<Value> get(std::string_view key, const char* name) {
    const TestKey opened = TestKey::open(path(key).c_str());
    Value value{};
    if (auto data = opened.bytes(name, &value.type)) {
        value.data = *std::move(data);
        return value;
    }
    return std::nullopt;
}

inline std::optional<DWORD> number(std::string_view key, const char* name) {
    const auto value = get(key, name);
    return value && value->type == REG_DWORD ? TestKey::open(path(key).c_str()).number(name) : std::nullopt;
}

// A text with what is stored behind it: the terminator shows as '\0'.
inline std::optional<std::string> storedText(std::string_view key, const char* name) {
    const auto value = get(key, name);
    return value && value->type == REG_SZ ? std::optional(value->data) : std::nullopt;
}

inline bool keyExists(std::string_view key) {
    return static_cast<bool>(TestKey::open(path(key).c_str()));
}

inline void deleteValue(std::string_view key, const char* name) {
    RegDeleteValueA(TestKey::open(path(key).c_str(), KEY_ALL_ACCESS).get(), name);
}

// Names of a key's subkeys; the key is given from the root, empty for the root itself.
inline std::vector<std::string> subkeys(const std::string& key) {
    std::vector<std::string> names;
    const TestKey opened = TestKey::open(key.c_str());
    char name[512];
    DWORD length = sizeof name;
    for (DWORD index = 0; RegEnumKeyExA(opened.get(), index, name, &length, nullptr, nullptr, nullptr, nullptr) == 0;
         ++index)
        names.emplace_back(name, std::exchange(length, static_cast<DWORD>(sizeof name)));
    return names;
}

// Deletes everything, so that cases of one program don't see each other's tree when they share a process.
inline void clear(const std::string& key = "SOFTWARE") {
    for (const std::string& name : subkeys(key))
        clear(key + "\\" + name);
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, key.c_str());
}

} // namespace tree
