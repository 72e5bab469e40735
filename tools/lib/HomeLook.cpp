#include "HomeLook.h"

#include "LayerError.h"

#include <array>
#include <climits>
#include <fmt/format.h>
#include <platform/home.h>

namespace wdlt {

bool lookAtHome(std::string& path, HomeUse use) {
    std::array<char, PATH_MAX> found{};
    DWORD error = WdLookAtHome(found.data(), static_cast<DWORD>(found.size()));
    path = found.data();
    if (error == ERROR_FILE_NOT_FOUND)
        return false;
    if (error == ERROR_SUCCESS || (error == ERROR_WRITE_PROTECT && use == HomeUse::Read)) {
        HKEY root = nullptr;
        error = static_cast<DWORD>(RegOpenKeyExW(HKEY_LOCAL_MACHINE, WTEXT(""), 0, KEY_READ, &root));
        if (error == ERROR_SUCCESS) {
            RegCloseKey(root);
            return true;
        }
        path += "/registry";
    }
    const auto refuse = [&](const std::string& message) -> bool {
        throw ToolError(ExitStatus::Unknown, message, {.path = path});
    };
    switch (error) {
    case ERROR_ACCESS_DENIED:
        return refuse("access denied: " + path);
    case ERROR_WRITE_PROTECT:
        return refuse("a read-only file system: " + path);
    case ERROR_DIRECTORY:
        return refuse("not a directory: " + path);
    case ERROR_BADDB:
    case ERROR_REGISTRY_CORRUPT:
    case ERROR_INVALID_DATA:
        return refuse("damaged: " + path + "; wdltctl check tells more");
    default:
        return refuse(fmt::format("{}: {}", path, layerErrorText(static_cast<LONG>(error))));
    }
}

} // namespace wdlt
