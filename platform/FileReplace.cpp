#include "FileReplace.h"

#include "FileDescriptor.h"
#include "LastError.h"

#include <array>
#include <cstdio>
#include <string>
#include <unistd.h>

namespace wd {
namespace {

constexpr mode_t kNewFileMode = 0644;
constexpr int kNameTries = 100;

DWORD systemError() {
    return errorFromErrno(errno);
}

// Gone again unless it was renamed.
class Temporary {
  public:
    explicit Temporary(const std::filesystem::path& target) : m_prefix(target.parent_path() / ".") {
        m_prefix += target.filename();
    }
    ~Temporary() {
        if (!m_path.empty())
            sys::unlink(m_path.c_str());
    }
    Temporary(const Temporary&) = delete;
    Temporary& operator=(const Temporary&) = delete;

    FileDescriptor create() {
        for (int i = 0; i < kNameTries; ++i) {
            std::array<unsigned, 2> number{};
            if (sys::getrandom(number.data(), sizeof number, 0) < 0)
                return {};
            std::array<char, 32> suffix{};
            std::snprintf(suffix.data(), suffix.size(), ".%08x%08x.tmp", number[0], number[1]);
            std::filesystem::path path = m_prefix;
            path += suffix.data();
            const int flags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW;
            FileDescriptor file(sys::open(path.c_str(), flags, kNewFileMode));
            if (file.valid())
                m_path = std::move(path);
            if (file.valid() || errno != EEXIST)
                return file;
        }
        return {};
    }
    bool renameTo(const std::filesystem::path& target) {
        if (sys::rename(m_path.c_str(), target.c_str()) != 0)
            return false;
        m_path.clear();
        return true;
    }

  private:
    std::filesystem::path m_prefix;
    std::filesystem::path m_path;
};

// Owner first: a change of the owner takes special bits from the mode.
bool keepOwnerAndMode(int file, const struct stat& old) {
    struct stat made {};
    if (sys::fstat(file, &made) != 0)
        return false;
    const bool sameOwner = made.st_uid == old.st_uid && made.st_gid == old.st_gid;
    if (!sameOwner && sys::fchown(file, old.st_uid, old.st_gid) != 0)
        return false;
    return sys::fchmod(file, old.st_mode & 07777) == 0;
}

bool syncFolder(const std::filesystem::path& folder) {
    const FileDescriptor directory(sys::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
    return directory.valid() && sys::fsync(directory.get()) == 0;
}

} // namespace

DWORD replaceFile(const std::filesystem::path& target, std::string_view content) {
    struct stat old {};
    const bool isThere = sys::stat(target.c_str(), &old) == 0;
    if (!isThere && errno != ENOENT)
        return systemError();
    Temporary temporary(target);
    const FileDescriptor file = temporary.create();
    if (!file.valid())
        return errno == ENOENT ? ERROR_PATH_NOT_FOUND : systemError();
    if ((isThere && !keepOwnerAndMode(file.get(), old)) || !writeWhole(file.get(), content) ||
        sys::fsync(file.get()) != 0 || !temporary.renameTo(target))
        return systemError();
    const std::filesystem::path folder = target.parent_path();
    return syncFolder(folder.empty() ? "." : folder) ? ERROR_SUCCESS : systemError();
}

} // namespace wd
