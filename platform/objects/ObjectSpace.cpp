#include "ObjectSpace.h"

#include "LastError.h"

#include <algorithm>
#include <pthread.h>
#include <vector>

namespace wd {

namespace {

// All spaces of this process; never destroyed, since objects point to them.
std::vector<std::unique_ptr<ObjectSpace>>& spaces() {
    static auto* const all = std::make_unique<std::vector<std::unique_ptr<ObjectSpace>>>().release();
    return *all;
}

// Written under objectsMutex, the home last; never reset.
constinit std::atomic<const Home*> currentHome{nullptr};
constinit std::atomic<ObjectSpace*> currentSpace{nullptr};

// Of this process and its ancestors.
constinit std::atomic<std::uint64_t> forks{0};

__attribute__((constructor)) void countForks() {
    ::pthread_atfork(
        nullptr, [] { forks.fetch_add(1, std::memory_order_relaxed); }, nullptr);
}

} // namespace

ObjectSpace* ObjectSpace::known() {
    return currentHome.load(std::memory_order_acquire) == &home() ? currentSpace.load(std::memory_order_relaxed)
                                                                  : nullptr;
}

ObjectSpace* ObjectSpace::current(DWORD& error) {
    error = ERROR_SUCCESS;
    if (ObjectSpace* space = known())
        return space;
    const Home& wanted = home();
    std::unique_ptr<ObjectSpace> made(new ObjectSpace(wanted));
    error = made->open();
    if (error != ERROR_SUCCESS)
        return nullptr;
    // Another path may lead to the same directory: its table must not be opened twice.
    auto& all = spaces();
    auto found = std::find_if(all.begin(), all.end(), [&](const auto& space) {
        return space->m_device == made->m_device && space->m_inode == made->m_inode;
    });
    if (found == all.end())
        found = all.insert(all.end(), std::move(made));
    error = (*found)->m_processes.claim((*found)->m_directory.get());
    if (error != ERROR_SUCCESS)
        return nullptr;
    currentSpace.store(found->get(), std::memory_order_relaxed);
    currentHome.store(&wanted, std::memory_order_release);
    return found->get();
}

DWORD ObjectSpace::open() {
    if (const DWORD error = m_home->ensureObjects())
        return error;
    m_directory = FileDescriptor(sys::open(m_home->objectsPath().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC, 0));
    struct stat status {};
    if (!m_directory.valid() || sys::fstat(m_directory.get(), &status) != 0)
        return systemError();
    m_device = status.st_dev;
    m_inode = status.st_ino;
    Home::Modes modes{};
    const DWORD error = m_home->objectModes(modes);
    m_creatorsMode = modes.file;
    return error;
}

// A child that first closed all descriptors, as daemons do, may have the number in use for something else by now: then
// it isn't closed.
DWORD ObjectSpace::reopenDirectory() {
    struct stat status {};
    if (sys::fstat(m_directory.get(), &status) == 0 && status.st_dev == m_device && status.st_ino == m_inode)
        return ERROR_SUCCESS;
    m_directory.release();
    m_directory = FileDescriptor(sys::open(m_home->objectsPath().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC, 0));
    if (!m_directory.valid() || sys::fstat(m_directory.get(), &status) != 0)
        return systemError();
    const bool isSame = status.st_dev == m_device && status.st_ino == m_inode;
    return isSame ? DWORD{ERROR_SUCCESS} : DWORD{ERROR_FILE_NOT_FOUND};
}

DWORD ObjectSpace::claimAllInChild() {
    DWORD error = ERROR_SUCCESS;
    for (auto& space : spaces()) {
        DWORD failure = space->reopenDirectory();
        if (failure == ERROR_SUCCESS)
            failure = space->m_processes.claim(space->m_directory.get());
        if (failure != ERROR_SUCCESS)
            error = failure;
        space->forgetClosed();
    }
    return error;
}

void ObjectSpace::discardAll() {
    for (auto& space : spaces()) {
        for (Closed& closed : space->m_closed)
            if (closed.when != 0)
                closed.file.discard();
        for (const auto& [name, object] : space->m_named)
            if (object->file().mode() != ObjectPlan::kEverybody &&
                object->ownerThread.load(std::memory_order_relaxed) == 0)
                object->file().removeIfAlone();
    }
}

void ObjectSpace::forgetClosed() {
    m_closed = {};
}

// An object closed before a fork shares its open file with a child that ran no fork handlers: a lock on it would stay
// with that child.
ObjectFile ObjectSpace::takeClosed(const std::string& file) {
    if (m_forksSeen != forks.load(std::memory_order_relaxed)) {
        m_forksSeen = forks.load(std::memory_order_relaxed);
        forgetClosed();
    }
    for (Closed& closed : m_closed)
        if (closed.file.name() == file) {
            closed.when = 0;
            return std::move(closed.file);
        }
    return this->file(file);
}

KernelObject* ObjectSpace::find(const std::string& file, const ObjectPlan& plan, DWORD& error) {
    error = ERROR_SUCCESS;
    const auto found = m_named.find(file);
    if (found == m_named.end())
        return nullptr;
    KernelObject& object = *found->second;
    if (object.isLost() || (plan.kind != ObjectKind::Any && plan.kind != object.kind()))
        error = ERROR_INVALID_HANDLE;
    else if (plan.bytes > object.bytes())
        error = ERROR_ACCESS_DENIED;
    if (error != ERROR_SUCCESS)
        return nullptr;
    object.addReference();
    return &object;
}

ObjectFile ObjectSpace::prepare(const std::string& file, ObjectPlan& plan) {
    if (plan.mode == ObjectPlan::kCreatorAlone)
        plan.mode = m_creatorsMode;
    if (plan.ownedByCreator)
        plan.word = m_processes.own();
    return takeClosed(file);
}

KernelObject* ObjectSpace::keep(ObjectFile&& file, const ObjectPlan& plan, DWORD& error) {
    const std::string name = file.name();
    KernelObject* object = find(name, plan, error);
    if (object != nullptr || error != ERROR_SUCCESS) {
        file.leave();
        return object;
    }
    const auto place = m_named.emplace(name, nullptr).first;
    try {
        place->second = &KernelObject::keep(*this, std::move(file));
    } catch (...) {
        m_named.erase(place);
        throw;
    }
    return place->second;
}

void ObjectSpace::forget(KernelObject& object) {
    const auto found = m_named.find(object.file().name());
    if (found != m_named.end() && found->second == &object)
        m_named.erase(found);
}

void ObjectSpace::close(KernelObject& object) {
    forget(object);
    if (object.isLost()) {
        object.file().forget();
    } else if (object.file().mappedBytes() > kClosedBytesLimit) {
        object.file().discard();
    } else {
        object.file().leave();
        Closed& place = *std::min_element(m_closed.begin(), m_closed.end(),
                                          [](const Closed& one, const Closed& other) { return one.when < other.when; });
        if (place.when != 0)
            place.file.discard();
        place.file = std::move(object.file());
        place.when = ++m_closings;
    }
}

} // namespace wd
