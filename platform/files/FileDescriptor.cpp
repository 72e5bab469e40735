#include "FileDescriptor.h"

#include <string>

namespace wd {

namespace {

constexpr int kFlags = O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;

bool putUnder(int directory, const char* name, int file) {
    const std::string own = "/proc/self/fd/" + std::to_string(file);
    return sys::linkat(AT_FDCWD, own.c_str(), directory, name, AT_SYMLINK_FOLLOW) == 0;
}

} // namespace

bool isSafeToWrite(int file, const struct stat& status, std::uint32_t magic) {
    std::uint32_t found = 0;
    return S_ISREG(status.st_mode) &&
           (status.st_nlink <= 1 || (status.st_mode & S_IWOTH) != 0 ||
            (sys::pread(file, &found, sizeof found, 0) == static_cast<ssize_t>(sizeof found) && found == magic));
}

FileDescriptor createWithMode(int directory, const char* name, mode_t mode) {
    FileDescriptor nameless(sys::openat(directory, ".", O_TMPFILE | O_RDWR | O_CLOEXEC | O_NONBLOCK, mode));
    if (nameless.valid() && sys::fchmod(nameless.get(), mode) == 0) {
        if (putUnder(directory, name, nameless.get()))
            return nameless;
        if (errno == EEXIST)
            return {};
    }
    FileDescriptor file(sys::openat(directory, name, kFlags | O_CREAT | O_EXCL, mode));
    if (file.valid() && sys::fchmod(file.get(), mode) != 0)
        file.reset();
    return file;
}

} // namespace wd
