#include "RegistryBatch.h"

#include "LastError.h"
#include "ProcessState.h"
#include "RegistryStore.h"
#include "ThreadEnd.h"

#include <platform/registry_batch.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <new>

namespace wd {

namespace {

// The calling thread's batch, which is in batchPlace. It ends with the thread.
constinit thread_local Batch* currentBatch = nullptr;
alignas(Batch) constinit thread_local std::array<std::byte, sizeof(Batch)> batchPlace{};

void endBatch() {
    if (currentBatch != nullptr)
        std::destroy_at(currentBatch);
}

__attribute__((constructor)) void watchThreadEnds() {
    setAtThreadEnd(AtThreadEnd::Batch, endBatch);
}

} // namespace

Batch* Batch::current() {
    return currentBatch;
}

void Batch::begin(DWORD mode) {
    if (currentBatch != nullptr) {
        ++currentBatch->m_depth;
        return;
    }
    watchThreadEnd(); // if memory is exhausted, a batch that its thread never ends stays until the process ends
    currentBatch = ::new (batchPlace.data()) Batch(mode);
}

LONG Batch::end() {
    if (currentBatch == nullptr)
        return ERROR_SUCCESS;
    if (--currentBatch->m_depth > 0)
        return currentBatch->m_error;
    const LONG error = currentBatch->finish();
    endBatch();
    return error;
}

void Batch::abandon() {
    if (currentBatch == nullptr)
        return;
    currentBatch->dropIfInherited();
    currentBatch->discard(ERROR_OPERATION_ABORTED);
    if (--currentBatch->m_depth == 0)
        endBatch();
}

// A thread that ends inside a batch hasn't ended the batch: none of it is kept.
Batch::~Batch() {
    currentBatch = nullptr;
    dropIfInherited();
}

void Batch::dropIfInherited() {
    if (!m_transaction.isRunning() || isOwnProcess(m_environment->owner()))
        return;
    m_transaction.forget();
    m_done.clear();
    m_state = State::Over;
}

Transaction* Batch::transactionOn(const RegistryStore& store) {
    dropIfInherited();
    return m_transaction.isRunning() && m_store == &store ? &m_transaction : nullptr;
}

bool Batch::takes(const RegistryStore& store) {
    dropIfInherited();
    return m_state != State::Over && (m_store == nullptr || m_store == &store);
}

LONG Batch::write(RegistryStore& store, const std::shared_ptr<RegistryChange>& change) {
    if (m_state == State::Failed)
        return m_error;
    if (!m_transaction.isRunning()) {
        RegistryEnvironment& environment = store.environment();
        m_store = &store;
        m_environment = &environment;
        m_environment->beginWrite(m_transaction);
    }
    const LONG error = withinMemory([&] { return add(change); });
    return error == ERROR_SUCCESS ? error : fail(error);
}

// Reserves room first: a change that was applied must be remembered, and one that throws hasn't been applied.
LONG Batch::add(const std::shared_ptr<RegistryChange>& change) {
    if (m_done.size() == m_done.capacity())
        m_done.reserve(std::max<std::size_t>(32, 2 * m_done.size()));
    for (;;) {
        const LONG result = m_transaction.isRunning() ? change->apply(m_transaction) : 0;
        if (m_transaction.failure() == 0) {
            if (result == ERROR_SUCCESS)
                m_done.push_back(change);
            return result;
        }
        if (const LONG error = redo())
            return error;
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

// After a failure of the engine: removes its cause and redoes the changes. Others may have written in between, so even
// a change that succeeded before can be refused now; then that refusal is the result, and the transaction has the
// changes before it.
LONG Batch::redo() {
    return withinMemory([this]() -> LONG {
        for (;;) {
            m_transaction.end();
            if (const DWORD error = m_environment->recover(m_transaction, m_recovery))
                return static_cast<LONG>(error);
            LONG result = ERROR_SUCCESS;
            if (redoOnce(result))
                return result;
        }
    });
}

// False when the engine failed again. A transaction that is incomplete for lack of memory is ended.
bool Batch::redoOnce(LONG& result) {
    if (!m_environment->beginWrite(m_transaction))
        return false;
    for (const auto& change : m_done) {
        result = withinMemory([&] { return change->apply(m_transaction); });
        if (m_transaction.failure() != 0)
            return false;
        if (result == ERROR_NOT_ENOUGH_MEMORY)
            m_transaction.end();
        if (result != ERROR_SUCCESS)
            return true;
    }
    return true;
}

LONG Batch::commit() {
    while (m_transaction.isRunning()) {
        if (m_environment->commit(m_transaction))
            break;
        if (const LONG error = redo())
            return error;
    }
    return ERROR_SUCCESS;
}

LONG Batch::fail(LONG error) {
    if (m_mode == WD_BATCH_ALL_OR_NOTHING) {
        discard(error);
        return error;
    }
    // A transaction that the engine threw away is redone without the change that broke it.
    m_state = State::Over;
    LONG result = ERROR_SUCCESS;
    m_recovery = {};
    if (!m_transaction.isRunning() && !m_done.empty() && !redoOnce(result))
        result = redo();
    const LONG committed = commit();
    m_error = result != ERROR_SUCCESS ? result : committed;
    m_done.clear();
    return error;
}

void Batch::discard(LONG error) {
    m_transaction.end();
    m_done.clear();
    m_state = State::Failed;
    m_error = error;
}

LONG Batch::finish() {
    dropIfInherited();
    if (!m_transaction.isRunning())
        return m_error;
    const LONG error = commit();
    if (m_mode == WD_BATCH_KEEP_WRITTEN)
        commit(); // what could be redone when another process's change got in the way of the rest
    else
        m_transaction.end();
    return error;
}

} // namespace wd

void WdRegBeginBatch(DWORD mode) {
    wd::Batch::begin(mode);
}

LONG WdRegEndBatch() {
    return wd::failed(static_cast<DWORD>(wd::withinMemory([] { return wd::Batch::end(); })));
}

void WdRegAbandonBatch() {
    wd::Batch::abandon();
}
