#include "Replacement.h"

#include "Display.h"
#include "Findings.h"
#include "HomeCopy.h"
#include "Installation.h"
#include "Journal.h"
#include "LayDown.h"
#include "LayerError.h"
#include "Owner.h"
#include "RegTransfer.h"
#include "ToolError.h"
#include "Verbs.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <platform/file_content.h>
#include <platform/home.h>
#include <set>
#include <system_error>
#include <unistd.h>

namespace wdlt {
namespace {

namespace fs = std::filesystem;

/* The files of the installation that is replaced, when they lie in the same directory. */
std::set<std::string> oldPathsIn(const std::string& folder) {
    std::set<std::string> paths;
    const std::u16string base(kBasePath);
    if (!holdsValues(base))
        return paths;
    try {
        for (const auto& [what, file] : filesNamedIn(exportSubtree(base)))
            if (fs::path(file.path).parent_path() == folder)
                paths.insert(file.path);
    } catch (const ToolError&) { // what they name isn't ours to remove
    }
    return paths;
}

/* Behind renames, which must not come later than the journal's end. */
void syncFolder(const std::string& folder) {
    const int opened = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (opened < 0)
        return;
    ::fsync(opened);
    ::close(opened);
}

} // namespace

std::set<std::string> filesInTheWay(const SavedState& state) {
    std::set<std::string> paths;
    for (const auto& [what, file] : filesNamedIn(state.tree)) {
        std::error_code error;
        const auto there = fs::symlink_status(file.path, error).type();
        if (there != fs::file_type::not_found && there != fs::file_type::regular && there != fs::file_type::symlink)
            throw ToolError(ExitStatus::Failed, displayFile(file.path) + ": isn't a file", {.path = file.path});
        if (there != fs::file_type::not_found)
            paths.insert(file.path);
    }
    return paths;
}

Replacement::Replacement(std::string home, const SavedState& state)
    : m_home(std::move(home)), m_state(state), m_install(installIn(state.tree)), m_folder(folderIfSet(m_install)) {}

Replacement::~Replacement() {
    std::error_code ignored;
    for (const auto& [beside, path] : m_beside)
        fs::remove(beside, ignored);
}

void Replacement::lieBeside(std::set<std::string> gone) {
    gone.merge(filesInTheWay(m_state));
    std::set<std::string> placed;
    for (const auto& [what, file] : filesNamedIn(m_state.tree)) {
        const std::string& path = file.path;
        const auto content = m_state.files.find(what);
        if (content == m_state.files.end() || !placed.insert(path).second)
            continue;
        const std::string beside = pathOf(fmt::format("{}.{}{}", m_install, file.name, kRestoredEnding));
        m_beside.emplace_back(beside, path);
        if (WdReplaceContent(beside.c_str(), content->second.data(), static_cast<DWORD>(content->second.size())) ==
            FALSE)
            throw LayerError(path, static_cast<LONG>(GetLastError()));
    }
    std::ranges::set_difference(gone, placed, std::back_inserter(m_gone));
}

void Replacement::store(bool isDamaged, HomeCopy& kept) {
    if (WdMakeFolder(m_folder.c_str()) == FALSE)
        throw LayerError(m_folder, static_cast<LONG>(GetLastError()));
    lieBeside(isDamaged ? std::set<std::string>() : oldPathsIn(m_folder));
    claimInstall(m_home, m_folder);
    RegDocument tree = m_state.tree;
    tree.keys.insert(tree.keys.begin(), RegKey{std::u16string(kBasePath), {}, true});
    if (isDamaged)
        if (const DWORD error = WdSetRegistryAside(kept.folder().c_str()))
            throw LayerError(m_home + "/registry", static_cast<LONG>(error));
    importDocument(tree);
    takeInstall(m_home, m_folder);
}

void Replacement::place() {
    std::error_code error;
    const auto check = [&](const std::string& path) {
        if (error)
            throw ToolError(ExitStatus::Partial,
                            fmt::format("the settings are restored, but {}: {}; the next wdltctl goes on with it",
                                        displayFile(path), error.message()),
                            {.path = path});
    };
    for (const auto& [beside, path] : m_beside) {
        fs::rename(beside, path, error);
        check(path);
    }
    for (const std::string& path : m_gone) {
        fs::remove(path, error);
        check(path);
    }
    syncFolder(m_folder);
    try {
        if (const auto directories = Directories::stored())
            directories->make();
    } catch (const ToolError&) { // check finds the folder
    }
    makeLocksOfLists();
    Journal::remove(); // what a load was to bring back is replaced, too
}

std::string finishRestore(const std::string& home, const std::string& journal) {
    const SavedState state = SavedState::unpack(journal);
    HomeCopy kept(home);
    Replacement replacement(home, state);
    replacement.store(!registryFault(home).empty(), kept);
    replacement.place();
    return fmt::format("all of it is restored now: {}", toldOf(state));
}

std::string toldOf(const SavedState& state) {
    return fmt::format("{} values and {} files of {}, in {}", valuesIn(state.tree), state.files.size(), state.made,
                       displayNarrow(installIn(state.tree)));
}

} // namespace wdlt
