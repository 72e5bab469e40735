#include "ProcessTable.h"

#include "LastError.h"
#include "PageGuard.h"
#include "ProcessState.h"

#include <platform/steps.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <nettle/sha2.h>
#include <sys/auxv.h>
#include <sys/mman.h>
#include <unistd.h>

namespace wd {

namespace {

constexpr const char* kFileName = ".processes";
constexpr std::uint32_t kMagic = 0x54505744; // "DWPT"
constexpr std::uint32_t kVersion = 1;
constexpr std::uint32_t kRows = 4096; // row 0 is nobody's: its byte guards the layout
constexpr mode_t kMode = 0666;        // every user of the home has a row

DWORD lastSystemError() {
    return errorFromErrno(errno);
}

bool lockRow(int file, std::uint32_t row, short type) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = static_cast<off_t>(row);
    lock.l_len = 1;
    return sys::fcntl_lock(file, F_SETLK, &lock) == 0;
}

// Whether another process holds a lock on one of the rows. False with errno when that can't be told.
bool isLocked(int file, std::uint32_t firstRow, std::uint32_t count, bool& locked) {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = static_cast<off_t>(firstRow);
    lock.l_len = static_cast<off_t>(count);
    if (sys::fcntl_lock(file, F_GETLK, &lock) != 0)
        return false;
    locked = lock.l_type != F_UNLCK;
    return true;
}

// When this process began, in the system's own unit; 0 when that can't be told.
std::uint64_t startTime() {
    constexpr int kFieldsBehindName = 20; // the first behind the name is field 3, the start is field 22
    const FileDescriptor file(sys::open("/proc/self/stat", O_RDONLY | O_CLOEXEC, 0));
    const auto text = file.valid() ? readWhole(file.get(), 4096) : std::nullopt;
    if (!text)
        return 0;
    std::size_t at = text->rfind(')'); // the name may hold anything
    for (int field = 0; field < kFieldsBehindName && at != std::string::npos; ++field)
        at = text->find(' ', at + 1);
    return at == std::string::npos ? 0 : std::strtoull(text->c_str() + at, nullptr, 10);
}

// Tells, with the process's number, this run of a program from every other: from the one before an exec, and from a
// process of long ago with the same number. A digest, since its source is the source of secrets of the process.
std::uint64_t ownIdentity() {
    sha256_ctx context;
    sha256_init(&context);
    if (const auto* random = reinterpret_cast<const std::uint8_t*>(::getauxval(AT_RANDOM)))
        sha256_update(&context, 16, random);
    const std::uint64_t start = startTime();
    sha256_update(&context, sizeof start, reinterpret_cast<const std::uint8_t*>(&start));
    std::uint64_t identity = 0;
    sha256_digest(&context, sizeof identity, reinterpret_cast<std::uint8_t*>(&identity));
    return identity;
}

} // namespace

struct ProcessTable::Layout {
    struct Row {
        std::atomic<std::uint32_t> generation;
        std::atomic<std::uint32_t> process;
        std::atomic<std::uint64_t> identity;
    };
    std::atomic<std::uint32_t> magic;
    std::atomic<std::uint32_t> version;
    std::uint64_t reserved;
    Row rows[kRows]; // rows[0] unused
};

DWORD ProcessTable::open(int directory) {
    constexpr int kFlags = O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    FileDescriptor file(sys::openat(directory, kFileName, kFlags, 0));
    if (!file.valid() && errno == ENOENT) {
        file = createWithMode(directory, kFileName, kMode);
        if (!file.valid() && errno == EEXIST)
            file = FileDescriptor(sys::openat(directory, kFileName, kFlags, 0));
    }
    struct stat status {};
    if (!file.valid() || sys::fstat(file.get(), &status) != 0)
        return lastSystemError();
    if (!isSafeToWrite(file.get(), status, kMagic))
        return ERROR_ACCESS_DENIED;
    // Whoever comes first makes it as long as it stays; to do so twice changes nothing.
    if (!reserve(file.get(), sizeof(Layout)))
        return lastSystemError();
    void* memory = sys::mmap(nullptr, sizeof(Layout), PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    if (memory == MAP_FAILED || memory == nullptr)
        return lastSystemError();
    m_layout = static_cast<Layout*>(memory);
    guardPages(memory, sizeof(Layout));
    m_file = std::move(file);
    return ERROR_SUCCESS;
}

// A table that nobody uses is laid down afresh, whatever stands in it.
DWORD ProcessTable::checkLayout() {
    constexpr struct timespec kPause { 0, 1'000'000 };
    const auto isLaidDown = [this] {
        return m_layout->magic.load(std::memory_order_acquire) == kMagic &&
               m_layout->version.load(std::memory_order_relaxed) == kVersion;
    };
    for (int attempt = 0; attempt < 1000; ++attempt) {
        if (isLaidDown())
            return ERROR_SUCCESS;
        WD_STEP("processes.new");
        if (!lockRow(m_file.get(), 0, F_WRLCK)) {
            sys::nanosleep(&kPause, nullptr); // another process lays it down
            continue;
        }
        // Another may have done so, and be using it, between the look above and the lock.
        bool good = isLaidDown();
        bool used = true;
        if (!good && isLocked(m_file.get(), 1, kRows - 1, used) && !used) {
            m_layout->version.store(kVersion, std::memory_order_relaxed);
            m_layout->magic.store(kMagic, std::memory_order_release);
            good = true;
        }
        lockRow(m_file.get(), 0, F_UNLCK);
        return good ? ERROR_SUCCESS : ERROR_INVALID_DATA;
    }
    return ERROR_INVALID_DATA;
}

DWORD ProcessTable::claim(int directory) {
    if (m_claimant == processState() && own() != 0)
        return ERROR_SUCCESS;
    m_own.store(0, std::memory_order_relaxed);
    m_claimant = processState();
    if (m_layout == nullptr)
        if (const DWORD error = open(directory); m_layout == nullptr)
            return error;
    if (const DWORD error = checkLayout())
        return error;
    const auto process = static_cast<std::uint32_t>(::getpid());
    const std::uint64_t identity = ownIdentity();
    for (const Layout::Row& row : m_layout->rows) {
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
        Layout::Row& row = m_layout->rows[number];
        std::uint32_t generation = row.generation.load(std::memory_order_relaxed) + 1;
        if (generation == 0)
            generation = 1;
        row.generation.store(generation, std::memory_order_release);
        row.process.store(process, std::memory_order_relaxed);
        row.identity.store(identity, std::memory_order_relaxed);
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
    if (m_layout->rows[rowOf(tag)].generation.load(std::memory_order_acquire) != generationOf(tag))
        return false;
    bool locked = true;
    return !isLocked(m_file.get(), rowOf(tag), 1, locked) || locked;
}

} // namespace wd
