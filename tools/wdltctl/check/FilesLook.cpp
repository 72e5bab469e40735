/* Files and folders of the home and of the installation: what killed writers left, what no setting names, what others
   than the home's accounts may read. */

#include "Findings.h"
#include "Owner.h"
#include "Replacement.h"

#include "ToolError.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <platform/file_content.h>
#include <set>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace wdlt {
namespace {

namespace fs = std::filesystem;

/* In name order, for the same findings at each call; nothing where there is no such folder. */
std::vector<fs::path> entriesOf(const std::string& folder) {
    std::vector<fs::path> entries;
    std::error_code error;
    for (auto entry = fs::directory_iterator(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error))
        entries.push_back(entry->path());
    std::ranges::sort(entries);
    return entries;
}

bool isTemporaryName(std::string_view name) {
    constexpr std::string_view kPrefixes[] = {"url", "enc", "adr", "pdp"};
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    const bool isLong = name.size() == 15 && name.ends_with(".tmp");
    return isLong && std::ranges::find(kPrefixes, name.substr(0, 3)) != std::end(kPrefixes) &&
           name.substr(3, 8).find_first_not_of(kDigits) == std::string_view::npos;
}

/* What the layer, or restore, writes beside a file that it replaces. */
bool isHalfReplacement(std::string_view name, const std::set<std::string>& names) {
    constexpr std::string_view kEndings[] = {".new", kRestoredEnding};
    return name.starts_with('.') && std::ranges::any_of(kEndings, [&](std::string_view ending) {
               return name.ends_with(ending) &&
                      names.contains(std::string(name.substr(1, name.size() - ending.size() - 1)));
           });
}

/* What the tools write beside a file of the home, under the change lock. The files themselves say what is to be done
   yet. */
bool isHalfWritten(std::string_view name) {
    constexpr std::string_view kBeginnings[] = {"load.json.", "load.note.", "restore.journal."};
    return std::ranges::any_of(kBeginnings, [&](std::string_view each) { return name.starts_with(each); });
}

/* The files that are replaced: those of a fresh installation, and what settings call them if those can be read. */
std::set<std::string> replacedNames(const Installation& installation) {
    std::set<std::string> names = {"settings",        kInstalledFile, kOwnerFile,
                                   "restore.journal", "settings.reg", "replaced.backup"};
    for (const DataFile& file : allDataFiles()) {
        names.insert(std::string(file.freshName()));
        if (!installation.prefix.empty())
            names.insert(file.name());
    }
    return names;
}

/* The file that a path leads to, links resolved, is in the home. What a setting names may be anywhere, and who may
   write settings may make it mean a stranger's file. */
bool isInHome(const fs::path& path, const std::string& home) {
    std::error_code error;
    const fs::path folder = fs::canonical(path.parent_path(), error);
    const fs::path top = fs::canonical(home, error);
    return !error && !fs::is_symlink(fs::symlink_status(path, error)) &&
           (folder == top || folder.string().starts_with(top.string() + "/"));
}

/* A writer that is at work holds its file by a lock, which its death releases. So no age is needed to tell what is
   left: one that is slow, or was stopped for an hour, loses nothing. */
void lookForLeftovers(Findings& findings, const std::string& home, const std::string& folder,
                      const Installation& installation) {
    const std::set<std::string> names = replacedNames(installation);
    for (const fs::path& file : entriesOf(folder)) {
        const std::string name = file.filename();
        if (!isTemporaryName(name) && !isHalfReplacement(name, names) && (folder != home || !isHalfWritten(name)))
            continue;
        if (WdIsLeftBehind(file.c_str()) == FALSE)
            continue;
        findings.push_back({file, "left by a killed writer", false,
                            [file] {
                                if (WdRemoveLeftBehind(file.c_str()) == FALSE)
                                    throw ToolError(ExitStatus::Failed, "it is in use again");
                                return std::string("removed");
                            },
                            isInHome(file, home) ? nullptr : "Remove it"});
    }
}

/* What makes the home is renamed when it is complete: where its second name is there, nobody is at it. */
void lookForHalfHomes(Findings& findings, const fs::path& home) {
    constexpr std::pair<const char*, const char*> kNames[] = {
        {"settings.new", "settings"},
        {"registry.new", "registry"},
        {"objects.new", "objects"},
        {"registry/data.new", "registry/data.mdb"},
    };
    std::error_code error;
    for (const auto& [half, whole] : kNames)
        if (const fs::path path = home / half;
            fs::exists(fs::symlink_status(path, error)) && fs::exists(home / whole, error))
            findings.push_back({path, "left by a killed writer", false, [path] {
                                    fs::remove(path);
                                    return std::string("removed");
                                }});
}

/* Through a descriptor: what the path means may change meanwhile. */
std::string narrowMode(const std::string& path, mode_t wide, const std::string& home) {
    const int file = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    const auto fail = [file](const std::string& why) {
        if (file >= 0)
            ::close(file);
        throw ToolError(ExitStatus::Failed, why);
    };
    if (file < 0)
        fail(std::generic_category().message(errno));
    struct stat status {};
    std::error_code error;
    const fs::path opened = fs::read_symlink(fmt::format("/proc/self/fd/{}", file), error);
    if (error || ::fstat(file, &status) != 0 || (S_ISREG(status.st_mode) && status.st_nlink > 1))
        fail("it can't be told whose file it is");
    if (!home.empty() && !isInHome(opened, home))
        fail("it isn't in the home any more");
    const mode_t narrow = status.st_mode & 07777 & ~wide;
    if (::fchmod(file, narrow) != 0)
        fail(std::generic_category().message(errno));
    ::close(file);
    return fmt::format("now {:04o}", narrow);
}

/* Of what is outside the home, the administrator is asked. */
void lookAtMode(Findings& findings, const std::string& home, const std::string& path, mode_t limit) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0 || S_ISLNK(status.st_mode))
        return;
    const mode_t wide = status.st_mode & 0777 & ~limit;
    if (wide == 0)
        return;
    const bool isAsked = !isInHome(path, home);
    findings.push_back(
        {path, fmt::format("mode {:04o} is wider than the home's {:04o}", status.st_mode & 07777, limit), true,
         [path, wide, inHome = isAsked ? std::string() : home] { return narrowMode(path, wide, inHome); },
         isAsked ? "Take these rights away" : nullptr});
}

void lookAtModes(Findings& findings, const std::string& home, const Installation& installation) {
    struct stat status {};
    if (::stat(home.c_str(), &status) != 0)
        return;
    // As the layer makes them: in a home with a group they are the group's too.
    const bool hasGroup = (status.st_mode & S_ISGID) != 0;
    const mode_t folderMode = hasGroup ? 0770 : 0700;
    const mode_t fileMode = hasGroup ? 0660 : 0600;
    lookAtMode(findings, home, home + "/settings", fileMode | 0644); // what all of the home need, and no secret
    for (const std::string& folder :
         {home + "/registry", home + "/backup", installation.install, installation.temp, installation.log})
        if (!folder.empty())
            lookAtMode(findings, home, folder, folderMode);
    for (const char* file : {"data.mdb", "lock.mdb", "namespace"})
        lookAtMode(findings, home, fmt::format("{}/registry/{}", home, file), fileMode);
    if (!installation.install.empty())
        for (const DataFile& file : allDataFiles())
            lookAtMode(findings, home, installation.pathOf(file), fileMode);
}

/* The names of fresh lists, and the ending that all but two of those have: what else is in that folder is the service's
   own. */
void lookForUnnamed(Findings& findings, const Installation& installation, HomeCopy& kept) {
    const auto names = allNames();
    for (const fs::path& file : entriesOf(installation.install)) {
        const std::string name = file.filename();
        const bool isList =
            file.extension() == ".dat" ||
            std::ranges::any_of(allDataFiles(), [&](const DataFile& each) { return each.freshName() == name; });
        if (!isList || names.contains(name) || !fs::is_regular_file(fs::symlink_status(file)))
            continue;
        findings.push_back({file, "no setting names this list file", false,
                            [file, &kept] { return "moved to " + kept.moveFile(file); },
                            "Move it to a backup folder of the home"});
    }
}

void lookForFolders(Findings& findings, const Installation& installation) {
    std::error_code error;
    if (!fs::is_directory(installation.install, error)) {
        findings.push_back({installation.install, kInstallIsGone});
        return;
    }
    for (const std::string& folder : {installation.temp, installation.log})
        if (!folder.empty() && !fs::is_directory(folder, error))
            findings.push_back({folder, "the folder isn't there", true, [folder] {
                                    if (WdMakeFolder(folder.c_str()) == FALSE)
                                        throw ToolError(ExitStatus::Failed, "it can't be made");
                                    return std::string("made");
                                }});
}

} // namespace

void lookAtFiles(Findings& findings, const std::string& home, const Installation& installation, HomeCopy& kept) {
    lookForHalfHomes(findings, home);
    lookForLeftovers(findings, home, home, installation);
    for (const fs::path& copy : entriesOf(home + "/backup"))
        lookForLeftovers(findings, home, copy, installation);
    lookAtModes(findings, home, installation);
    if (!installation.temp.empty())
        lookForLeftovers(findings, home, installation.temp, installation);
    if (installation.install.empty())
        return;
    lookForFolders(findings, installation);
    lookForLeftovers(findings, home, installation.install, installation);
    lookForUnnamed(findings, installation, kept);
}

} // namespace wdlt
