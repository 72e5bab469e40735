#include "KernelObject.h"

#include "LastError.h"
#include "ObjectSpace.h"
#include "ProcessState.h"
#include "ThreadEnd.h"
#include "Views.h"
#include "Waiting.h"

#include <algorithm>
#include <cstdio>
#include <sys/mman.h>
#include <unordered_map>
#include <vector>

namespace wd {

namespace {

// The tag in the words of private objects, which no other process sees.
constexpr Tag kPrivateTag = makeTag(0, 1);

// Owns every object of this process.
using Objects = std::unordered_map<const KernelObject*, std::unique_ptr<KernelObject>>;

Objects& allObjects() WD_REQUIRES(objectsMutex) {
    static auto* const all = std::make_unique<Objects>().release();
    return *all;
}

KernelObject& own(std::unique_ptr<KernelObject> object) WD_REQUIRES(objectsMutex) {
    KernelObject& kept = *object;
    allObjects().emplace(&kept, std::move(object));
    return kept;
}

// The process that opened the objects.
constinit std::atomic<const ProcessState*> owner{nullptr};

bool enterSlowly() {
    const ProcessState* const process = processState();
    const auto viewed = viewedInChild(); // takes viewsMutex, which comes before objectsMutex
    const ForkLock lock(objectsMutex);
    const ProcessState* const before = owner.load(std::memory_order_relaxed);
    if (before != nullptr && before != process) {
        if (const DWORD error = ObjectSpace::claimAllInChild())
            return failed(error) == 0;
        // All or none: a lock may consist of several objects, and with half of them two could hold it. The next call
        // tries again.
        if (const DWORD error = KernelObject::reopenAllInChild(viewed))
            return failed(error) == 0;
    }
    owner.store(process, std::memory_order_release);
    return true;
}

// At the end of the process other threads may still run: if one of them holds the mutex, the files stay, for the next
// creator to initialise anew.
__attribute__((destructor)) void discardObjects() {
    if (!objectsAreOwn() || !objectsMutex.try_lock())
        return;
    ObjectSpace::discardAll();
    objectsMutex.unlock();
}

// The word of an object that is recreated from a copy: a mutex that was held then counts as abandoned.
std::uint64_t wordWithoutHolder(ObjectKind kind, std::uint64_t word) {
    switch (kind) {
    case ObjectKind::Mutex:
        return (word & (kTaken | kAbandoned)) != 0 ? kAbandoned : 0;
    case ObjectKind::Event:
        return word & kTaken;
    case ObjectKind::Semaphore:
        return word & ~kContended;
    case ObjectKind::Any:
    case ObjectKind::Mapping:
        break;
    }
    return 0;
}

} // namespace

bool enterObjects() {
    return objectsAreOwn() || withinMemory(false, enterSlowly);
}

bool objectsAreOwn() {
    const ProcessState* opener = owner.load(std::memory_order_acquire);
    return opener != nullptr && isOwnProcess(opener); // allocates nothing: a thread or the process may be ending
}

std::uint64_t threadNumber() {
    static constinit std::atomic<std::uint64_t> threads{0};
    static constinit thread_local std::uint64_t own = 0;
    if (own == 0)
        own = threads.fetch_add(1, std::memory_order_relaxed) + 1;
    return own;
}

KernelObject::KernelObject(ObjectSpace& space, ObjectFile&& file)
    : m_space(&space), m_file(std::move(file)), m_header(m_file.header()), m_kind(m_file.kind()),
      m_parameter(m_file.parameter()), m_bytes(m_file.bytes()) {}

KernelObject::KernelObject(const ObjectPlan& plan, void* memory, std::size_t size)
    : m_privateBytes(size), m_header(static_cast<ObjectHeader*>(memory)), m_kind(plan.kind),
      m_parameter(plan.parameter), m_bytes(plan.bytes) {
    m_header->word.store(plan.ownedByCreator ? kPrivateTag : plan.word, std::memory_order_relaxed);
    storeText(*m_header, plan.text);
}

KernelObject::~KernelObject() {
    if (m_privateBytes != 0)
        sys::munmap(m_header, m_privateBytes);
}

KernelObject& KernelObject::keep(ObjectSpace& space, ObjectFile&& file) {
    return own(std::unique_ptr<KernelObject>(new KernelObject(space, std::move(file))));
}

KernelObject* KernelObject::makePrivate(const ObjectPlan& plan, DWORD& error) {
    const std::size_t size = objectBytes(plan.bytes);
    void* memory = plan.bytes > kObjectBytesLimit
                       ? MAP_FAILED
                       : sys::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    error = memory == MAP_FAILED ? ERROR_NOT_ENOUGH_MEMORY : ERROR_SUCCESS;
    return memory == MAP_FAILED ? nullptr : &own(std::unique_ptr<KernelObject>(new KernelObject(plan, memory, size)));
}

Tag KernelObject::ownTag() const {
    return isNamed() ? m_space->processes().own() : kPrivateTag;
}

bool KernelObject::isAlive(Tag tag) const {
    return isNamed() ? m_space->processes().isAlive(tag) : tag == kPrivateTag;
}

void KernelObject::dropReference() {
    std::uint32_t references = m_references.load(std::memory_order_relaxed);
    while (references > 1)
        if (m_references.compare_exchange_weak(references, references - 1, std::memory_order_release,
                                               std::memory_order_relaxed))
            return;
    const ForkLock lock(objectsMutex);
    dropLocked();
}

void KernelObject::dropLocked() {
    if (m_references.fetch_sub(1, std::memory_order_acq_rel) != 1)
        return;
    if (isNamed())
        m_space->close(*this);
    allObjects().erase(this);
}

DWORD KernelObject::reopenAllInChild(const std::unordered_set<const KernelObject*>& viewed) {
    DWORD passing = ERROR_SUCCESS; // a passing failure: the next call may succeed
    std::unordered_set<const KernelObject*> usable = viewed;
    KernelHandles::forEach([&](const HandleTarget& target) {
        if (target.object != nullptr && (target.thread == 0 || target.thread == threadNumber()))
            usable.insert(target.object);
    });
    std::vector<KernelObject*> objects;
    for (const auto& [object, owned] : allObjects())
        objects.push_back(owned.get());
    keepHeldInChild();
    for (KernelObject* object : objects) {
        // An object without any handle was being opened or closed by another thread.
        const bool isOthers = object->isNamed() && !usable.contains(object);
        const DWORD error = object->isNamed() && !isOthers ? object->reopenFile() : DWORD{ERROR_SUCCESS};
        if (error == ERROR_NOT_ENOUGH_MEMORY || error == ERROR_TOO_MANY_OPEN_FILES || error == ERROR_DISK_FULL)
            passing = error;
        object->m_lost = isOthers || error != ERROR_SUCCESS;
        if (isOthers)
            object->m_space->forget(*object);
        const std::uint64_t holder = object->ownerThread.load(std::memory_order_relaxed);
        // This thread still holds its private mutexes; all others are held by threads that the child doesn't have,
        // which may have taken the word without having set ownerThread yet.
        if (!object->isNamed() && holder == threadNumber())
            continue;
        const bool isTaken = (object->word().load(std::memory_order_relaxed) & kTaken) != 0;
        if (!object->isNamed() && object->kind() == ObjectKind::Mutex && isTaken)
            object->word().store(kAbandoned, std::memory_order_relaxed);
        if (holder == 0)
            continue;
        object->ownerThread.store(0, std::memory_order_relaxed);
        object->depth = 0;
        object->dropLocked();
    }
    return passing;
}

// The parent may have closed the object meanwhile: then this recreates it as it was, except for its holder. The memory
// is copied first, since initialising the object may truncate that very file.
DWORD KernelObject::reopenFile() {
    const std::string text = loadText(*m_header);
    ObjectPlan plan;
    plan.kind = m_kind;
    plan.mayCreate = true;
    plan.parameter = m_parameter;
    plan.bytes = m_bytes;
    plan.word = wordWithoutHolder(m_kind, m_header->word.load(std::memory_order_relaxed));
    plan.mode = m_file.mode();
    plan.text = text;
    const auto* const bytes = static_cast<const std::byte*>(view());
    const std::vector<std::byte> before(bytes, bytes + m_bytes);
    bool existed = false;
    ObjectFile fresh = m_space->file(m_file.name());
    if (const DWORD error = fresh.acquire(plan, existed))
        return error;
    if (!existed)
        std::copy(before.begin(), before.end(), reinterpret_cast<std::byte*>(fresh.header()) + kObjectPage);
    if (const DWORD error = fresh.takePlaceOf(m_file))
        return error;
    m_parameter = m_file.parameter();
    return ERROR_SUCCESS;
}

void KernelObject::noticeRemoval() {
    if (isNamed() && m_file.wasRemoved() && !m_noticed.exchange(true, std::memory_order_relaxed))
        std::fprintf(stderr, "wdltcfg: the file of the object %s in use was removed: another may hold it too by now\n",
                     m_file.name().c_str());
}

bool ObjectUse::acquire(HANDLE handle, ObjectKind kind) {
    if (!enterObjects())
        return false;
    if (find(handle, kind))
        return true;
    SetLastError(ERROR_INVALID_HANDLE);
    return false;
}

bool ObjectUse::find(HANDLE handle, ObjectKind kind) {
    if (!m_use.acquire(handle))
        return false;
    const KernelObject* object = m_use.payload().object;
    return object != nullptr && !object->isLost() && (kind == ObjectKind::Any || kind == object->kind());
}

namespace {

// ERROR_FILENAME_EXCED_RANGE for a name that no object can have; else 0 and the name of its file.
DWORD fileOf(const char* name, std::string& file) {
    const std::string_view text(name);
    file = text.size() < MAX_PATH ? objectFileName(text) : std::string();
    return file.empty() ? ERROR_FILENAME_EXCED_RANGE : ERROR_SUCCESS;
}

// How deep the calling thread is in beginOwnHandles.
constinit thread_local unsigned ownHandles = 0;

KernelObject* openNamed(ObjectPlan plan, const char* name, bool& existed, DWORD& error) {
    std::string file;
    error = fileOf(name, file);
    // What the home lacks is made before the mutex is taken, since that may wait for another process.
    if (error == ERROR_SUCCESS && ObjectSpace::known() == nullptr)
        error = home().ensureObjects();
    if (error != ERROR_SUCCESS)
        return nullptr;
    ObjectSpace* space = nullptr;
    ObjectFile opened;
    {
        const ForkLock lock(objectsMutex);
        space = ObjectSpace::current(error);
        KernelObject* const object = space == nullptr ? nullptr : space->find(file, plan, error);
        if (object != nullptr || error != ERROR_SUCCESS) {
            existed = true;
            return object;
        }
        opened = space->prepare(file, plan);
    }
    error = opened.acquire(plan, existed);
    if (error != ERROR_SUCCESS)
        return nullptr;
    const ForkLock lock(objectsMutex);
    return space->keep(std::move(opened), plan, error);
}

KernelObject* openPrivate(const ObjectPlan& plan, DWORD& error) {
    const ForkLock lock(objectsMutex);
    return KernelObject::makePrivate(plan, error);
}

} // namespace

void beginOwnHandles() {
    ++ownHandles;
    watchThreadEnd(); // now, while it holds nothing; if memory is exhausted, the first wait reports it
}

void endOwnHandles() {
    --ownHandles;
}

std::uint64_t ownerOfHandles() {
    return ownHandles == 0 ? 0 : threadNumber();
}

HANDLE openObject(const ObjectPlan& plan, const char* name) {
    bool existed = false;
    DWORD error = ERROR_SUCCESS;
    KernelObject* object = nullptr;
    if (plan.ownedByCreator && !watchThreadEnd())
        error = ERROR_NOT_ENOUGH_MEMORY;
    else
        object = name == nullptr || *name == '\0' ? openPrivate(plan, error) : openNamed(plan, name, existed, error);
    HANDLE handle = nullptr;
    if (object != nullptr) {
        if (plan.ownedByCreator && !existed)
            adoptMutex(*object);
        handle = KernelHandles::open([&](HandleTarget& target) {
            target.object = object;
            target.thread = object->isNamed() ? ownerOfHandles() : 0;
        });
        if (handle != nullptr)
            object->handles.fetch_add(1, std::memory_order_relaxed);
        else {
            if (plan.ownedByCreator && !existed)
                releaseWholly(*object);
            object->dropReference();
        }
        error = handle == nullptr ? ERROR_NOT_ENOUGH_MEMORY : existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS;
    }
    SetLastError(error);
    return handle;
}

KernelObject* findObject(const char* name, DWORD& error) {
    bool existed = false;
    return openNamed({}, name, existed, error);
}

const ProcessTable* ownProcesses() {
    if (const ObjectSpace* space = ObjectSpace::known())
        return &space->processes();
    DWORD error = home().ensureObjects();
    const ForkLock lock(objectsMutex);
    const ObjectSpace* space = error == ERROR_SUCCESS ? ObjectSpace::current(error) : nullptr;
    failed(error);
    return space == nullptr ? nullptr : &space->processes();
}

} // namespace wd
