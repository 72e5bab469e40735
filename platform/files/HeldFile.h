// A file being made, held by a lock meanwhile: one that nobody holds was left by a crash, and whoever comes next may
// remove it. Where the file system can make files without a name, this one has its rights and its lock before its name.
#pragma once

#include "LockDescriptor.h"

namespace wd {

class HeldFile {
  public:
    HeldFile() = default;
    ~HeldFile() { release(); }
    HeldFile(const HeldFile&) = delete;
    HeldFile& operator=(const HeldFile&) = delete;

    // Makes an empty file to write to, for this user alone. False with errno: EEXIST when the name is taken, EAGAIN
    // when somebody took the file for one left behind.
    bool make(int folder, const char* name);
    // Gives it the name, if it has none yet; errors as above.
    bool publish(int folder, const char* name);
    bool isNamed() const { return m_isNamed; }
    int get() const { return m_file.get(); }
    // Releases the lock; what becomes of the file no longer concerns this process.
    void release();

    // Whether a file of this name is there and nobody holds it.
    static bool isLeftBehind(int folder, const char* name);
    // Removes the file of this name if nobody holds it. False with errno: EAGAIN when it is held, ENOENT when it is
    // gone.
    static bool removeLeftBehind(int folder, const char* name);

  private:
    bool hold(int folder, const char* name);

    LockDescriptor m_file;
    bool m_isNamed = false;
};

} // namespace wd
