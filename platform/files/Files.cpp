// The exported functions on files: handles in the table of the kernel objects, sharing by locks that the kernel drops
// with the process, and replacements that a crash can't leave half done.
#include "CodePage.h"
#include "FileReplace.h"
#include "HeldFile.h"
#include "Home.h"
#include "KernelObject.h"
#include "LastError.h"
#include "LockedFile.h"
#include "TemporaryFiles.h"

#include <platform/file_content.h>
#include <platform/files.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/file.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

using wd::failed;
namespace sys = wd::sys;

constexpr mode_t kOwnMode = 0600;
constexpr int kNameTries = 100;

BOOL succeeded(DWORD error) {
    return failed(error) == 0 ? TRUE : FALSE;
}

// The file that a caller's name means.
DWORD pathOf(LPCSTR name, fs::path& path) {
    if (name == nullptr || *name == '\0')
        return ERROR_PATH_NOT_FOUND;
    path = wd::mapPath(name);
    return ERROR_SUCCESS;
}

// An open file's descriptor for one call; it isn't closed meanwhile.
class FileUse {
  public:
    // False with ERROR_INVALID_HANDLE for anything but an open file's handle, and with ERROR_ACCESS_DENIED for one that
    // wasn't opened for this.
    bool acquire(HANDLE handle, DWORD right) {
        const bool isFile = m_use.acquire(handle) && m_use.payload().file.valid();
        if (isFile && (m_use.payload().fileRights & right) == right)
            return true;
        SetLastError(isFile ? ERROR_ACCESS_DENIED : ERROR_INVALID_HANDLE);
        return false;
    }
    int get() const { return m_use.payload().file.get(); }

  private:
    wd::KernelHandles::Use m_use;
};

struct Disposition {
    bool known;
    bool creates;
    bool mustBeNew;
    bool empties;
};

constexpr Disposition kDispositions[] = {
    {false, false, false, false}, {true, true, true, false},  {true, true, false, true}, // -, CREATE_NEW, CREATE_ALWAYS
    {true, false, false, false},  {true, true, false, false}, {true, false, false, true},
};

// Opens or creates the file; `existed` says which.
DWORD openFile(const fs::path& path, int access, const Disposition& disposition, wd::LockedFile& file, bool& existed) {
    constexpr int kFlags = O_CLOEXEC | O_NONBLOCK | O_NOCTTY; // a pipe or a device doesn't make the call wait
    const auto opens = [&](int flags) {
        file = wd::LockedFile::from(
            [&] { return wd::FileDescriptor(sys::open(path.c_str(), access | kFlags | flags, kOwnMode)); });
        return file.valid();
    };
    // A new file that can't be given the home's group is removed: whoever opened it next would find it there, with the
    // wrong rights.
    const auto makes = [&](int flags) {
        if (!opens(flags | O_CREAT))
            return false;
        if (wd::home().admit(file.get()))
            return true;
        const int error = errno;
        if ((flags & O_EXCL) != 0)
            sys::unlink(path.c_str());
        errno = error;
        return false;
    };
    for (;;) {
        existed = true;
        if (!disposition.mustBeNew) {
            if (opens(0))
                return ERROR_SUCCESS;
            if (errno != ENOENT || !disposition.creates)
                return wd::errorOfPath(path);
        }
        existed = false;
        if (makes(O_EXCL))
            return ERROR_SUCCESS;
        if (file.valid() || errno != EEXIST || disposition.mustBeNew)
            return wd::errorOfPath(path);
        // It exists and doesn't: a symbolic link to a missing file, which is created then. Or somebody was quicker.
        struct stat status {};
        if (sys::lstat(path.c_str(), &status) != 0 || !S_ISLNK(status.st_mode))
            continue;
        return makes(0) ? DWORD{ERROR_SUCCESS} : wd::errorOfPath(path);
    }
}

// Takes the lock that stands for the share mode. Nothing in a file is changed before.
DWORD share(wd::LockedFile& file, DWORD mode) {
    const bool shares = (mode & (FILE_SHARE_READ | FILE_SHARE_WRITE)) != 0;
    return file.tryLock(shares ? LOCK_SH : LOCK_EX) ? DWORD{ERROR_SUCCESS} : wd::systemError();
}

// A file that is empty already is left alone: some file systems take a file cut to nothing for one that is rewritten,
// and send what is written next to the disk as soon as it is closed, even if it is a temporary one.
bool makeEmpty(int file) {
    struct stat status {};
    return sys::fstat(file, &status) == 0 && (status.st_size == 0 || sys::ftruncate(file, 0) == 0);
}

enum class Sharing { Asked, Ignored };

DWORD copyFile(const fs::path& from, const fs::path& to, bool mayReplace, Sharing sharing) {
    constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    wd::LockedFile source =
        wd::LockedFile::from([&] { return wd::FileDescriptor(sys::open(from.c_str(), kFlags, 0)); });
    struct stat status {};
    struct stat old {};
    if (!source.valid() || sys::fstat(source.get(), &status) != 0)
        return wd::errorOfPath(from);
    if (!S_ISREG(status.st_mode))
        return ERROR_ACCESS_DENIED;
    if (!mayReplace && sys::lstat(to.c_str(), &old) == 0)
        return ERROR_FILE_EXISTS;
    if (sys::stat(to.c_str(), &old) == 0 && wd::isSameFile(status, old))
        return ERROR_SHARING_VIOLATION;
    if (sharing == Sharing::Asked && !source.tryLock(LOCK_SH)) // another has it for itself
        return wd::systemError();
    return wd::replaceFileFrom(to, source.get());
}

// What a caller may do with the file that he opens, and how it is opened for that: to empty it takes more than to read
// it.
struct Access {
    Access(DWORD asked, bool empties) {
        constexpr DWORD kReading = GENERIC_READ | GENERIC_ALL | FILE_READ_DATA;
        constexpr DWORD kWriting = GENERIC_WRITE | GENERIC_ALL | FILE_WRITE_DATA;
        if ((asked & kReading) != 0)
            rights |= FILE_READ_DATA;
        if ((asked & (kWriting | FILE_APPEND_DATA)) != 0)
            rights |= FILE_WRITE_DATA;
        const bool writes = empties || (rights & FILE_WRITE_DATA) != 0;
        if (writes)
            mode = (rights & FILE_READ_DATA) != 0 ? O_RDWR : O_WRONLY;
        if ((asked & (kWriting | FILE_APPEND_DATA)) == FILE_APPEND_DATA)
            mode |= O_APPEND;
    }

    DWORD rights = 0;
    int mode = O_RDONLY;
};

// Opens the file, shares it, and only then empties it.
DWORD openShared(const fs::path& path, int mode, const Disposition& how, DWORD shareMode, wd::LockedFile& file,
                 bool& existed) {
    if (mode != O_RDONLY && !wd::mayFollow(path))
        return wd::systemError();
    if (const DWORD error = openFile(path, mode, how, file, existed))
        return error;
    struct stat status {};
    if (sys::fstat(file.get(), &status) != 0)
        return wd::systemError();
    if (!S_ISREG(status.st_mode))
        return ERROR_ACCESS_DENIED;
    if (const DWORD error = share(file, shareMode))
        return error;
    return how.empties && !makeEmpty(file.get()) ? wd::systemError() : ERROR_SUCCESS;
}

// What would be less than the caller asks for.
constexpr DWORD kRefusedFlags =
    FILE_ATTRIBUTE_READONLY | FILE_FLAG_DELETE_ON_CLOSE | FILE_FLAG_OVERLAPPED | FILE_FLAG_WRITE_THROUGH;

// Marked read-only, for the caller: the administrator may write to any file, here as in the calls that replace one.
bool isReadOnly(const fs::path& path) {
    struct stat status {};
    if (sys::lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode) || (status.st_mode & S_IWUSR) != 0)
        return false;
    constexpr int kFlags = O_WRONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    return !wd::FileDescriptor(sys::open(path.c_str(), kFlags, 0)).valid();
}

} // namespace

HANDLE CreateFileA(LPCSTR name, DWORD access, DWORD shareMode, LPSECURITY_ATTRIBUTES /*attributes*/, DWORD disposition,
                   DWORD flags, HANDLE /*templateFile*/) {
    return wd::withinMemory(INVALID_HANDLE_VALUE, [&]() -> HANDLE {
        fs::path path;
        DWORD error = pathOf(name, path);
        if (error == ERROR_SUCCESS && (disposition >= std::size(kDispositions) || !kDispositions[disposition].known))
            error = ERROR_INVALID_PARAMETER;
        if (error == ERROR_SUCCESS && (flags & kRefusedFlags) != 0)
            error = ERROR_NOT_SUPPORTED;
        if (error != ERROR_SUCCESS) {
            failed(error);
            return INVALID_HANDLE_VALUE;
        }
        const Disposition& how = kDispositions[disposition];
        const Access opened(access, how.empties);
        if (how.empties && !how.creates && (opened.rights & FILE_WRITE_DATA) == 0) {
            failed(ERROR_INVALID_PARAMETER); // TRUNCATE_EXISTING takes the right to write
            return INVALID_HANDLE_VALUE;
        }
        wd::LockedFile file;
        bool existed = false;
        error = openShared(path, opened.mode, how, shareMode, file, existed);
        HANDLE handle = nullptr;
        if (error == ERROR_SUCCESS) {
            handle = wd::KernelHandles::open([&](wd::HandleTarget& target) {
                target.file = std::move(file);
                target.fileRights = opened.rights;
            });
            if (handle == nullptr)
                error = ERROR_NOT_ENOUGH_MEMORY;
        }
        if (error == ERROR_SUCCESS && existed && how.creates)
            SetLastError(ERROR_ALREADY_EXISTS);
        else
            SetLastError(error);
        return error == ERROR_SUCCESS ? handle : INVALID_HANDLE_VALUE;
    });
}

BOOL ReadFile(HANDLE handle, LPVOID buffer, DWORD bytes, LPDWORD bytesRead, void* overlapped) {
    if (bytesRead != nullptr)
        *bytesRead = 0;
    FileUse file;
    if (!file.acquire(handle, FILE_READ_DATA))
        return FALSE;
    if (overlapped != nullptr || (buffer == nullptr && bytes != 0))
        return succeeded(overlapped != nullptr ? ERROR_INVALID_PARAMETER : ERROR_NOACCESS);
    DWORD done = 0;
    while (done < bytes) {
        const ssize_t got = sys::read(file.get(), static_cast<char*>(buffer) + done, bytes - done);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return succeeded(wd::systemError());
        if (got == 0)
            break;
        done += static_cast<DWORD>(got);
    }
    if (bytesRead != nullptr)
        *bytesRead = done;
    return TRUE;
}

BOOL WriteFile(HANDLE handle, const void* buffer, DWORD bytes, LPDWORD bytesWritten, void* overlapped) {
    if (bytesWritten != nullptr)
        *bytesWritten = 0;
    FileUse file;
    if (!file.acquire(handle, FILE_WRITE_DATA))
        return FALSE;
    if (overlapped != nullptr || (buffer == nullptr && bytes != 0))
        return succeeded(overlapped != nullptr ? ERROR_INVALID_PARAMETER : ERROR_INVALID_USER_BUFFER);
    DWORD done = 0;
    DWORD error = ERROR_SUCCESS;
    while (done < bytes && error == ERROR_SUCCESS) {
        const ssize_t put = sys::write(file.get(), static_cast<const char*>(buffer) + done, bytes - done);
        if (put > 0)
            done += static_cast<DWORD>(put);
        else if (put == 0)
            error = ERROR_DISK_FULL;
        else if (errno != EINTR)
            error = wd::systemError();
    }
    if (bytesWritten != nullptr)
        *bytesWritten = done;
    return succeeded(error);
}

DWORD SetFilePointer(HANDLE handle, LONG distance, LONG* distanceHigh, DWORD method) {
    constexpr int kMethods[] = {SEEK_SET, SEEK_CUR, SEEK_END};
    FileUse file;
    if (!file.acquire(handle, 0))
        return INVALID_SET_FILE_POINTER;
    if (method >= std::size(kMethods)) {
        failed(ERROR_INVALID_PARAMETER);
        return INVALID_SET_FILE_POINTER;
    }
    off_t offset = distance;
    if (distanceHigh != nullptr)
        offset = static_cast<off_t>(static_cast<std::uint64_t>(static_cast<std::uint32_t>(*distanceHigh)) << 32 |
                                    static_cast<std::uint32_t>(distance));
    const off_t position = sys::lseek(file.get(), offset, kMethods[method]);
    if (position < 0) {
        if (errno == EINVAL || errno == EOVERFLOW) // before the start, or farther than the file system reaches
            failed(offset < 0 ? ERROR_NEGATIVE_SEEK : ERROR_INVALID_PARAMETER);
        else
            failed(wd::systemError());
        return INVALID_SET_FILE_POINTER;
    }
    if (distanceHigh != nullptr)
        *distanceHigh = static_cast<LONG>(position >> 32);
    const auto low = static_cast<DWORD>(position & 0xFFFFFFFF);
    if (low == INVALID_SET_FILE_POINTER)
        SetLastError(ERROR_SUCCESS); // a position that equals the failure value
    return low;
}

BOOL CopyFileA(LPCSTR existing, LPCSTR target, BOOL failIfExists) {
    return wd::withinMemory(BOOL{FALSE}, [&]() -> BOOL {
        fs::path from;
        fs::path to;
        DWORD error = pathOf(existing, from);
        if (error == ERROR_SUCCESS)
            error = pathOf(target, to);
        return succeeded(error != ERROR_SUCCESS ? error : copyFile(from, to, failIfExists == FALSE, Sharing::Asked));
    });
}

BOOL ReplaceFileA(LPCSTR replaced, LPCSTR replacement, LPCSTR backup, DWORD /*flags*/, LPVOID exclude,
                  LPVOID reserved) {
    const BOOL done = wd::withinMemory(BOOL{FALSE}, [&]() -> BOOL {
        if (replaced == nullptr || replacement == nullptr || backup != nullptr || exclude != nullptr ||
            reserved != nullptr)
            return succeeded(ERROR_INVALID_PARAMETER);
        fs::path to;
        fs::path from;
        DWORD error = pathOf(replaced, to);
        if (error == ERROR_SUCCESS)
            error = pathOf(replacement, from);
        return succeeded(error != ERROR_SUCCESS ? error : wd::replaceFileBy(to, from));
    });
    if (replacement != nullptr)
        wd::letGoOfTemporary(replacement); // after a failure too: the file stays, as one left behind
    return done;
}

BOOL WdReplaceContent(LPCSTR path, const void* content, DWORD bytes) {
    return wd::withinMemory(BOOL{FALSE}, [&]() -> BOOL {
        if (path == nullptr || (content == nullptr && bytes != 0))
            return succeeded(ERROR_INVALID_PARAMETER);
        return succeeded(wd::replaceFile(path, {static_cast<const char*>(content), bytes}));
    });
}

BOOL WdCopyContent(LPCSTR from, LPCSTR to) {
    return wd::withinMemory(BOOL{FALSE}, [&]() -> BOOL {
        if (from == nullptr || to == nullptr)
            return succeeded(ERROR_INVALID_PARAMETER);
        return succeeded(copyFile(from, to, true, Sharing::Ignored));
    });
}

BOOL WdMakeFolder(LPCSTR path) {
    return wd::withinMemory(BOOL{FALSE}, [&]() -> BOOL {
        if (path == nullptr)
            return succeeded(ERROR_INVALID_PARAMETER);
        const wd::Home& home = wd::home();
        wd::Home::Modes modes; // the home's, wherever the folder is
        DWORD error = home.ensure();
        if (error == ERROR_SUCCESS)
            error = home.fileModes(modes);
        return succeeded(error != ERROR_SUCCESS ? error : wd::makeDirectories(path, modes));
    });
}

BOOL WdIsLeftBehind(LPCSTR path) {
    return wd::withinMemory(BOOL{FALSE}, [&]() -> BOOL {
        return path != nullptr && wd::HeldFile::isLeftBehind(AT_FDCWD, path) ? TRUE : FALSE;
    });
}

BOOL WdRemoveLeftBehind(LPCSTR path) {
    return wd::withinMemory(BOOL{FALSE}, [&]() -> BOOL {
        if (path == nullptr)
            return succeeded(ERROR_INVALID_PARAMETER);
        const fs::path file = path; // made before errno is set
        return succeeded(wd::HeldFile::removeLeftBehind(AT_FDCWD, path) ? DWORD{ERROR_SUCCESS} : wd::errorOfPath(file));
    });
}

BOOL DeleteFileA(LPCSTR name) {
    const BOOL done = wd::withinMemory(BOOL{FALSE}, [&]() -> BOOL {
        fs::path path;
        if (const DWORD error = pathOf(name, path))
            return succeeded(error);
        if (isReadOnly(path))
            return succeeded(ERROR_ACCESS_DENIED);
        return succeeded(sys::unlink(path.c_str()) == 0 ? DWORD{ERROR_SUCCESS} : wd::errorOfPath(path));
    });
    if (name != nullptr)
        wd::letGoOfTemporary(name); // after a failure too, for the next writer to remove
    return done;
}

// Builds the name from the folder as the caller wrote it, so that it leads to the same file when it is passed back.
UINT GetTempFileNameA(LPCSTR folder, LPCSTR prefix, UINT unique, LPSTR buffer) {
    return wd::withinMemory(UINT{0}, [&]() -> UINT {
        constexpr std::size_t kPrefixBytes = 3;
        if (folder == nullptr || prefix == nullptr || buffer == nullptr) {
            failed(ERROR_INVALID_PARAMETER);
            return 0;
        }
        if (*folder == '\0') { // not the working directory, which is no folder for temporary files
            failed(ERROR_DIRECTORY);
            return 0;
        }
        std::string start = folder;
        if (!wd::endsInSeparator(start))
            start += '\\';
        unique &= 0xFFFF;
        const std::string_view kind(prefix, strnlen(prefix, kPrefixBytes));
        start += kind;
        if (unique == 0)
            wd::removeTemporariesLeftBehind(wd::mapPath(start).parent_path(), kind);
        for (int i = 0; i < kNameTries; ++i) {
            UINT number = unique;
            while (number == 0)
                if (sys::getrandom(&number, sizeof number, 0) != static_cast<ssize_t>(sizeof number)) {
                    failed(wd::systemError());
                    return 0;
                }
            std::array<char, 16> suffix{};
            std::snprintf(suffix.data(), suffix.size(), unique != 0 ? "%X.tmp" : "%08X.tmp", number);
            const std::string name = start + suffix.data();
            if (name.size() >= MAX_PATH) {
                failed(ERROR_FILENAME_EXCED_RANGE);
                return 0;
            }
            const DWORD error = unique != 0 ? ERROR_SUCCESS : wd::makeTemporary(wd::mapPath(name));
            if (error == ERROR_SUCCESS) {
                std::memcpy(buffer, name.c_str(), name.size() + 1);
                return number;
            }
            if (error != ERROR_FILE_EXISTS) {
                failed(error == ERROR_PATH_NOT_FOUND ? ERROR_DIRECTORY : error);
                return 0;
            }
        }
        failed(ERROR_FILE_EXISTS);
        return 0;
    });
}

DWORD GetFileAttributesA(LPCSTR name) {
    return wd::withinMemory(DWORD{INVALID_FILE_ATTRIBUTES}, [&]() -> DWORD {
        fs::path path;
        if (const DWORD error = pathOf(name, path)) {
            failed(error);
            return INVALID_FILE_ATTRIBUTES;
        }
        struct stat status {};
        if (sys::stat(path.c_str(), &status) != 0) {
            failed(wd::errorOfPath(path));
            return INVALID_FILE_ATTRIBUTES;
        }
        DWORD attributes = S_ISDIR(status.st_mode) ? FILE_ATTRIBUTE_DIRECTORY : 0;
        if ((status.st_mode & S_IWUSR) == 0)
            attributes |= FILE_ATTRIBUTE_READONLY;
        return attributes != 0 ? attributes : FILE_ATTRIBUTE_NORMAL;
    });
}
