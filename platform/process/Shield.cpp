#include <platform/shield.h>

#include <csignal>
#include <pthread.h>

namespace {

constexpr int kWasCancellable = 1;
constexpr int kWasBlocked = 2;

} // namespace

int WdShieldThread() {
    int state = 0;
    ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
    sigset_t bus;
    sigset_t before;
    ::sigemptyset(&bus);
    ::sigaddset(&bus, SIGBUS);
    const bool wasBlocked = ::pthread_sigmask(SIG_UNBLOCK, &bus, &before) == 0 && ::sigismember(&before, SIGBUS) == 1;
    return (state == PTHREAD_CANCEL_ENABLE ? kWasCancellable : 0) | (wasBlocked ? kWasBlocked : 0);
}

void WdUnshieldThread(int shield) {
    if ((shield & kWasBlocked) != 0) {
        sigset_t bus;
        ::sigemptyset(&bus);
        ::sigaddset(&bus, SIGBUS);
        ::pthread_sigmask(SIG_BLOCK, &bus, nullptr);
    }
    if ((shield & kWasCancellable) != 0)
        ::pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
}
