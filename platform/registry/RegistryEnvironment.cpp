#include "RegistryEnvironment.h"

#include "Deadline.h"
#include "LastError.h"
#include "PageGuard.h"
#include "RegistryName.h"

#include <chrono>
#include <cstdint>
#include <cstring>
#include <memory>

namespace wd {

namespace {

// Neither codes of the engine nor of errno.
constexpr int kClosed = -1;  // the environment isn't open
constexpr int kMapLost = -2; // somebody truncated the file: the map no longer shows what it holds

constexpr std::chrono::milliseconds kOpenPatience{80}; // how long it takes until a file counts as damaged
constexpr struct timespec kOpenPause { 0, 20'000'000 };
constexpr std::chrono::milliseconds kDamageRemembered{1000}; // meanwhile nobody waits for it to pass
constexpr int kReopenAttempts = 2;                           // for one call
constexpr int kResizeAttempts = 40; // for one call: each doubles the map or follows another process
constexpr std::size_t kPagesBetweenLooks = 64;
constexpr std::size_t kMaxMapBytes = std::size_t{1} << 40;
constexpr std::uint64_t kFullDiskBytes = std::uint64_t{4} << 20; // less free space than this explains a short write

constinit std::atomic<std::uint64_t> openings{0}; // of any environment; the child of a fork goes on counting

MDB_val engineText(std::string_view text) {
    return {text.size(), const_cast<char*>(text.data())}; // the engine doesn't write there
}

// Failures after which the environment can't be trusted any more, or is missing.
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

// A lost page takes precedence: it explains any other failure.
bool Transaction::note(int code) {
    if (m_failure == 0)
        m_failure = m_lost != nullptr && m_lost->load(std::memory_order_relaxed) ? kMapLost : code;
    return m_failure == 0;
}

bool Transaction::find(std::string_view path, std::string_view& record) {
    if (m_failure != 0)
        return false;
    const RecordKey recordKey(path);
    MDB_val key = engineText(recordKey.view());
    MDB_val value{};
    const int code = mdb_get(m_handle, m_database, &key, &value);
    if (!note(code == MDB_NOTFOUND ? 0 : code) || code == MDB_NOTFOUND)
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

// A writer has the number that its own commit will have.
std::uint64_t Transaction::generation() const {
    return mdb_txn_id(m_handle) - (m_isWriter ? 1 : 0);
}

bool RegistryEnvironment::state(WdRegistryState& state) {
    Transaction transaction;
    if (!beginRead(transaction))
        return false;
    state = {transaction.m_opening, transaction.generation()};
    transaction.end();
    return transaction.failure() == 0;
}

// A commit's number is in the file before any read sees the commit: meanwhile, and for good if its process is killed
// there, only a transaction tells which state a read sees. In the file it must be looked for all the same: one that was
// written over while it was open, which nobody may do, hardly has the same, and the readers' table doesn't know it.
bool RegistryEnvironment::isState(const WdRegistryState& state) {
    const std::uint64_t newest = newestCommit(state.opening);
    if (newest != state.generation + 1)
        return newest != 0 && newest == state.generation;
    WdRegistryState seen{};
    return this->state(seen) && seen == state;
}

std::uint64_t RegistryEnvironment::newestCommit(std::uint64_t opening) {
    MDB_envinfo info{};
    m_gate.enter();
    if (m_engine != nullptr && m_opening == opening)
        mdb_env_info(m_engine, &info);
    if (m_lost != nullptr && m_lost->load(std::memory_order_relaxed))
        info.me_last_txnid = 0;
    m_gate.leave();
    return info.me_last_txnid;
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
        // A reader that has lost its slot to another process must not be ended: that would write into the slot. This
        // leaks a few hundred bytes, once.
        if (code != MDB_BAD_RSLOT) {
            givePooled(reader);
            return code;
        }
    }
    const int code = makeReader(transaction.m_handle);
    if (code != MDB_READERS_FULL)
        return code;
    // All slots are taken by living processes. A write transaction needs none: slower, but an answer.
    transaction.m_isWriter = true;
    return startWriter(transaction.m_handle);
}

int RegistryEnvironment::makeReader(MDB_txn*& reader) {
    int code = m_readers.take(m_namespace);
    if (code != 0)
        return code;
    code = mdb_txn_begin(m_engine, nullptr, MDB_RDONLY, &reader);
    int cleared = 0;
    if (code == MDB_READERS_FULL && mdb_reader_check(m_engine, &cleared) == 0)
        code = mdb_txn_begin(m_engine, nullptr, MDB_RDONLY, &reader);
    m_readers.give(m_namespace);
    return code;
}

// Takes the readers' turn too: a writer that follows a dead one clears dead readers.
int RegistryEnvironment::startWriter(MDB_txn*& writer) {
    int code = m_writing.take(m_namespace);
    if (code != 0)
        return code;
    code = m_readers.take(m_namespace);
    if (code == 0) {
        code = mdb_txn_begin(m_engine, nullptr, 0, &writer);
        m_readers.give(m_namespace);
    }
    if (code != 0)
        m_writing.give(m_namespace);
    return code;
}

void RegistryEnvironment::start(Transaction& transaction, bool isWriter) {
    transaction.m_environment = this;
    transaction.m_handle = nullptr;
    transaction.m_database = m_database;
    transaction.m_failure = 0;
    transaction.m_epoch = m_epoch;
    transaction.m_opening = m_opening;
    transaction.m_lost = m_lost;
    transaction.m_isWriter = isWriter;
}

// The gate stays entered from a begin to the transaction's end, which the analysis can't follow.
bool RegistryEnvironment::beginRead(Transaction& transaction) WD_NO_THREAD_SAFETY_ANALYSIS {
    m_gate.enter();
    start(transaction, false);
    if (!transaction.note(startReader(transaction)))
        end(transaction);
    return transaction.isRunning();
}

bool RegistryEnvironment::beginWrite(Transaction& transaction) WD_NO_THREAD_SAFETY_ANALYSIS {
    m_gate.enter();
    start(transaction, true);
    if (m_engine != nullptr)
        forgetDeadReadersOfGrownFile(); // before startWriter: no turn is taken while holding the engine's mutex
    if (!transaction.note(m_engine == nullptr ? kClosed : startWriter(transaction.m_handle)))
        end(transaction);
    return transaction.isRunning();
}

void RegistryEnvironment::end(Transaction& transaction) WD_NO_THREAD_SAFETY_ANALYSIS {
    transaction.note(0); // what was read may have come from a lost page
    MDB_txn* handle = std::exchange(transaction.m_handle, nullptr);
    if (handle != nullptr && transaction.m_isWriter) {
        mdb_txn_abort(handle);
        m_writing.give(m_namespace);
    } else if (handle != nullptr) {
        mdb_txn_reset(handle);
        givePooled(handle);
    }
    transaction.m_environment = nullptr;
    m_gate.leave();
}

int RegistryEnvironment::forgetDeadReaders(int& cleared) {
    int code = m_readers.take(m_namespace);
    if (code != 0)
        return code;
    code = mdb_reader_check(m_engine, &cleared);
    m_readers.give(m_namespace);
    return code;
}

// A killed reader keeps the pages of its snapshot until somebody looks for dead readers, and the file grows by all that
// is written meanwhile. So whoever finds it grown by a quarter looks.
void RegistryEnvironment::forgetDeadReadersOfGrownFile() {
    MDB_envinfo info{};
    mdb_env_info(m_engine, &info);
    if (info.me_last_pgno < m_pagesToLookAt.load(std::memory_order_relaxed))
        return;
    int cleared = 0;
    static_cast<void>(forgetDeadReaders(cleared)); // the next look comes when the file has grown again
    m_pagesToLookAt.store(info.me_last_pgno + info.me_last_pgno / 4 + kPagesBetweenLooks, std::memory_order_relaxed);
}

// The engine never makes its file shorter. It would write into one that somebody else has truncated or removed, and
// call that a success.
bool RegistryEnvironment::fileWasCut() {
    mdb_filehandle_t file = -1;
    struct stat status {};
    mdb_env_get_fd(m_engine, &file);
    const bool isKnown = sys::fstat(file, &status) == 0;
    if (!isKnown && errno != EBADF)
        return false;
    m_isBereft = !isKnown || !isSameFile(status, m_dataFile);
    const struct stat before = std::exchange(m_dataFile, status);
    return m_isBereft || status.st_size < before.st_size || status.st_nlink == 0;
}

bool RegistryEnvironment::commit(Transaction& transaction) WD_NO_THREAD_SAFETY_ANALYSIS {
    if (transaction.note(fileWasCut() ? kMapLost : 0)) {
        transaction.note(mdb_txn_commit(std::exchange(transaction.m_handle, nullptr)));
        m_writing.give(m_namespace);
    }
    end(transaction);
    return transaction.failure() == 0;
}

DWORD RegistryEnvironment::recover(const Transaction& transaction, Recovery& recovery) {
    const int code = transaction.failure();
    if (code == kMapLost)
        return giveUpLostMap(transaction.m_epoch);
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
    std::size_t bytes = 0; // 0: the size that another process gave it
    if (grow) {
        int cleared = 0;
        if (forgetDeadReaders(cleared) == 0 && cleared > 0)
            return ERROR_SUCCESS; // what dead readers held may be enough
        MDB_envinfo info{};
        mdb_env_info(m_engine, &info);
        if (info.me_mapsize >= kMaxMapBytes)
            return ERROR_DISK_FULL;
        bytes = info.me_mapsize * 2;
    }
    unguardMap();
    int code = mdb_env_set_mapsize(m_engine, bytes);
    if (code == 0)
        code = openDatabase();
    if (code == 0 || code == MDB_MAP_RESIZED) // it has grown again: the next call follows
        return ERROR_SUCCESS;
    // The old map is gone by now: only a new environment has one again.
    close();
    return errorFromEngine(code);
}

// The next call reopens the file and sees what it holds then.
DWORD RegistryEnvironment::giveUpLostMap(std::uint64_t epoch) {
    const GateShut shut(m_gate);
    if (m_epoch == epoch)
        close();
    return ERROR_BADDB;
}

void RegistryEnvironment::close() {
    unguardMap();
    for (auto& place : m_pool)
        if (MDB_txn* reader = place.reader.exchange(nullptr, std::memory_order_acquire))
            mdb_txn_abort(reader);
    if (!std::exchange(m_isBereft, false)) // else it is leaked: it would close the program's files
        mdb_env_close(m_engine);
    m_engine = nullptr;
    ++m_epoch;
}

DWORD RegistryEnvironment::openWithPatience() {
    DWORD error = m_home.ensure();
    if (error != ERROR_SUCCESS)
        return error;
    const Deadline patience(kOpenPatience);
    for (;;) {
        error = openOnce();
        if (error != ERROR_BADDB && error != ERROR_REGISTRY_CORRUPT && error != ERROR_REGISTRY_IO_FAILED)
            return error;
        // A call may ask hundreds of times: only the first of them waits.
        if (!m_foundDamaged.isOver())
            return error;
        if (patience.isOver()) {
            m_foundDamaged = Deadline(kDamageRemembered);
            return error;
        }
        sys::nanosleep(&kOpenPause, nullptr);
    }
}

namespace {

// Releases the locks unless the opening succeeds, whatever ends it.
class Opening {
  public:
    explicit Opening(NamespaceGuard& guard) : m_guard(guard) {}
    ~Opening() {
        if (!m_succeeded)
            m_guard.release();
    }
    Opening(const Opening&) = delete;
    Opening& operator=(const Opening&) = delete;

    void succeed() {
        m_guard.endOpening();
        m_succeeded = true;
    }

  private:
    NamespaceGuard& m_guard;
    bool m_succeeded = false;
};

} // namespace

DWORD RegistryEnvironment::openOnce() {
    const StandardDescriptors kept(m_home);
    Opening opening(m_namespace);
    DWORD error = m_namespace.acquire(m_home);
    if (error == ERROR_SUCCESS)
        error = RegistryFiles::prepareLockFile(m_home);
    if (error == ERROR_SUCCESS)
        error = RegistryFiles::prepareDataFile(m_home, m_namespace);
    if (error == ERROR_SUCCESS)
        error = openEngine();
    if (error == ERROR_SUCCESS)
        opening.succeed();
    return error;
}

DWORD RegistryEnvironment::openEngine() {
    // What may throw comes first: not once there is an environment to leak.
    FileDescriptor copy;
    if (m_home.isReadOnly())
        if (const DWORD error = RegistryFiles::copyDataFile(m_home, copy))
            return error;
    const std::string path =
        copy.valid() ? "/proc/self/fd/" + std::to_string(copy.get()) : m_home.registryPath().string();
    const PageFaults faults; // the map's address is known only at the end
    int code = mdb_env_create(&m_engine);
    if (code == 0)
        code = mdb_env_set_maxreaders(m_engine, RegistryFiles::kReaders);
    // Without syncs a commit still survives a killed process: its pages are with the system by then, in their order.
    const unsigned flags = MDB_NOTLS | (m_home.durable() ? 0u : unsigned{MDB_NOSYNC}) |
                           (copy.valid() ? unsigned{MDB_RDONLY | MDB_NOLOCK | MDB_NOSUBDIR} : 0u);
    if (code == 0)
        code = mdb_env_open(m_engine, path.c_str(), flags, 0600);
    mdb_filehandle_t file = -1;
    if (code == 0)
        code = mdb_env_get_fd(m_engine, &file);
    if (code == 0 && sys::fcntl_setfd(file, FD_CLOEXEC) != 0) // the one descriptor that the engine opens without it
        code = errno;
    m_dataFile = {};
    if (code == 0 && sys::fstat(file, &m_dataFile) != 0)
        code = errno;
    int cleared = 0;
    if (code == 0)
        code = forgetDeadReaders(cleared);
    if (code == 0)
        code = openDatabase();
    if (code == 0 && faults.happened())
        code = MDB_CORRUPTED;
    if (code == 0) {
        m_opening = ++openings;
        return ERROR_SUCCESS;
    }
    close();
    return errorFromEngine(code);
}

// Even the file's main database needs a handle, which any transaction may open.
int RegistryEnvironment::openDatabase() {
    MDB_txn* transaction = nullptr;
    int code = makeReader(transaction);
    const bool isWriter = code == MDB_READERS_FULL;
    if (isWriter)
        code = startWriter(transaction);
    if (code != 0)
        return code;
    code = mdb_dbi_open(transaction, nullptr, 0, &m_database);
    if (code == 0 && !guardMap(transaction))
        code = MDB_CORRUPTED;
    mdb_txn_abort(transaction);
    if (isWriter)
        m_writing.give(m_namespace);
    return code;
}

// The engine doesn't say where its map is; but a record lies in it, and each page begins with its number. False when
// the root's record is missing, which no registry lacks.
bool RegistryEnvironment::guardMap(MDB_txn* transaction) {
    const RecordKey recordKey("");
    MDB_val key = engineText(recordKey.view());
    MDB_val value{};
    MDB_stat database{};
    MDB_envinfo info{};
    if (mdb_get(transaction, m_database, &key, &value) != 0 || mdb_stat(transaction, m_database, &database) != 0 ||
        mdb_env_info(m_engine, &info) != 0)
        return false;
    const auto page = reinterpret_cast<std::uintptr_t>(value.mv_data) / database.ms_psize * database.ms_psize;
    std::uint64_t number = 0;
    std::memcpy(&number, reinterpret_cast<const void*>(page), sizeof number);
    if (number > info.me_last_pgno)
        return false;
    m_map = reinterpret_cast<void*>(page - number * database.ms_psize);
    m_lost = guardPages(m_map, info.me_mapsize);
    return true;
}

void RegistryEnvironment::unguardMap() {
    if (m_lost != nullptr)
        unguardPages(m_map);
    m_lost = nullptr;
}

bool RegistryEnvironment::isDiskFull() const {
    struct statvfs status {};
    return sys::statvfs(m_home.registryPath().c_str(), &status) == 0 &&
           std::uint64_t{status.f_bavail} * status.f_frsize < kFullDiskBytes;
}

DWORD RegistryEnvironment::errorFromEngine(int code) const {
    if (code > 0 && code != EIO && code != EINVAL && code != EBADF) // those would blame the caller's arguments
        return errorFromErrno(code);
    switch (code) {
    case 0:
        return ERROR_SUCCESS;
    case EIO: // the engine also returns this for a short write
        return isDiskFull() ? ERROR_DISK_FULL : ERROR_REGISTRY_IO_FAILED;
    case MDB_MAP_FULL:
        return ERROR_DISK_FULL;
    case MDB_READERS_FULL:
    case MDB_TXN_FULL:
        return ERROR_NO_SYSTEM_RESOURCES;
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
