// Single reads of the registry below HKEY_LOCAL_MACHINE, as the store and the handler directory make them.
#pragma once

#include <platform/registry.h>

#include <cstdint>
#include <string>
#include <vector>

namespace wdlt {

// The store's status for an error of the registry.
[[nodiscard]] std::int32_t statusOf(LONG error);

// One value's bytes, whatever its type; `size` as in WdchIO::ReadValue. WDLT_E_REGISTRY, with a trace
// line, when the key can't be opened.
[[nodiscard]] std::int32_t readValueAt(const std::string& path, const char* name, void* data, DWORD* size);
// The same by a name in UTF-16; a text's data come in UTF-16 too. A name that isn't text of the code page, or is too long,
// is WDLT_E_REGISTRY.
[[nodiscard]] std::int32_t readWideValueAt(const std::string& path, const char* name, void* data, DWORD* size);

// Appends the names of the subkeys, in the registry's order. WDLT_E_REGISTRY, logged, when the key can't be opened.
[[nodiscard]] std::int32_t enumerateKeys(const std::string& path, std::vector<std::string>& names);

// A name, or a component of a path, for the W calls.
class WideName {
  public:
    // False, with the thread's last error, when it isn't text of the code page or is too long.
    bool assign(const char* text);
    WCHAR* data() { return m_text; }

  private:
    WCHAR m_text[MAX_PATH] = {};
};

} // namespace wdlt
