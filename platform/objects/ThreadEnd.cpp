#include "ThreadEnd.h"

#include <array>
#include <pthread.h>

namespace wd {

namespace {

constinit std::array<void (*)(), static_cast<std::size_t>(AtThreadEnd::Count)> actions{};
constinit thread_local bool watched = false;

void atThreadEnd(void* /*value*/) {
    watched = false; // another key's destructor may call the layer again: then there is another round
    for (auto* const action : actions)
        if (action != nullptr)
            action();
}

struct Key {
    Key() : isMade(pthread_key_create(&key, atThreadEnd) == 0) {}

    pthread_key_t key{};
    bool isMade;
};
const Key threadEnd; // never deleted: threads may end after everything else

} // namespace

void setAtThreadEnd(AtThreadEnd what, void (*action)()) {
    actions[static_cast<std::size_t>(what)] = action;
}

bool watchThreadEnd() {
    if (!watched)
        watched = threadEnd.isMade && pthread_setspecific(threadEnd.key, &watched) == 0;
    return watched;
}

} // namespace wd
