#include "FileReplace.h"

#include "Deadline.h"
#include "FileDescriptor.h"
#include "LastError.h"

#include <array>
#include <climits>
#include <sys/file.h>
#include <unistd.h>

namespace wd {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kNewFileMode = 0644;
constexpr std::chrono::seconds kPatience{5}; // how long another replacement of the same file may take
constexpr std::size_t kCopyBytes = std::size_t{64} * 1024;
constexpr int kLinks = 40; // as many as the system follows

DWORD systemError() {
    return errorFromErrno(errno);
}

// The file beside the target that becomes the target. Whoever writes it holds a lock on it, so that one without a
// holder is what a crash left: it is removed, not written over, since it may be anybody's. The lock is a shared one:
// for a moment after the rename it is the target's, and must not keep its readers out.
class Partial {
  public:
    // Targets whose long names are cut to the same one take turns.
    explicit Partial(const fs::path& target) : m_path(target.parent_path() / ".") {
        constexpr std::string_view kSuffix = ".new";
        m_path += target.filename().native().substr(0, NAME_MAX - 1 - kSuffix.size());
        m_path += kSuffix;
    }
    ~Partial() {
        if (m_file.valid())
            sys::unlink(m_path.c_str());
    }
    Partial(const Partial&) = delete;
    Partial& operator=(const Partial&) = delete;

    int file() const { return m_file.get(); }

    // With no more rights than `mode` has: whoever opens it now reads what is written later.
    bool create(mode_t mode) {
        for (const Deadline deadline(kPatience);;) {
            constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW;
            FileDescriptor made(sys::open(m_path.c_str(), kFlags, mode));
            if (made.valid() && isOurs(made.get())) {
                m_file = std::move(made);
                return true;
            }
            if (made.valid())
                continue;
            if (errno != EEXIST)
                return false;
            if (removeLeftBehind() || errno == ENOENT)
                continue;
            if (errno != EWOULDBLOCK)
                return false; // waiting won't change it
            if (!deadline.pause()) {
                errno = EBUSY;
                return false;
            }
        }
    }
    bool renameTo(const fs::path& target) {
        if (sys::rename(m_path.c_str(), target.c_str()) != 0)
            return false;
        unlock(m_file.get());
        m_file.reset();
        return true;
    }

  private:
    // Somebody may have taken it for one left behind before it was locked.
    static bool isOurs(int file) {
        struct stat status {};
        return sys::flock(file, LOCK_SH | LOCK_NB) == 0 && sys::fstat(file, &status) == 0 && status.st_nlink != 0;
    }
    // Closing alone wouldn't do it when the process has forked meanwhile: the child has the lock too.
    static void unlock(int file) {
        const int error = errno;
        sys::flock(file, LOCK_UN);
        errno = error;
    }
    // False with EWOULDBLOCK while somebody writes it, with ENOENT when it has gone.
    bool removeLeftBehind() const {
        constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
        const FileDescriptor left(sys::open(m_path.c_str(), kFlags, 0));
        if (!left.valid() || sys::flock(left.get(), LOCK_EX | LOCK_NB) != 0)
            return false;
        const bool removed = hasItsName(left.get()) && sys::unlink(m_path.c_str()) == 0;
        unlock(left.get());
        return removed;
    }
    bool hasItsName(int file) const {
        struct stat opened {};
        struct stat named {};
        if (sys::fstat(file, &opened) != 0 || sys::lstat(m_path.c_str(), &named) != 0)
            return false;
        errno = ENOENT;
        return opened.st_ino == named.st_ino;
    }

    fs::path m_path;
    FileDescriptor m_file;
};

// Owner first: a change of the owner takes special bits from the mode. Who may write a file but not give it away leaves
// it with the group alone.
bool keepOwnerAndMode(int file, const struct stat& old) {
    struct stat made {};
    if (sys::fstat(file, &made) != 0)
        return false;
    const bool sameOwner = made.st_uid == old.st_uid && made.st_gid == old.st_gid;
    if (!sameOwner && sys::fchown(file, old.st_uid, old.st_gid) != 0 &&
        (errno != EPERM || (made.st_gid != old.st_gid && sys::fchown(file, static_cast<uid_t>(-1), old.st_gid) != 0)))
        return false;
    return sys::fchmod(file, old.st_mode & 07777) == 0;
}

// Writing to a file takes those bits from its mode that lend its owner's rights.
bool keepMode(int file, const struct stat& old) {
    return (old.st_mode & (S_ISUID | S_ISGID)) == 0 || sys::fchmod(file, old.st_mode & 07777) == 0;
}

// Opened before anything changes: where it can't be, a replacement couldn't be made to last.
FileDescriptor openFolderOf(const fs::path& file) {
    const fs::path folder = file.has_parent_path() ? file.parent_path() : fs::path(".");
    return FileDescriptor(sys::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
}

DWORD syncFolder(const FileDescriptor& folder) {
    return sys::fsync(folder.get()) == 0 ? ERROR_SUCCESS : systemError();
}

bool copyWhole(int from, int to) {
    std::array<char, kCopyBytes> buffer;
    for (off_t at = 0;;) {
        const ssize_t got = sys::pread(from, buffer.data(), buffer.size(), at);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return got == 0;
        if (!writeWhole(to, {buffer.data(), static_cast<std::size_t>(got)}))
            return false;
        at += got;
    }
}

// Leads a path that is a symbolic link to the file that is meant, which need not be there. False with errno.
bool followLinks(fs::path& path) {
    std::array<char, PATH_MAX> text;
    for (int i = 0; i < kLinks; ++i) {
        const ssize_t length = sys::readlink(path.c_str(), text.data(), text.size());
        if (length < 0)
            return errno == EINVAL || errno == ENOENT; // no link, or nothing
        path = path.parent_path() / std::string_view(text.data(), static_cast<std::size_t>(length));
    }
    errno = ELOOP;
    return false;
}

// The file that is to be replaced. One that may not be written may not be replaced either.
DWORD resolve(fs::path& target, bool& isThere, struct stat& old) {
    // Before the links are followed by hand: the system refuses those that a stranger laid in everybody's folder.
    isThere = sys::stat(target.c_str(), &old) == 0;
    if (!isThere && errno != ENOENT)
        return systemError();
    if (!isThere && !target.has_filename())
        return ERROR_PATH_NOT_FOUND;
    if (!followLinks(target))
        return systemError();
    if (!isThere)
        return ERROR_SUCCESS;
    if (!S_ISREG(old.st_mode))
        return ERROR_ACCESS_DENIED;
    const FileDescriptor writable(sys::open(target.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK, 0));
    return writable.valid() || errno == ETXTBSY ? ERROR_SUCCESS : systemError();
}

template <class Write>
DWORD replaceWith(fs::path target, Write&& write) {
    bool isThere = false;
    struct stat old {};
    if (const DWORD error = resolve(target, isThere, old))
        return error;
    const FileDescriptor folder = openFolderOf(target);
    if (!folder.valid())
        return errorOfPath(target);
    Partial partial(target);
    if (!partial.create(isThere ? old.st_mode & kNewFileMode : kNewFileMode))
        return errorOfPath(target);
    if ((isThere && !keepOwnerAndMode(partial.file(), old)) || !write(partial.file()) ||
        (isThere && !keepMode(partial.file(), old)) || sys::fsync(partial.file()) != 0 || !partial.renameTo(target))
        return systemError();
    return syncFolder(folder);
}

} // namespace

DWORD errorOfPath(const fs::path& path) {
    if (errno == ENXIO || errno == ENODEV) // a pipe without a reader, a socket, a device that isn't there: no file
        return ERROR_ACCESS_DENIED;
    if (errno != ENOENT)
        return systemError();
    struct stat folder {};
    const fs::path parent = path.has_parent_path() ? path.parent_path() : fs::path(".");
    return sys::stat(parent.c_str(), &folder) == 0 && S_ISDIR(folder.st_mode) ? ERROR_FILE_NOT_FOUND
                                                                              : ERROR_PATH_NOT_FOUND;
}

DWORD replaceFile(const fs::path& target, std::string_view content) {
    return replaceWith(target, [&](int file) { return writeWhole(file, content); });
}

DWORD replaceFileFrom(const fs::path& target, int source) {
    return replaceWith(target, [&](int file) { return copyWhole(source, file); });
}

DWORD replaceFileBy(fs::path target, const fs::path& replacement) {
    constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
    const FileDescriptor source(sys::open(replacement.c_str(), kFlags, 0));
    struct stat made {};
    if (!source.valid() || sys::fstat(source.get(), &made) != 0)
        return errorOfPath(replacement);
    if (!S_ISREG(made.st_mode))
        return ERROR_ACCESS_DENIED;
    bool isThere = false;
    struct stat old {};
    if (const DWORD error = resolve(target, isThere, old))
        return error;
    const FileDescriptor folder = openFolderOf(target);
    if (!isThere || !folder.valid()) {
        errno = isThere ? errno : ENOENT;
        return errorOfPath(target);
    }
    if (made.st_dev == old.st_dev && made.st_ino == old.st_ino)
        return ERROR_SHARING_VIOLATION; // two names of one file: a rename would do nothing and succeed
    const FileDescriptor origin = openFolderOf(replacement);
    if (!origin.valid() || !keepOwnerAndMode(source.get(), old) || sys::fsync(source.get()) != 0)
        return systemError();
    if (sys::rename(replacement.c_str(), target.c_str()) == 0) {
        const DWORD error = syncFolder(folder);
        return error != ERROR_SUCCESS || replacement.parent_path() == target.parent_path() ? error : syncFolder(origin);
    }
    if (errno != EXDEV)
        return systemError();
    if (const DWORD error = replaceFileFrom(target, source.get()))
        return error;
    return sys::unlink(replacement.c_str()) == 0 ? syncFolder(origin) : systemError();
}

} // namespace wd
