/* What a verb looks at before it does anything: that the home is there, that this account may use it, that its registry
   can be opened. Otherwise a ToolError of ExitStatus::Unknown names the path and the reason. */
#pragma once

#include <string>

namespace wdlt {

/* False when there is no home; otherwise its registry has been opened, unless that is left to the caller. Makes
   nothing. `path`: the home's. */
bool lookAtHome(std::string& path, bool opensRegistry = true);

} // namespace wdlt
