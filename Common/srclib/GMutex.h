// A mutex that nobody waits for: its existence says that somebody is inside. It goes away with the object or process
// that created it. Each name stands for two of them, one of this session and one of all sessions.
#pragma once

#include <platform/win32.h>

#include <array>
#include <string>

class CGMutex {
  public:
    // Who holds a name.
    enum Presence : int {
        kNobody = 0, // from CreateGMutexEx: a mutex can't be created
        kCreated = 1,
        kLocal = 2,
        kGlobal = 3,
    };

    CGMutex() = default;
    ~CGMutex() { close(); }
    CGMutex(const CGMutex&) = delete;
    CGMutex& operator=(const CGMutex&) = delete;

    // Whether somebody has it: kNobody, kLocal or kGlobal. The answer may be stale when it is used.
    [[nodiscard]] static int CheckGMutex(const char* name);
    // kCreated when nobody had it; this object then has it until it is destroyed. After any other result it has
    // nothing.
    [[nodiscard]] int CreateGMutexEx(const char* name);

  private:
    void close();

    HANDLE m_hLocal = nullptr;
    HANDLE m_hGlobal = nullptr;
    std::array<char, MAX_PATH> m_szName{}; // as given, cut to this length
};
