/* Proof that nothing in the registry has changed, for what is composed from it and kept: private to this layer. */
#ifndef PLATFORM_REGISTRY_STATE_H
#define PLATFORM_REGISTRY_STATE_H

#include <platform/base.h>

/* A state of the registry as this process has it open. States of other homes, of a file that was put in the old one's
   place, and of a parent process are other states: `opening` is a number that occurs once in a process and its parents.
   A state of zeros is none. */
struct WdRegistryState {
    ULONGLONG opening;
    ULONGLONG generation;

    bool operator==(const WdRegistryState&) const = default;
};

/* The state that the thread's next read sees, if no commit comes between. What is read between two calls that give the
   same state is of that state. FALSE inside a batch, whose reads see what isn't committed, and when the registry can't
   be read or isn't open yet: nothing is opened for this. */
WD_API BOOL WdGetRegistryState(WdRegistryState* state);

/* Whether a read by this thread would see that state; a look at mapped memory. FALSE where there is no state. */
WD_API BOOL WdIsRegistryState(const WdRegistryState* state);

#endif
