/* load and confirm: bring the installation into the state that a document asks for, all or nothing, for good or until
   nobody has confirmed it. */

#include "Apply.h"
#include "ChangeLock.h"
#include "Changes.h"
#include "Document.h"
#include "Files.h"
#include "Journal.h"
#include "LibraryWatch.h"
#include "RunTool.h"
#include "ToolError.h"
#include "Verbs.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <chrono>
#include <fcntl.h>
#include <fmt/format.h>
#include <iterator>
#include <memory>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace wdlt {
namespace {

constexpr const char* kAwait = "await-confirmation"; // the verb of the process that a load leaves behind

struct LoadArguments {
    std::string file;
    std::string content;
    std::string generation;
    std::uint64_t confirmWithin = 0; /* seconds; 0: for good */
    bool dryRun = false;
    bool keepsGoing = false;
    bool isForced = false;
};

/* Of the parts that a load changes, in this installation. */
void checkParts(const Wanted& wanted, const Json& now, bool isForced) {
    Complaints complaints;
    for (const Part* part : wanted.parts) {
        const Json& asked = *at(wanted.state, part->path());
        if (const Json* const state = at(now, part->path()); state == nullptr || !isSame(*state, asked))
            part->check(asked, isForced, complaints);
    }
    complaints.throwIfAny();
}

/* Waits in the background for the end of the time. When this fails, or the process doesn't live that long, the next
   verb puts back what nobody has confirmed. */
void leaveGuardBehind() {
    const pid_t child = ::fork();
    if (child < 0)
        return printRemark("no process waits for the confirmation: without it, the next command undoes the load");
    if (child > 0) {
        ::waitpid(child, nullptr, 0);
        return;
    }
    // The process that waits is nobody's child, and survives the terminal.
    if (::setsid() < 0 || ::fork() != 0)
        ::_exit(0);
    const int nothing = ::open("/dev/null", O_RDWR);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        ::dup2(nothing, standard);
    ::close_range(STDERR_FILENO + 1, ~0U, 0);
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    std::string name = "wdltctl";
    std::string verb = kAwait;
    std::array<char*, 3> words{name.data(), verb.data(), nullptr};
    ::execv("/proc/self/exe", words.data());
    ::_exit(1);
}

void refuse(const std::string& what, const Applied& applied, ExitStatus status, const std::string& then) {
    throw ToolError(status, fmt::format("{}{}{}{}", fmt::join(applied.failures, "; "), what.empty() ? "" : "; ", what,
                                        then.empty() ? "" : "; " + then));
}

/* A failure leaves the state before, or is told with what is left. */
void rollBack(const Wanted& wanted, const Json& before, const Applied& applied) {
    const Applied back = apply({before, wanted.parts}, Json::object(), true);
    if (!back.failures.empty())
        refuse("the rest can't be undone, the next command tries again", applied, ExitStatus::Partial,
               fmt::format("{}", fmt::join(back.failures, "; ")));
    Journal::remove();
    refuse("all is as it was before", applied, ExitStatus::Failed, "");
}

void loadWanted(const LoadArguments& arguments, const Wanted& wanted, const Json& before, const Options& options) {
    Journal journal{before, nullptr, {}, {}};
    std::ranges::transform(wanted.parts, std::back_inserter(journal.parts), &Part::path);
    journal.write();
    LibraryWatch::expectUndoing();
    const Applied applied = apply(wanted, before, arguments.keepsGoing);
    if (!applied.failures.empty() && !arguments.keepsGoing)
        rollBack(wanted, before, applied);
    const Json after = takeSnapshot().state;
    if (arguments.confirmWithin != 0) {
        journal.after = after;
        journal.due = DueTime::in(arguments.confirmWithin);
        journal.write();
        leaveGuardBehind();
    } else {
        Journal::remove();
    }
    printChanges(changesBetween(before, after), options.json, options.secrets);
    if (arguments.confirmWithin != 0)
        printRemark(fmt::format("undone in {} s, unless this comes first: wdltctl confirm", arguments.confirmWithin));
    if (!applied.failures.empty())
        refuse("", applied, ExitStatus::Partial, "");
    if (!applied.untold.empty())
        throw ToolError(ExitStatus::Untold,
                        fmt::format("stored, but the service wasn't told: {}", fmt::join(applied.untold, ", ")));
}

void load(const LoadArguments& arguments, const Options& options) {
    const Json document = parseDocument(arguments.content, arguments.file);
    if (Journal::isThere() && !arguments.dryRun)
        throw ToolError(ExitStatus::Unknown,
                        "another load waits for its confirmation: wdltctl confirm, or wait until it is undone");
    const Snapshot snapshot = takeSnapshot();
    if (!arguments.generation.empty() && arguments.generation != snapshot.generation)
        throw ToolError(ExitStatus::Unknown,
                        fmt::format("somebody has changed something: the generation is {}", snapshot.generation));
    Wanted wanted = wantedState(document, snapshot.state);
    addConsequences(document, snapshot.state, wanted);
    checkParts(wanted, snapshot.state, arguments.isForced);
    const std::vector<Change> changes = changesBetween(snapshot.state, wanted.state);
    if (!changes.empty() && !arguments.dryRun)
        return loadWanted(arguments, wanted, snapshot.state, options);
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
    undoAbandonedLoad();
}

void confirm(bool isForced, const Options& options) {
    if (!Journal::isThere() || (!isForced && !Journal::read()->due))
        throw ToolError(ExitStatus::No, "no load waits for its confirmation");
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
    verb->add_option("--confirm-within", arguments->confirmWithin,
                     "Undo it after this time, as 60s, 5m or 1h, unless wdltctl confirm comes first")
        ->transform(CLI::AsNumberWithUnit(std::map<std::string, std::uint64_t>{{"s", 1}, {"m", 60}, {"h", 3600}}))
        ->check(CLI::Range(std::uint64_t{1}, std::uint64_t{86400}));
    verb->footer(
        "What the document leaves out is left alone, a list in it replaces the list, and null is what a fresh\n"
        "installation has. Only what differs is stored; a failure half way leaves all as it was before.");
    runs(
        *verb, Needs::Files, [arguments, &options] { load(*arguments, options); },
        [arguments] { arguments->content = readFile(arguments->file); });
}

void addConfirm(CLI::App& app, const Options& options) {
    auto* verb = app.add_subcommand("confirm", "Keep what load --confirm-within has changed");
    const auto isForced = std::make_shared<bool>(false);
    verb->add_flag("--force", *isForced, "Leave a load that can't be undone as it is");
    runs(*verb, Needs::Change, [isForced, &options] { confirm(*isForced, options); });
    runs(*app.add_subcommand(kAwait, "Undo a load when its time is over")->group(""), Needs::Nothing,
         awaitConfirmation);
}

} // namespace wdlt
