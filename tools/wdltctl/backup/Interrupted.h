/* A restore is all or nothing. It keeps a file in the home, its journal, from before its first change to behind its
   last one, with all that it stores: when it is killed, the next verb finds that, and nobody who holds the change
   lock, and does all of it again. */
#pragma once

#include <string>
#include <string_view>

namespace wdlt {

/* Writes it, whole and on disk, and removes it. Failures are ToolErrors. */
void beginJournal(const std::string& home, std::string_view content);
void endJournal(const std::string& home);

/* Finishes a restore of this home that was killed, and says so. A ToolError when that fails: then the settings may be
   half old and half new. */
void finishInterrupted();
/* For who replaces all of the settings: nobody finishes a restore any more, or undoes a load. */
void dropInterrupted(const std::string& home);

} // namespace wdlt
