/* Brings the installation in step with what is asked of it, or tells in what it isn't. */
#pragma once

#include "Changes.h"
#include "Desired.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace wdlt {

enum class Step : std::uint8_t {
    Ok,      /* nothing differs, or it is stored now */
    Drift,   /* something differs, and was to be left */
    Waiting, /* a load by somebody else waits for its confirmation: nothing is stored before that is settled */
    Refused, /* the documents ask for what can't be */
    Failed,  /* all is as it was before, or is told */
};

struct Outcome {
    Step step = Step::Ok;
    std::vector<Change> changes = {}; /* stored; with Drift and Waiting what differs */
    std::string remark = {};          /* why, or what else is to be known */
    std::string generation = {};      /* as dump has it, where something was stored or it is asked for */
    std::optional<std::chrono::seconds> undoneIn = {}; /* what is stored, unless keep comes */
};

struct StepRules {
    bool mayStore = false;           /* otherwise what differs is left */
    bool isHeard = false;            /* the store has just answered: what waits for that is confirmed */
    bool isNew = false;              /* the generation is asked for even where nothing differs */
    std::uint64_t confirmWithin = 0; /* seconds of a change, in which keep must come; 0: it need not */
};
/* Throws nothing of the tool's. */
Outcome bringInStep(const Desired& desired, const StepRules& rules);

/* How long what was stored here, also by an earlier process, waits for keep. */
std::optional<std::chrono::seconds> unconfirmedFor();
/* Confirms what is stored. False where it doesn't wait any more: somebody has confirmed it, or it was undone. A ToolError
   when that fails. */
bool keep();

} // namespace wdlt
