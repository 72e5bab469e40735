#include "HomeLook.h"

#include "LayerError.h"

#include <algorithm>
#include <array>
#include <climits>
#include <fmt/format.h>
#include <platform/home.h>
#include <sys/stat.h>

namespace wdlt {

bool lookAtHome(std::string& path, HomeUse use) {
    std::array<char, PATH_MAX> found{};
    DWORD error = WdLookAtHome(found.data(), static_cast<DWORD>(found.size()));
    path = found.data();
    if (error == ERROR_FILE_NOT_FOUND)
        return false;
    const bool isSettings = path.ends_with("/settings");
    const bool mayChange = use == HomeUse::Change || use == HomeUse::Replace;
    const bool opensRegistry = use == HomeUse::Read || use == HomeUse::Change;
    if (error == ERROR_WRITE_PROTECT && !mayChange)
        error = ERROR_SUCCESS;
    if (error == ERROR_SUCCESS && !opensRegistry)
        return true;
    if (error == ERROR_SUCCESS) {
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
    case ERROR_INVALID_DATA:
        if (isSettings)
            return refuse(error == ERROR_BADDB
                              ? path + ": a newer version's; this one can't use the home"
                              : "damaged: " + path + "; without that file the home has the default code page");
        [[fallthrough]];
    case ERROR_REGISTRY_CORRUPT:
        return refuse("damaged: " + path + "; wdltctl check tells more");
    default:
        return refuse(fmt::format("{}: {}", path, layerErrorText(static_cast<LONG>(error))));
    }
}

HomeIdentity::HomeIdentity(const std::string& home) {
    for (const char* const part : {"", "/registry/data.mdb", "/objects"})
        if (struct stat status{}; ::stat((home + part).c_str(), &status) == 0)
            m_seen.push_back({home + part, status.st_dev, status.st_ino});
}

bool HomeIdentity::isSame() const {
    return std::ranges::all_of(m_seen, [](const Seen& seen) {
        struct stat status {};
        return ::stat(seen.path.c_str(), &status) == 0 && status.st_dev == seen.device && status.st_ino == seen.node;
    });
}

} // namespace wdlt
