// The files of <home>/registry before the database engine sees them: the namespace file with the locks that openers and
// users hold, the engine's lock file, the data file. Called by RegistryEnvironment alone, with no environment of this
// process open on the home: the lock file is opened and closed here, and closing it would drop the engine's locks.
//
//   data.mdb    the database; made whole under another name, then renamed
//   lock.mdb    the engine's: readers and the writer's lock; its space is taken before it is mapped, so that a full
//               disk is an error and not a signal
//   namespace   which process-id namespace the users of the home live in; its first bytes carry locks:
//               byte 0  read lock of each process that uses the registry, for as long as it lives
//               byte 1  write lock of whoever opens the registry, so that one at a time makes and checks files
//               byte 2  write lock of whoever has the engine's write transaction
//               byte 3  write lock of whoever changes the engine's table of readers
//
// The engine guards the last two by robust mutexes of its own. Those can lose a wake-up when a waiter is killed while
// another process takes them, and then all sleep at a free mutex: so nobody asks the engine for one without the byte's
// lock, and the mutexes are never waited for. A lock of an open file falls with its holder, after the mutexes have.
#pragma once

#include "FileDescriptor.h"
#include "Home.h"
#include "LockDescriptor.h"

#include <cstddef>
#include <mutex>
#include <string>

namespace wd {

// The locks on the namespace file, none of which the child of a fork keeps.
class NamespaceGuard {
  public:
    NamespaceGuard() = default;
    ~NamespaceGuard() { release(); }
    NamespaceGuard(const NamespaceGuard&) = delete;
    NamespaceGuard& operator=(const NamespaceGuard&) = delete;

    // Takes the first two locks, waiting for another opener. 0; 32 with a line on stderr when the home is in use from
    // another namespace, 13 with one when the file holds something else; or the error.
    DWORD acquire(const Home& home);
    // Opening is over: lets the next opener in and stays a user.
    void endOpening();
    // Gives up all locks.
    void release();
    // No other process used the registry when it was acquired.
    bool isFirst() const { return m_isFirst; }
    int file() const { return m_file.get(); }

    // Closes the file and leaves the locks to the parent, of which a bare clone is the child. Later calls do nothing.
    void forget() { m_file.reset(); }

  private:
    DWORD enter(const Home& home, const std::string& file);

    LockDescriptor m_file;
    bool m_isFirst = false;
};

// A turn at one of the engine's mutexes: one thread of all processes has it. Private to its process and its
// environment.
class EngineTurn {
  public:
    enum class At : off_t { Writing = 2, Readers = 3 };

    explicit EngineTurn(At at) : m_byte(static_cast<off_t>(at)) {}

    // 0, or the errno value of a lock that can't be had.
    int take(const NamespaceGuard& guard);
    void give(const NamespaceGuard& guard);

  private:
    std::mutex m_threads; // taken first: the threads of a process share the open file, and with it the byte's lock
    const off_t m_byte;
};

// While it lives no file is opened as a standard descriptor: what is kept open must not be what the program prints to.
class StandardDescriptors {
  public:
    explicit StandardDescriptors(const Home& home);

  private:
    FileDescriptor m_places[3];
};

struct RegistryFiles {
    static constexpr unsigned kReaders = 2048;
    static constexpr std::size_t kFirstMapBytes = std::size_t{16} << 20;

    // Makes lock.mdb with all its space. Runs under the opener's lock.
    static DWORD prepareLockFile(const Home& home);
    // Makes data.mdb with a root key in it when the home has none. Runs under the opener's lock.
    static DWORD prepareDataFile(const Home& home, const NamespaceGuard& guard);
};

} // namespace wd
