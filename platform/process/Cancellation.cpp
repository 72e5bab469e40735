#include <platform/cancellation.h>

#include <pthread.h>

int WdHoldCancellation() {
    int before = 0;
    ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before);
    return before;
}

void WdRestoreCancellation(int held) {
    ::pthread_setcancelstate(held, nullptr);
}
