#include "ObjectFile.h"

#include "Deadline.h"
#include "FileLock.h"
#include "LastError.h"
#include "PageGuard.h"

#include <platform/steps.h>

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>

namespace wd {

namespace {

constexpr int kOpenFlags = O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
// How long to try to get the object into a usable state while others come and go.
constexpr std::chrono::milliseconds kSettleTime{1000};
constexpr std::chrono::milliseconds kCreatorTime{5000}; // how long a creator may need for its few steps
constexpr std::chrono::milliseconds kWriterTime{100};   // how long a writer may need to store a text
constexpr off_t kLockByte = 0;                          // locked for reading by whoever has the object

bool lockFile(int file, short type) {
    return lockByte(file, kLockByte, type);
}

// A page that is zero already isn't written to: the memory of most objects is hardly used, and a page that is written to
// must be put on the disk.
void makeZero(void* memory, std::size_t size) {
    for (std::size_t at = 0; at < size; at += kObjectPage) {
        auto* const page = static_cast<std::byte*>(memory) + at;
        const std::size_t bytes = std::min(kObjectPage, size - at);
        if (page[0] != std::byte{0} || std::memcmp(page, page + 1, bytes - 1) != 0)
            std::fill_n(page, bytes, std::byte{0});
    }
}

bool isLockHeldElsewhere() {
    return errno == EAGAIN || errno == EACCES;
}

} // namespace

void storeText(ObjectHeader& header, std::string_view text) {
    // One writer at a time; a writer that died midway is waited for, but not for long.
    std::uint32_t before = header.textChanges.load(std::memory_order_relaxed);
    const Deadline patience(kWriterTime);
    while (before % 2 != 0 ||
           !header.textChanges.compare_exchange_strong(before, before + 1, std::memory_order_relaxed)) {
        if (before % 2 != 0 && !patience.pause())
            break;
        before = header.textChanges.load(std::memory_order_relaxed);
    }
    const std::uint32_t changes = before | 1;
    std::atomic_thread_fence(std::memory_order_release);
    text = text.substr(0, ObjectHeader::kTextBytes);
    header.textLength.store(static_cast<std::uint32_t>(text.size()), std::memory_order_relaxed);
    for (std::size_t i = 0; i < text.size(); ++i)
        header.text[i].store(text[i], std::memory_order_relaxed);
    header.textChanges.store(changes + 1, std::memory_order_release);
}

std::string loadText(const ObjectHeader& header) {
    for (int attempt = 0; attempt < 100; ++attempt) {
        const std::uint32_t before = header.textChanges.load(std::memory_order_acquire);
        const std::size_t length =
            std::min<std::size_t>(header.textLength.load(std::memory_order_relaxed), ObjectHeader::kTextBytes);
        std::string text(length, '\0');
        for (std::size_t i = 0; i < length; ++i)
            text[i] = header.text[i].load(std::memory_order_relaxed);
        std::atomic_thread_fence(std::memory_order_acquire);
        if (before % 2 == 0 && header.textChanges.load(std::memory_order_relaxed) == before)
            return text;
    }
    return {};
}

std::string objectFileName(std::string_view name) {
    constexpr std::size_t kLimit = 255;
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string file;
    file.reserve(name.size() + 2); // one of them is escaped in most names
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        const bool awkward =
            byte <= ' ' || byte == 0x7F || c == '/' || c == '\\' || c == '%' || (c == '.' && file.empty());
        if (awkward)
            file.append({'%', kDigits[byte >> 4], kDigits[byte & 15]});
        else
            file += c;
    }
    return file.size() <= kLimit ? file : std::string();
}

ObjectFile::ObjectFile(ObjectFile&& other) noexcept {
    *this = std::move(other);
}

ObjectFile& ObjectFile::operator=(ObjectFile&& other) noexcept {
    std::swap(m_directory, other.m_directory);
    std::swap(m_name, other.m_name);
    m_file = std::move(other.m_file); // a swap
    std::swap(m_mode, other.m_mode);
    std::swap(m_memory, other.m_memory);
    std::swap(m_mapped, other.m_mapped);
    std::swap(m_kind, other.m_kind);
    std::swap(m_parameter, other.m_parameter);
    std::swap(m_bytes, other.m_bytes);
    return *this;
}

DWORD ObjectFile::acquire(const ObjectPlan& plan, bool& existed) {
    if (plan.bytes > kObjectBytesLimit)
        return ERROR_NOT_ENOUGH_MEMORY;
    if (m_memory != nullptr && pagesWereLost(m_memory))
        forget();
    const Deadline patience(kSettleTime);
    for (int attempt = 0; attempt < 3 || patience.pause(); ++attempt) {
        if (!m_file.valid()) {
            const DWORD error = openOrMake(plan);
            if (error == ERROR_FILE_EXISTS || (error == ERROR_FILE_NOT_FOUND && plan.mayCreate))
                continue;
            if (error != ERROR_SUCCESS)
                return error;
            WD_STEP("object.opened");
        }
        DWORD error = ERROR_SUCCESS;
        switch (settle(plan, existed, error)) {
        case Step::Done:
            return ERROR_SUCCESS;
        case Step::Failed:
            forget();
            return error;
        case Step::StartOver:
            forget();
            break;
        }
    }
    return ERROR_INVALID_DATA;
}

// Opens before it creates, since the system may refuse O_CREAT on another user's file in a sticky directory. When
// another process creates the file in between, the error makes the caller try again.
DWORD ObjectFile::openOrMake(const ObjectPlan& plan) {
    unmap(); // an old mapping is of another file, or the parent's
    m_file = LockDescriptor::from([&] {
        FileDescriptor file(sys::openat(m_directory, m_name.c_str(), kOpenFlags, 0));
        if (!file.valid() && errno == ENOENT && plan.mayCreate)
            file = createWithMode(m_directory, m_name.c_str(), plan.mode);
        return file;
    });
    return m_file.valid() ? ERROR_SUCCESS : systemError();
}

ObjectFile::Step ObjectFile::settle(const ObjectPlan& plan, bool& existed, DWORD& error) {
    bool alone = lockFile(m_file.get(), F_WRLCK);
    if (!alone && !isLockHeldElsewhere()) {
        error = systemError();
        return Step::Failed;
    }
    if (!alone) {
        const Deadline patience(kCreatorTime);
        while (!lockFile(m_file.get(), F_RDLCK)) {
            const DWORD refusal = systemError();
            if (!isLockHeldElsewhere() || !patience.pause()) {
                error = refusal;
                return Step::Failed;
            }
        }
        // Whoever held it may have died, or only looked for an object that nobody has.
        alone = lockFile(m_file.get(), F_WRLCK);
    }
    existed = !alone;
    return alone ? create(plan, error) : join(plan, error);
}

// Under either lock: whether the file is still the object's, and safe to use.
ObjectFile::Step ObjectFile::examine(struct stat& status, DWORD& error) const {
    if (sys::fstat(m_file.get(), &status) != 0)
        error = systemError();
    else if (status.st_nlink == 0)
        return Step::StartOver;
    else if (!isSafeToWrite(m_file.get(), status, ObjectHeader::kMagic))
        error = ERROR_ACCESS_DENIED;
    return error == ERROR_SUCCESS ? Step::Done : Step::Failed;
}

// Under the write lock: nobody has the object.
ObjectFile::Step ObjectFile::create(const ObjectPlan& plan, DWORD& error) {
    WD_STEP("object.first");
    struct stat status {};
    if (const Step step = examine(status, error); step != Step::Done)
        return step;
    invalidate(status);
    if (!plan.mayCreate) {
        discard();
        error = ERROR_FILE_NOT_FOUND;
        return Step::Failed;
    }
    error = layDown(plan, status);
    if (error == ERROR_SUCCESS && !lockFile(m_file.get(), F_RDLCK))
        error = systemError();
    if (error != ERROR_SUCCESS) {
        removeName();
        leave();
        return Step::Failed;
    }
    WD_STEP("object.valid");
    return Step::Done;
}

// Voids the old content, whatever becomes of this call. Else several processes that wait for the lock together, none of
// which is alone when it is released, would join that content.
void ObjectFile::invalidate(const struct stat& status) const {
    const std::uint32_t none = 0;
    if (m_memory != nullptr)
        header()->magic.store(none, std::memory_order_relaxed);
    else if (status.st_size >= static_cast<off_t>(kObjectPage))
        sys::pwrite(m_file.get(), &none, sizeof none, offsetof(ObjectHeader, magic));
}

DWORD ObjectFile::layDown(const ObjectPlan& plan, const struct stat& status) {
    if ((status.st_mode & 07777) != plan.mode && sys::fchmod(m_file.get(), plan.mode) != 0)
        return systemError();
    const std::size_t size = objectBytes(plan.bytes);
    const auto length = static_cast<off_t>(size);
    if (!isReserved(status, length)) {
        if (status.st_size != 0 && sys::ftruncate(m_file.get(), 0) != 0)
            return systemError();
        unmap();
        WD_STEP("object.empty");
        if (!reserve(m_file.get(), length))
            return systemError();
    }
    if (const DWORD error = map(size))
        return error;
    ObjectHeader& header = *this->header();
    header.version.store(ObjectHeader::kVersion, std::memory_order_relaxed);
    header.kind.store(static_cast<std::uint16_t>(plan.kind), std::memory_order_relaxed);
    header.parameter.store(plan.parameter, std::memory_order_relaxed);
    header.bytes.store(plan.bytes, std::memory_order_relaxed);
    header.word.store(plan.word, std::memory_order_relaxed);
    header.textChanges.store(0, std::memory_order_relaxed);
    storeText(header, plan.text);
    if (status.st_size != 0)
        makeZero(static_cast<std::byte*>(m_memory) + kObjectPage, size - kObjectPage);
    WD_STEP("object.laid");
    header.magic.store(ObjectHeader::kMagic, std::memory_order_release);
    m_mode = plan.mode;
    m_kind = plan.kind;
    m_parameter = plan.parameter;
    m_bytes = plan.bytes;
    return ERROR_SUCCESS;
}

// Under the read lock: somebody may have the object, or its creator died.
ObjectFile::Step ObjectFile::join(const ObjectPlan& plan, DWORD& error) {
    struct stat status {};
    if (const Step step = examine(status, error); step != Step::Done)
        return step;
    const auto size = static_cast<std::size_t>(status.st_size);
    if (size < kObjectPage || size > objectBytes(kObjectBytesLimit))
        return Step::StartOver;
    error = map(size);
    if (error != ERROR_SUCCESS)
        return Step::Failed;
    const ObjectHeader& header = *this->header();
    if (header.magic.load(std::memory_order_acquire) != ObjectHeader::kMagic)
        return Step::StartOver;
    m_mode = status.st_mode & 07777;
    m_kind = static_cast<ObjectKind>(header.kind.load(std::memory_order_relaxed));
    m_parameter = header.parameter.load(std::memory_order_relaxed);
    m_bytes = std::min<std::uint64_t>(header.bytes.load(std::memory_order_relaxed), size - kObjectPage);
    if (header.version.load(std::memory_order_relaxed) != ObjectHeader::kVersion)
        error = ERROR_INVALID_DATA;
    else if (plan.kind != ObjectKind::Any && m_kind != plan.kind)
        error = ERROR_INVALID_HANDLE;
    else if (plan.bytes > m_bytes)
        error = ERROR_ACCESS_DENIED;
    WD_STEP("object.joined");
    return error == ERROR_SUCCESS ? Step::Done : Step::Failed;
}

// MAP_FAILED with errno.
void* ObjectFile::mapAt(void* place, std::size_t size) const {
    const FileDescriptor other(sys::openat(m_directory, m_name.c_str(), kOpenFlags, 0));
    if (!other.valid())
        return MAP_FAILED;
    struct stat own {};
    struct stat named {};
    if (sys::fstat(m_file.get(), &own) != 0 || sys::fstat(other.get(), &named) != 0)
        return MAP_FAILED;
    if (!isSameFile(own, named)) {
        errno = EBUSY; // removed by hand in spite of our lock, and made anew by somebody else
        return MAP_FAILED;
    }
    return sys::mmap(place, size, PROT_READ | PROT_WRITE, MAP_SHARED | (place != nullptr ? MAP_FIXED : 0), other.get(),
                     0);
}

DWORD ObjectFile::map(std::size_t size) {
    if (m_memory != nullptr && m_mapped == size)
        return ERROR_SUCCESS;
    unmap();
    void* memory = mapAt(nullptr, size);
    if (memory == MAP_FAILED)
        return systemError();
    m_memory = memory;
    m_mapped = size;
    guardPages(memory, size);
    return ERROR_SUCCESS;
}

void ObjectFile::unmap() {
    if (m_memory == nullptr)
        return;
    unguardPages(m_memory);
    sys::munmap(std::exchange(m_memory, nullptr), m_mapped);
}

DWORD ObjectFile::takePlaceOf(ObjectFile& old) {
    if (m_mapped != old.m_mapped || m_kind != old.m_kind)
        return ERROR_INVALID_HANDLE;
    if (mapAt(old.m_memory, m_mapped) == MAP_FAILED)
        return systemError();
    unmap();
    m_memory = std::exchange(old.m_memory, nullptr);
    old.forget();
    old = std::move(*this);
    return ERROR_SUCCESS;
}

void ObjectFile::leave() {
    lockFile(m_file.get(), F_UNLCK);
}

bool ObjectFile::isOpenElsewhere() const {
    bool locked = true;
    return !askForLock(m_file.get(), kLockByte, 1, locked) || locked;
}

void ObjectFile::discard() {
    WD_STEP("object.closing");
    if (m_file.valid()) {
        mode_t mode = 0;
        const bool stays = readMode(mode) == ERROR_SUCCESS && mode == ObjectPlan::kEverybody;
        if (!stays)
            removeIfAlone();
        else if (m_kind == ObjectKind::Mapping && m_memory != nullptr && lockFile(m_file.get(), F_WRLCK))
            makeZero(static_cast<std::byte*>(m_memory) + kObjectPage, m_mapped - kObjectPage); // others may look at it
        leave();
    }
    forget();
}

void ObjectFile::removeIfAlone() const {
    if (lockFile(m_file.get(), F_WRLCK))
        removeName();
}

DWORD ObjectFile::readMode(mode_t& mode) {
    struct stat status {};
    if (sys::fstat(m_file.get(), &status) != 0)
        return systemError();
    m_mode = mode = status.st_mode & 07777;
    return ERROR_SUCCESS;
}

DWORD ObjectFile::changeMode(mode_t mode) {
    if (sys::fchmod(m_file.get(), mode) != 0)
        return systemError();
    m_mode = mode;
    return ERROR_SUCCESS;
}

bool ObjectFile::wasRemoved() const {
    struct stat own {};
    return sys::fstat(m_file.get(), &own) == 0 && own.st_nlink == 0;
}

// Under the write lock, so that whoever has opened the file already finds it without a name and starts over.
void ObjectFile::removeName() const {
    struct stat own {};
    struct stat named {};
    if (sys::fstat(m_file.get(), &own) == 0 && own.st_nlink != 0 &&
        sys::fstatat(m_directory, m_name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 && isSameFile(own, named))
        sys::unlinkat(m_directory, m_name.c_str(), 0);
}

void ObjectFile::forget() {
    unmap();
    m_file.reset();
}

} // namespace wd
