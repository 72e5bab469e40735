#include "Findings.h"
#include "LayerError.h"
#include "RegistryKey.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

namespace wdlt {
namespace {

/* A walk that goes round in damaged pages doesn't end. Of the processor's time, so that a busy machine damages nothing:
   a fresh tree takes some milliseconds of it. */
constexpr unsigned kMostSeconds = 2;
/* Another process may keep this one from opening the registry: that is no damage. */
constexpr unsigned kPatience = 60;

/* The exit status has too few bits for a code. */
[[noreturn]] void walkAndTell(int teller) {
    // The engine's last words would come between the tool's own.
    if (const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC); nowhere >= 0)
        ::dup2(nowhere, STDERR_FILENO);
    const struct itimerval most {
        {0, 0}, { kMostSeconds, 0 }
    };
    ::setitimer(ITIMER_PROF, &most, nullptr);
    ::alarm(kPatience);
    LONG code = ERROR_SUCCESS;
    try {
        walkKeys(u"", [](const RegistryKey& key, std::size_t) { key.values(); });
    } catch (const LayerError& error) {
        code = error.code();
    } catch (const std::exception&) {
        code = ERROR_NOT_ENOUGH_MEMORY;
    }
    const bool isTold = ::write(teller, &code, sizeof code) == sizeof code;
    ::_exit(isTold ? 0 : 1);
}

std::string faultOf(LONG code, const std::string& registry) {
    switch (static_cast<DWORD>(code)) {
    case ERROR_SUCCESS:
        return "";
    case ERROR_BADDB:
    case ERROR_REGISTRY_CORRUPT:
    case ERROR_REGISTRY_IO_FAILED:
    case ERROR_KEY_DELETED:
    case ERROR_INVALID_DATA:
        return fmt::format("damaged: {}", layerErrorText(code));
    default:
        throw ToolError(ExitStatus::Unknown, fmt::format("{}: {}", registry, layerErrorText(code)));
    }
}

} // namespace

std::string registryFault(const std::string& home) {
    const std::string registry = home + "/registry";
    int ends[2] = {-1, -1};
    const bool isPiped = ::pipe2(ends, O_CLOEXEC) == 0;
    const pid_t child = isPiped ? ::fork() : -1;
    if (child == 0)
        walkAndTell(ends[1]);
    const int error = errno;
    if (isPiped)
        ::close(ends[1]);
    if (child < 0)
        throw ToolError(ExitStatus::Unknown, fmt::format("{}: can't be looked at: {}", registry, std::strerror(error)));
    LONG code = ERROR_SUCCESS;
    const bool isTold = ::read(ends[0], &code, sizeof code) == sizeof code;
    ::close(ends[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    if (isTold)
        return faultOf(code, registry);
    const int signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    if (signal == SIGALRM || signal == SIGKILL || signal == SIGTERM)
        throw ToolError(ExitStatus::Unknown, fmt::format("{}: can't be looked at: {}", registry, ::strsignal(signal)));
    return signal == SIGPROF ? "damaged: reading it doesn't end" : "damaged: reading it ends a process";
}

} // namespace wdlt
