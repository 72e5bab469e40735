// The files of <home>/registry before the database engine sees them: the namespace file with the locks of openers and
// users, the engine's lock file, the data file. Used by RegistryEnvironment alone, while this process has no
// environment open on the home: the lock file is opened and closed here, and closing it would drop the engine's locks.
//
//   data.mdb    the database; completed under another name, then renamed
//   lock.mdb    the engine's: readers and the writer's lock; its space is allocated before it is mapped, so that a full
//               disk is an error and not a signal
//   namespace   which process-id namespace the users of the home live in; its first bytes carry locks:
//               byte 0  read lock of each process that uses the registry, for as long as it lives
//               byte 1  write lock of whoever opens the registry, so that one at a time makes and checks files
//               byte 2  write lock of whoever has the engine's write transaction
//               byte 3  write lock of whoever changes the engine's table of readers
//
// The engine guards the last two with robust mutexes of its own. Those can lose a wake-up when a waiter is killed while
// another process takes them; then all waiters sleep though the mutex is free. So nobody asks the engine for one
// without the byte's lock, and the mutexes are never waited for. When a process dies, its file locks are released after
// its mutexes.
#pragma once

#include "FileDescriptor.h"
#include "Home.h"
#include "LockDescriptor.h"

#include <cstddef>
#include <mutex>
#include <string>

namespace wd {

// The locks on the namespace file. The child of a fork keeps none of them.
class NamespaceGuard {
  public:
    NamespaceGuard() = default;
    ~NamespaceGuard() { release(); }
    NamespaceGuard(const NamespaceGuard&) = delete;
    NamespaceGuard& operator=(const NamespaceGuard&) = delete;

    // Takes the first two locks, waiting for another opener. 0; with a line on stderr ERROR_SHARING_VIOLATION when the
    // home is in use from another namespace (or ours is unknown), ERROR_INVALID_DATA when the file holds something
    // else; or another error.
    DWORD acquire(const Home& home);
    // Opening is over: lets the next opener in and stays a user.
    void endOpening();
    // Releases all locks.
    void release();
    // No other process used the registry when the locks were acquired.
    bool isFirst() const { return m_isFirst; }
    int file() const { return m_file.get(); }

    // Closes the file without releasing the locks: in the child of a bare clone they are the parent's. Later calls do
    // nothing.
    void forget() { m_file.reset(); }

  private:
    DWORD enter(const Home& home, const std::string& file);

    LockDescriptor m_file;
    bool m_isFirst = false;
};

// A turn at one of the engine's mutexes: one thread among all processes has it. Each process and environment has its
// own object.
class EngineTurn {
  public:
    enum class At : off_t { Writing = 2, Readers = 3 };

    explicit EngineTurn(At at) : m_byte(static_cast<off_t>(at)) {}

    // 0, or the errno value when the lock can't be had.
    [[nodiscard]] int take(const NamespaceGuard& guard);
    void give(const NamespaceGuard& guard);

  private:
    std::mutex m_threads; // taken first: the threads of a process share the open file, and with it the byte's lock
    const off_t m_byte;
};

// While it lives no file is opened as a standard descriptor: otherwise the program would print into a file of ours.
class StandardDescriptors {
  public:
    explicit StandardDescriptors(const Home& home);

  private:
    FileDescriptor m_places[3];
};

struct RegistryFiles {
    static constexpr unsigned kReaders = 2048;
    static constexpr std::size_t kFirstMapBytes = std::size_t{16} << 20;

    // Makes lock.mdb with all its space. Called under the opener's lock.
    static DWORD prepareLockFile(const Home& home);
    // Checks data.mdb, or makes it with a root key when the home has none. Called under the opener's lock.
    static DWORD prepareDataFile(const Home& home, const NamespaceGuard& guard);
    // For a read-only home: the data file in memory. ERROR_SHARING_VIOLATION when commits come without a pause.
    static DWORD copyDataFile(const Home& home, FileDescriptor& copy);
    // Moves data.mdb into a folder of the same file system. ERROR_SHARING_VIOLATION while anybody uses the registry.
    static DWORD setAside(const Home& home, const std::filesystem::path& folder);
};

} // namespace wd
