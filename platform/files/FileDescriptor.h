// A file descriptor with one owner, and helpers for small files. Not for files that anybody locks with POSIX record
// locks: closing any descriptor of such a file drops all of the process's locks on it.
#pragma once

#include "SystemCalls.h"

#include <algorithm>
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
    // Leaves errno alone: it runs on error paths. The descriptor is gone whatever close returns.
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

// Allocates disk space from the file's start, so that a full disk is an error here and not a signal later; false with
// errno.
inline bool reserve(int file, off_t length) {
    while (sys::fallocate(file, 0, length) != 0)
        if (errno != EINTR)
            return false;
    return true;
}

// Whether a file of this length has its disk space already.
inline bool isReserved(const struct stat& status, off_t length) {
    constexpr off_t kBlockBytes = 512; // the unit of st_blocks
    return status.st_size == length && status.st_blocks * kBlockBytes >= length;
}

inline bool isSameFile(const struct stat& one, const struct stat& other) {
    return one.st_ino == other.st_ino && one.st_dev == other.st_dev;
}

// Whether a file in a folder that strangers may write to is safe to write to: a regular file without a second name,
// since a hard link may lead to anybody's file. A file that everybody may write to needs no such check, nor does one
// that begins with `magic`, which is ours: a stranger may give those a second name without shutting anybody out.
bool isSafeToWrite(int file, const struct stat& status, std::uint32_t magic);

// A new file that appears with its mode, whatever the process's umask is, so that nobody is shut out in between or by a
// creator that dies. Invalid with errno; EEXIST when the name is taken. Where the file system can't make a file without
// a name, the mode follows a step later.
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
    constexpr std::size_t kFirstBytes = 1024; // most files are small, and memory that is touched costs time
    std::string text(std::min(limit + 1, kFirstBytes), '\0');
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
        if (size == text.size())
            text.resize(std::min(limit + 1, 2 * size));
    }
    errno = EFBIG;
    return std::nullopt;
}

} // namespace wd
