#include "Owner.h"

#include "Display.h"
#include "Installation.h"
#include "LayDown.h"
#include "LayerError.h"
#include "RegistryKey.h"
#include "ToolError.h"
#include "Utf.h"
#include "Verbs.h"

#include <cerrno>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <platform/file_content.h>
#include <sys/stat.h>
#include <system_error>

namespace wdlt {
namespace {

namespace fs = std::filesystem;

/* A home and its install directory, a path a line. */
struct Pair {
    std::string home;
    std::string install;

    bool isRead() const { return !home.empty() && !install.empty(); }
};

Pair readPair(const fs::path& file) {
    Pair pair;
    std::ifstream lines(file, std::ios::binary);
    if (!std::getline(lines, pair.home) || !std::getline(lines, pair.install))
        return {};
    return pair;
}

/* Returns an error of the layer. */
DWORD writePair(const fs::path& file, const Pair& pair) {
    const Pair there = readPair(file);
    if (there.home == pair.home && there.install == pair.install)
        return ERROR_SUCCESS;
    const std::string text = pair.home + '\n' + pair.install + '\n';
    const BOOL isWritten = WdReplaceContent(file.c_str(), text.data(), static_cast<DWORD>(text.size()));
    return isWritten != FALSE ? ERROR_SUCCESS : GetLastError();
}

bool isOnDisk(const std::string& path) {
    struct stat found {};
    return ::stat(path.c_str(), &found) == 0 || (errno != ENOENT && errno != ENOTDIR);
}

/* However their paths are written. */
bool isOnePlace(const std::string& one, const std::string& other) {
    std::error_code error;
    return one == other || fs::equivalent(one, other, error);
}

/* The home that a directory is said to belong to, whether or not that is so still. */
std::string saidOwner(const std::string& install) {
    const Pair said = readPair(fs::path(install) / kOwnerFile);
    // Where its own path leads to another one, it is a copy of that.
    return said.isRead() && (isOnePlace(said.install, install) || !isOnDisk(said.install)) ? said.home : "";
}

std::string resolved(const std::string& path) {
    std::error_code error;
    const fs::path found = fs::canonical(path, error);
    return error ? path : found.string();
}

} // namespace

std::string otherOwner(const std::string& home, const std::string& install) {
    const std::string said = install.empty() ? "" : saidOwner(install);
    if (said.empty() || isOnePlace(said, home) || !isOnDisk(said))
        return "";
    const fs::path file = fs::path(said) / kInstalledFile;
    const Pair its = readPair(file);
    // One that can't be read may be any.
    const bool isIts = its.isRead() ? isOnePlace(its.install, install) : isOnDisk(file);
    return isIts ? said : "";
}

std::string ownerWarning(const std::string& home, const std::string& install) {
    const std::string other = otherOwner(home, install);
    if (other.empty())
        return "";
    return fmt::format("belongs to the home {}, and this one is {}: wdltctl backup FILE, then wdltctl restore FILE "
                       "--install DIR give this one a directory of its own",
                       displayFile(other), displayFile(home));
}

void refuseOthers(const std::string& home, const std::string& install) {
    if (const std::string warning = ownerWarning(home, install); !warning.empty())
        throw ToolError(ExitStatus::Unknown, fmt::format("{} {}", displayFile(install), warning), {.path = install});
}

void claimInstall(const std::string& home, const std::string& install) {
    const Pair pair{resolved(home), resolved(install)};
    const auto mark = [&](const fs::path& file) {
        if (const DWORD error = writePair(file, pair))
            throw LayerError(file, static_cast<LONG>(error));
    };
    mark(fs::path(install) / kOwnerFile);
    if (const fs::path own = fs::path(home) / kInstalledFile; !readPair(own).isRead())
        mark(own);
}

std::string takeInstall(const std::string& home, const std::string& install) {
    std::error_code error;
    if (install.empty() || !fs::is_directory(install, error) || !otherOwner(home, install).empty())
        return "";
    const std::string before = saidOwner(install);
    const Pair pair{resolved(home), resolved(install)};
    // The home's own last: it is what makes the directory before somebody else's.
    if (writePair(fs::path(install) / kOwnerFile, pair) == ERROR_SUCCESS)
        writePair(fs::path(home) / kInstalledFile, pair);
    return before.empty() || isOnDisk(before) ? "" : before;
}

std::string storedInstall() {
    const auto base = RegistryKey::openIfThere(std::u16string(kBasePath));
    const auto value = base ? base->value(kInstallValue) : std::nullopt;
    std::string narrow;
    narrowFromUtf8(utf8FromUtf16(value ? textOf(value->data) : std::u16string()), narrow);
    return folderIfSet(narrow);
}

} // namespace wdlt
