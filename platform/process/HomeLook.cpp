#include "Home.h"
#include "LastError.h"

#include <platform/home.h>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace wd {
namespace {

namespace fs = std::filesystem;

DWORD lookError() {
    return errno == ENOTDIR ? DWORD{ERROR_DIRECTORY} : systemError();
}

// Whether this account may read and write what is there; the effective rights count, as when it is opened.
DWORD lookAt(const fs::path& path, bool isDirectory, bool isReadOnly) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        return lookError();
    if (isDirectory && !S_ISDIR(status.st_mode))
        return ERROR_DIRECTORY;
    const int rights = R_OK | (isReadOnly ? 0 : W_OK) | (isDirectory ? X_OK : 0);
    return ::faccessat(AT_FDCWD, path.c_str(), rights, AT_EACCESS) == 0 ? DWORD{ERROR_SUCCESS} : lookError();
}

} // namespace

DWORD Home::look(fs::path& path) const {
    path = m_path;
    struct stat status {};
    if (::stat(m_path.c_str(), &status) != 0)
        return lookError();
    if (!S_ISDIR(status.st_mode))
        return ERROR_DIRECTORY;
    path = m_path / "settings";
    DWORD error = loadSettings();
    // What is missing is made by the first who needs it; but without these there is nothing to be read.
    const struct {
        fs::path path;
        bool isDirectory;
        bool isNeeded;
    } parts[] = {
        {registryPath(), true, true},
        {registryPath() / "data.mdb", false, true},
        {registryPath() / "namespace", false, false},
        {registryPath() / "lock.mdb", false, false},
        {objectsPath(), true, false},
    };
    bool isMissing = error == ERROR_FILE_NOT_FOUND && ::access(registryPath().c_str(), F_OK) != 0;
    if (!isMissing && error == ERROR_FILE_NOT_FOUND) // lost: whoever opens the home makes them anew
        error = ERROR_SUCCESS;
    for (const auto& part : parts) {
        if (error != ERROR_SUCCESS)
            break;
        path = part.path;
        error = lookAt(path, part.isDirectory, isReadOnly());
        isMissing = error == ERROR_FILE_NOT_FOUND && part.isNeeded;
        if (error == ERROR_FILE_NOT_FOUND && !part.isNeeded)
            error = ERROR_SUCCESS;
    }
    if (isMissing || error == ERROR_SUCCESS)
        path = m_path;
    return error == ERROR_SUCCESS && isReadOnly() ? DWORD{ERROR_WRITE_PROTECT} : error;
}

} // namespace wd

DWORD WdLookAtHome(LPSTR path, DWORD size) {
    return static_cast<DWORD>(wd::withinMemory([&]() -> LONG {
        std::filesystem::path found;
        const DWORD error = wd::home().look(found);
        if (path != nullptr && size > 0)
            path[found.native().copy(path, size - 1)] = '\0';
        return static_cast<LONG>(error);
    }));
}

DWORD WdPathOfName(LPCSTR name, LPSTR path, DWORD size) {
    return static_cast<DWORD>(wd::withinMemory([&]() -> LONG {
        if (name == nullptr || path == nullptr)
            return ERROR_INVALID_PARAMETER;
        const std::string mapped = wd::mapPath(name).native();
        if (mapped.size() >= size)
            return ERROR_MORE_DATA;
        path[mapped.copy(path, size - 1)] = '\0';
        return ERROR_SUCCESS;
    }));
}
