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
#include <unistd.h>

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

void ask(const std::string& home, const SavedState& state) {
    if (isGranted(fmt::format("Replace all that is in {} by {}", displayNarrow(home), toldOf(state))))
        return;
    if (::isatty(STDIN_FILENO) == 1)
        throw ToolError(ExitStatus::No, "nothing is restored");
    throw ToolError(ExitStatus::Usage,
                    fmt::format("{} is in use; --yes replaces all that is there", displayNarrow(home)));
}

/* The texts of list files have no other note of it. */
void lookAtCodePage(const SavedState& state, const std::string& home) {
    if (state.codePage != GetACP())
        throw ToolError(ExitStatus::Unknown,
                        fmt::format("the backup has code page {}, this home {}: codepage = {} in {}/"
                                    "settings changes that, as long as nothing else is in it",
                                    state.codePage, GetACP(), state.codePage, home));
}

/* Of what can be read: of a damaged registry the file itself is kept. */
void keepOld(HomeCopy& kept) {
    try {
        finishInterrupted();
    } catch (const ToolError&) { // it is replaced, too
    }
    if (holdsValues(std::u16string(kBasePath)))
        kept.keepText("replaced.backup", SavedState::take().pack());
}

void restore(const RestoreArguments& arguments, const SavedState& state, const Options& options) {
    std::string home;
    const bool isHome = lookAtHome(home, HomeUse::Replace);
    lookAtCodePage(state, home);
    refuseOthers(home, folderIfSet(installIn(state.tree)));
    if (isHome && !arguments.isGranted)
        ask(home, state);
    const ChangeLock lock;
    const bool isDamaged = isHome && !registryFault(home).empty();
    HomeCopy kept(home);
    if (isHome && !isDamaged)
        keepOld(kept);

    Replacement replacement(home, state);
    beginJournal(home, state.pack());
    try {
        replacement.store(isDamaged, kept);
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
               kept.path().empty() ? "" : fmt::format("what was there is kept in {}\n", displayNarrow(kept.path())));
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
        "completed by the next verb. What is replaced is kept in the home's folder backup, as a backup too.");
    runs(
        *verb, Needs::Nothing, [arguments, state, &options] { restore(*arguments, *state, options); },
        [arguments, state] { *state = stateOf(*arguments); });
}

} // namespace wdlt
