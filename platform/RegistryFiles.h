// The files of <home>/registry before the database engine sees them: the namespace file with the locks that openers and
// users hold, the engine's lock file, the data file. Called by RegistryEnvironment alone, with no environment of this
// process open on the home: the lock file is opened and closed here, and closing it would drop the engine's locks.
//
//   data.mdb    the database; made whole under another name, then renamed
//   lock.mdb    the engine's: readers and the writer's lock; its space is taken before it is mapped, so that a full
//   disk is
//               an error and not a signal
//   namespace   which process-id namespace the users of the home live in; its first bytes carry locks:
//               byte 0  read lock of each process that uses the registry, for as long as it lives
//               byte 1  write lock of whoever opens the registry, so that one at a time makes and checks files
#pragma once

#include "FileDescriptor.h"
#include "Home.h"

#include <cstddef>
#include <string>

namespace wd {

// The locks on the namespace file. Bound to the open file, not to the process: a child of a fork keeps its parent's,
// and takes its own when it opens the registry anew.
class NamespaceGuard {
  public:
    // Takes both locks, waiting for another opener. 0; 32 with a line on stderr when the home is in use from another
    // namespace; or the error.
    DWORD acquire(const Home& home);
    // Opening is over: lets the next opener in and stays a user.
    void endOpening();
    // No other process used the registry when it was acquired.
    bool isFirst() const { return m_isFirst; }

  private:
    DWORD enter(const Home& home, const std::string& file);

    FileDescriptor m_file;
    bool m_isFirst = false;
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
