/* Brings this installation into the state that documents ask for, all or nothing, for good or until nobody has confirmed
   it. The caller holds the change lock. */
#pragma once

#include "Apply.h"
#include "Changes.h"

#include <cstdint>
#include <string>
#include <vector>

namespace wdlt {

/* What documents change here, with all that this brings along. A usage error with all that stands against it, or a
   ToolError where something would be lost, unless `isForced`. */
struct Plan {
    Plan(Layers layers, bool isForced);
    Plan(const Json& document, bool isForced);

    Wanted before; /* with all parts that may change */
    Wanted wanted;
};

std::vector<Change> changesOf(const Plan& plan);

struct Loaded {
    std::vector<Change> changes;
    std::vector<std::string> untold;   /* stored, but the service wasn't told */
    std::vector<std::string> failures; /* each begins with its path; none but with `keepsGoing` */
};
/* Stores what differs. A failure leaves the state before and is a ToolError, unless `keepsGoing`. Within `confirmWithin`
   seconds, unless that is 0, the journal must be removed: otherwise the next who looks undoes it. `by`: who does
   that, unless it is a user. */
Loaded carryOut(const Plan& plan, bool keepsGoing, std::uint64_t confirmWithin, const std::string& by = {});

/* A process that waits for the end of the time and puts back what nobody has confirmed. When this fails, or the process
   doesn't live that long, the next verb does. */
void leaveGuardBehind();
inline constexpr const char* kAwaitConfirmation = "await-confirmation"; /* its verb */

} // namespace wdlt
