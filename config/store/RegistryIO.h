// The store in the registry, below HKEY_LOCAL_MACHINE. One object belongs to one helper and so to one call on one
// thread.
#pragma once

#include "WdchIO.h"

#include <optional>
#include <string>

class CRegistryIO final : public WdchIO {
  public:
    std::int32_t ReadValue(DWORD protocol, DWORD scan, DWORD input, const char* section, const char* name, void* data,
                           DWORD* size, bool wide) override;
    std::int32_t EnumSubSections(DWORD protocol, DWORD scan, DWORD input, const char* section,
                                 std::vector<std::string>& names) override;
    std::int32_t WriteValue(DWORD protocol, DWORD scan, DWORD input, const char* section, const char* name, DWORD type,
                            const void* data, DWORD size, bool wide) override;
    std::int32_t DeleteSubSection(DWORD protocol, DWORD scan, DWORD input, const char* section,
                                  const char* subSection) override;
    std::int32_t DeleteValue(DWORD protocol, DWORD scan, DWORD input, const char* section, const char* name) override;

    // The key path of an address, relative to HKEY_LOCAL_MACHINE; empty when it has none, as for a protocol without a
    // handler. A feature's own settings (protocol below 10000) stand in the subkey "config", which is appended to an
    // empty path too: the registry refuses what comes of it.
    std::string ComposeSection(DWORD protocol, DWORD scan, DWORD input, const char* section);

  private:
    std::string ComposeProtocolPath(DWORD protocol);
    std::string ComposeScanPath(DWORD protocol, DWORD scan, DWORD input);
    std::optional<std::string> ScanFolder(DWORD protocol);

    template <class DeleteIn>
    std::int32_t deleteIn(DWORD protocol, DWORD scan, DWORD input, const char* section, const char* operation,
                          DeleteIn deleteIn);

    // What reading found of the handler looked at last, so that a record's values cost one walk over the handlers. A
    // write composes each path anew: it forgets this before and after.
    struct Handler {
        DWORD type;
        std::string path;
        std::optional<std::string> scanFolder;
    };
    std::optional<Handler> m_handler;
};
