// The database engine's environment for one home in one process: opened at the first call, shared by all threads,
// closed only to be reopened, after a fatal error. Owns the pool of read transactions and the gate that keeps calls out
// while the map grows or the environment is replaced. A child of a fork makes an environment of its own and never
// touches its parent's: the parent's writer may have been anywhere inside it, and what it maps is shared.
//
// Lock order: gate (entered), the writing turn, the readers' turn, the engine's own locks. A thread that shuts the gate
// has left it and holds none of them.
#pragma once

#include "Deadline.h"
#include "ProcessState.h"
#include "RegistryFiles.h"
#include "RegistryGate.h"

#include <platform/registry_state.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <lmdb.h>
#include <string_view>
#include <sys/stat.h>

namespace wd {

class RegistryEnvironment;

// A transaction of either kind, used by the thread that began it. While it runs it is inside its environment's gate,
// and a writer has the writing turn; whatever ends it, even an exception, gives both back and leaves nothing
// uncommitted behind. Keeps the first failure: after that it finds and stores nothing, and whoever runs the transaction
// decides what the failure means.
class Transaction {
  public:
    Transaction() = default;
    ~Transaction() { end(); }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    // The record of the key at a folded path, valid until the next put or erase, or the transaction's end. False: no
    // such key, or a failure.
    bool find(std::string_view path, std::string_view& record);
    bool put(std::string_view path, std::string_view record);
    bool erase(std::string_view path);

    // Of the last commit before it.
    std::uint64_t generation() const;

    int failure() const { return m_failure; }
    // Whether nothing has failed, including what was read of the records that were found.
    bool isSound() { return note(0); }
    bool isRunning() const { return m_environment != nullptr; }
    // Ends it without a commit, if it still runs.
    void end();
    // In the child of a fork: the transaction is the parent's, and stays as it is.
    void forget() { m_environment = nullptr; }

  private:
    friend class RegistryEnvironment;

    bool note(int code);

    RegistryEnvironment* m_environment = nullptr; // while it runs
    MDB_txn* m_handle = nullptr;
    MDB_dbi m_database = 0;
    int m_failure = 0;
    std::uint64_t m_epoch = 0; // of the environment when it began
    std::uint64_t m_opening = 0;
    const std::atomic<bool>* m_lost = nullptr;
    bool m_isWriter = false;
};

class RegistryEnvironment {
  public:
    // Opens nothing yet.
    RegistryEnvironment(const Home& home, const ProcessState* owner) : m_home(home), m_owner(owner) {}
    RegistryEnvironment(const RegistryEnvironment&) = delete;
    RegistryEnvironment& operator=(const RegistryEnvironment&) = delete;

    // The process that may use it.
    const ProcessState* owner() const { return m_owner; }

    // Runs `body(Transaction&)` on one state of the registry; it may run again when the engine requires it.
    template <typename Body>
    LONG read(Body&& body) {
        Recovery recovery;
        for (;;) {
            Transaction transaction;
            LONG result = ERROR_SUCCESS;
            if (beginRead(transaction)) {
                result = body(transaction);
                transaction.end();
            }
            if (transaction.failure() == 0)
                return result;
            if (const DWORD error = recover(transaction, recovery))
                return static_cast<LONG>(error);
        }
    }

    // A write transaction. Between its begin and its end the thread makes no other call on this environment. False: a
    // failure, and the transaction has ended.
    bool beginWrite(Transaction& transaction);
    bool commit(Transaction& transaction);

    // What WdGetRegistryState and WdIsRegistryState give outside a batch.
    bool state(WdRegistryState& state);
    bool isState(const WdRegistryState& state);

    // What has been tried for one call, to limit retries.
    struct Recovery {
        int reopened = 0;
        int resized = 0;
    };
    // After a failure: makes it possible to retry the call and returns 0, or returns the error.
    DWORD recover(const Transaction& transaction, Recovery& recovery);

    // In the child of a fork, called on its parent's environment.
    void leaveToParent() WD_NO_THREAD_SAFETY_ANALYSIS { m_namespace.forget(); }

  private:
    friend class Transaction;

    struct alignas(kCacheLineBytes) PoolPlace {
        std::atomic<MDB_txn*> reader{nullptr};
    };

    bool beginRead(Transaction& transaction);
    void start(Transaction& transaction, bool isWriter) WD_REQUIRES_SHARED(m_gate);
    void end(Transaction& transaction);
    [[nodiscard]] int startReader(Transaction& transaction) WD_REQUIRES_SHARED(m_gate);
    [[nodiscard]] int makeReader(MDB_txn*& reader) WD_REQUIRES_SHARED(m_gate);
    [[nodiscard]] int startWriter(MDB_txn*& writer) WD_REQUIRES_SHARED(m_gate);
    bool fileWasCut() WD_REQUIRES_SHARED(m_gate);
    [[nodiscard]] int forgetDeadReaders(int& cleared) WD_REQUIRES_SHARED(m_gate);
    void forgetDeadReadersOfGrownFile() WD_REQUIRES_SHARED(m_gate);
    MDB_txn* takePooled();
    void givePooled(MDB_txn* reader);

    // The newest commit's number if this is the opening of that number, else 0.
    std::uint64_t newestCommit(std::uint64_t opening);

    DWORD reopen(std::uint64_t epoch);
    DWORD resize(std::uint64_t epoch, bool grow);
    DWORD giveUpLostMap(std::uint64_t epoch);
    DWORD openWithPatience() WD_REQUIRES(m_gate);
    DWORD openOnce() WD_REQUIRES(m_gate);
    DWORD openEngine() WD_REQUIRES(m_gate);
    [[nodiscard]] int openDatabase() WD_REQUIRES(m_gate);
    bool guardMap(MDB_txn* transaction) WD_REQUIRES(m_gate);
    void unguardMap() WD_REQUIRES(m_gate);
    void close() WD_REQUIRES(m_gate);
    DWORD errorFromEngine(int code) const;
    bool isDiskFull() const;

    const Home& m_home;
    const ProcessState* const m_owner;
    Gate m_gate;
    MDB_env* m_engine WD_GUARDED_BY(m_gate) = nullptr;
    MDB_dbi m_database WD_GUARDED_BY(m_gate) = 0;
    // Counts the changes made while the gate was shut: whoever finds it raised retries before changing anything itself.
    std::uint64_t m_epoch WD_GUARDED_BY(m_gate) = 0;
    std::uint64_t m_opening WD_GUARDED_BY(m_gate) = 0; // the engine's last one, as WdRegistryState has it
    NamespaceGuard m_namespace WD_GUARDED_BY(m_gate);
    void* m_map WD_GUARDED_BY(m_gate) = nullptr; // what the page guard watches
    const std::atomic<bool>* m_lost WD_GUARDED_BY(m_gate) = nullptr;
    // The data file when it was last checked; guarded by the writing turn or the shut gate.
    struct stat m_dataFile {};
    Deadline m_foundDamaged WD_GUARDED_BY(m_gate){std::chrono::milliseconds(0)}; // till when that is remembered
    // The program has closed the engine's descriptors, and may have files of its own under their numbers.
    bool m_isBereft = false;
    EngineTurn m_writing{EngineTurn::At::Writing};
    EngineTurn m_readers{EngineTurn::At::Readers};
    std::atomic<std::size_t> m_pagesToLookAt{0}; // file size at which to look for dead readers again
    std::array<PoolPlace, kShards> m_pool;       // reset read transactions: they hold no page, only a reader slot
};

inline void Transaction::end() {
    if (m_environment != nullptr)
        m_environment->end(*this);
}

} // namespace wd
