// The layer's own calls, as plain ones of the system or with nothing to do.
#include <platform/file_content.h>
#include <platform/home.h>
#include <platform/nameservice.h>
#include <platform/registry_batch.h>
#include <platform/registry_state.h>
#include <platform/shield.h>
#include <platform/win32.h>

#include <array>
#include <cstring>
#include <string>

#undef getaddrinfo

// Each write is by itself: the system's registry has no transaction for several.
void WdRegBeginBatch(DWORD) {}
LONG WdRegEndBatch() {
    return ERROR_SUCCESS;
}
void WdRegAbandonBatch() {}

// The registry doesn't tell whether it has changed: nothing is kept.
BOOL WdGetRegistryState(WdRegistryState*) {
    return FALSE;
}
BOOL WdIsRegistryState(const WdRegistryState*) {
    return FALSE;
}

int WdShieldThread() {
    return 0;
}
void WdUnshieldThread(int) {}

DWORD WdLookAtHome(LPSTR path, DWORD size) {
    if (path != nullptr && size != 0)
        *path = '\0';
    return ERROR_SUCCESS;
}

DWORD WdPathOfName(LPCSTR name, LPSTR path, DWORD size) {
    if (name == nullptr || path == nullptr)
        return ERROR_INVALID_PARAMETER;
    const std::size_t bytes = std::strlen(name) + 1;
    if (bytes > size)
        return ERROR_MORE_DATA;
    std::memcpy(path, name, bytes);
    return ERROR_SUCCESS;
}

namespace {

bool write(LPCSTR path, const void* content, DWORD bytes) {
    HANDLE file = CreateFileA(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    DWORD written = 0;
    const bool isWritten = WriteFile(file, content, bytes, &written, nullptr) != FALSE && written == bytes &&
                           FlushFileBuffers(file) != FALSE;
    const DWORD error = GetLastError();
    CloseHandle(file);
    SetLastError(error);
    return isWritten;
}

// Puts a file in another's place, or where none is.
bool putInPlace(LPCSTR path, LPCSTR replacement) {
    if (ReplaceFileA(path, replacement, nullptr, 0, nullptr, nullptr) != FALSE)
        return true;
    return GetLastError() == ERROR_FILE_NOT_FOUND && MoveFileExA(replacement, path, MOVEFILE_WRITE_THROUGH) != FALSE;
}

} // namespace

BOOL WdReplaceContent(LPCSTR path, const void* content, DWORD bytes) {
    if (path == nullptr || (content == nullptr && bytes != 0)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const std::string whole(path);
    const auto separator = whole.find_last_of("\\/:");
    const std::string folder = separator == std::string::npos ? "." : whole.substr(0, separator + 1);
    std::array<char, MAX_PATH> temporary{};
    if (GetTempFileNameA(folder.c_str(), "wdl", 0, temporary.data()) == 0)
        return FALSE;
    if (write(temporary.data(), content, bytes) && putInPlace(path, temporary.data()))
        return TRUE;
    const DWORD error = GetLastError();
    DeleteFileA(temporary.data());
    SetLastError(error);
    return FALSE;
}

int WdGetAddrInfo(const char* name, const char* service, const addrinfo* hints, addrinfo** found) {
    constexpr WORD kVersion = 0x0202;
    static const int started = [] {
        WSADATA data{};
        return WSAStartup(kVersion, &data);
    }();
    return started != 0 ? EAI_FAIL : getaddrinfo(name, service, hints, found);
}
