#include "RegistryFiles.h"

#include "FileLock.h"
#include "LastError.h"
#include "RegistryName.h"
#include "RegistryRecord.h"

#include <platform/home.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <lmdb.h>
#include <memory>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <unistd.h>

namespace wd {

namespace fs = std::filesystem;

namespace {

constexpr off_t kUserByte = 0;
constexpr off_t kOpenerByte = 1;
constexpr std::size_t kNamespaceLimit = 64;

// Opens a file of the registry for reading and writing, or makes it with exactly `mode`, whatever the process's umask
// is.
FileDescriptor openOrMake(const fs::path& path, mode_t mode) {
    constexpr int kFlags = O_RDWR | O_CLOEXEC | O_NOFOLLOW;
    FileDescriptor file(sys::open(path.c_str(), kFlags, 0));
    if (file.valid() || errno != ENOENT)
        return file;
    file = FileDescriptor(sys::open(path.c_str(), kFlags | O_CREAT | O_EXCL, mode));
    if (file.valid() && sys::fchmod(file.get(), mode) != 0)
        file.reset();
    if (!file.valid() && errno == EEXIST) // another process was first
        file = FileDescriptor(sys::open(path.c_str(), kFlags, 0));
    return file;
}

DWORD syncDirectory(const fs::path& path) {
    const FileDescriptor directory(sys::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
    return directory.valid() && sys::fsync(directory.get()) == 0 ? ERROR_SUCCESS : systemError();
}

// Device and inode of this process's process-id namespace; empty when unknown.
std::string ownNamespace() {
    struct stat status {};
    if (sys::stat("/proc/self/ns/pid", &status) != 0)
        return {};
    return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) + "\n";
}

bool isNamespace(std::string_view text) {
    constexpr std::string_view kDigits = "0123456789";
    const auto colon = text.find_first_not_of(kDigits);
    if (colon == 0 || colon == std::string_view::npos || text[colon] != ':')
        return false;
    const auto end = text.find_first_not_of(kDigits, colon + 1);
    return end > colon + 1 && end + 1 == text.size() && text[end] == '\n';
}

// Mostly it is there already. Some file systems wait for the disk when a file that was truncated is truncated again.
DWORD storeNamespace(int file, const std::string& text) {
    if (readWhole(file, kNamespaceLimit) == text)
        return ERROR_SUCCESS;
    if (sys::ftruncate(file, 0) != 0)
        return systemError();
    const ssize_t written = sys::pwrite(file, text.data(), text.size(), 0);
    if (written < 0)
        return systemError();
    return static_cast<std::size_t>(written) == text.size() ? ERROR_SUCCESS : ERROR_DISK_FULL;
}

} // namespace

void NamespaceGuard::release() {
    if (!m_file.valid())
        return;
    for (off_t byte = kUserByte; byte <= kOpenerByte; ++byte)
        lockByte(m_file.get(), byte, F_UNLCK);
    m_file.reset();
}

DWORD NamespaceGuard::acquire(const Home& home) {
    release();
    m_isFirst = false;
    const std::string path = (home.isReadOnly() ? home.locksPath() : home.registryPath()) / "namespace";
    Home::Modes modes{};
    if (const DWORD error = home.registryModes(modes))
        return error;
    m_file = LockDescriptor::from([&] { return openOrMake(path, modes.file); });
    if (!m_file.valid())
        return systemError();
    DWORD error = lockByte(m_file.get(), kOpenerByte, F_WRLCK, F_OFD_SETLKW) ? ERROR_SUCCESS : systemError();
    if (error == ERROR_SUCCESS)
        error = enter(home, path);
    if (error != ERROR_SUCCESS)
        release();
    return error;
}

// Whoever finds the byte unlocked is the only user and writes the namespace; the write lock becomes the read lock
// atomically, so nobody else can find it unlocked meanwhile.
DWORD NamespaceGuard::enter(const Home& home, const std::string& file) {
    const std::string own = ownNamespace();
    if (own.empty()) {
        std::fprintf(stderr, "wdltcfg: /proc/self/ns/pid can't be read, so %s can't be shared safely\n",
                     home.path().c_str());
        return ERROR_SHARING_VIOLATION;
    }
    m_isFirst = lockByte(m_file.get(), kUserByte, F_WRLCK);
    if (m_isFirst) {
        if (const DWORD error = storeNamespace(m_file.get(), own))
            return error;
    } else if (errno != EAGAIN && errno != EACCES) {
        return systemError();
    }
    if (!lockByte(m_file.get(), kUserByte, F_RDLCK, F_OFD_SETLKW))
        return systemError();
    const auto stored = readWhole(m_file.get(), kNamespaceLimit);
    if (!stored && errno != EFBIG)
        return systemError();
    if (!stored || !isNamespace(*stored)) {
        std::fprintf(stderr, "wdltcfg: %s doesn't hold what its users wrote there: something else has written to it\n",
                     file.c_str());
        return ERROR_INVALID_DATA;
    }
    if (*stored != own) {
        std::fprintf(stderr,
                     "wdltcfg: %s is in use from another process-id namespace (%s): two of them can't share a home\n",
                     home.path().c_str(), file.c_str());
        return ERROR_SHARING_VIOLATION;
    }
    return ERROR_SUCCESS;
}

void NamespaceGuard::endOpening() {
    lockByte(m_file.get(), kOpenerByte, F_UNLCK);
}

int EngineTurn::take(const NamespaceGuard& guard) {
    std::unique_lock threads(m_threads);
    if (!lockByte(guard.file(), m_byte, F_WRLCK, F_OFD_SETLKW))
        return errno;
    threads.release();
    return 0;
}

void EngineTurn::give(const NamespaceGuard& guard) {
    lockByte(guard.file(), m_byte, F_UNLCK);
    m_threads.unlock();
}

StandardDescriptors::StandardDescriptors(const Home& home) {
    const FileDescriptor folder(sys::open(home.registryPath().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
    for (FileDescriptor& place : m_places) {
        place = FileDescriptor(::fcntl(folder.get(), F_DUPFD_CLOEXEC, 0));
        if (place.get() <= STDERR_FILENO)
            continue;
        place.reset();
        break;
    }
}

namespace {

// The engine allows as many readers as the file has room for: a header of 192 bytes with the first reader in it, then
// 64 bytes a reader. It maps the file at the length it finds, and initialises it when nobody else has it open.
constexpr off_t kLockFileBytes = 192 + off_t{64} * (RegistryFiles::kReaders - 1);
constexpr off_t kBlockBytes = 512; // unit of st_blocks

// The engine's file format, version 1: enough of its two meta pages to tell a database from anything else before the
// engine computes with their numbers.
struct EngineHead {
    static constexpr std::size_t kPageHeadBytes = 16;
    static constexpr std::uint32_t kMagic = 0xBEEFC0DE;
    static constexpr std::uint32_t kVersion = 1;
    static constexpr std::uint64_t kNoPage = ~std::uint64_t{0};
    static constexpr std::uint64_t kMaxMapBytes = std::uint64_t{1} << 42;

    struct Tree {
        std::uint32_t pad;
        std::uint16_t flags;
        std::uint16_t depth;
        std::uint64_t branchPages;
        std::uint64_t leafPages;
        std::uint64_t overflowPages;
        std::uint64_t entries;
        std::uint64_t root;
    };
    std::uint32_t magic;
    std::uint32_t version;
    std::uint64_t address;
    std::uint64_t mapBytes;
    Tree free; // its pad is the page size
    Tree main;
    std::uint64_t lastPage;
    std::uint64_t transaction;

    bool isPlausible() const {
        const std::uint64_t pageBytes = free.pad;
        if (magic != kMagic || version != kVersion || pageBytes < 512 || pageBytes > 65536 ||
            (pageBytes & (pageBytes - 1)) != 0)
            return false;
        return mapBytes <= kMaxMapBytes && lastPage >= 1 && lastPage < mapBytes / pageBytes;
    }
    // Checked in the newer one alone: after a commit that couldn't be finished, the engine leaves roots in the other
    // that don't match the rest.
    bool holdsItsTrees() const {
        const auto isRoot = [this](std::uint64_t page) { return page == kNoPage || (page > 1 && page <= lastPage); };
        return isRoot(free.root) && isRoot(main.root);
    }
    // The file's length when all its pages are there.
    std::uint64_t dataBytes() const { return (lastPage + 1) * free.pad; }
};
static_assert(sizeof(EngineHead) == 136);

bool readHead(int file, off_t offset, EngineHead& head) {
    return sys::pread(file, &head, sizeof head, offset + static_cast<off_t>(EngineHead::kPageHeadBytes)) ==
           static_cast<ssize_t>(sizeof head);
}

// The last pages were perhaps never written, if they were freed before their transaction ended; but in a file that
// something has truncated, reading a missing page would kill us with a signal. Extending the file to the length that it
// claims settles both: missing pages read as zeros, which the engine refuses. With other users around, whose writer may
// be at work, it must be a call that only ever extends; if that finds no space, the others have used the file as it is
// before us.
DWORD checkDatabase(int file, bool isFirst) {
    EngineHead first{};
    EngineHead second{};
    if (!readHead(file, 0, first) || !first.isPlausible())
        return ERROR_BADDB;
    if (!readHead(file, static_cast<off_t>(first.free.pad), second) || !second.isPlausible() ||
        first.free.pad != second.free.pad)
        return ERROR_BADDB;
    const EngineHead& newer = first.transaction < second.transaction ? second : first;
    if (!newer.holdsItsTrees())
        return ERROR_BADDB;
    struct stat status {};
    if (sys::fstat(file, &status) != 0)
        return systemError();
    const auto bytes = static_cast<off_t>(std::max(first.dataBytes(), second.dataBytes()));
    if (status.st_size >= bytes)
        return ERROR_SUCCESS;
    if (isFirst)
        return sys::ftruncate(file, bytes) == 0 ? ERROR_SUCCESS : systemError();
    sys::fallocate(file, bytes - 1, 1);
    return ERROR_SUCCESS;
}

struct CloseEnvironment {
    void operator()(MDB_env* environment) const { mdb_env_close(environment); }
};
using EnvironmentOwner = std::unique_ptr<MDB_env, CloseEnvironment>;

int putRoot(MDB_env* environment) {
    MDB_txn* transaction = nullptr;
    int code = mdb_txn_begin(environment, nullptr, 0, &transaction);
    if (code != 0)
        return code;
    const std::string record = RecordEditor("", 0).build().value_or("");
    const RecordKey rootKey("");
    MDB_val key{rootKey.view().size(), const_cast<char*>(rootKey.view().data())};
    MDB_val value{record.size(), const_cast<char*>(record.data())};
    MDB_dbi database = 0;
    code = mdb_dbi_open(transaction, nullptr, 0, &database);
    if (code == 0)
        code = mdb_put(transaction, database, &key, &value, 0);
    if (code != 0) {
        mdb_txn_abort(transaction);
        return code;
    }
    return mdb_txn_commit(transaction);
}

DWORD errorFromEngine(int code) {
    if (code == MDB_SUCCESS)
        return ERROR_SUCCESS;
    return code > 0 ? errorFromErrno(code) : ERROR_BADDB;
}

// A database in a single file, without the engine's lock file: nobody else knows its name yet.
DWORD buildDatabase(const fs::path& path, bool durable) {
    MDB_env* raw = nullptr;
    int code = mdb_env_create(&raw);
    const EnvironmentOwner environment(raw);
    if (code == 0)
        code = mdb_env_set_mapsize(raw, RegistryFiles::kFirstMapBytes);
    const unsigned flags = MDB_NOSUBDIR | MDB_NOLOCK | (durable ? 0u : unsigned{MDB_NOSYNC});
    if (code == 0)
        code = mdb_env_open(raw, path.c_str(), flags, 0600);
    if (code == 0)
        code = putRoot(raw);
    return errorFromEngine(code);
}

} // namespace

// The engine needs none on a read-only file system.
DWORD RegistryFiles::prepareLockFile(const Home& home) {
    if (home.isReadOnly())
        return ERROR_SUCCESS;
    const fs::path path = home.registryPath() / "lock.mdb";
    struct stat status {};
    if (sys::stat(path.c_str(), &status) == 0 && status.st_size >= kLockFileBytes &&
        status.st_blocks * kBlockBytes >= status.st_size)
        return ERROR_SUCCESS;
    Home::Modes modes{};
    if (const DWORD error = home.registryModes(modes))
        return error;
    const FileDescriptor file = openOrMake(path, modes.file);
    if (!file.valid() || sys::fallocate(file.get(), 0, kLockFileBytes) != 0)
        return systemError();
    return ERROR_SUCCESS;
}

DWORD RegistryFiles::prepareDataFile(const Home& home, const NamespaceGuard& guard) {
    const fs::path path = home.registryPath() / "data.mdb";
    if (home.isReadOnly())
        return ERROR_SUCCESS; // a copy of it is read
    const FileDescriptor file(sys::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW, 0));
    if (file.valid())
        return checkDatabase(file.get(), guard.isFirst());
    if (errno != ENOENT)
        return systemError();
    // Others use a database that somebody has removed: a new one must not be used with their lock file.
    if (!guard.isFirst())
        return ERROR_BADDB;

    const fs::path beside = home.registryPath() / "data.new";
    if (sys::unlink(beside.c_str()) != 0 && errno != ENOENT)
        return systemError();
    if (const DWORD error = buildDatabase(beside, home.durable()))
        return error;
    Home::Modes modes{};
    if (const DWORD error = home.registryModes(modes))
        return error;
    if (sys::chmod(beside.c_str(), modes.file) != 0 || sys::rename(beside.c_str(), path.c_str()) != 0)
        return systemError();
    return home.durable() ? syncDirectory(home.registryPath()) : ERROR_SUCCESS;
}

// A file system that is read-only here may be written to elsewhere, through another mount of it, and no lock keeps its
// pages from being used again below a reader. So each process reads a copy, as whole as the file was when it opened it:
// no commit came in between, or the copy is made anew.
DWORD RegistryFiles::copyDataFile(const Home& home, FileDescriptor& copy) {
    const fs::path path = home.registryPath() / "data.mdb";
    const FileDescriptor file(sys::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW, 0));
    if (!file.valid())
        return systemError();
    const auto transactionOf = [&](std::uint64_t& newest) {
        EngineHead first{};
        EngineHead second{};
        const bool isRead = readHead(file.get(), 0, first) && first.isPlausible() &&
                            readHead(file.get(), static_cast<off_t>(first.free.pad), second);
        newest = std::max(first.transaction, second.transaction);
        return isRead;
    };
    constexpr int kAttempts = 20;
    for (int i = 0; i < kAttempts; ++i) {
        std::uint64_t before = 0;
        std::uint64_t after = 0;
        if (!transactionOf(before))
            return ERROR_BADDB;
        copy = FileDescriptor(::memfd_create("wardlet registry", MFD_CLOEXEC));
        struct stat status {};
        if (!copy.valid() || sys::fstat(file.get(), &status) != 0)
            return systemError();
        for (off_t at = 0; at < status.st_size;) {
            const ssize_t bytes =
                ::sendfile(copy.get(), file.get(), &at, static_cast<std::size_t>(status.st_size - at));
            if (bytes <= 0)
                return bytes == 0 ? DWORD{ERROR_BADDB} : systemError();
        }
        if (transactionOf(after) && before == after)
            return checkDatabase(copy.get(), true);
    }
    return ERROR_SHARING_VIOLATION;
}

// The guard lets nobody open the registry meanwhile. The engine's lock file goes too: what it says about readers and
// the writer belongs to the old database.
DWORD RegistryFiles::setAside(const Home& home, const fs::path& folder) {
    if (const DWORD error = home.ensure())
        return error;
    NamespaceGuard guard;
    if (const DWORD error = guard.acquire(home))
        return error;
    if (!guard.isFirst())
        return ERROR_SHARING_VIOLATION;
    struct stat status {};
    if (sys::stat(folder.c_str(), &status) != 0) // below, what isn't there is a registry that was never made
        return systemError();
    if (sys::rename((home.registryPath() / "data.mdb").c_str(), (folder / "data.mdb").c_str()) != 0 && errno != ENOENT)
        return systemError();
    if (sys::unlink((home.registryPath() / "lock.mdb").c_str()) != 0 && errno != ENOENT)
        return systemError();
    const DWORD error = syncDirectory(folder);
    return error == ERROR_SUCCESS ? syncDirectory(home.registryPath()) : error;
}

} // namespace wd

DWORD WdSetRegistryAside(LPCSTR folder) {
    if (folder == nullptr)
        return ERROR_INVALID_PARAMETER;
    return static_cast<DWORD>(
        wd::withinMemory([&]() -> LONG { return static_cast<LONG>(wd::RegistryFiles::setAside(wd::home(), folder)); }));
}
