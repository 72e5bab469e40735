// The named-value store, addressed by (protocol, scan, input) and a section: a relative path below the address's own
// key, empty for that key itself. Names are narrow text; `wide` asks for a text's data in UTF-16. Each call stands
// alone.
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

    // Reads one value's bytes, whatever its type. `size`: the buffer's bytes in, the value's out; null `data` asks for
    // the size. An empty `name` gives the last component of the key's path instead of a value. -2: the buffer is too
    // small and `size` says what it takes; -3: the address has no path; -9: the key can't be opened; -16: no such
    // value.
    virtual std::int32_t ReadValue(DWORD protocol, DWORD scan, DWORD input, const char* section, const char* name,
                                   void* data, DWORD* size, bool wide) = 0;

    // Appends the names of the subkeys, in the store's order. -9 when the key can't be opened.
    virtual std::int32_t EnumSubSections(DWORD protocol, DWORD scan, DWORD input, const char* section,
                                         std::vector<std::string>& names) = 0;

    // Writes one value and creates the keys that are missing on its path. -1: the address has no path; -9: anything
    // else.
    virtual std::int32_t WriteValue(DWORD protocol, DWORD scan, DWORD input, const char* section, const char* name,
                                    DWORD type, const void* data, DWORD size, bool wide) = 0;

    // Deletes one subkey that has no subkeys of its own. -1: the address has no path; -16: no such subkey; else -9.
    virtual std::int32_t DeleteSubSection(DWORD protocol, DWORD scan, DWORD input, const char* section,
                                          const char* subSection) = 0;

    virtual std::int32_t DeleteValue(DWORD protocol, DWORD scan, DWORD input, const char* section,
                                     const char* name) = 0;
};
