// A thread's batch of registry writes: one transaction from the first write to the end. Belongs to its thread; holds
// its environment's gate and the engine's writer lock while the transaction runs. Its changes are remembered, to be
// redone when the engine throws the transaction away (it does that when the map must grow). A batch that was inherited
// by the child of a fork is over there; its transaction is the parent's and is left alone.
#pragma once

#include "RegistryChange.h"
#include "RegistryEnvironment.h"

#include <memory>
#include <vector>

namespace wd {

class RegistryStore;

class Batch {
  public:
    // The calling thread's batch; null outside of one.
    static Batch* current();
    static void begin(DWORD mode);
    static LONG end();
    static void abandon();

    explicit Batch(DWORD mode) : m_mode(mode) {}
    ~Batch();
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;

    // The open transaction if it is on this store, else null.
    Transaction* transactionOn(const RegistryStore& store);
    // After a read through the open transaction met a failure of the engine: 0 when the transaction runs again with all
    // its changes, else the read's error, and the batch is over.
    LONG repair();
    // False when the write isn't the batch's and must be made by itself.
    bool takes(const RegistryStore& store);
    LONG write(RegistryStore& store, const std::shared_ptr<RegistryChange>& change);
    // A write that was refused before it reached a store: it counts as a failing write. Returns the error.
    LONG refuse(LONG error);

  private:
    enum class State {
        Running, // its transaction is open from the first write on
        Over,    // writes are made one by one
        Failed   // all or nothing: nothing is kept
    };

    LONG add(const std::shared_ptr<RegistryChange>& change);
    LONG finish();
    LONG redo();
    bool redoOnce(LONG& result);
    LONG fail(LONG error);
    LONG commit();
    void discard(LONG error);
    void dropIfInherited();

    const DWORD m_mode;
    unsigned m_depth = 1;
    State m_state = State::Running;
    LONG m_error = ERROR_SUCCESS; // what the end returns
    RegistryStore* m_store = nullptr;
    RegistryEnvironment* m_environment = nullptr;
    Transaction m_transaction;
    RegistryEnvironment::Recovery m_recovery;
    std::vector<std::shared_ptr<RegistryChange>> m_done;
};

} // namespace wd
