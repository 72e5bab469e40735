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

HandlerDirectory::Handler& HandlerDirectory::find(DWORD protocol) {
    const auto found = m_handlers.find(protocol);
    return found != m_handlers.end() ? found->second
                                     : m_handlers.emplace(protocol, Handler{search(protocol)}).first->second;
}

std::string HandlerDirectory::search(DWORD protocol) {
    const ReadableKey folder(std::string(kBasePath).append("\\ProtocolHandler"));
    std::vector<std::string> names;
    if (enumerateKeys(folder, names) != WDLT_OK) // logged; goes on with the names found
        m_isSure = false;
    for (const std::string& name : names) {
        std::string path = std::string(folder.path()).append("\\").append(name);
        DWORD type = 0;
        if (read(path, "Type", &type, sizeof type) && type == protocol)
            return path;
    }
    return {};
}

const std::optional<std::string>& HandlerDirectory::scanFolder(DWORD protocol) {
    Handler& handler = find(protocol);
    if (handler.path.empty() || std::exchange(handler.isFolderRead, true))
        return handler.scanFolder;
    std::array<char, kScanFolderSize> folder{};
    if (read(handler.path, "Scan", folder.data(), kScanFolderSize) && folder.back() == '\0')
        handler.scanFolder = folder.data();
    return handler.scanFolder;
}

bool HandlerDirectory::read(const std::string& path, const char* name, void* data, DWORD size) {
    const std::int32_t status = readValue(ReadableKey(path), name, data, &size);
    m_isSure = m_isSure && status != WDLT_E_REGISTRY;
    return status == WDLT_OK;
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
