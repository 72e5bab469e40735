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

Outcome bring(const Desired& desired, bool mayStore, std::uint64_t confirmWithin) {
    const Plan plan = planFor(desired.layers(), false);
    std::vector<Change> changes = changesOf(plan);
    const std::optional<Journal> waiting = Journal::read();
    if (changes.empty() && waiting && waiting->due)
        Journal::remove(); // this is the state that is asked for, whoever brought it
    if (changes.empty())
        return {.generation = generationNow()};
    if (waiting)
        return {
            .step = Step::Waiting, .changes = std::move(changes), .remark = "another load waits for its confirmation"};
    if (!mayStore)
        return {.step = Step::Drift, .changes = std::move(changes)};
    Loaded loaded = carryOut(plan, false, confirmWithin);
    std::string remark =
        loaded.untold.empty() ? "" : fmt::format("the service wasn't told: {}", fmt::join(loaded.untold, ", "));
    return {.changes = std::move(loaded.changes),
            .remark = std::move(remark),
            .generation = generationNow(),
            .isUnconfirmed = confirmWithin != 0};
}

} // namespace

Outcome bringInStep(const Desired& desired, bool mayStore, std::uint64_t confirmWithin) {
    Outcome outcome;
    try {
        changeHere(Needs::Files, [&] { outcome = bring(desired, mayStore, confirmWithin); });
    } catch (const ToolError& error) {
        outcome = {.step = error.status() == ExitStatus::Usage ? Step::Refused : Step::Failed, .remark = error.what()};
    }
    return outcome;
}

void keep() {
    changeHere(Needs::Files, [] {
        const std::optional<Journal> waiting = Journal::read();
        if (!waiting || !waiting->due)
            throw ToolError(ExitStatus::Unknown, "it was undone before it could be confirmed");
        Journal::remove();
    });
}

} // namespace wdlt
