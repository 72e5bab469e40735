/* load and confirm: bring the installation into the state that a document asks for, all or nothing, for good or until
   nobody has confirmed it. */

#include "ChangeLock.h"
#include "Document.h"
#include "Files.h"
#include "Journal.h"
#include "LibraryWatch.h"
#include "Loading.h"
#include "RunTool.h"
#include "TimeOption.h"
#include "ToolError.h"
#include "Verbs.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <fmt/format.h>
#include <memory>
#include <sys/stat.h>
#include <thread>

namespace wdlt {
namespace {

struct LoadArguments {
    std::string file;
    std::shared_ptr<const Json> document;
    std::optional<std::string> generation;
    std::uint64_t confirmWithin = 0; /* seconds; 0: for good */
    bool dryRun = false;
    bool keepsGoing = false;
    bool isForced = false;
};

void loadPlanned(const LoadArguments& arguments, const Plan& plan, const Options& options) {
    const Loaded loaded = carryOut(plan, arguments.keepsGoing, arguments.confirmWithin);
    if (arguments.confirmWithin != 0 && Journal::isThere()) {
        leaveGuardBehind();
        printRemark(fmt::format("undone in {} s, unless this comes first: wdltctl confirm", arguments.confirmWithin));
    }
    printChanges(loaded.changes, options.json, options.secrets);
    if (!loaded.failures.empty())
        throw ToolError(ExitStatus::Partial, fmt::format("{}", fmt::join(loaded.failures, "; ")));
    if (!loaded.untold.empty())
        throw ToolError(ExitStatus::Untold,
                        fmt::format("stored, but the service wasn't told: {}", fmt::join(loaded.untold, ", ")));
}

/* The journal that is there under the lock is one that waits, or couldn't be undone. */
void refuseSecondLoad() {
    const std::optional<Journal> journal = Journal::read();
    if (journal && journal->due)
        throw ToolError(
            ExitStatus::Unknown,
            fmt::format("another load waits for its confirmation: wdltctl confirm, or wait {} s until it is "
                        "undone",
                        std::max<std::int64_t>(journal->due->secondsLeft(), 0)));
    if (journal)
        throw ToolError(ExitStatus::Unknown, "a load that was cut off half way is to be undone first");
}

void load(const LoadArguments& arguments, const Options& options) {
    if (!arguments.dryRun)
        refuseSecondLoad();
    if (arguments.generation)
        if (const std::string generation = generationOf(takeSnapshot()); arguments.generation != generation)
            throw ToolError(ExitStatus::Unknown,
                            fmt::format("somebody has changed something: the generation is {}", generation));
    const Plan plan(*arguments.document, arguments.isForced);
    if (!arguments.dryRun)
        return loadPlanned(arguments, plan, options);
    const std::vector<Change> changes = changesOf(plan);
    printChanges(changes, options.json, options.secrets);
    if (!changes.empty())
        throw ToolError(ExitStatus::No, fmt::format("{} differ; nothing is stored", changes.size()));
}

/* The process that a load leaves behind. */
void awaitConfirmation() {
    constexpr auto kPause = std::chrono::milliseconds(200);
    LibraryWatch::expectToLast();
    const auto identity = [] {
        struct stat status {};
        return ::stat(Journal::path().c_str(), &status) == 0 ? status.st_ino : 0;
    };
    const ino_t own = identity();
    const std::optional<Journal> journal = Journal::read();
    while (journal && journal->due && !journal->due->isOver() && identity() == own)
        std::this_thread::sleep_for(kPause);
    if (own == 0 || identity() != own)
        return;
    const ChangeLock lock;
    undoAbandonedLoad(leaveNote);
}

void confirm(bool isForced, const Options& options) {
    if (!Journal::isThere())
        throw ToolError(ExitStatus::No, "no load waits for its confirmation");
    if (!isForced && !Journal::read()->due)
        throw ToolError(ExitStatus::Unknown,
                        "a load that was cut off half way can't be undone; --force leaves it as it is");
    Journal::remove();
    if (options.json)
        printJson({{"confirmed", true}});
    else
        fmt::print("confirmed\n");
}

} // namespace

void addLoad(CLI::App& app, const Options& options) {
    auto* verb = app.add_subcommand("load", "Bring the configuration into the state of a JSON document");
    const auto arguments = std::make_shared<LoadArguments>();
    verb->add_option("FILE", arguments->file, "The document, whole or in part; - for the standard input")->required();
    verb->add_flag("--dry-run", arguments->dryRun, "Tell what would change, as diff does; store nothing");
    verb->add_flag("--keep-going", arguments->keepsGoing, "After a failure store the rest, and keep what is stored");
    verb->add_flag("--force", arguments->isForced,
                   "For aspm and the spam lists: go on although their files have lines that are lost by it");
    verb->add_option("--expect-generation", arguments->generation,
                     "Refuse when the generation isn't this: somebody has changed something");
    addTime(*verb, "--confirm-within", arguments->confirmWithin,
            "Undo it after this time, as 60s, 5m or 1h, unless wdltctl confirm comes first", 1);
    verb->footer("What the document leaves out is left alone, a list in it replaces the list, and null is what a fresh "
                 "installation has. Only what differs is stored; a failure half way leaves all as it was before.");
    runs(
        *verb, Needs::Files, [arguments, &options] { load(*arguments, options); },
        [arguments] {
            arguments->document = std::make_shared<Json>(parseDocument(readFile(arguments->file), arguments->file));
        });
}

void addConfirm(CLI::App& app, const Options& options) {
    auto* verb = app.add_subcommand("confirm", "Keep what load --confirm-within has changed");
    const auto isForced = std::make_shared<bool>(false);
    verb->add_flag("--force", *isForced, "Leave a load that can't be undone as it is");
    // It looks itself: what is given up by force isn't undone first.
    runs(*verb, Needs::Nothing, [isForced, &options] {
        if (!*isForced)
            needTree();
        const ChangeLock lock;
        confirm(*isForced, options);
    });
    runs(*app.add_subcommand(kAwaitConfirmation, "Undo a load when its time is over")->group(""), Needs::Nothing,
         awaitConfirmation);
}

} // namespace wdlt
