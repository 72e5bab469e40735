// Finds the protocol handlers in the registry: each has a key with a name of its own, identified by the protocol stored
// in it.
#pragma once

#include <platform/base.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace wdlt {

inline constexpr std::string_view kBasePath = "SOFTWARE\\Halvermoor\\PLK\\Wardlet"; // below HKEY_LOCAL_MACHINE

// Remembers what it has found, and what it hasn't.
class HandlerDirectory {
  public:
    // Path of the key of the handler that serves a protocol; empty without one.
    const std::string& path(DWORD protocol) { return find(protocol).path; }
    // The folder of its scan items below Scan; none without a handler, or with a folder that can't be read.
    const std::optional<std::string>& scanFolder(DWORD protocol);

    // False after a read that failed, other than for want of the value: the next one may give something else.
    bool isSure() const { return m_isSure; }

  private:
    struct Handler {
        std::string path;
        bool isFolderRead = false;
        std::optional<std::string> scanFolder = {};
    };

    Handler& find(DWORD protocol);
    std::string search(DWORD protocol);
    bool read(const std::string& path, const char* name, void* data, DWORD size);

    std::map<DWORD, Handler> m_handlers;
    bool m_isSure = true;
};

// The key path of an address; empty when it has none, as for a protocol without a handler. A feature's own settings
// (protocol below 10000) are in the subkey "config", which is appended even to an empty path: the registry refuses the
// result.
std::string composeSection(HandlerDirectory& handlers, DWORD protocol, DWORD scan, DWORD input, const char* section);

} // namespace wdlt
