#include "ForkMutex.h"

#include <array>
#include <pthread.h>

namespace wd {

namespace {

// A mutex that this program doesn't use has no handler.
constinit std::array<ForkHandler, static_cast<std::size_t>(ForkOrder::Count)> handlers{};

void call(void (*handler)()) {
    if (handler != nullptr)
        handler();
}

void beforeFork() {
    for (const ForkHandler& handler : handlers)
        call(handler.before);
}

void inParent() {
    for (auto handler = handlers.rbegin(); handler != handlers.rend(); ++handler)
        call(handler->inParent);
}

void inChild() {
    for (auto handler = handlers.rbegin(); handler != handlers.rend(); ++handler)
        call(handler->inChild);
}

__attribute__((constructor)) void holdMutexesOverForks() {
    ::pthread_atfork(beforeFork, inParent, inChild);
}

} // namespace

bool enterForkHandler(ForkOrder order, const ForkHandler& handler) {
    handlers[static_cast<std::size_t>(order)] = handler;
    return true;
}

} // namespace wd
