#include "Loading.h"

#include "Journal.h"
#include "LibraryWatch.h"
#include "RunTool.h"
#include "ToolError.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <fcntl.h>
#include <fmt/format.h>
#include <iterator>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace wdlt {
namespace {

[[noreturn]] void refuse(const std::string& what, const Applied& applied, ExitStatus status, const std::string& then) {
    throw ToolError(status,
                    fmt::format("{}; {}{}{}", fmt::join(applied.failures, "; "), what, then.empty() ? "" : "; ", then));
}

/* A failure leaves the state before, or is told with what is left. */
[[noreturn]] void rollBack(const Wanted& before, const Applied& applied) {
    Wanted back = before;
    std::ranges::copy_if(applied.tried, std::back_inserter(back.anew), &Part::isStoredTwice);
    const Applied taken = apply(back, Json::object(), true);
    if (!taken.failures.empty())
        refuse("the rest can't be undone, the next command tries again", applied, ExitStatus::Partial,
               fmt::format("{}", fmt::join(taken.failures, "; ")));
    Journal::remove();
    refuse("all is as it was before", applied, ExitStatus::Failed, "");
}

/* Whether records and lists are looked for elsewhere afterwards. */
bool movesThings(const Plan& plan) {
    return std::ranges::any_of(changesOf(plan), [](const Change& change) {
        return change.path.back() == "install-path" || change.path.back() == "scan";
    });
}

/* What can't be read then is a failure. */
Json stateAfter(const Plan& plan, Applied& applied) {
    try {
        if (movesThings(plan))
            takeSnapshot();
        return takeSnapshot(plan.before.parts).state;
    } catch (const ToolError& error) {
        applied.failures.emplace_back(error.what());
        return nullptr;
    }
}

void endLoad() {
    try {
        Journal::remove();
    } catch (const ToolError& error) {
        throw ToolError(ExitStatus::Partial,
                        fmt::format("all is stored, but {}: if it is there, the next command undoes it", error.what()),
                        error.place());
    }
}

void waitForConfirmation(Journal journal, const Json& after, std::uint64_t seconds) {
    journal.after = after;
    journal.due = DueTime::in(seconds);
    journal.write();
}

Wanted stateNow(std::vector<const Part*> parts) {
    Json state = takeSnapshot(parts).state;
    return {std::move(state), std::move(parts)};
}

} // namespace

Plan::Plan(Layers layers, bool isForced)
    : before(stateNow(partsFor(layers))), wanted(wantedState(layers, before.state)) {
    addConsequences(layers, before.state, wanted);
    checkParts(wanted, before.state, isForced);
}

Plan::Plan(const Json& document, bool isForced) : Plan(std::array{Layer{&document}}, isForced) {}

std::vector<Change> changesOf(const Plan& plan) {
    return changesBetween(plan.before.state, plan.wanted.state);
}

Loaded carryOut(const Plan& plan, bool keepsGoing, std::uint64_t confirmWithin, const std::string& by) {
    const Json& before = plan.before.state;
    Journal journal{before, plan.wanted.state, {}, {}, by};
    std::ranges::transform(plan.before.parts, std::back_inserter(journal.parts), &Part::path);
    if (isSame(before, plan.wanted.state)) { // nothing is stored, but a confirmation may be expected
        if (confirmWithin != 0)
            waitForConfirmation(journal, before, confirmWithin);
        return {};
    }
    journal.write();
    const LibraryWatch::Undoing undoing;
    Applied applied = apply(plan.wanted, before, keepsGoing);
    const Json after = stateAfter(plan, applied);
    const bool waits = confirmWithin != 0 && !after.is_null();
    if (waits && (applied.failures.empty() || keepsGoing))
        try {
            waitForConfirmation(journal, after, confirmWithin);
        } catch (const ToolError& error) {
            applied.failures.emplace_back(error.what());
            rollBack(plan.before, applied);
        }
    if (!applied.failures.empty() && !keepsGoing)
        rollBack(plan.before, applied);
    if (!waits)
        endLoad();
    Loaded loaded{{}, std::move(applied.untold), std::move(applied.failures)};
    if (!after.is_null())
        loaded.changes = changesBetween(before, after);
    return loaded;
}

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
    std::string verb = kAwaitConfirmation;
    std::array<char*, 3> words{name.data(), verb.data(), nullptr};
    ::execv("/proc/self/exe", words.data());
    ::_exit(1);
}

} // namespace wdlt
