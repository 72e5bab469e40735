// The registry as a test lays it out and looks at it: paths are relative to the service's base key.
#pragma once

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
    HKEY handle = nullptr;
    if (RegCreateKeyExA(HKEY_LOCAL_MACHINE, path(key).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &handle,
                        nullptr) != 0)
        throw std::runtime_error("can't create " + path(key));
    const LONG error = RegSetValueExA(handle, name, 0, type, static_cast<const BYTE*>(data), size);
    RegCloseKey(handle);
    if (error != 0)
        throw std::runtime_error(std::string("can't set ") + name);
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
    HKEY handle = nullptr;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, path(key).c_str(), 0, KEY_READ, &handle) != 0)
        return std::nullopt;
    Value value{};
    DWORD size = 0;
    LONG error = RegQueryValueExA(handle, name, nullptr, &value.type, nullptr, &size);
    if (error == 0) {
        value.data.resize(size);
        error = RegQueryValueExA(handle, name, nullptr, &value.type, reinterpret_cast<BYTE*>(value.data.data()), &size);
    }
    RegCloseKey(handle);
    return error == 0 ? std::optional(value) : std::nullopt;
}

inline std::optional<DWORD> number(std::string_view key, const char* name) {
    const auto value = get(key, name);
    if (!value || value->type != REG_DWORD || value->data.size() != sizeof(DWORD))
        return std::nullopt;
    DWORD result = 0;
    value->data.copy(reinterpret_cast<char*>(&result), sizeof result);
    return result;
}

// A text with what is stored behind it: the terminator shows as '\0'.
inline std::optional<std::string> storedText(std::string_view key, const char* name) {
    const auto value = get(key, name);
    return value && value->type == REG_SZ ? std::optional(value->data) : std::nullopt;
}

inline bool keyExists(std::string_view key) {
    HKEY handle = nullptr;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, path(key).c_str(), 0, KEY_READ, &handle) != 0)
        return false;
    RegCloseKey(handle);
    return true;
}

inline void deleteValue(std::string_view key, const char* name) {
    HKEY handle = nullptr;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, path(key).c_str(), 0, KEY_ALL_ACCESS, &handle) == 0) {
        RegDeleteValueA(handle, name);
        RegCloseKey(handle);
    }
}

// Names of a key's subkeys; the key is given from the root, empty for the root itself.
inline std::vector<std::string> subkeys(const std::string& key) {
    std::vector<std::string> names;
    HKEY handle = nullptr;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, &handle) != 0)
        return names;
    for (DWORD index = 0;; ++index) {
        char name[512];
        DWORD length = sizeof name;
        if (RegEnumKeyExA(handle, index, name, &length, nullptr, nullptr, nullptr, nullptr) != 0)
            break;
        names.emplace_back(name, length);
    }
    RegCloseKey(handle);
    return names;
}

// Deletes everything, so that cases of one program don't see each other's tree when they share a process.
inline void clear(const std::string& key = "SOFTWARE") {
    for (const std::string& name : subkeys(key))
        clear(key + "\\" + name);
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, key.c_str());
}

} // namespace tree
