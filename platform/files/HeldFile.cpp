#include "HeldFile.h"

#include "FileLock.h"

#include <cstdio>
#include <sys/file.h>

namespace wd {
namespace {

constexpr mode_t kOwnMode = 0600;
constexpr off_t kLockByte = 0;

// The path by which an open file without a name is linked.
struct OwnName {
    explicit OwnName(int file) { std::snprintf(text, sizeof text, "/proc/self/fd/%d", file); }
    char text[32];
};

bool canBeNamed(int file) {
    struct stat status {};
    return sys::stat(OwnName(file).text, &status) == 0;
}

bool leadsTo(int folder, const char* name, int file) {
    struct stat opened {};
    struct stat named {};
    if (sys::fstat(file, &opened) != 0 || sys::fstatat(folder, name, &named, AT_SYMLINK_NOFOLLOW) != 0)
        return false;
    errno = ENOENT;
    return isSameFile(opened, named);
}

} // namespace

bool HeldFile::make(int folder, const char* name) {
    m_file = LockDescriptor::from([&] {
        FileDescriptor made(sys::openat(folder, ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, kOwnMode));
        m_isNamed = !made.valid() || !canBeNamed(made.get());
        if (m_isNamed) {
            constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW;
            made = FileDescriptor(sys::openat(folder, name, kFlags, kOwnMode));
        }
        return made;
    });
    if (m_file.valid() && hold(folder, name))
        return true;
    m_isNamed = false;
    m_file.reset();
    return false;
}

// A file that was created with its name may have been taken for left behind before it was locked: then it is removed.
bool HeldFile::hold(int folder, const char* name) {
    struct stat status {};
    if (lockByte(m_file.get(), kLockByte, F_WRLCK) && sys::fstat(m_file.get(), &status) == 0) {
        errno = EAGAIN;
        return !m_isNamed || status.st_nlink != 0;
    }
    const int error = errno;
    if (m_isNamed && error != EAGAIN)
        sys::unlinkat(folder, name, 0);
    errno = error;
    return false;
}

bool HeldFile::publish(int folder, const char* name) {
    m_isNamed = m_isNamed || sys::linkat(AT_FDCWD, OwnName(m_file.get()).text, folder, name, AT_SYMLINK_FOLLOW) == 0;
    return m_isNamed;
}

void HeldFile::release() {
    if (m_file.valid())
        lockByte(m_file.get(), kLockByte, F_UNLCK);
    m_file.reset();
}

namespace {

LockDescriptor openLeft(int folder, const char* name) {
    constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
    return LockDescriptor::from([&] { return FileDescriptor(sys::openat(folder, name, kFlags, 0)); });
}

} // namespace

bool HeldFile::isLeftBehind(int folder, const char* name) {
    const LockDescriptor left = openLeft(folder, name);
    bool isHeld = false;
    return left.valid() && askForLock(left.get(), kLockByte, 1, isHeld) && !isHeld;
}

bool HeldFile::removeLeftBehind(int folder, const char* name) {
    const LockDescriptor left = openLeft(folder, name);
    // One remover at a time, so that the name stays this file's until it is unlinked. flock comes last: taken of a file
    // that is held, or that has been let go of because it has taken another's place, it would keep others from opening
    // it.
    return left.valid() && lockByte(left.get(), kLockByte, F_RDLCK) && leadsTo(folder, name, left.get()) &&
           sys::flock(left.get(), LOCK_EX | LOCK_NB) == 0 && leadsTo(folder, name, left.get()) &&
           sys::unlinkat(folder, name, 0) == 0;
}

} // namespace wd
