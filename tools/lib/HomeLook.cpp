#include "HomeLook.h"

#include "LayerError.h"

#include <array>
#include <climits>
#include <fmt/format.h>
#include <platform/home.h>

namespace wdlt {

bool lookAtHome(std::string& path, bool opensRegistry) {
    std::array<char, PATH_MAX> found{};
    DWORD error = WdLookAtHome(found.data(), static_cast<DWORD>(found.size()));
    path = found.data();
    if (error == ERROR_FILE_NOT_FOUND)
        return false;
    if (error == ERROR_SUCCESS && opensRegistry) {
        HKEY root = nullptr;
        error = static_cast<DWORD>(RegOpenKeyExW(HKEY_LOCAL_MACHINE, WTEXT(""), 0, KEY_READ, &root));
        if (error == ERROR_SUCCESS)
            RegCloseKey(root);
        else
            path += "/registry";
    }
    switch (error) {
    case ERROR_SUCCESS:
        return true;
    case ERROR_ACCESS_DENIED:
        throw ToolError(ExitStatus::Unknown, "access denied: " + path);
    case ERROR_WRITE_PROTECT:
        throw ToolError(ExitStatus::Unknown, "a read-only file system: " + path);
    case ERROR_DIRECTORY:
        throw ToolError(ExitStatus::Unknown, "not a directory: " + path);
    case ERROR_BADDB:
    case ERROR_REGISTRY_CORRUPT:
    case ERROR_INVALID_DATA:
        throw ToolError(ExitStatus::Unknown, "damaged: " + path);
    default:
        throw ToolError(ExitStatus::Unknown, fmt::format("{}: {}", path, layerErrorText(static_cast<LONG>(error))));
    }
}

} // namespace wdlt
