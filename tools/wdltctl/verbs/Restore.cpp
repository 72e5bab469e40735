/* restore: a backup in the place of all that is there, or on a machine that has nothing yet. */

#include "ChangeLock.h"
#include "Directory.h"
#include "Display.h"
#include "Files.h"
#include "Findings.h"
#include "HomeLook.h"
#include "Installation.h"
#include "Interrupted.h"
#include "LayDown.h"
#include "Owner.h"
#include "Replacement.h"
#include "ToolError.h"
#include "Verbs.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <platform/text.h>
#include <set>
#include <string>
#include <unistd.h>
#include <vector>

namespace wdlt {
namespace {

struct RestoreArguments {
    std::string file;
    std::optional<std::string> install;
    bool isGranted = false;
};

SavedState stateOf(const RestoreArguments& arguments) {
    SavedState state = SavedState::unpack(readFile(arguments.file));
    if (arguments.install)
        state.moveTo(Directories::below(*arguments.install));
    if (installIn(state.tree).empty())
        throw ToolError(ExitStatus::Usage, "the backup doesn't tell the install directory: --install is needed");
    parseDirectory(utf8FromNarrow(installIn(state.tree)));
    return state;
}

/* Nothing is asked where nothing is in the way; `home` is empty where there is none yet. */
void ask(const std::string& home, const SavedState& state) {
    std::vector<std::string> old;
    if (!home.empty())
        old.push_back("all that is in " + displayFile(home));
    if (const std::size_t files = filesInTheWay(state).size(); files != 0)
        old.push_back(fmt::format("{} files in {}", files, displayNarrow(installIn(state.tree))));
    const std::string what = fmt::format("{}", fmt::join(old, " and "));
    if (old.empty() || isGranted(fmt::format("Replace {} by {}", what, toldOf(state))))
        return;
    if (::isatty(STDIN_FILENO) == 1)
        throw ToolError(ExitStatus::No, "nothing is restored");
    throw ToolError(ExitStatus::Usage, fmt::format("{} would be replaced; --yes does that", what));
}

/* The texts of list files have no other note of it. */
void lookAtCodePage(const SavedState& state, const std::string& home) {
    if (state.codePage != GetACP())
        throw ToolError(ExitStatus::Unknown,
                        fmt::format("the backup has code page {}, this home {}: codepage = {} in {}/"
                                    "settings changes that, as long as nothing else is in it",
                                    state.codePage, GetACP(), state.codePage, home));
}

/* As a backup, unless it can't be read: of a damaged registry the file itself is kept. */
std::set<std::string> keepAsBackup(HomeCopy& kept) {
    try {
        finishInterrupted();
    } catch (const ToolError&) { // it is replaced, too
    }
    std::set<std::string> files;
    if (!holdsValues(std::u16string(kBasePath)))
        return files;
    const SavedState old = SavedState::take();
    kept.keepText("replaced.backup", old.pack());
    for (const auto& [what, file] : filesNamedIn(old.tree))
        if (old.files.contains(what))
            files.insert(file.path);
    return files;
}

/* The target directory may have files that aren't this installation's. */
void keepOld(HomeCopy& kept, bool isReadable, const SavedState& state) {
    const std::set<std::string> saved = isReadable ? keepAsBackup(kept) : std::set<std::string>();
    for (const std::string& file : filesInTheWay(state))
        if (!saved.contains(file))
            kept.copyFile(file);
}

void restore(const RestoreArguments& arguments, const SavedState& state, const Options& options) {
    std::string home;
    const bool isHome = lookAtHome(home, HomeUse::Replace);
    lookAtCodePage(state, home);
    refuseOthers(home, folderIfSet(installIn(state.tree)));
    if (!arguments.isGranted)
        ask(isHome ? home : "", state);
    const ChangeLock lock;
    const bool isDamaged = isHome && !registryFault(home).empty();
    HomeCopy kept(home);
    keepOld(kept, isHome && !isDamaged, state);

    Replacement replacement(home, state);
    beginJournal(home, state.pack());
    try {
        replacement.store(isDamaged, kept);
    } catch (const ToolError& error) {
        endJournal(home);
        throw kept.told(error, error.status());
    } catch (...) {
        endJournal(home);
        throw;
    }
    replacement.place();
    endJournal(home);

    Json document = {{"made", state.made},
                     {"values", valuesIn(state.tree)},
                     {"files", state.files.size()},
                     {"installPath", utf8FromNarrow(installIn(state.tree))}};
    if (!kept.path().empty())
        document["kept"] = kept.path();
    if (options.json)
        return printJson(document);
    fmt::print("restored: {}\n{}a service that runs has to be started again\n", toldOf(state),
               kept.path().empty() ? "" : fmt::format("what was there is kept in {}\n", displayFile(kept.path())));
}

} // namespace

void addRestore(CLI::App& app, const Options& options) {
    auto* verb = app.add_subcommand("restore", "Replace all settings, lists, privacy database and items by a backup's");
    const auto arguments = std::make_shared<RestoreArguments>();
    const auto state = std::make_shared<SavedState>();
    verb->add_option("FILE", arguments->file, "What backup wrote; - for the standard input")->required();
    verb->add_option("--install", arguments->install,
                     "Another install directory, as X:\\... or /...; directories below the old one go with it");
    verb->add_flag("--yes", arguments->isGranted, "Don't ask");
    verb->footer(
        "The whole file is looked at before anything changes. It is all or nothing: a restore that is killed is "
        "completed by the next verb. What is replaced is kept in the home's folder backup: the installation as a "
        "backup "
        "too, other files of the install directory as they are.");
    runs(
        *verb, Needs::Nothing, [arguments, state, &options] { restore(*arguments, *state, options); },
        [arguments, state] { *state = stateOf(*arguments); });
}

} // namespace wdlt
