// Where the protocol handlers stand in the registry: each has a key with a name of its own, found by the protocol in it.
#pragma once

#include <platform/base.h>

#include <optional>
#include <string>
#include <string_view>

namespace wdlt {

inline constexpr std::string_view kBasePath = "SOFTWARE\\Halvermoor\\PLK\\Wardlet"; // below HKEY_LOCAL_MACHINE

class HandlerDirectory {
  public:
    // Path of the key of the handler that serves a protocol; empty without one.
    std::string path(DWORD protocol);
    // The folder of its scan items below Scan; none without a handler, or with a folder that can't be read.
    std::optional<std::string> scanFolder(DWORD protocol);

    // The handler looked at last is remembered, so that a record's values cost one walk over all of them.
    void forget() { m_last.reset(); }

  private:
    struct Handler {
        DWORD protocol;
        std::string path;
        std::optional<std::string> scanFolder;
    };
    std::optional<Handler> m_last;
};

// The key path of an address; empty when it has none, as for a protocol without a handler. A feature's own settings
// (protocol below 10000) stand in the subkey "config", which is appended to an empty path too: the registry refuses what
// comes of it.
std::string composeSection(HandlerDirectory& handlers, DWORD protocol, DWORD scan, DWORD input, const char* section);

} // namespace wdlt
