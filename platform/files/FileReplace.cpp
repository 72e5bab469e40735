#include "FileReplace.h"

#include "HeldFile.h"
#include "Home.h"
#include "LastError.h"
#include "LockedFile.h"

#include <array>
#include <climits>
#include <unistd.h>

namespace wd {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kCopyBytes = std::size_t{16} * 1024;
constexpr int kLinks = 40; // as many as the system follows

// The file that becomes the target. It gets its name beside the target when it is complete. If the name is taken by a
// file that nobody holds, that file may be anybody's: it is removed, and never written to.
class Partial {
  public:
    // Targets whose long names are truncated to the same one take turns.
    Partial(const FileDescriptor& folder, const fs::path& target) : m_folder(folder.get()), m_name(1, '.') {
        m_name.append(target.filename().native(), 0, NAME_MAX - 1 - kSuffix.size()).append(kSuffix);
    }
    ~Partial() {
        if (m_file.isNamed() && !m_isPlaced)
            sys::unlinkat(m_folder, m_name.c_str(), 0);
    }
    Partial(const Partial&) = delete;
    Partial& operator=(const Partial&) = delete;

    int file() const { return m_file.get(); }

    bool make() {
        for (const Deadline deadline(kLockPatience); !m_file.make(m_folder, m_name.c_str());)
            if (!makeWay(deadline))
                return false;
        return true;
    }
    bool renameTo(const fs::path& target) {
        for (const Deadline deadline(kLockPatience); !m_file.publish(m_folder, m_name.c_str());)
            if (!makeWay(deadline))
                return false;
        m_isPlaced = sys::rename((target.parent_path() / m_name).c_str(), target.c_str()) == 0;
        return m_isPlaced;
    }

  private:
    static constexpr std::string_view kSuffix = ".new";

    // Clears the way for another try for the name. False with errno when waiting won't help, or has lasted too long.
    bool makeWay(const Deadline& deadline) const {
        if (errno == EEXIST && (HeldFile::removeLeftBehind(m_folder, m_name.c_str()) || errno == ENOENT))
            return true;
        if (errno != EAGAIN)
            return false;
        if (deadline.pause())
            return true;
        errno = EBUSY;
        return false;
    }

    int m_folder;
    std::string m_name;
    HeldFile m_file;
    bool m_isPlaced = false;
};

// Owner first: a change of the owner clears special bits of the mode. Who may write a file but not give it away sets
// the group alone.
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

// For a file that takes another one's place. When a member of the home's group may not keep the old file's group, the
// home's group gets the rights that others had.
bool takeRights(int file, const struct stat& old) {
    return keepOwnerAndMode(file, old) || (errno == EPERM && home().hasGroup() && home().admit(file, &old));
}

// Writing to a file clears its set-user-ID and set-group-ID bits: this sets them again.
bool keepMode(int file, const struct stat& old) {
    return (old.st_mode & (S_ISUID | S_ISGID)) == 0 || sys::fchmod(file, old.st_mode & 07777) == 0;
}

// Opened before anything changes: if that fails, a replacement couldn't be made durable.
FileDescriptor openFolderOf(const fs::path& file) {
    const fs::path folder = file.has_parent_path() ? file.parent_path() : fs::path(".");
    return FileDescriptor(sys::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
}

// After a rename. A failure isn't reported: the new file is in place, and the caller would believe in the old one. What
// isn't synced can be lost to a power cut only.
void syncFolder(const FileDescriptor& folder) {
    sys::fsync(folder.get());
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

// Resolves a path that is a symbolic link to the file it means, which need not exist. False with errno.
bool followLinks(fs::path& path) {
    std::array<char, PATH_MAX> text;
    for (int i = 0; i < kLinks; ++i) {
        const ssize_t length = sys::readlink(path.c_str(), text.data(), text.size());
        if (length < 0)
            return errno == EINVAL || errno == ENOENT; // not a link, or nothing there
        if (!mayFollow(path))
            return false;
        path = path.parent_path() / std::string_view(text.data(), static_cast<std::size_t>(length));
    }
    errno = ELOOP;
    return false;
}

// A file that may not be written may not be replaced either; but among the members of a home's group the folder
// decides, so that a file that one of them left with rights of its own stops no other. A file marked read-only stays.
bool mayReplace(const fs::path& target, const struct stat& old) {
    const FileDescriptor writable(sys::open(target.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK, 0));
    return writable.valid() || errno == ETXTBSY ||
           (errno == EACCES && (old.st_mode & S_IWUSR) != 0 && home().hasGroup());
}

// Finds the file that is to be replaced.
DWORD resolve(fs::path& target, bool& isThere, struct stat& old) {
    // Before followLinks: the system refuses links that a stranger placed in a folder that everybody may write to.
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
    return mayReplace(target, old) ? ERROR_SUCCESS : systemError();
}

// A new file gets the rights of the home's files, and no more than `source` has.
template <class Write>
DWORD replaceWith(fs::path target, const struct stat* source, Write&& write) {
    bool isThere = false;
    struct stat old {};
    if (const DWORD error = resolve(target, isThere, old))
        return error;
    const FileDescriptor folder = openFolderOf(target);
    if (!folder.valid())
        return errorOfPath(target);
    Partial partial(folder, target);
    if (!partial.make())
        return errorOfPath(target);
    if (!(isThere ? takeRights(partial.file(), old) : home().admit(partial.file(), source)) || !write(partial.file()) ||
        (isThere && !keepMode(partial.file(), old)) || sys::fsync(partial.file()) != 0 || !partial.renameTo(target))
        return systemError();
    syncFolder(folder);
    return ERROR_SUCCESS;
}

} // namespace

bool mayFollow(const fs::path& path) {
    struct stat link {};
    struct stat folder {};
    if (sys::lstat(path.c_str(), &link) != 0 || !S_ISLNK(link.st_mode) || link.st_uid == 0 ||
        link.st_uid == ::geteuid())
        return true;
    const fs::path parent = path.has_parent_path() ? path.parent_path() : fs::path(".");
    const bool isOthers = sys::stat(parent.c_str(), &folder) != 0 || (folder.st_mode & (S_IWGRP | S_IWOTH)) != 0;
    errno = EACCES;
    return !isOthers;
}

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
    return replaceWith(target, nullptr, [&](int file) { return writeWhole(file, content); });
}

DWORD replaceFileFrom(const fs::path& target, int source) {
    struct stat status {};
    if (sys::fstat(source, &status) != 0)
        return systemError();
    const struct timespec times[] = {{0, UTIME_OMIT}, status.st_mtim};
    return replaceWith(target, &status, [&](int file) {
        if (!copyWhole(source, file))
            return false;
        sys::futimens(file, times); // not worth failing for
        return true;
    });
}

DWORD replaceFileBy(fs::path target, const fs::path& replacement) {
    constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
    LockedFile source = LockedFile::from([&] { return FileDescriptor(sys::open(replacement.c_str(), kFlags, 0)); });
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
    if (isSameFile(made, old))
        return ERROR_SHARING_VIOLATION; // two names of one file: a rename would do nothing and succeed
    // Nobody may have it open. Only asked: whoever opens the target next must not find this lock. Some network file
    // systems can't tell, of a file that is open for reading.
    if (source.tryLock(LOCK_EX))
        source.unlock();
    else if (errno == EWOULDBLOCK)
        return systemError();
    const FileDescriptor origin = openFolderOf(replacement);
    if (!origin.valid() || !takeRights(source.get(), old) || sys::fsync(source.get()) != 0)
        return systemError();
    if (sys::rename(replacement.c_str(), target.c_str()) == 0) {
        syncFolder(folder);
        if (replacement.parent_path() != target.parent_path())
            syncFolder(origin);
        return ERROR_SUCCESS;
    }
    if (errno != EXDEV)
        return systemError();
    if (const DWORD error = replaceFileFrom(target, source.get()))
        return error;
    if (sys::unlink(replacement.c_str()) == 0)
        syncFolder(origin);
    return ERROR_SUCCESS;
}

} // namespace wd
