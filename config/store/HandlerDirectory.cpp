#include "HandlerDirectory.h"

#include "KeyReading.h"
#include "ScanItems.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

#include <array>
#include <utility>
#include <vector>

namespace wdlt {
namespace {

constexpr DWORD kScanFolderSize = 11; // a handler's `Scan` text with its terminator

std::string scanPath(HandlerDirectory& handlers, DWORD protocol, DWORD scan, DWORD input) {
    const char* const item = scanItemName(scan, input);
    if (item == nullptr)
        return {};
    const std::optional<std::string> folder =
        protocol == WDLT_PROTOCOL_COMMON ? std::optional<std::string>("Common") : handlers.scanFolder(protocol);
    if (!folder)
        return {};
    return std::string(kBasePath).append("\\Scan\\").append(*folder).append("\\").append(item);
}

} // namespace

std::string HandlerDirectory::path(DWORD protocol) {
    if (m_last && m_last->protocol == protocol)
        return m_last->path;
    const std::string folder = std::string(kBasePath).append("\\ProtocolHandler");
    std::vector<std::string> names;
    static_cast<void>(enumerateKeys(folder, names)); // logged; goes on with the names found
    for (const std::string& name : names) {
        std::string path = std::string(folder).append("\\").append(name);
        DWORD type = 0;
        DWORD size = sizeof type;
        if (readValueAt(path, "Type", &type, &size) == WDLT_OK && type == protocol) {
            m_last = Handler{protocol, std::move(path), {}};
            return m_last->path;
        }
    }
    return {};
}

std::optional<std::string> HandlerDirectory::scanFolder(DWORD protocol) {
    if (m_last && m_last->protocol == protocol && m_last->scanFolder)
        return m_last->scanFolder;
    const std::string key = path(protocol);
    std::array<char, kScanFolderSize> folder{};
    DWORD size = kScanFolderSize;
    if (key.empty() || readValueAt(key, "Scan", folder.data(), &size) != WDLT_OK || folder.back() != '\0')
        return std::nullopt;
    m_last->scanFolder = folder.data();
    return m_last->scanFolder;
}

std::string composeSection(HandlerDirectory& handlers, DWORD protocol, DWORD scan, DWORD input, const char* section) {
    const bool system = protocol >= WDLT_PROTOCOL_SYSTEM;
    const DWORD handler = system ? protocol - WDLT_PROTOCOL_SYSTEM : protocol;

    std::string path;
    if (scan != WDLT_SCAN_NONE)
        path = scanPath(handlers, handler, scan, input);
    else if (protocol == WDLT_PROTOCOL_SYSTEM)
        path = kBasePath;
    else
        path = handlers.path(handler);

    if (!system)
        path += "\\config";
    if (*section != '\0')
        path.append("\\").append(section);
    return path;
}

} // namespace wdlt
