/* Brings this installation into a state. */
#pragma once

#include "Document.h"

#include <string>
#include <vector>

namespace wdlt {

/* Adds to the state what switching features brings along, where no document says it: their handlers, and the features
   that they need. The parts that this touches join those of the documents. */
void addConsequences(Layers layers, const Json& now, Wanted& wanted);

/* Whether this installation can have that state: a usage error with all that stands against it, or a ToolError where
   something would be lost, unless `isForced`. */
void checkParts(const Wanted& wanted, const Json& now, bool isForced);

struct Applied {
    std::vector<std::string> untold;   /* stored, but the service wasn't told */
    std::vector<std::string> failures; /* each begins with its path */
    std::vector<const Part*> tried;    /* to be written, whether or not that failed */
};
/* Makes each of the wanted parts so, and writes only what differs: records, then lists, then switches, what others need
   first, then the handlers, which the switches have switched too. `now` is the state, as far as it is known. Ends at the
   first failure, unless `keepsGoing`. */
Applied apply(const Wanted& wanted, const Json& now, bool keepsGoing);

} // namespace wdlt
