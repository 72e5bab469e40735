#include "Signals.h"

#include <csignal>
#include <pthread.h>
#include <unistd.h>

namespace wdlt {
namespace {

sigset_t endSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    return set;
}

} // namespace

void holdEndSignals() {
    const sigset_t set = endSignals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

void waitForEndSignal() {
    const sigset_t set = endSignals();
    int signal = 0;
    while (sigwait(&set, &signal) != 0) {
    }
}

void sendEndSignal() {
    kill(getpid(), SIGTERM);
}

} // namespace wdlt
