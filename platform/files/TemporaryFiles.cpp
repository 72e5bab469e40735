#include "TemporaryFiles.h"

#include "FileReplace.h"
#include "ForkMutex.h"
#include "HeldFile.h"
#include "Home.h"
#include "LastError.h"

#include <algorithm>
#include <dirent.h>
#include <memory>

namespace wd {
namespace {

namespace fs = std::filesystem;

struct Temporary {
    fs::path path;
    HeldFile file;
    Temporary* next = nullptr;
};

constinit ForkMutex<Temporary, ForkOrder::Temporaries> temporariesMutex;
constinit Temporary* firstTemporary WD_GUARDED_BY(temporariesMutex) = nullptr;

FileDescriptor openFolder(const fs::path& folder) {
    return FileDescriptor(sys::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
}

bool isTemporaryName(std::string_view name, std::string_view prefix) {
    if (name.size() != prefix.size() + kTemporaryDigits + kTemporarySuffix.size() || !name.starts_with(prefix) ||
        !name.ends_with(kTemporarySuffix))
        return false;
    const std::string_view digits = name.substr(prefix.size(), kTemporaryDigits);
    return digits.find_first_not_of("0123456789ABCDEF") == std::string_view::npos;
}

} // namespace

DWORD makeTemporary(const fs::path& path) {
    const FileDescriptor folder = openFolder(path.parent_path());
    if (!folder.valid())
        return errorOfPath(path);
    auto made = std::make_unique<Temporary>();
    made->path = path;
    const std::string name = path.filename();
    if (!made->file.make(folder.get(), name.c_str()) || !home().admit(made->file.get()) ||
        !made->file.publish(folder.get(), name.c_str())) {
        const int error = errno;
        if (made->file.isNamed())
            sys::unlinkat(folder.get(), name.c_str(), 0);
        errno = error;
        return error == EEXIST || error == EAGAIN ? ERROR_FILE_EXISTS : errorOfPath(path);
    }
    const ForkLock lock(temporariesMutex);
    made->next = firstTemporary;
    firstTemporary = made.release();
    return ERROR_SUCCESS;
}

void letGoOfTemporary(std::string_view path) {
    const std::string_view name = path.substr(path.find_last_of("/\\") + 1);
    std::unique_ptr<Temporary> found; // destroyed after the lock: closing its file takes another mutex
    const ForkLock lock(temporariesMutex);
    for (Temporary** link = &firstTemporary; *link != nullptr; link = &(*link)->next)
        if (const std::string_view own = (*link)->path.native(); own.substr(own.rfind('/') + 1) == name) {
            found.reset(*link);
            *link = found->next;
            return;
        }
}

void removeTemporariesLeftBehind(const fs::path& folder, std::string_view prefix) {
    FileDescriptor opened = openFolder(folder);
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(opened.valid() ? ::fdopendir(opened.get()) : nullptr, ::closedir);
    if (entries == nullptr)
        return;
    opened.release(); // closed with the entries
    while (const struct dirent* entry = ::readdir(entries.get()))
        if (isTemporaryName(entry->d_name, prefix))
            HeldFile::removeLeftBehind(::dirfd(entries.get()), entry->d_name);
}

} // namespace wd
