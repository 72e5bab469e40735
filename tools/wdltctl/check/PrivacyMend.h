/* The privacy database against the items in the registry, from which it can be made anew. */
#pragma once

#include "HomeCopy.h"
#include "Installation.h"

#include <string>

namespace wdlt {

/* What is wrong with it; empty: nothing. A ToolError when the items can't be read. */
std::string databaseFault(const Installation& installation);

/* Makes it from the items; returns what was done. Its exclusions stand nowhere else: they stay if they can be read,
   there or in the copy that a killed writer left, and `kept` gets a database that is given up. A ToolError when nothing
   could be done, or it is no damage but a file that may not be opened. */
std::string mendDatabase(const Installation& installation, HomeCopy& kept, bool mayLoseExclusions);

/* An empty one, which may replace what is there. */
void writeFreshDatabase(const std::string& path);

} // namespace wdlt
