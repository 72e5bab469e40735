#include "ObjectSpace.h"

#include "LastError.h"

#include <algorithm>
#include <pthread.h>
#include <vector>

namespace wd {

namespace {

// All of this process; objects keep pointing to them.
std::vector<std::unique_ptr<ObjectSpace>>& spaces() {
    static auto* const all = std::make_unique<std::vector<std::unique_ptr<ObjectSpace>>>().release();
    return *all;
}

// Written under the mutex, the home last, and never back.
constinit std::atomic<const Home*> currentHome{nullptr};
constinit std::atomic<ObjectSpace*> currentSpace{nullptr};

// Of this process and those before it.
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
        return errorFromErrno(errno);
    m_device = status.st_dev;
    m_inode = status.st_ino;
    Home::Modes modes{};
    const DWORD error = m_home->objectModes(modes);
    m_creatorsMode = modes.file;
    return error;
}

DWORD ObjectSpace::claimAllInChild() {
    DWORD error = ERROR_SUCCESS;
    for (auto& space : spaces()) {
        if (const DWORD failure = space->m_processes.claim(space->m_directory.get()))
            error = failure;
        for (ObjectFile& file : space->m_closed)
            file.forget();
        space->m_closed.clear();
    }
    return error;
}

void ObjectSpace::discardAllClosed() {
    for (auto& space : spaces()) {
        for (ObjectFile& file : space->m_closed)
            file.discard();
        space->m_closed.clear();
    }
}

// What was closed before a fork is one open file with the child's copy: a lock on it would stay with the child.
ObjectFile ObjectSpace::takeClosed(const std::string& file) {
    if (m_forksSeen != forks.load(std::memory_order_relaxed)) {
        m_forksSeen = forks.load(std::memory_order_relaxed);
        for (ObjectFile& closed : m_closed)
            closed.forget();
        m_closed.clear();
    }
    const auto found =
        std::find_if(m_closed.begin(), m_closed.end(), [&](const ObjectFile& closed) { return closed.name() == file; });
    if (found == m_closed.end())
        return this->file(file);
    ObjectFile taken = std::move(*found);
    m_closed.erase(found);
    return taken;
}

KernelObject* ObjectSpace::open(const std::string& file, ObjectPlan plan, bool& existed, DWORD& error) {
    if (const auto found = m_named.find(file); found != m_named.end()) {
        KernelObject& object = *found->second;
        error = ERROR_SUCCESS;
        if (object.isLost() || (plan.kind != ObjectKind::Any && plan.kind != object.kind()))
            error = ERROR_INVALID_HANDLE;
        else if (plan.bytes > object.bytes())
            error = ERROR_ACCESS_DENIED;
        if (error != ERROR_SUCCESS)
            return nullptr;
        existed = true;
        object.addReference();
        return &object;
    }
    if (plan.mode == ObjectPlan::kCreatorAlone)
        plan.mode = m_creatorsMode;
    if (plan.ownedByCreator)
        plan.word = m_processes.own();
    ObjectFile opened = takeClosed(file);
    error = opened.acquire(plan, existed);
    if (error != ERROR_SUCCESS)
        return nullptr;
    KernelObject& object = KernelObject::keep(*this, std::move(opened));
    m_named.emplace(file, &object);
    return &object;
}

void ObjectSpace::close(KernelObject& object) {
    m_named.erase(object.file().name());
    if (object.isLost())
        object.file().forget();
    else if (object.file().mappedBytes() > kClosedBytesLimit)
        object.file().discard();
    else {
        object.file().leave();
        m_closed.push_back(std::move(object.file()));
    }
    if (m_closed.size() > kClosedLimit) {
        m_closed.front().discard();
        m_closed.pop_front();
    }
}

} // namespace wd
