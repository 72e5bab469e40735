// A registry key held open for one operation, and a check of a read's error.
#pragma once

#include <platform/registry.h>

#include <new>

class OpenKey {
  public:
    OpenKey() = default;
    ~OpenKey() {
        if (m_key != nullptr)
            RegCloseKey(m_key);
    }
    OpenKey(const OpenKey&) = delete;
    OpenKey& operator=(const OpenKey&) = delete;

    // For the call that opens it, once per object.
    HKEY* out() { return &m_key; }
    HKEY get() const { return m_key; }

  private:
    HKEY m_key = nullptr;
};

// Returns the error of a registry read, but throws if it ran out of memory: handled as an error, it would give the
// value its default, which might then be written back.
inline LONG answered(LONG error) {
    if (static_cast<DWORD>(error) == ERROR_NOT_ENOUGH_MEMORY)
        throw std::bad_alloc();
    return error;
}
