#include "RegistryStore.h"

#include "Home.h"
#include "LastError.h"

namespace wd {

namespace {

// Which store a home uses; homes named differently may share one.
struct HomeEntry {
    const Home* home;
    RegistryStore* store;
    HomeEntry* next;
};

// Both lists only grow, at their heads: they are read and extended without a lock, which a fork could leave locked.
constinit std::atomic<HomeEntry*> homeEntries{nullptr};
constinit std::atomic<RegistryStore*> stores{nullptr};

void remember(const Home& home, RegistryStore* store) {
    auto entry = std::make_unique<HomeEntry>(HomeEntry{&home, store, homeEntries.load(std::memory_order_relaxed)});
    while (!homeEntries.compare_exchange_weak(entry->next, entry.get(), std::memory_order_acq_rel))
        continue;
    static_cast<void>(entry.release());
}

} // namespace

RegistryStore* RegistryStore::known(const Home& home) {
    for (const HomeEntry* entry = homeEntries.load(std::memory_order_acquire); entry != nullptr; entry = entry->next)
        if (entry->home == &home)
            return entry->store;
    return nullptr;
}

RegistryStore* RegistryStore::of(const Home& home, DWORD& error) {
    if (RegistryStore* store = known(home))
        return store;
    error = home.ensure();
    if (error != ERROR_SUCCESS)
        return nullptr;
    struct stat status {};
    if (sys::stat(home.registryPath().c_str(), &status) != 0) {
        error = systemError();
        return nullptr;
    }
    RegistryStore* store = findOrAdd(home, status.st_dev, status.st_ino);
    remember(home, store);
    return store;
}

RegistryStore* RegistryStore::find(dev_t device, ino_t inode, const RegistryStore* from) {
    for (const RegistryStore* store = from; store != nullptr; store = store->m_next)
        if (store->m_device == device && store->m_inode == inode)
            return const_cast<RegistryStore*>(store);
    return nullptr;
}

RegistryStore* RegistryStore::findOrAdd(const Home& home, dev_t device, ino_t inode) {
    std::unique_ptr<RegistryStore> made(new RegistryStore(home, device, inode));
    RegistryStore* head = stores.load(std::memory_order_acquire);
    do {
        if (RegistryStore* known = find(device, inode, head))
            return known;
        made->m_next = head;
    } while (!stores.compare_exchange_weak(head, made.get(), std::memory_order_acq_rel, std::memory_order_acquire));
    return made.release();
}

RegistryEnvironment& RegistryStore::environment() {
    RegistryEnvironment* environment = m_environment.load(std::memory_order_acquire);
    if (environment != nullptr && environment->owner() == processState())
        return *environment;
    return makeEnvironment(environment);
}

// A stale environment is a parent's. Except for its locks it stays as it is, mappings included: another thread may have
// been inside it at the fork, and ending a transaction in it would write into what the parent still uses.
RegistryEnvironment& RegistryStore::makeEnvironment(RegistryEnvironment* stale) {
    auto made = std::make_unique<RegistryEnvironment>(m_home, processState());
    RegistryEnvironment* known = stale;
    if (!m_environment.compare_exchange_strong(known, made.get(), std::memory_order_acq_rel))
        return *known;
    if (stale != nullptr)
        stale->leaveToParent();
    return *made.release();
}

LONG RegistryStore::write(const std::shared_ptr<RegistryChange>& change) {
    Batch* batch = Batch::current();
    if (batch != nullptr && batch->takes(*this))
        return batch->write(*this, change);
    return writeNow(*change);
}

LONG RegistryStore::writeNow(RegistryChange& change) {
    RegistryEnvironment& current = environment();
    RegistryEnvironment::Recovery recovery;
    for (;;) {
        Transaction transaction;
        LONG result = ERROR_SUCCESS;
        if (current.beginWrite(transaction)) {
            result = change.apply(transaction);
            if (transaction.failure() == 0 && result == ERROR_SUCCESS)
                current.commit(transaction);
            else
                transaction.end();
        }
        if (transaction.failure() == 0)
            return result;
        if (const DWORD error = current.recover(transaction, recovery))
            return static_cast<LONG>(error);
    }
}

} // namespace wd
