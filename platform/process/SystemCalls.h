// Every system call of the layer that can fail, each behind one pointer, so that a test can make the n-th one fail or
// kill the process there (platform/testing.h). Code of the layer calls wd::sys::open and so on, never the plain
// function; the cost is one indirect call. A call fails as in C: -1 (a pointer: (void*)-1) and errno. Interrupted calls
// are not repeated here: code that waits repeats them. A new call needs a declaration here, and a definition and an
// entry in kCalls in SystemCalls.cpp.
//
// open and openat return no descriptor below 3: in a program that was started without the standard ones, its own output
// would go into a file of ours.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/types.h>
#include <time.h>

namespace wd {
inline constexpr std::size_t kPageBytes = 4096;
}

namespace wd::sys {

// What the test hook needs of a call, whatever its signature.
class CallEntry {
  public:
    constexpr explicit CallEntry(const char* name) : m_name(name) {}
    CallEntry(const CallEntry&) = delete;
    CallEntry& operator=(const CallEntry&) = delete;

    const char* name() const { return m_name; }
    // Makes the `nth` call from now fail with `error` (0: kill the process); 0 for `nth` undoes that.
    void failAt(int nth, int error);
    // Whether this call is the one to fail: then sets errno, or kills the process.
    bool isDue();

  protected:
    ~CallEntry() = default;
    virtual void setFailing(bool failing) = 0;

  private:
    const char* m_name;
    std::atomic<int> m_countdown{0};
    std::atomic<int> m_error{0};
};

template <typename FunctionType>
class Call;

template <typename Result, typename... Args>
class Call<Result(Args...)> final : public CallEntry {
  public:
    using Signature = Result(Args...);
    using Function = Result (*)(Args...);

    constexpr Call(const char* name, Function real, Function failing)
        : CallEntry(name), m_current(real), m_real(real), m_failing(failing) {}

    Result operator()(Args... args) const { return m_current.load(std::memory_order_relaxed)(args...); }
    Result real(Args... args) const { return m_real(args...); }

  private:
    void setFailing(bool failing) override { m_current.store(failing ? m_failing : m_real); }

    std::atomic<Function> m_current;
    Function m_real;
    Function m_failing;
};

extern Call<int(const char*, int, mode_t)> open;
extern Call<int(int, const char*, int, mode_t)> openat;
extern Call<int(int)> close;
extern Call<ssize_t(int, void*, size_t)> read;
extern Call<ssize_t(int, const void*, size_t)> write;
extern Call<ssize_t(int, void*, size_t, off_t)> pread;
extern Call<ssize_t(int, const void*, size_t, off_t)> pwrite;
extern Call<off_t(int, off_t, int)> lseek;
extern Call<int(int)> fsync;
extern Call<int(int, off_t)> ftruncate;
extern Call<int(int, off_t, off_t)> fallocate; // posix_fallocate, its result moved to errno
extern Call<int(const char*, struct stat*)> stat;
extern Call<int(const char*, struct stat*)> lstat;
extern Call<int(int, struct stat*)> fstat;
extern Call<int(int, const char*, struct stat*, int)> fstatat;
extern Call<int(const char*, struct statvfs*)> statvfs;
extern Call<int(int, mode_t)> fchmod;
extern Call<int(int, const struct timespec*)> futimens;
extern Call<int(int, uid_t, gid_t)> fchown;
extern Call<int(const char*, mode_t)> chmod;
extern Call<int(const char*, mode_t)> mkdir;
extern Call<int(const char*)> rmdir;
extern Call<int(const char*, const char*)> rename;
extern Call<int(int, const char*, int, const char*, int)> linkat;
extern Call<int(const char*)> unlink;
extern Call<int(int, const char*, int)> unlinkat;
extern Call<ssize_t(const char*, char*, size_t)> readlink;
extern Call<int(int, int)> flock;
extern Call<int(int, int, struct flock*)> fcntl_lock;
extern Call<int(pid_t, int)> kill;
extern Call<int(int, int)> fcntl_setfd;
extern Call<void*(void*, size_t, int, int, int, off_t)> mmap;
extern Call<int(void*, size_t)> munmap;
extern Call<int(void*, size_t, int)> madvise;
extern Call<ssize_t(void*, size_t, unsigned)> getrandom;
extern Call<int(const struct timespec*, struct timespec*)> nanosleep;
// Waits until somebody wakes the word, it isn't `expected`, or CLOCK_MONOTONIC reaches `until`; between processes too.
extern Call<int(const void*, std::uint32_t, const struct timespec*)> futex_wait;
extern Call<int(const void*, int)> futex_wake;

// By name, for the test hook; null when no call has that name.
CallEntry* find(const char* name);

} // namespace wd::sys
