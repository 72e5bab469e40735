#include "Files.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace wdlt {
namespace {

void writeTo(OwnedFile opened, const std::string& file, std::string_view content) {
    const bool isWhole = std::fwrite(content.data(), 1, content.size(), opened.get()) == content.size() &&
                         std::fflush(opened.get()) == 0 &&
                         (::fsync(::fileno(opened.get())) == 0 || errno == EINVAL || errno == EROFS); // of a device
    if (!isWhole || std::fclose(opened.release()) != 0)
        throw fileError(file, errno);
}

/* So that a file's new name, or its end, outlives a loss of power. */
void syncDirectoryOf(const std::string& file) {
    const auto directory = std::filesystem::path(file).parent_path();
    const int descriptor = ::open(directory.empty() ? "." : directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return; // one that may be written, but not read
    const bool isSynced = ::fsync(descriptor) == 0 || errno == EINVAL;
    ::close(descriptor);
    if (!isSynced)
        throw fileError(file, errno);
}

/* Through a file beside it, which is this account's alone. A link is followed. */
void replaceFile(const std::string& file, std::string_view content) {
    std::error_code failure;
    const auto resolved = std::filesystem::canonical(file, failure);
    const std::string target = failure ? file : resolved.string();
    std::string beside = target + ".XXXXXX";
    const int descriptor = ::mkostemp(beside.data(), O_CLOEXEC);
    if (descriptor < 0)
        throw fileError(file, errno);
    try {
        writeTo(OwnedFile(::fdopen(descriptor, "wb")), file, content);
        if (std::rename(beside.c_str(), target.c_str()) != 0)
            throw fileError(file, errno);
    } catch (const ToolError&) {
        ::unlink(beside.c_str());
        throw;
    }
    syncDirectoryOf(target);
}

} // namespace

void writeFile(const std::string& file, std::string_view content) {
    if (file == kStandardStream) {
        if (std::fwrite(content.data(), 1, content.size(), stdout) != content.size())
            throw fileError("standard output", errno);
        return;
    }
    // /dev/stdout and its like may lead to a file that a shell has opened: it isn't replaced, and keeps what it has.
    const bool isOpened = file.starts_with("/dev/") || file.starts_with("/proc/");
    std::error_code failure;
    const auto status = std::filesystem::status(file, failure);
    if (isOpened || (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)))
        writeTo(openFile(file, isOpened ? "ab" : "wb"), file, content);
    else
        replaceFile(file, content);
}

std::string fileMark(const std::string& file) {
    struct stat status {};
    if (::stat(file.c_str(), &status) != 0)
        return "-";
    return fmt::format("{}:{}:{}:{}.{}:{}.{}", status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec,
                       status.st_mtim.tv_nsec, status.st_ctim.tv_sec, status.st_ctim.tv_nsec);
}

void removeFile(const std::string& file) {
    if (std::remove(file.c_str()) != 0 && errno != ENOENT)
        throw fileError(file, errno);
    syncDirectoryOf(file);
}

} // namespace wdlt
