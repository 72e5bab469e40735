// A mutex that nobody waits for: that it exists says that somebody is inside. It goes with the object or the process
// that made it. Two of a name, one seen in the own session and one in all.
#pragma once

#include <platform/win32.h>

#include <array>
#include <string>

class CGMutex {
  public:
    // What is said of a name.
    enum Presence : int {
        kNobody = 0, // of CreateGMutexEx: a mutex can't be made
        kCreated = 1,
        kLocal = 2,
        kGlobal = 3,
    };

    CGMutex() = default;
    ~CGMutex() { close(); }
    CGMutex(const CGMutex&) = delete;
    CGMutex& operator=(const CGMutex&) = delete;

    // Whether somebody has it: kNobody, kLocal or kGlobal. The answer may be old when it comes.
    static int CheckGMutex(const char* name);
    // kCreated when nobody had it, and until this object goes. After anything else the object has nothing.
    int CreateGMutexEx(const char* name);

  private:
    void close();

    HANDLE m_hLocal = nullptr;
    HANDLE m_hGlobal = nullptr;
    std::array<char, MAX_PATH> m_szName{}; // as asked for, cut to this length
};
