#include "SystemCalls.h"

#include <platform/testing.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <linux/futex.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/syscall.h>
#include <type_traits>
#include <unistd.h>

namespace wd::sys {

void CallEntry::failAt(int nth, int error) {
    setFailing(false);
    m_error.store(error);
    m_countdown.store(nth);
    setFailing(nth > 0);
}

bool CallEntry::isDue() {
    if (m_countdown.fetch_sub(1) != 1)
        return false;
    setFailing(false);
    const int error = m_error.load();
    if (error == 0)
        ::kill(::getpid(), SIGKILL);
    errno = error;
    return true;
}

namespace {

// Stands in for a call while a test wants it to fail: counts, then calls the real function.
template <auto& call, typename FunctionType>
struct Failing;
template <auto& call, typename Result, typename... Args>
struct Failing<call, Result(Args...)> {
    static Result function(Args... args) {
        if (!call.isDue())
            return call.real(args...);
        if constexpr (std::is_pointer_v<Result>)
            return reinterpret_cast<Result>(std::intptr_t{-1});
        else
            return Result{-1};
    }
};

template <auto& call>
constexpr auto failing = &Failing<call, typename std::remove_reference_t<decltype(call)>::Signature>::function;

// Replaces a standard descriptor by one above them, of the same open file.
int aboveStandard(int file) {
    if (file < 0 || file > STDERR_FILENO)
        return file;
    const int moved = ::fcntl(file, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int error = errno;
    ::close(file);
    errno = error;
    return moved;
}

} // namespace

// Functions with variable arguments or another way to fail get a wrapper; the others are used as they are.
constinit decltype(open) open{
    "open", [](const char* path, int flags, mode_t mode) { return aboveStandard(::open(path, flags, mode)); },
    failing<open>};
constinit decltype(openat) openat{
    "openat",
    [](int at, const char* path, int flags, mode_t mode) { return aboveStandard(::openat(at, path, flags, mode)); },
    failing<openat>};
constinit decltype(close) close{"close", ::close, failing<close>};
constinit decltype(read) read{"read", ::read, failing<read>};
constinit decltype(write) write{"write", ::write, failing<write>};
constinit decltype(pread) pread{"pread", ::pread, failing<pread>};
constinit decltype(pwrite) pwrite{"pwrite", ::pwrite, failing<pwrite>};
constinit decltype(lseek) lseek{"lseek", ::lseek, failing<lseek>};
constinit decltype(fsync) fsync{"fsync", ::fsync, failing<fsync>};
constinit decltype(ftruncate) ftruncate{"ftruncate", ::ftruncate, failing<ftruncate>};
constinit decltype(fallocate) fallocate{"fallocate",
                                        [](int file, off_t offset, off_t length) {
                                            errno = ::posix_fallocate(file, offset, length);
                                            return errno == 0 ? 0 : -1;
                                        },
                                        failing<fallocate>};
constinit decltype(stat) stat{"stat", ::stat, failing<stat>};
constinit decltype(lstat) lstat{"lstat", ::lstat, failing<lstat>};
constinit decltype(fstat) fstat{"fstat", ::fstat, failing<fstat>};
constinit decltype(fstatat) fstatat{"fstatat", ::fstatat, failing<fstatat>};
constinit decltype(statvfs) statvfs{"statvfs", ::statvfs, failing<statvfs>};
constinit decltype(fchmod) fchmod{"fchmod", ::fchmod, failing<fchmod>};
constinit decltype(futimens) futimens{"futimens", ::futimens, failing<futimens>};
constinit decltype(fchown) fchown{"fchown", ::fchown, failing<fchown>};
constinit decltype(chmod) chmod{"chmod", ::chmod, failing<chmod>};
constinit decltype(mkdir) mkdir{"mkdir", ::mkdir, failing<mkdir>};
constinit decltype(rmdir) rmdir{"rmdir", ::rmdir, failing<rmdir>};
constinit decltype(rename) rename{"rename", ::rename, failing<rename>};
constinit decltype(linkat) linkat{"linkat", ::linkat, failing<linkat>};
constinit decltype(unlink) unlink{"unlink", ::unlink, failing<unlink>};
constinit decltype(unlinkat) unlinkat{"unlinkat", ::unlinkat, failing<unlinkat>};
constinit decltype(readlink) readlink{"readlink", ::readlink, failing<readlink>};
constinit decltype(flock) flock{"flock", ::flock, failing<flock>};
constinit decltype(fcntl_lock) fcntl_lock{
    "fcntl_lock", [](int file, int command, struct flock* lock) { return ::fcntl(file, command, lock); },
    failing<fcntl_lock>};
constinit decltype(kill) kill{"kill", ::kill, failing<kill>};
constinit decltype(fcntl_setfd) fcntl_setfd{
    "fcntl_setfd", [](int file, int flags) { return ::fcntl(file, F_SETFD, flags); }, failing<fcntl_setfd>};
constinit decltype(mmap) mmap{"mmap", ::mmap, failing<mmap>};
constinit decltype(munmap) munmap{"munmap", ::munmap, failing<munmap>};
constinit decltype(madvise) madvise{"madvise", ::madvise, failing<madvise>};
constinit decltype(getrandom) getrandom{"getrandom", ::getrandom, failing<getrandom>};
constinit decltype(nanosleep) nanosleep{"nanosleep", ::nanosleep, failing<nanosleep>};
constinit decltype(futex_wait) futex_wait{"futex_wait",
                                          [](const void* word, std::uint32_t expected, const struct timespec* until) {
                                              return static_cast<int>(::syscall(SYS_futex, word, FUTEX_WAIT_BITSET,
                                                                                expected, until, nullptr,
                                                                                FUTEX_BITSET_MATCH_ANY));
                                          },
                                          failing<futex_wait>};
constinit decltype(futex_wake) futex_wake{
    "futex_wake",
    [](const void* word, int count) { return static_cast<int>(::syscall(SYS_futex, word, FUTEX_WAKE, count)); },
    failing<futex_wake>};

namespace {

constinit CallEntry* const kCalls[] = {
    &open,      &openat, &close,   &read,      &write,     &pread,      &pwrite,     &lseek,      &fsync, &ftruncate,
    &fallocate, &stat,   &lstat,   &fstat,     &fstatat,   &statvfs,    &fchmod,     &fchown,     &chmod, &mkdir,
    &rmdir,     &rename, &linkat,  &unlink,    &unlinkat,  &readlink,   &flock,      &fcntl_lock, &kill,  &fcntl_setfd,
    &mmap,      &munmap, &madvise, &getrandom, &nanosleep, &futex_wait, &futex_wake, &futimens,
};

} // namespace

CallEntry* find(const char* name) {
    if (name == nullptr)
        return nullptr;
    for (CallEntry* call : kCalls)
        if (std::strcmp(call->name(), name) == 0)
            return call;
    return nullptr;
}

} // namespace wd::sys

BOOL WdTestFailCall(const char* call, int nth, int error) {
    wd::sys::CallEntry* entry = wd::sys::find(call);
    if (entry == nullptr)
        return FALSE;
    entry->failAt(nth, error);
    return TRUE;
}
