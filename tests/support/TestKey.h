// A registry key that closes itself, for tests: each function returns the error code of the layer's call.
#pragma once

#include <platform/win32.h>

#include <optional>
#include <string>
#include <utility>

class TestKey {
  public:
    TestKey() = default;
    explicit TestKey(HKEY handle) : m_handle(handle) {}
    TestKey(TestKey&& other) noexcept : m_handle(std::exchange(other.m_handle, nullptr)) {}
    ~TestKey() {
        if (m_handle != nullptr)
            RegCloseKey(m_handle);
    }

    // Converts to false when the call failed; the thread's last error says why.
    static TestKey create(const char* path, HKEY below = HKEY_LOCAL_MACHINE) {
        HKEY handle = nullptr;
        if (RegCreateKeyExA(below, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &handle, nullptr) != 0)
            handle = nullptr;
        return TestKey(handle);
    }
    static TestKey open(const char* path, REGSAM access = KEY_READ, HKEY below = HKEY_LOCAL_MACHINE) {
        HKEY handle = nullptr;
        if (RegOpenKeyExA(below, path, 0, access, &handle) != 0)
            handle = nullptr;
        return TestKey(handle);
    }

    explicit operator bool() const { return m_handle != nullptr; }
    HKEY get() const { return m_handle; }

    LONG set(const char* name, DWORD number) const {
        return RegSetValueExA(m_handle, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof number);
    }
    LONG setBytes(const char* name, const std::string& bytes, DWORD type = REG_BINARY) const {
        return RegSetValueExA(m_handle, name, 0, type, reinterpret_cast<const BYTE*>(bytes.data()),
                              static_cast<DWORD>(bytes.size()));
    }
    std::optional<DWORD> number(const char* name) const {
        DWORD number = 0;
        DWORD size = sizeof number;
        if (RegQueryValueExA(m_handle, name, nullptr, nullptr, reinterpret_cast<BYTE*>(&number), &size) != 0 ||
            size != sizeof number)
            return std::nullopt;
        return number;
    }
    std::optional<std::string> bytes(const char* name, DWORD* type = nullptr) const {
        DWORD size = 0;
        if (RegQueryValueExA(m_handle, name, nullptr, type, nullptr, &size) != 0)
            return std::nullopt;
        std::string bytes(size, '\0');
        if (RegQueryValueExA(m_handle, name, nullptr, nullptr, reinterpret_cast<BYTE*>(bytes.data()), &size) != 0)
            return std::nullopt;
        bytes.resize(size);
        return bytes;
    }

  private:
    HKEY m_handle = nullptr;
};
