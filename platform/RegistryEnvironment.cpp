#include "RegistryEnvironment.h"

#include "LastError.h"
#include "RegistryName.h"

#include <algorithm>
#include <memory>

namespace wd {

namespace {

constexpr int kClosed = -1;         // the environment isn't open; no code of the engine or of errno
constexpr int kOpenAttempts = 5;    // before a file counts as damaged
constexpr int kReopenAttempts = 2;  // for one call
constexpr int kResizeAttempts = 40; // for one call: each doubles the map or follows another process
constexpr struct timespec kOpenPause { 0, 20'000'000 };
constexpr std::size_t kPagesBetweenLooks = 64;
constexpr std::size_t kMaxMapBytes = std::size_t{1} << 40;
constexpr std::uint64_t kFullDiskBytes = std::uint64_t{4} << 20; // less free space than this explains a short write

MDB_val engineText(std::string_view text) {
    return {text.size(), const_cast<char*>(text.data())}; // the engine doesn't write there
}

// Failures after which the environment can't be trusted any more, or isn't there.
bool isFatal(int code) {
    switch (code) {
    case kClosed:
    case MDB_PANIC:
    case MDB_CORRUPTED:
    case MDB_PAGE_NOTFOUND:
    case MDB_INVALID:
    case MDB_VERSION_MISMATCH:
    case MDB_BAD_TXN:
    case MDB_BAD_DBI:
    case MDB_BAD_RSLOT:
    case EINVAL:
        return true;
    default:
        return false;
    }
}

} // namespace

bool Transaction::note(int code) {
    if (code != 0 && m_failure == 0)
        m_failure = code;
    return code == 0;
}

bool Transaction::find(std::string_view path, std::string_view& record) {
    if (m_failure != 0)
        return false;
    const RecordKey recordKey(path);
    MDB_val key = engineText(recordKey.view());
    MDB_val value{};
    const int code = mdb_get(m_handle, m_database, &key, &value);
    if (code == MDB_NOTFOUND || !note(code))
        return false;
    record = {static_cast<const char*>(value.mv_data), value.mv_size};
    return true;
}

bool Transaction::put(std::string_view path, std::string_view record) {
    if (m_failure != 0)
        return false;
    const RecordKey recordKey(path);
    MDB_val key = engineText(recordKey.view());
    MDB_val value = engineText(record);
    return note(mdb_put(m_handle, m_database, &key, &value, 0));
}

bool Transaction::erase(std::string_view path) {
    if (m_failure != 0)
        return false;
    const RecordKey recordKey(path);
    MDB_val key = engineText(recordKey.view());
    return note(mdb_del(m_handle, m_database, &key, nullptr));
}

MDB_txn* RegistryEnvironment::takePooled() {
    const std::size_t start = threadShard();
    for (std::size_t i = 0; i < kShards; ++i) {
        auto& place = m_pool[(start + i) % kShards].reader;
        if (place.load(std::memory_order_relaxed) == nullptr)
            continue;
        if (MDB_txn* reader = place.exchange(nullptr, std::memory_order_acquire))
            return reader;
    }
    return nullptr;
}

void RegistryEnvironment::givePooled(MDB_txn* reader) {
    const std::size_t start = threadShard();
    for (std::size_t i = 0; i < kShards; ++i) {
        auto& place = m_pool[(start + i) % kShards].reader;
        MDB_txn* expected = nullptr;
        if (place.load(std::memory_order_relaxed) == nullptr &&
            place.compare_exchange_strong(expected, reader, std::memory_order_release, std::memory_order_relaxed))
            return;
    }
    mdb_txn_abort(reader);
}

int RegistryEnvironment::startReader(Transaction& transaction) {
    if (m_engine == nullptr)
        return kClosed;
    if (MDB_txn* reader = takePooled()) {
        const int code = mdb_txn_renew(reader);
        if (code == 0) {
            transaction.m_handle = reader;
            return 0;
        }
        // A reader that has lost its place to another process must not be ended: that would write into the place. What
        // it holds is a few hundred bytes, lost once.
        if (code != MDB_BAD_RSLOT) {
            givePooled(reader);
            return code;
        }
    }
    return makeReader(transaction);
}

int RegistryEnvironment::makeReader(Transaction& transaction) {
    int code = mdb_txn_begin(m_engine, nullptr, MDB_RDONLY, &transaction.m_handle);
    if (code == MDB_READERS_FULL) {
        int cleared = 0;
        code = mdb_reader_check(m_engine, &cleared);
        if (code == 0)
            code = mdb_txn_begin(m_engine, nullptr, MDB_RDONLY, &transaction.m_handle);
    }
    if (code != MDB_READERS_FULL)
        return code;
    // All places are taken by the living. The writer's transaction needs none: slower, but an answer.
    code = mdb_txn_begin(m_engine, nullptr, 0, &transaction.m_handle);
    transaction.m_isWriter = code == 0;
    return code;
}

// The gate stays entered from here to endRead, which the analysis can't follow through a failure's early leave.
bool RegistryEnvironment::beginRead(Transaction& transaction) WD_NO_THREAD_SAFETY_ANALYSIS {
    m_gate.enter();
    transaction.m_epoch = m_epoch;
    transaction.m_database = m_database;
    if (transaction.note(startReader(transaction)))
        return true;
    m_gate.leave();
    return false;
}

void RegistryEnvironment::endRead(Transaction& transaction) WD_NO_THREAD_SAFETY_ANALYSIS {
    if (transaction.m_isWriter) {
        mdb_txn_abort(transaction.m_handle);
    } else {
        mdb_txn_reset(transaction.m_handle);
        givePooled(transaction.m_handle);
    }
    m_gate.leave();
}

bool RegistryEnvironment::beginWrite(Transaction& transaction) WD_NO_THREAD_SAFETY_ANALYSIS {
    transaction = Transaction();
    m_gate.enter();
    transaction.m_epoch = m_epoch;
    transaction.m_database = m_database;
    transaction.m_isWriter = true;
    const int code = m_engine == nullptr ? kClosed : mdb_txn_begin(m_engine, nullptr, 0, &transaction.m_handle);
    if (transaction.note(code)) {
        forgetDeadReaders();
        return true;
    }
    m_gate.leave();
    return false;
}

// A reader that was killed holds the pages of its moment until somebody looks for the dead, and the file grows by all
// that is written meanwhile. So whoever finds it grown by a quarter looks.
void RegistryEnvironment::forgetDeadReaders() {
    MDB_envinfo info{};
    mdb_env_info(m_engine, &info);
    if (info.me_last_pgno < m_pagesToLookAt.load(std::memory_order_relaxed))
        return;
    int cleared = 0;
    mdb_reader_check(m_engine, &cleared);
    m_pagesToLookAt.store(info.me_last_pgno + info.me_last_pgno / 4 + kPagesBetweenLooks, std::memory_order_relaxed);
}

bool RegistryEnvironment::commit(Transaction& transaction) WD_NO_THREAD_SAFETY_ANALYSIS {
    const bool done = transaction.note(mdb_txn_commit(transaction.m_handle));
    transaction.m_handle = nullptr;
    m_gate.leave();
    return done;
}

void RegistryEnvironment::abort(Transaction& transaction) WD_NO_THREAD_SAFETY_ANALYSIS {
    mdb_txn_abort(transaction.m_handle);
    transaction.m_handle = nullptr;
    m_gate.leave();
}

DWORD RegistryEnvironment::recover(const Transaction& transaction, Recovery& recovery) {
    const int code = transaction.failure();
    if (code == MDB_MAP_FULL || code == MDB_MAP_RESIZED) {
        if (++recovery.resized > kResizeAttempts)
            return ERROR_DISK_FULL;
        return resize(transaction.m_epoch, code == MDB_MAP_FULL);
    }
    if (isFatal(code) && ++recovery.reopened <= kReopenAttempts)
        return reopen(transaction.m_epoch);
    return errorFromEngine(code);
}

DWORD RegistryEnvironment::reopen(std::uint64_t epoch) {
    const GateShut shut(m_gate);
    if (m_engine != nullptr && m_epoch != epoch)
        return ERROR_SUCCESS;
    close();
    return openWithPatience();
}

DWORD RegistryEnvironment::resize(std::uint64_t epoch, bool grow) {
    const GateShut shut(m_gate);
    if (m_epoch != epoch || m_engine == nullptr)
        return ERROR_SUCCESS;
    ++m_epoch;
    std::size_t bytes = 0; // the size that another process has given it
    if (grow) {
        int cleared = 0;
        if (mdb_reader_check(m_engine, &cleared) == 0 && cleared > 0)
            return ERROR_SUCCESS; // what the dead held may be enough
        MDB_envinfo info{};
        mdb_env_info(m_engine, &info);
        if (info.me_mapsize >= kMaxMapBytes)
            return ERROR_DISK_FULL;
        bytes = info.me_mapsize * 2;
    }
    const int code = mdb_env_set_mapsize(m_engine, bytes);
    if (code == 0)
        return ERROR_SUCCESS;
    // The old map is gone by now: only a new environment has one again.
    const DWORD error = errorFromEngine(code);
    close();
    return error;
}

void RegistryEnvironment::close() {
    for (auto& place : m_pool)
        if (MDB_txn* reader = place.reader.exchange(nullptr, std::memory_order_acquire))
            mdb_txn_abort(reader);
    mdb_env_close(m_engine);
    m_engine = nullptr;
    ++m_epoch;
}

DWORD RegistryEnvironment::openWithPatience() {
    DWORD error = m_home.ensure();
    if (error != ERROR_SUCCESS)
        return error;
    for (int attempt = 0; attempt < kOpenAttempts; ++attempt) {
        if (attempt > 0)
            sys::nanosleep(&kOpenPause, nullptr);
        error = openOnce();
        if (error != ERROR_BADDB && error != ERROR_REGISTRY_CORRUPT && error != ERROR_REGISTRY_IO_FAILED)
            break;
    }
    return error;
}

DWORD RegistryEnvironment::openOnce() {
    if (const DWORD error = m_namespace.acquire(m_home))
        return error;
    DWORD error = RegistryFiles::prepareLockFile(m_home);
    if (error == ERROR_SUCCESS)
        error = RegistryFiles::prepareDataFile(m_home, m_namespace);
    if (error == ERROR_SUCCESS)
        error = openEngine();
    if (error == ERROR_SUCCESS)
        m_namespace.endOpening();
    else
        m_namespace = NamespaceGuard();
    return error;
}

DWORD RegistryEnvironment::openEngine() {
    int code = mdb_env_create(&m_engine);
    if (code == 0)
        code = mdb_env_set_maxreaders(m_engine, RegistryFiles::kReaders);
    // Without its syncs a commit still survives a killed process: the pages are the system's by then, in their order.
    const unsigned flags = MDB_NOTLS | (m_home.durable() ? 0u : unsigned{MDB_NOSYNC});
    if (code == 0)
        code = mdb_env_open(m_engine, m_home.registryPath().c_str(), flags, 0600);
    mdb_filehandle_t file = -1;
    if (code == 0)
        code = mdb_env_get_fd(m_engine, &file);
    if (code == 0 && sys::fcntl_setfd(file, FD_CLOEXEC) != 0) // the engine's one descriptor without it
        code = errno;
    int cleared = 0;
    if (code == 0)
        code = mdb_reader_check(m_engine, &cleared);
    if (code == 0)
        code = openDatabase();
    if (code == 0)
        return ERROR_SUCCESS;
    const DWORD error = errorFromEngine(code);
    close();
    return error;
}

// The main database of the file needs a handle too, which any transaction may ask for.
int RegistryEnvironment::openDatabase() {
    MDB_txn* transaction = nullptr;
    int code = mdb_txn_begin(m_engine, nullptr, MDB_RDONLY, &transaction);
    if (code == MDB_READERS_FULL)
        code = mdb_txn_begin(m_engine, nullptr, 0, &transaction);
    if (code != 0)
        return code;
    code = mdb_dbi_open(transaction, nullptr, 0, &m_database);
    mdb_txn_abort(transaction);
    return code;
}

DWORD RegistryEnvironment::flush() {
    if (m_home.durable())
        return ERROR_SUCCESS;
    return static_cast<DWORD>(read([this](Transaction& transaction) -> LONG {
        const int code = mdb_env_sync(mdb_txn_env(transaction.m_handle), 1);
        return static_cast<LONG>(errorFromEngine(code));
    }));
}

bool RegistryEnvironment::isDiskFull() const {
    struct statvfs status {};
    return sys::statvfs(m_home.registryPath().c_str(), &status) == 0 &&
           std::uint64_t{status.f_bavail} * status.f_frsize < kFullDiskBytes;
}

DWORD RegistryEnvironment::errorFromEngine(int code) const {
    if (code > 0 && code != EIO && code != EINVAL && code != EBADF) // those would speak of the caller's arguments
        return errorFromErrno(code);
    switch (code) {
    case 0:
        return ERROR_SUCCESS;
    case EIO: // the engine says this of a write that came back short, too
        return isDiskFull() ? ERROR_DISK_FULL : ERROR_REGISTRY_IO_FAILED;
    case MDB_MAP_FULL:
        return ERROR_DISK_FULL;
    case MDB_READERS_FULL:
    case MDB_TXN_FULL:
        return ERROR_NOT_ENOUGH_MEMORY;
    case MDB_INVALID:
    case MDB_VERSION_MISMATCH:
        return ERROR_BADDB;
    case MDB_PANIC:
    case MDB_CORRUPTED:
    case MDB_PAGE_NOTFOUND:
        return ERROR_REGISTRY_CORRUPT;
    default:
        return ERROR_REGISTRY_IO_FAILED;
    }
}

} // namespace wd
