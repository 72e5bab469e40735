/* A look at the home before a verb runs, so that what can't be told is never told wrong. */
#pragma once

#include <string>

namespace wdlt {

enum class HomeUse {
    Read,
    Change,
    Check,  /* as for reading; the registry isn't opened, since it may be damaged */
    Replace /* as for a change, likewise */
};

/* False where there is no home yet. One that can't be used so is a ToolError with its path: access denied, not a
   directory, a read-only file system, or damaged, the registry's file too. `path` gets the home's. Makes nothing. */
bool lookAtHome(std::string& path, HomeUse use);

} // namespace wdlt
