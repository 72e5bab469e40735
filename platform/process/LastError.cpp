#include "LastError.h"

#include <cerrno>

namespace {

constinit thread_local DWORD lastError = ERROR_SUCCESS;

} // namespace

DWORD GetLastError() {
    return lastError;
}

void SetLastError(DWORD error) {
    lastError = error;
}

namespace wd {

DWORD errorFromErrno(int error) {
    switch (error) {
    case 0:
        return ERROR_SUCCESS;
    case ENOENT:
        return ERROR_FILE_NOT_FOUND;
    case ENOTDIR:
        return ERROR_PATH_NOT_FOUND;
    case EACCES:
    case EPERM:
    case EROFS:
    case ELOOP: // a symbolic link where the layer follows none
    case EISDIR:
    case ETXTBSY:
        return ERROR_ACCESS_DENIED;
    case EBADF:
        return ERROR_INVALID_HANDLE;
    case ENOMEM:
        return ERROR_NOT_ENOUGH_MEMORY;
    case EMFILE:
    case ENFILE:
        return ERROR_TOO_MANY_OPEN_FILES;
    case EAGAIN:
    case EBUSY:
        return ERROR_SHARING_VIOLATION;
    case EEXIST:
        return ERROR_FILE_EXISTS;
    case EINVAL:
        return ERROR_INVALID_PARAMETER;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        return ERROR_DISK_FULL;
    case ENAMETOOLONG:
        return ERROR_FILENAME_EXCED_RANGE;
    default:
        return ERROR_REGISTRY_IO_FAILED;
    }
}

LONG failed(DWORD error) {
    if (error != ERROR_SUCCESS)
        lastError = error;
    return static_cast<LONG>(error);
}

} // namespace wd
