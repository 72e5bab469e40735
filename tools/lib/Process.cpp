#include "Process.h"

#include <csignal>
#include <cstdio>
#include <unistd.h>

namespace wdlt {

void startProcess() {
    std::signal(SIGXFSZ, SIG_IGN);
}

bool isTerminal() {
    return ::isatty(STDERR_FILENO) == 1;
}

void endProcess(const std::string& lastLine, int status) {
    // The main thread may be printing; then it has its buffer for itself.
    if (::ftrylockfile(stdout) == 0)
        ::fflush_unlocked(stdout);
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, lastLine.data(), lastLine.size());
    ::_exit(status);
}

} // namespace wdlt
