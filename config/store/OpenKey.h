// A registry key open for one operation.
#pragma once

#include <platform/registry.h>

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
