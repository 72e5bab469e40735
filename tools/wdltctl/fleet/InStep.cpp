#include "InStep.h"

#include "Journal.h"
#include "Loading.h"
#include "ToolError.h"
#include "Verbs.h"

#include <fmt/format.h>
#include <optional>

namespace wdlt {
namespace {

/* Empty where something else, that isn't asked about, can't be read. */
std::string generationNow() {
    try {
        return generationOf(takeSnapshot());
    } catch (const ToolError&) {
        return {};
    }
}

constexpr const char* kConfirmer = "follow"; // in the journal

/* A load of ours, also of an earlier process, that waits for its confirmation. Others confirm their own. */
bool isOwn(const std::optional<Journal>& journal) {
    return journal && journal->due && journal->by == kConfirmer;
}

Outcome bring(const Desired& desired, const StepRules& rules) {
    const Plan plan(desired.layers(), false);
    std::vector<Change> changes = changesOf(plan);
    const std::optional<Journal> waiting = Journal::read();
    Outcome outcome;
    if (changes.empty()) {
        outcome.generation = rules.isNew ? generationNow() : "";
        if (isOwn(waiting))
            outcome.undoneIn = std::chrono::seconds(waiting->due->secondsLeft());
        return outcome;
    }
    if (isOwn(waiting) && rules.mayStore && rules.isHeard)
        Journal::remove();
    else if (waiting)
        return {
            .step = Step::Waiting, .changes = std::move(changes), .remark = "another load waits for its confirmation"};
    if (!rules.mayStore)
        return {.step = Step::Drift, .changes = std::move(changes)};
    Loaded loaded = carryOut(plan, false, rules.confirmWithin, kConfirmer);
    outcome.changes = std::move(loaded.changes);
    if (!loaded.untold.empty())
        outcome.remark = fmt::format("the service wasn't told: {}", fmt::join(loaded.untold, ", "));
    outcome.generation = generationNow();
    if (rules.confirmWithin != 0)
        outcome.undoneIn = std::chrono::seconds(rules.confirmWithin);
    return outcome;
}

} // namespace

Outcome bringInStep(const Desired& desired, const StepRules& rules) {
    Outcome outcome;
    try {
        changeHere(Needs::Files, [&] { outcome = bring(desired, rules); });
    } catch (const ToolError& error) {
        outcome = {.step = error.status() == ExitStatus::Usage ? Step::Refused : Step::Failed, .remark = error.what()};
    }
    return outcome;
}

std::optional<std::chrono::seconds> unconfirmedFor() {
    try {
        if (const std::optional<Journal> waiting = Journal::read(); isOwn(waiting))
            return std::chrono::seconds(waiting->due->secondsLeft());
    } catch (const ToolError&) { // told by the next look
    }
    return std::nullopt;
}

bool keep() {
    bool isKept = false;
    changeHere(Needs::Files, [&] {
        isKept = isOwn(Journal::read());
        if (isKept)
            Journal::remove();
    });
    return isKept;
}

} // namespace wdlt
