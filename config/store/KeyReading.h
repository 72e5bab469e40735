// Single reads of the registry below HKEY_LOCAL_MACHINE, for the store and the handler directory.
#pragma once

#include "OpenKey.h"

#include <platform/registry.h>

#include <cstdint>
#include <string>
#include <vector>

namespace wdlt {

// The store's status for a registry error.
[[nodiscard]] std::int32_t statusOf(LONG error);

// A key opened for reading, or the error why it can't be.
class ReadableKey {
  public:
    explicit ReadableKey(std::string path);

    const std::string& path() const { return m_path; }
    HKEY get() const { return m_key.get(); }
    LONG error() const { return m_error; }
    // Whether the result is what the registry holds, and no failure of the moment.
    bool isSure() const;

  private:
    const std::string m_path;
    OpenKey m_key;
    const LONG m_error;
};

// One value's bytes, whatever its type; `size` as in WdchIO::ReadValue. WDLT_E_REGISTRY, with a trace
// line, when the key can't be opened.
[[nodiscard]] std::int32_t readValue(const ReadableKey& key, const char* name, void* data, DWORD* size);
// The same through the W call: a text's data is in UTF-16. A name that can't be converted from the code page, or is too
// long, is WDLT_E_REGISTRY.
[[nodiscard]] std::int32_t readWideValue(const ReadableKey& key, const char* name, void* data, DWORD* size);

// Appends the names of the subkeys, in the registry's order. WDLT_E_REGISTRY, logged, when the key can't be opened.
[[nodiscard]] std::int32_t enumerateKeys(const ReadableKey& key, std::vector<std::string>& names);

// A name, or a component of a path, for the W calls.
class WideName {
  public:
    // False, with the thread's last error, when it can't be converted from the code page or is too long.
    bool assign(const char* text);
    WCHAR* data() { return m_text; }

  private:
    WCHAR m_text[MAX_PATH] = {};
};

} // namespace wdlt
