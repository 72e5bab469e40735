#include "StoreFile.h"

namespace wdlt {
namespace {

// Positions the file at its start.
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
    std::string name(MAX_PATH, '\0'); // before the file exists: without memory no file is left behind
    if (GetTempFileNameA(folder.c_str(), prefix, 0, name.data()) == 0)
        return {OpenedFile::Outcome::NoName, INVALID_HANDLE_VALUE, {}, GetLastError()};
    name.resize(name.find('\0'));
    HANDLE opened = CreateFileA(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    OpenedFile made{OpenedFile::Outcome::NotOpened, INVALID_HANDLE_VALUE, {}, GetLastError()};
    if (opened != INVALID_HANDLE_VALUE)
        made = seekStart(opened, std::move(name));
    else
        made.name = std::move(name);
    if (made.outcome != OpenedFile::Outcome::Opened)
        DeleteFileA(made.name.c_str());
    return made;
}

} // namespace wdlt
