#include "Batch.h"

#include "LastError.h"
#include "ProcessState.h"
#include "RegistryStore.h"

#include <platform/registry_batch.h>

namespace wd {

namespace {

// Asked by every call of the registry, so without the check for a first use that the owner below costs.
constinit thread_local Batch* currentBatch = nullptr;
thread_local std::unique_ptr<Batch> ownedBatch; // ends with its thread

} // namespace

Batch* Batch::current() {
    return currentBatch;
}

void Batch::begin(DWORD mode) {
    if (currentBatch != nullptr) {
        ++currentBatch->m_depth;
        return;
    }
    ownedBatch = std::make_unique<Batch>(mode);
    currentBatch = ownedBatch.get();
}

LONG Batch::end() {
    if (currentBatch == nullptr)
        return ERROR_SUCCESS;
    if (--currentBatch->m_depth > 0)
        return currentBatch->m_error;
    const LONG error = currentBatch->finish();
    ownedBatch.reset();
    return error;
}

// A thread that ends inside a batch has not ended the batch: nothing of it is kept.
Batch::~Batch() {
    currentBatch = nullptr;
    dropIfInherited();
    abort();
}

void Batch::dropIfInherited() {
    if (!m_isOpen || m_environment->owner() == processState())
        return;
    m_isOpen = false;
    m_done.clear();
    m_state = State::Over;
}

Transaction* Batch::transactionOn(const RegistryStore& store) {
    dropIfInherited();
    return m_isOpen && m_store == &store ? &m_transaction : nullptr;
}

bool Batch::takes(const RegistryStore& store) {
    dropIfInherited();
    return m_state != State::Over && (m_store == nullptr || m_store == &store);
}

void Batch::abort() {
    if (!m_isOpen)
        return;
    m_isOpen = false;
    m_environment->abort(m_transaction);
}

LONG Batch::write(RegistryStore& store, const std::shared_ptr<RegistryChange>& change) {
    if (m_state == State::Failed)
        return m_error;
    if (!m_isOpen) {
        m_store = &store;
        m_environment = &store.environment();
        m_isOpen = m_environment->beginWrite(m_transaction);
    }
    for (;;) {
        const LONG result = m_isOpen ? change->apply(m_transaction) : 0;
        if (m_transaction.failure() == 0) {
            if (result != ERROR_SUCCESS)
                return fail(result);
            m_done.push_back(change);
            return ERROR_SUCCESS;
        }
        if (const LONG error = redo())
            return fail(error);
    }
}

LONG Batch::refuse(LONG error) {
    dropIfInherited();
    return m_state == State::Running ? fail(error) : error;
}

LONG Batch::repair() {
    const LONG error = redo();
    return error == ERROR_SUCCESS ? error : fail(error);
}

// After a failure of the engine: removes its cause and does again what was done. Others may have written in between, so
// even what succeeded before can be refused now; then that refusal is the result, and the transaction holds the rest.
LONG Batch::redo() {
    for (;;) {
        abort();
        if (const DWORD error = m_environment->recover(m_transaction, m_recovery))
            return static_cast<LONG>(error);
        LONG result = ERROR_SUCCESS;
        if (redoOnce(result))
            return result;
    }
}

// False when the engine failed once more.
bool Batch::redoOnce(LONG& result) {
    m_isOpen = m_environment->beginWrite(m_transaction);
    if (!m_isOpen)
        return false;
    for (const auto& change : m_done) {
        result = change->apply(m_transaction);
        if (m_transaction.failure() != 0)
            return false;
        if (result != ERROR_SUCCESS)
            return true;
    }
    return true;
}

LONG Batch::commit() {
    while (m_isOpen) {
        m_isOpen = false;
        if (m_environment->commit(m_transaction))
            break;
        if (const LONG error = redo())
            return error;
    }
    return ERROR_SUCCESS;
}

LONG Batch::fail(LONG error) {
    if (m_mode == WD_BATCH_ALL_OR_NOTHING) {
        abort();
        m_state = State::Failed;
        m_error = error;
        m_done.clear();
        return error;
    }
    // A transaction that the engine threw away is made once more without the change that broke it.
    m_state = State::Over;
    LONG result = ERROR_SUCCESS;
    m_recovery = {};
    if (!m_isOpen && !m_done.empty() && !redoOnce(result))
        result = redo();
    const LONG committed = commit();
    m_error = result != ERROR_SUCCESS ? result : committed;
    m_done.clear();
    return error;
}

LONG Batch::finish() {
    dropIfInherited();
    if (!m_isOpen)
        return m_error;
    const LONG error = commit();
    if (m_mode == WD_BATCH_KEEP_WRITTEN)
        commit(); // what is left when another process's change stood against doing it all again
    else
        abort();
    return error;
}

} // namespace wd

void WdRegBeginBatch(DWORD mode) {
    wd::Batch::begin(mode);
}

LONG WdRegEndBatch() {
    return wd::failed(static_cast<DWORD>(wd::Batch::end()));
}
