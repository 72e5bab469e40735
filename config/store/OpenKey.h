// A registry key open for one operation, and what a read of it came to.
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

    // For the call that opens it; once an object.
    HKEY* out() { return &m_key; }
    HKEY get() const { return m_key; }

  private:
    HKEY m_key = nullptr;
};

// The error of a registry's read. One that had no memory is no answer: taken for one, the default of its value would be
// written back.
inline LONG answered(LONG error) {
    if (static_cast<DWORD>(error) == ERROR_NOT_ENOUGH_MEMORY)
        throw std::bad_alloc();
    return error;
}
