#include "Files.h"
#include "LayerError.h"

#include <array>
#include <cerrno>
#include <platform/security.h>
#include <platform/win32.h>
#include <string>

namespace wdlt {
namespace {

/* Full access for this account and nobody else, nothing from the folder; in the text form of rights. Empty with an
   error. */
std::string thisAccountAlone() {
    HANDLE token = nullptr;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) == FALSE)
        return {};
    alignas(TOKEN_USER) std::array<BYTE, sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE> user{};
    DWORD bytes = 0;
    LPSTR account = nullptr;
    std::string rights;
    if (GetTokenInformation(token, TokenUser, user.data(), static_cast<DWORD>(user.size()), &bytes) != FALSE &&
        ConvertSidToStringSidA(reinterpret_cast<const TOKEN_USER*>(user.data())->User.Sid, &account) != FALSE) {
        rights = std::string("D:P(A;;FA;;;") + account + ")";
        LocalFree(account);
    }
    CloseHandle(token);
    return rights;
}

bool writeNew(const std::string& file, std::string_view content) {
    const std::string alone = thisAccountAlone();
    SECURITY_ATTRIBUTES rights{sizeof(SECURITY_ATTRIBUTES), nullptr, FALSE};
    if (alone.empty() || ConvertStringSecurityDescriptorToSecurityDescriptorA(
                             alone.c_str(), SDDL_REVISION_1, &rights.lpSecurityDescriptor, nullptr) == FALSE)
        return false;
    HANDLE opened = CreateFileA(file.c_str(), GENERIC_WRITE, 0, &rights, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    const DWORD error = GetLastError();
    LocalFree(rights.lpSecurityDescriptor);
    SetLastError(error);
    if (opened == INVALID_HANDLE_VALUE)
        return false;
    DWORD written = 0;
    const bool isWhole =
        WriteFile(opened, content.data(), static_cast<DWORD>(content.size()), &written, nullptr) != 0 &&
        written == content.size() && FlushFileBuffers(opened) != FALSE;
    const DWORD failure = GetLastError();
    CloseHandle(opened);
    SetLastError(failure);
    return isWhole;
}

} // namespace

void writeFile(const std::string& file, std::string_view content) {
    if (file == kStandardStream) {
        if (std::fwrite(content.data(), 1, content.size(), stdout) != content.size())
            throw fileError("standard output", errno);
        return;
    }
    const std::string beside = file + "." + std::to_string(GetCurrentProcessId());
    if (writeNew(beside, content) &&
        MoveFileExA(beside.c_str(), file.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != FALSE)
        return;
    const DWORD error = GetLastError();
    if (error != ERROR_FILE_EXISTS) // another's
        DeleteFileA(beside.c_str());
    throw LayerError(file, static_cast<LONG>(error));
}

} // namespace wdlt
