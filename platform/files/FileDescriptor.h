// A file descriptor with one owner, and the two things done with small text files. Only for files that nobody locks
// with POSIX record locks: closing any descriptor of such a file drops them all.
#pragma once

#include "SystemCalls.h"

#include <cerrno>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace wd {

class FileDescriptor {
  public:
    FileDescriptor() = default;
    explicit FileDescriptor(int file) : m_file(file) {}
    FileDescriptor(FileDescriptor&& other) noexcept : m_file(std::exchange(other.m_file, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(m_file, other.m_file);
        return *this;
    }
    ~FileDescriptor() { reset(); }

    int get() const { return m_file; }
    bool valid() const { return m_file >= 0; }
    int release() { return std::exchange(m_file, -1); }
    // Leaves errno alone: it runs on the way out of failures. The descriptor is gone whatever close says.
    void reset() {
        if (m_file < 0)
            return;
        const int error = errno;
        sys::close(std::exchange(m_file, -1));
        errno = error;
    }

  private:
    int m_file = -1;
};

// Takes the space from the file's start on, so that a full disk shows here and not as a signal; false with errno.
inline bool reserve(int file, off_t length) {
    while (sys::fallocate(file, 0, length) != 0)
        if (errno != EINTR)
            return false;
    return true;
}

inline bool isSameFile(const struct stat& one, const struct stat& other) {
    return one.st_ino == other.st_ino && one.st_dev == other.st_dev;
}

// Whether a file of a folder that strangers may write to is one to write to: a plain file that has no other name, since
// that may be anybody's. One that everybody may write to needs no such care, and one that begins with `magic` is ours:
// those a stranger may give a second name without shutting anybody out.
bool isSafeToWrite(int file, const struct stat& status, std::uint32_t magic);

// A new file that appears with its mode, whatever the process's mask is, so that nobody is shut out in between or by a
// creator that dies. Not valid with errno, EEXIST for a name that is taken. Where the file system can't make a file
// without a name, the mode follows a step later.
FileDescriptor createWithMode(int directory, const char* name, mode_t mode);

// Writes all of it; false with errno.
inline bool writeWhole(int file, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = sys::write(file, text.data(), text.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return false;
        if (written == 0) {
            errno = ENOSPC;
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

// The file's content from its start, at most `limit` bytes; nothing with errno. A longer file is EFBIG.
inline std::optional<std::string> readWhole(int file, std::size_t limit) {
    std::string text(limit + 1, '\0');
    std::size_t size = 0;
    while (size < text.size()) {
        const ssize_t got = sys::pread(file, text.data() + size, text.size() - size, static_cast<off_t>(size));
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return std::nullopt;
        if (got == 0) {
            text.resize(size);
            return text;
        }
        size += static_cast<std::size_t>(got);
    }
    errno = EFBIG;
    return std::nullopt;
}

} // namespace wd
