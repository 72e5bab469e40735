// The registry of one home as the calls see it: reads and changes, each routed into the calling thread's batch when
// that has a transaction open here. One object per home (found by device and inode of its registry directory), never
// destroyed, since open keys refer to it. Any thread; a child of a fork gets an environment of its own behind the same
// object.
#pragma once

#include "RegistryBatch.h"
#include "RegistryChange.h"
#include "RegistryEnvironment.h"

#include <atomic>
#include <memory>
#include <sys/types.h>

namespace wd {

class RegistryStore {
  public:
    // The home's store, which is made when it doesn't exist yet. Null with the error.
    static RegistryStore* of(const Home& home, DWORD& error);
    // The same, but null where none was made.
    static RegistryStore* known(const Home& home);

    template <typename Body>
    LONG read(Body&& body) {
        Batch* batch = Batch::current();
        Transaction* transaction = batch == nullptr ? nullptr : batch->transactionOn(*this);
        if (transaction == nullptr)
            return environment().read(std::forward<Body>(body));
        for (;;) {
            const LONG result = body(*transaction);
            if (transaction->isSound())
                return result;
            if (const LONG error = batch->repair())
                return error;
        }
    }

    // Makes the change: in the thread's batch, or at once in a transaction of its own.
    LONG write(const std::shared_ptr<RegistryChange>& change);
    LONG writeNow(RegistryChange& change);

    // This process's environment.
    RegistryEnvironment& environment();

  private:
    RegistryStore(const Home& home, dev_t device, ino_t inode) : m_home(home), m_device(device), m_inode(inode) {}
    static RegistryStore* find(dev_t device, ino_t inode, const RegistryStore* from);
    static RegistryStore* findOrAdd(const Home& home, dev_t device, ino_t inode);
    RegistryEnvironment& makeEnvironment(RegistryEnvironment* stale);

    const Home& m_home;
    const dev_t m_device;
    const ino_t m_inode;
    RegistryStore* m_next = nullptr; // constant once the store is in the list
    std::atomic<RegistryEnvironment*> m_environment{nullptr};
};

} // namespace wd
