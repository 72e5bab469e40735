// Finds the protocol handlers in the registry: each has a key with a name of its own, identified by the protocol stored
// in it.
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

    // Drops the cached handler. The last one found is cached, so that all values of a record cost one search.
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
// (protocol below 10000) are in the subkey "config", which is appended even to an empty path: the registry refuses the
// result.
std::string composeSection(HandlerDirectory& handlers, DWORD protocol, DWORD scan, DWORD input, const char* section);

} // namespace wdlt
