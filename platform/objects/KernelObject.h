// Kernel objects as one process has them. Each named object is open once in a process, however many handles and views
// stand for it; what only this process knows about it (which thread holds a mutex, and how often) stands here.
//
// An object lives while something refers to it: a handle, a view, or the thread that holds it. The last reference
// closes it, under the lock of all objects; to find an object by its name takes the same lock. A child of a fork opens
// every object anew at its first call (enterObjects), since it has none of its parent's locks on their files.
#pragma once

#include "ForkMutex.h"
#include "HandleTable.h"
#include "LockedFile.h"
#include "ObjectFile.h"

#include <platform/robust.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <unordered_set>

namespace wd {

class ObjectSpace;
class ProcessTable;

// Guards which objects this process has open, and under which names. Held across a fork, and for the few system calls
// that closing takes; opening waits for others without it.
inline constinit ForkMutex<class KernelObject, ForkOrder::Objects> objectsMutex;

class KernelObject {
  public:
    // A named object, open in `file`; the first reference is the caller's.
    static KernelObject& keep(ObjectSpace& space, ObjectFile file) WD_REQUIRES(objectsMutex);
    // One of this process alone, likewise; null with an error.
    static KernelObject* makePrivate(const ObjectPlan& plan, DWORD& error) WD_REQUIRES(objectsMutex);
    ~KernelObject();
    KernelObject(const KernelObject&) = delete;
    KernelObject& operator=(const KernelObject&) = delete;

    ObjectKind kind() const { return m_kind; }
    std::uint32_t parameter() const { return m_parameter; }
    std::uint64_t bytes() const { return m_bytes; }
    SharedWord& word() const { return m_header->word; }
    ObjectHeader& header() const { return *m_header; }
    void* view() const { return reinterpret_cast<std::byte*>(m_header) + kObjectPage; }
    bool isNamed() const { return m_space != nullptr; }
    ObjectSpace* space() const { return m_space; }
    ObjectFile& file() { return m_file; }

    // This process, as it stands in the words of its objects.
    Tag ownTag() const;
    bool isAlive(Tag tag) const;

    // References: the caller of addReference has one already, or holds objectsMutex.
    void addReference() { m_references.fetch_add(1, std::memory_order_relaxed); }
    void dropReference() WD_EXCLUDES(objectsMutex);

    std::atomic<std::uint32_t> handles{0};

    // Of a mutex: the thread of this process that holds it (0: none), how often, and which other one it holds. Only
    // that thread writes them.
    std::atomic<std::uint64_t> ownerThread{0};
    std::uint32_t depth = 0;
    KernelObject* nextHeld = nullptr;

    // In a child of a fork: opens every object anew, at the same address; it may be another one of its name by now. Not
    // so those that no handle leads to but other threads' own, and no view of those in `viewed`. The error of a lack of
    // memory, descriptors or room: then it is to be called again.
    static DWORD reopenAllInChild(const std::unordered_set<const KernelObject*>& viewed) WD_REQUIRES(objectsMutex);
    // The child couldn't have it: every use is refused.
    bool isLost() const { return m_lost; }
    // Says on stderr, once, that somebody has removed the object's file: others may hold a second one by now.
    void noticeRemoval();

  private:
    KernelObject(ObjectSpace& space, ObjectFile file);
    KernelObject(const ObjectPlan& plan, void* memory, std::size_t size);

    void dropLocked() WD_REQUIRES(objectsMutex);
    DWORD reopenFile();

    ObjectSpace* m_space = nullptr; // null: private
    ObjectFile m_file;
    std::size_t m_privateBytes = 0;
    ObjectHeader* m_header;
    ObjectKind m_kind;
    std::uint32_t m_parameter;
    std::uint64_t m_bytes;
    bool m_lost = false;
    std::atomic<bool> m_noticed{false};
    std::atomic<std::uint32_t> m_references{1};
};

// What a handle stands for: an object, or an open file.
struct HandleTarget {
    KernelObject* object = nullptr;
    std::uint64_t thread = 0; // whose own the handle is; 0: the process's
    LockedFile file;

    void closed() {
        if (object != nullptr)
            std::exchange(object, nullptr)->dropReference();
        thread = 0;
        file.reset();
    }
};
using KernelHandles = HandleTable<HandleTarget, 0xA5>;

// A handle in use by one call: the object can't go meanwhile.
class ObjectUse {
  public:
    // Of this kind; Any takes every kind. Otherwise false, with GetLastError 6.
    bool acquire(HANDLE handle, ObjectKind kind);
    // The same without touching GetLastError.
    bool find(HANDLE handle, ObjectKind kind);
    KernelObject* operator->() const { return m_use.payload().object; }
    KernelObject& operator*() const { return *m_use.payload().object; }

  private:
    KernelHandles::Use m_use;
};

// To be called first by every function on kernel objects: in a child of a fork it opens anew what the process has.
// False with GetLastError when this process can have no objects.
bool enterObjects();
// Whether the calling process is the one that opened them: not so in a child of a fork before its first call.
bool objectsAreOwn();

// Creates or opens an object and makes a handle for it; a null or empty name is private. Null with GetLastError; with a
// handle it is 183 for an object that was there already, else 0.
HANDLE openObject(const ObjectPlan& plan, const char* name);

// The object of this name with a reference for the caller, whatever its kind; null with an error.
KernelObject* findObject(const char* name, DWORD& error);

// The process table of the home, with this process in it; null with GetLastError.
const ProcessTable* ownProcesses();

// Named objects' handles that the calling thread opens between the two are its own (platform/robust.h).
void beginOwnHandles();
void endOwnHandles();
// The calling thread between the two; else 0.
std::uint64_t ownerOfHandles();

// A number for the calling thread, never 0, that no other thread of this process has or had.
std::uint64_t threadNumber();

} // namespace wd
