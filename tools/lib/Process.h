/* What the tools ask of their process; a source of its own for each system. */
#pragma once

#include <string>

namespace wdlt {

/* Comes first: a file that may not grow is an error of the write, and standard streams carry bytes as they are. */
void startProcess();
/* Whether a person reads the standard error. */
bool isTerminal();
/* Ends the process from any thread, whatever the others do, with a last line on the standard error. */
[[noreturn]] void endProcess(const std::string& lastLine, int status);

} // namespace wdlt
