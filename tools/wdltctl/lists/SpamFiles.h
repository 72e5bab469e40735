/* The text files of the spam lists, which people edit too. */
#pragma once

#include <cstdint>
#include <wdltcfg/records.h>

namespace wdlt {

/* The settings with both lists. Returns the library's status. */
std::int32_t readSpamRecord(WdpeAspmData& record);

/* The library rewrites both files at each change of anti-spam's settings or of a list, from what it reads of them. A
   ToolError when one of them holds more than that, unless `isForced`, or can't be read: then the library would store the
   rest and leave that file. */
void lookAtSpamFiles(bool isForced);

} // namespace wdlt
