#include "StoreFile.h"

namespace wdlt {
namespace {

// Puts the file at its start.
OpenedFile seekStart(HANDLE opened, std::string name) {
    if (SetFilePointer(opened, 0, nullptr, FILE_BEGIN) != INVALID_SET_FILE_POINTER)
        return {OpenedFile::Outcome::Opened, opened, std::move(name)};
    const unsigned long error = GetLastError();
    CloseHandle(opened);
    return {OpenedFile::Outcome::NotSought, INVALID_HANDLE_VALUE, std::move(name), error};
}

} // namespace

OpenedFile openStoreFile(const char* name, DWORD share) {
    HANDLE opened = CreateFileA(name, GENERIC_READ, share, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (opened == INVALID_HANDLE_VALUE)
        return {OpenedFile::Outcome::NotOpened, INVALID_HANDLE_VALUE, name, GetLastError()};
    return seekStart(opened, name);
}

OpenedFile makeTempFile(const std::string& folder, const char* prefix) {
    std::array<char, MAX_PATH> name{};
    if (GetTempFileNameA(folder.c_str(), prefix, 0, name.data()) == 0)
        return {OpenedFile::Outcome::NoName, INVALID_HANDLE_VALUE, {}, GetLastError()};
    HANDLE opened = CreateFileA(name.data(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    OpenedFile made = opened != INVALID_HANDLE_VALUE ? seekStart(opened, name.data())
                                                     : OpenedFile{OpenedFile::Outcome::NotOpened, INVALID_HANDLE_VALUE,
                                                                  name.data(), GetLastError()};
    if (made.outcome != OpenedFile::Outcome::Opened)
        DeleteFileA(name.data());
    return made;
}

} // namespace wdlt
