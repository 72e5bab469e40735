// A file in the making, held by a lock for as long as it is: one that nobody holds is what a crash left, and whoever
// comes next may remove it. Where the file system can make files without a name, this one has its rights and its lock
// before its name.
#pragma once

#include "LockDescriptor.h"

namespace wd {

class HeldFile {
  public:
    HeldFile() = default;
    ~HeldFile() { release(); }
    HeldFile(const HeldFile&) = delete;
    HeldFile& operator=(const HeldFile&) = delete;

    // An empty one to write to, this user's alone. False with errno: EEXIST for a name that is taken, EAGAIN when
    // somebody took it for one left behind.
    bool make(int folder, const char* name);
    // Gives it the name, if it has none yet; as above.
    bool publish(int folder, const char* name);
    bool isNamed() const { return m_isNamed; }
    int get() const { return m_file.get(); }
    // Whatever becomes of the file is no longer this process's affair.
    void release();

    // Removes the file of this name if nobody holds it. False with errno: EAGAIN for one that is held, ENOENT for one
    // that has gone.
    static bool removeLeftBehind(int folder, const char* name);

  private:
    bool hold(int folder, const char* name);

    LockDescriptor m_file;
    bool m_isNamed = false;
};

} // namespace wd
