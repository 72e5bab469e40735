// The named-value store, addressed by (protocol, scan, input) and a section: a relative path below the address's own
// key, empty for that key itself. Names are narrow text; `wide` asks for a text's data in UTF-16. Calls are independent
// of each other.
#pragma once

#include <platform/base.h>

#include <cstdint>
#include <string>
#include <vector>

class WdchIO {
  public:
    WdchIO() = default;
    virtual ~WdchIO() = default;
    WdchIO(const WdchIO&) = delete;
    WdchIO& operator=(const WdchIO&) = delete;

    // Reads one value's bytes, whatever its type. `size` is the buffer's size in, the value's out; null `data` asks for
    // the size. An empty `name` gives the last component of the key's path instead of a value. WDLT_E_BUFFER_SIZE: the
    // buffer is too small, and `size` is the size needed; WDLT_E_INVALID_ARGUMENT: the address has no path;
    // WDLT_E_REGISTRY: the key can't be opened; WDLT_E_NOT_FOUND: no such value.
    [[nodiscard]] virtual std::int32_t ReadValue(DWORD protocol, DWORD scan, DWORD input, const char* section,
                                                 const char* name, void* data, DWORD* size, bool wide) = 0;

    // Appends the names of the subkeys, in the store's order. WDLT_E_REGISTRY when the key can't be opened.
    [[nodiscard]] virtual std::int32_t EnumSubSections(DWORD protocol, DWORD scan, DWORD input, const char* section,
                                                       std::vector<std::string>& names) = 0;

    // Writes one value and creates the keys that are missing on its path. WDLT_E_GENERAL: the address has no path;
    // WDLT_E_REGISTRY: anything else.
    [[nodiscard]] virtual std::int32_t WriteValue(DWORD protocol, DWORD scan, DWORD input, const char* section,
                                                  const char* name, DWORD type, const void* data, DWORD size,
                                                  bool wide) = 0;

    // Deletes one subkey that has no subkeys of its own. WDLT_E_GENERAL: the address has no path; WDLT_E_NOT_FOUND: no
    // such subkey; else WDLT_E_REGISTRY.
    [[nodiscard]] virtual std::int32_t DeleteSubSection(DWORD protocol, DWORD scan, DWORD input, const char* section,
                                                        const char* subSection) = 0;

    [[nodiscard]] virtual std::int32_t DeleteValue(DWORD protocol, DWORD scan, DWORD input, const char* section,
                                                   const char* name) = 0;
};
