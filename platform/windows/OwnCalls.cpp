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
#undef LoadLibraryA

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

// Puts a file in another's place, or where none is. A ReplaceFile that fails may have taken the old file away.
bool putInPlace(LPCSTR path, LPCSTR replacement) {
    return ReplaceFileA(path, replacement, nullptr, 0, nullptr, nullptr) != FALSE ||
           MoveFileExA(replacement, path, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != FALSE;
}

} // namespace

BOOL WdReplaceContent(LPCSTR path, const void* content, DWORD bytes) {
    if (path == nullptr || (content == nullptr && bytes != 0)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const std::string made = std::string(path) + ".new"; // one for each file: what a crash leaves is written anew
    if (write(made.c_str(), content, bytes) && putInPlace(path, made.c_str()))
        return TRUE;
    const DWORD error = GetLastError();
    if (GetFileAttributesA(path) != INVALID_FILE_ATTRIBUTES) // else the new content is all that there is
        DeleteFileA(made.c_str());
    SetLastError(error);
    return FALSE;
}

// A bare name is a library beside the module that asks, and no stranger's in the working directory.
HMODULE WdLoadLibrary(LPCSTR name) {
    if (name == nullptr || std::strpbrk(name, "\\/:") != nullptr)
        return LoadLibraryA(name);
    HMODULE own = nullptr;
    std::array<char, MAX_PATH> path{};
    constexpr DWORD kOwn = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    if (GetModuleHandleExA(kOwn, reinterpret_cast<LPCSTR>(&WdLoadLibrary), &own) == FALSE)
        return nullptr;
    const DWORD length = GetModuleFileNameA(own, path.data(), static_cast<DWORD>(path.size()));
    if (length == 0 || length >= path.size()) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return nullptr;
    }
    const std::string whole(path.data(), static_cast<std::size_t>(PathFindFileNameA(path.data()) - path.data()));
    return LoadLibraryExA((whole + name).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
}

int WdGetAddrInfo(const char* name, const char* service, const addrinfo* hints, addrinfo** found) {
    constexpr WORD kVersion = 0x0202;
    static const int started = [] {
        WSADATA data{};
        return WSAStartup(kVersion, &data);
    }();
    return started != 0 ? EAI_FAIL : getaddrinfo(name, service, hints, found);
}
