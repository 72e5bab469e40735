/* What a verb had begun when it was killed, and what is all or nothing. Such a verb keeps a file in the home, its
   journal, from before its first change to behind its last one; the next verb that finds it there while nobody holds
   the change lock finishes the work. */
#pragma once

#include <string>
#include <string_view>

namespace wdlt {

/* A verb's journal in a home. */
std::string journalOf(const std::string& home, std::string_view verb);

/* Writes it, whole and on disk, and removes it. Failures are ToolErrors. */
void beginJournal(const std::string& home, std::string_view verb, std::string_view content);
void endJournal(const std::string& home, std::string_view verb);

/* Finishes what a killed verb of this home left, and says so. A ToolError when that fails: then the settings may be half
   old and half new. To be called before this process has opened the registry. */
void finishInterrupted();
/* For who replaces all of the settings anyway. */
void dropInterrupted(const std::string& home);

} // namespace wdlt
