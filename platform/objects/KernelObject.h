// The kernel objects of this process. Each named object is open once per process, however many handles and views refer
// to it; what only this process knows about it (which thread holds a mutex, and how often) is kept here.
//
// An object lives while something refers to it: a handle, a view, or the thread that holds it. Dropping the last
// reference closes it under objectsMutex; finding an object by its name takes the same mutex. A child of a fork reopens
// every object at its first call (enterObjects), since it has none of its parent's locks on their files.
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
// of closing; opening doesn't hold it while it waits for other processes.
inline constinit ForkMutex<class KernelObject, ForkOrder::Objects> objectsMutex;

class KernelObject {
  public:
    // A named object, open in `file`; the caller gets the first reference.
    static KernelObject& keep(ObjectSpace& space, ObjectFile&& file) WD_REQUIRES(objectsMutex);
    // A private object, likewise; null with an error.
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

    // This process's tag, as it is in the words of its objects.
    Tag ownTag() const;
    bool isAlive(Tag tag) const;

    // References: the caller of addReference has one already, or holds objectsMutex.
    void addReference() { m_references.fetch_add(1, std::memory_order_relaxed); }
    void dropReference() WD_EXCLUDES(objectsMutex);

    std::atomic<std::uint32_t> handles{0};

    // For a mutex: the thread of this process that holds it (0: none), how often, and the next mutex that this thread
    // holds. Only that thread writes them.
    std::atomic<std::uint64_t> ownerThread{0};
    std::uint32_t depth = 0;
    KernelObject* nextHeld = nullptr;

    // In a child of a fork: reopens every object at the same address; its name may lead to another object by now. Marks
    // as lost the named ones that are not in `viewed` and have no handle but other threads' own. Returns the error when
    // memory, descriptors or disk space ran out: then it is to be called again.
    static DWORD reopenAllInChild(const std::unordered_set<const KernelObject*>& viewed) WD_REQUIRES(objectsMutex);
    // The child couldn't reopen it: every use is refused.
    bool isLost() const { return m_lost; }
    // Reports on stderr, once, that the object's file was removed: others may have made a second object by now.
    void noticeRemoval();

  private:
    KernelObject(ObjectSpace& space, ObjectFile&& file);
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
    std::uint64_t thread = 0; // the thread whose own handle it is; 0: the process's
    LockedFile file;
    DWORD fileRights = 0; // FILE_READ_DATA, FILE_WRITE_DATA: what the caller may do, whatever the descriptor can

    void closed() {
        if (object != nullptr)
            std::exchange(object, nullptr)->dropReference();
        thread = 0;
        file.reset();
    }
};
using KernelHandles = HandleTable<HandleTarget, 0xA4>;

// A handle in use by one call: the object stays alive meanwhile.
class ObjectUse {
  public:
    // False with GetLastError: ERROR_INVALID_HANDLE when it isn't the handle of an object of this kind (Any: of any
    // kind).
    bool acquire(HANDLE handle, ObjectKind kind);
    // The same without touching GetLastError.
    bool find(HANDLE handle, ObjectKind kind);
    // After a failing find: whether the handle is an open file's.
    bool isFile() const { return m_use.isAcquired() && m_use.payload().file.valid(); }
    KernelObject* operator->() const { return m_use.payload().object; }
    KernelObject& operator*() const { return *m_use.payload().object; }

  private:
    KernelHandles::Use m_use;
};

// Called first by every function on kernel objects: in a child of a fork it reopens the objects. False with
// GetLastError when this process can have no objects.
bool enterObjects();
// Whether the calling process is the one that opened the objects: false in a child of a fork before its first call.
bool objectsAreOwn();

// Creates or opens an object and makes a handle for it; a null or empty name is private. Null with GetLastError; with a
// handle that is ERROR_ALREADY_EXISTS for an object that existed, else 0.
HANDLE openObject(const ObjectPlan& plan, const char* name);

// The object of this name, whatever its kind, with a reference for the caller; null with an error.
KernelObject* findObject(const char* name, DWORD& error);

// The home's process table, with a row for this process; null with GetLastError.
const ProcessTable* ownProcesses();

// Handles of named objects that the calling thread opens between these two calls are its own (platform/robust.h).
void beginOwnHandles();
void endOwnHandles();
// The calling thread's number between the two, else 0.
std::uint64_t ownerOfHandles();

// A number for the calling thread: never 0, and no other thread of this process has or had it.
std::uint64_t threadNumber();

} // namespace wd
