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
    std::vector<Change> changes = {};                  /* stored; with Drift and Waiting what differs */
    std::string remark = {};                           /* why, or what else is to be known */
    std::string generation = {};                       /* as dump has it; with Ok alone */
    std::optional<std::chrono::seconds> undoneIn = {}; /* what is stored, also by somebody else, unless keep comes */
};

/* `mayStore`: otherwise what differs is left. Within `confirmWithin` seconds of a change, unless that is 0, keep must
   come. Throws nothing of the tool's. */
Outcome bringInStep(const Desired& desired, bool mayStore, std::uint64_t confirmWithin);

/* Confirms what is stored. A ToolError when that fails. */
void keep();

} // namespace wdlt
