#include "ProcessTable.h"

#include "Deadline.h"
#include "FileLock.h"
#include "LastError.h"
#include "PageGuard.h"
#include "ProcessState.h"

#include <platform/identity.h>
#include <platform/steps.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <nettle/sha2.h>
#include <optional>
#include <sys/auxv.h>
#include <sys/mman.h>
#include <unistd.h>

namespace wd {

namespace {

constexpr const char* kFileName = ".processes";
constexpr std::uint32_t kMagic = 0x54505744; // "DWPT"
constexpr std::uint32_t kVersion = 2;
constexpr mode_t kMode = 0666; // every user of the home has a row

bool lockRow(int file, std::uint32_t row, short type) {
    return lockByte(file, static_cast<off_t>(row), type);
}

// What the system says about a process.
struct Process {
    bool isOver = false;     // a zombie: it has ended, its parent hasn't waited for it
    std::uint64_t start = 0; // when it started, in the system's own unit
};

// Nothing when that can't be told: the process may not exist, or be hidden from this one.
std::optional<Process> lookAt(std::uint32_t number) {
    constexpr int kThreads = 20; // field numbers; field 2 is the name
    constexpr int kStart = 22;
    std::array<char, 64> path{};
    std::snprintf(path.data(), path.size(), "/proc/%u/stat", number);
    const FileDescriptor file(sys::open(path.data(), O_RDONLY | O_CLOEXEC, 0));
    std::array<char, 1024> text{};
    if (!file.valid() || sys::pread(file.get(), text.data(), text.size() - 1, 0) <= 0)
        return std::nullopt;
    const char* at = std::strrchr(text.data(), ')'); // the name may hold anything
    if (at == nullptr || at[1] != ' ')
        return std::nullopt;
    const char state = at[2];
    unsigned long threads = 0;
    Process process;
    for (int field = 3; field <= kStart; ++field) {
        at = std::strchr(at + 1, ' ');
        if (at == nullptr)
            return std::nullopt;
        if (field == kThreads)
            threads = std::strtoul(at, nullptr, 10);
        if (field == kStart)
            process.start = std::strtoull(at, nullptr, 10);
    }
    // The main thread of a process may have ended before the others.
    process.isOver = (state == 'Z' || state == 'X') && threads <= 1;
    return process;
}

// The namespaces in which process numbers and times are valid: elsewhere they mean another process. 0 when unknown.
std::uint64_t ownNamespaces() {
    struct stat numbers {};
    struct stat times {};
    if (sys::stat("/proc/self/ns/pid", &numbers) != 0)
        return 0;
    sys::stat("/proc/self/ns/time", &times); // missing on older kernels
    return std::uint64_t{numbers.st_ino} << 32 ^ times.st_ino;
}

// Tells, with the process's number, this run of a program from every other: from the one before an exec, and from a
// process of long ago with the same number. A digest, since AT_RANDOM also seeds secrets of the process.
std::uint64_t ownIdentity(std::uint64_t start) {
    sha256_ctx context;
    sha256_init(&context);
    if (const auto* random = reinterpret_cast<const std::uint8_t*>(::getauxval(AT_RANDOM)))
        sha256_update(&context, 16, random);
    sha256_update(&context, sizeof start, reinterpret_cast<const std::uint8_t*>(&start));
    std::uint64_t identity = 0;
    sha256_digest(&context, sizeof identity, reinterpret_cast<std::uint8_t*>(&identity));
    return identity;
}

} // namespace

struct ProcessTable::Row {
    std::atomic<std::uint32_t> generation;
    std::atomic<std::uint32_t> process;
    std::atomic<std::uint64_t> identity;
    std::atomic<std::uint64_t> start; // 0: unknown; the same for `namespaces`
    std::atomic<std::uint64_t> namespaces;
};

struct ProcessTable::Layout {
    std::atomic<std::uint32_t> magic;
    std::atomic<std::uint32_t> version;
    std::uint64_t reserved;
    Row rows[kRows]; // rows[0] unused
};

FileDescriptor ProcessTable::openFile(int directory) {
    constexpr int kFlags = O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    FileDescriptor file(sys::openat(directory, kFileName, kFlags, 0));
    if (!file.valid() && errno == ENOENT) {
        file = createWithMode(directory, kFileName, kMode);
        if (!file.valid() && errno == EEXIST)
            file = FileDescriptor(sys::openat(directory, kFileName, kFlags, 0));
    }
    return file;
}

DWORD ProcessTable::open(int directory) {
    LockDescriptor file = LockDescriptor::from([&] { return openFile(directory); });
    struct stat status {};
    if (!file.valid() || sys::fstat(file.get(), &status) != 0)
        return systemError();
    if (!isSafeToWrite(file.get(), status, kMagic))
        return ERROR_ACCESS_DENIED;
    // The first process gives it its final length; doing so twice changes nothing.
    if (!isReserved(status, sizeof(Layout)) && !reserve(file.get(), sizeof(Layout)))
        return systemError();
    const FileDescriptor other = openFile(directory);
    struct stat mapped {};
    if (!other.valid() || sys::fstat(other.get(), &mapped) != 0)
        return systemError();
    if (mapped.st_ino != status.st_ino)
        return ERROR_SHARING_VIOLATION; // somebody is removing it by hand
    void* memory = sys::mmap(nullptr, sizeof(Layout), PROT_READ | PROT_WRITE, MAP_SHARED, other.get(), 0);
    if (memory == MAP_FAILED || memory == nullptr)
        return systemError();
    // In a child the parent's mapping stays mapped: it may still be read.
    m_layout = static_cast<Layout*>(memory);
    guardPages(memory, sizeof(Layout));
    m_file = std::move(file);
    return ERROR_SUCCESS;
}

// Initialises a table that nobody uses, whatever its content.
DWORD ProcessTable::checkLayout() {
    constexpr std::chrono::milliseconds kLayDownTime{1000}; // how long another process may need to initialise it
    const auto isLaidDown = [this] {
        return m_layout->magic.load(std::memory_order_acquire) == kMagic &&
               m_layout->version.load(std::memory_order_relaxed) == kVersion;
    };
    const Deadline patience(kLayDownTime);
    do {
        if (isLaidDown())
            return ERROR_SUCCESS;
        WD_STEP("processes.new");
        if (!lockRow(m_file.get(), 0, F_WRLCK))
            continue; // another process is initialising it
        // Between the check above and the lock another process may have initialised it, and be using it.
        bool good = isLaidDown();
        bool used = true;
        if (!good && askForLock(m_file.get(), 1, kRows - 1, used) && !used) {
            m_layout->version.store(kVersion, std::memory_order_relaxed);
            m_layout->magic.store(kMagic, std::memory_order_release);
            good = true;
        }
        lockRow(m_file.get(), 0, F_UNLCK);
        return good ? ERROR_SUCCESS : ERROR_INVALID_DATA;
    } while (patience.pause());
    return ERROR_INVALID_DATA;
}

DWORD ProcessTable::claim(int directory) {
    if (m_claimant == processState() && own() != 0)
        return ERROR_SUCCESS;
    m_own.store(0, std::memory_order_relaxed);
    m_claimant = processState();
    if (!m_file.valid())
        if (const DWORD error = open(directory))
            return error;
    if (const DWORD error = checkLayout())
        return error;
    const auto process = static_cast<std::uint32_t>(::getpid());
    const std::uint64_t start = lookAt(process).value_or(Process{}).start;
    const std::uint64_t identity = ownIdentity(start);
    m_namespaces = ownNamespaces();
    for (const Row& row : m_layout->rows) {
        if (row.process.load(std::memory_order_relaxed) != process ||
            row.identity.load(std::memory_order_relaxed) != identity)
            continue;
        std::fprintf(stderr, "wdltcfg: another copy of the platform library in this process uses the same home\n");
        return ERROR_SHARING_VIOLATION;
    }
    for (std::uint32_t i = 0; i < kRows - 1; ++i) {
        const std::uint32_t number = 1 + (process + i) % (kRows - 1);
        if (!lockRow(m_file.get(), number, F_WRLCK))
            continue;
        Row& row = m_layout->rows[number];
        std::uint32_t generation = row.generation.load(std::memory_order_relaxed) + 1;
        if (generation == 0)
            generation = 1;
        row.process.store(process, std::memory_order_relaxed);
        row.identity.store(identity, std::memory_order_relaxed);
        row.start.store(start, std::memory_order_relaxed);
        row.namespaces.store(m_namespaces, std::memory_order_relaxed);
        row.generation.store(generation, std::memory_order_release); // last: whoever sees it sees the rest
        m_own.store(makeTag(number, generation), std::memory_order_relaxed);
        return ERROR_SUCCESS;
    }
    return ERROR_NOT_ENOUGH_MEMORY;
}

bool ProcessTable::isAlive(Tag tag) const {
    tag = withRole(takerOf(tag), 0);
    if (tag == 0 || rowOf(tag) == 0 || rowOf(tag) >= kRows)
        return false;
    if (tag == own())
        return true;
    const Row& row = m_layout->rows[rowOf(tag)];
    if (row.generation.load(std::memory_order_acquire) != generationOf(tag))
        return false;
    bool locked = true;
    if (askForLock(m_file.get(), rowOf(tag), 1, locked) && !locked)
        return false;
    // Asking the system takes ten times as long, and a waiter for a busy lock asks at each turn.
    constexpr std::uint32_t kLookMs = 50;
    std::atomic<std::uint32_t>& seen = m_seen[rowOf(tag)];
    const auto now = static_cast<std::uint32_t>(::GetTickCount64());
    if (now - seen.load(std::memory_order_relaxed) < kLookMs)
        return true;
    if (isGone(row))
        return false;
    seen.store(now, std::memory_order_relaxed);
    return true;
}

// Whether the process that claimed a row is certainly gone, whoever has its lock. A row that is being claimed may hold
// numbers of two processes; but then the first of them is dead.
bool ProcessTable::isGone(const Row& row) const {
    const std::uint32_t number = row.process.load(std::memory_order_relaxed);
    const std::uint64_t start = row.start.load(std::memory_order_relaxed);
    if (number == 0 || start == 0 || m_namespaces == 0 ||
        row.namespaces.load(std::memory_order_relaxed) != m_namespaces)
        return false;
    const auto process = lookAt(number);
    if (!process)
        return sys::kill(static_cast<pid_t>(number), 0) != 0 && errno == ESRCH;
    return process->isOver || process->start != start;
}

} // namespace wd
