// The named objects of one home in this process: the directory, the process table, the open objects by name, and a few
// dozen closed objects that stay mapped, since a mutex made for one operation will be made again for the next. Never
// destroyed: objects and the locks on their files refer to it. Everything but the process table is guarded by
// objectsMutex.
#pragma once

#include "Home.h"
#include "KernelObject.h"
#include "ProcessTable.h"

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace wd {

class ObjectSpace {
  public:
    // The space of this process's home, with this process in its table; null with an error.
    static ObjectSpace* current(DWORD& error) WD_REQUIRES(objectsMutex);
    // The same if it exists already, else null; takes no lock.
    static ObjectSpace* known();
    // In a child of a fork: claims a row for it in every space, and drops all closed objects.
    static DWORD claimAllInChild() WD_REQUIRES(objectsMutex);
    // At the end of the process: removes the files of objects that are their creator's alone, which would shut others
    // out.
    static void discardAll() WD_REQUIRES(objectsMutex);

    const ProcessTable& processes() const { return m_processes; }
    // What ObjectPlan::kCreatorAlone stands for here.
    mode_t creatorsMode() const { return m_creatorsMode; }
    // The file of an object, not opened yet.
    ObjectFile file(const std::string& name) const { return {m_directory.get(), name}; }

    // Opening an object takes three steps: find; prepare, and ObjectFile::acquire of its result; keep. Only acquire
    // goes without the mutex, since it may wait for others.
    //
    // The object of a file's name that this process has open, with one more reference. Null with an error, which is 0
    // when it has none.
    KernelObject* find(const std::string& file, const ObjectPlan& plan, DWORD& error) WD_REQUIRES(objectsMutex);
    ObjectFile prepare(const std::string& file, ObjectPlan& plan) WD_REQUIRES(objectsMutex);
    // The object of the acquired file, likewise; another thread's, when that was quicker.
    KernelObject* keep(ObjectFile&& file, const ObjectPlan& plan, DWORD& error) WD_REQUIRES(objectsMutex);
    // Nothing refers to the object any more; its memory may be unmapped.
    void close(KernelObject& object) WD_REQUIRES(objectsMutex);
    // In a child of a fork: the object isn't the child's, which may open another one of that name.
    void forget(KernelObject& object) WD_REQUIRES(objectsMutex);

  private:
    static constexpr std::size_t kClosedLimit = 32;
    static constexpr std::size_t kClosedBytesLimit = std::size_t{1} << 20; // a larger one is closed for good

    struct Closed {
        ObjectFile file;        // without a name in an unused place
        std::uint64_t when = 0; // the number of its closing; 0 in an unused place
    };

    explicit ObjectSpace(const Home& home) : m_home(&home) {}

    DWORD open();
    DWORD reopenDirectory();
    ObjectFile takeClosed(const std::string& file) WD_REQUIRES(objectsMutex);
    void forgetClosed() WD_REQUIRES(objectsMutex);

    const Home* m_home;
    FileDescriptor m_directory;
    dev_t m_device = 0;
    ino_t m_inode = 0;
    mode_t m_creatorsMode = 0600;
    ProcessTable m_processes;
    std::map<std::string, KernelObject*, std::less<>> m_named WD_GUARDED_BY(objectsMutex);
    std::array<Closed, kClosedLimit> m_closed WD_GUARDED_BY(objectsMutex);
    std::uint64_t m_closings WD_GUARDED_BY(objectsMutex) = 0;
    std::uint64_t m_forksSeen WD_GUARDED_BY(objectsMutex) = 0; // fork count when m_closed was last emptied
};

} // namespace wd
