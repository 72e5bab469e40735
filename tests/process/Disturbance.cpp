#include "Disturbance.h"

#include <cerrno>
#include <fcntl.h>
#include <linux/futex.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace walk {
namespace {

using Fate = TracedChild::Fate;

const Calls kOnFiles{SYS_open,      SYS_openat,     SYS_close,    SYS_read,       SYS_pread64, SYS_write,
                     SYS_pwrite64,  SYS_writev,     SYS_lseek,    SYS_fsync,      SYS_msync,   SYS_fdatasync,
                     SYS_ftruncate, SYS_fallocate,  SYS_stat,     SYS_newfstatat, SYS_lstat,   SYS_fstat,
                     SYS_fchmod,    SYS_fchown,     SYS_chmod,    SYS_mkdir,      SYS_rmdir,   SYS_rename,
                     SYS_linkat,    SYS_unlink,     SYS_unlinkat, SYS_readlink,   SYS_flock,   SYS_fcntl,
                     SYS_mmap,      SYS_getdents64, SYS_getrandom};
const Calls kTakingSpace{SYS_write, SYS_pwrite64, SYS_writev, SYS_ftruncate, SYS_fallocate,
                         SYS_fsync, SYS_linkat,   SYS_rename, SYS_mkdir,     SYS_fdatasync};
const Calls kOpening{SYS_open, SYS_openat};
const Calls kWaiting{SYS_read,  SYS_pread64, SYS_write, SYS_pwrite64,        SYS_writev,
                     SYS_fcntl, SYS_flock,   SYS_futex, SYS_clock_nanosleep, SYS_fallocate};
const Calls kTransfers{SYS_read, SYS_pread64, SYS_write, SYS_pwrite64, SYS_writev};
const Calls kCleaning{SYS_unlink, SYS_unlinkat};
// Calls with effects that others can see. A death after any other call is the same as one before it.
const Calls kChanging{SYS_open,      SYS_openat, SYS_close,    SYS_write, SYS_pwrite64, SYS_writev, SYS_ftruncate,
                      SYS_fallocate, SYS_fchmod, SYS_fchown,   SYS_chmod, SYS_mkdir,    SYS_rmdir,  SYS_rename,
                      SYS_linkat,    SYS_unlink, SYS_unlinkat, SYS_flock, SYS_fcntl,    SYS_futex,  SYS_munmap};
// Calls with no effect that another process can see.
const Calls kOwnAffairs{SYS_brk,          SYS_getpid,        SYS_gettid,  SYS_tgkill,   SYS_rt_sigprocmask,
                        SYS_rt_sigaction, SYS_clock_gettime, SYS_geteuid, SYS_getuid,   SYS_mprotect,
                        SYS_madvise,      SYS_sched_yield,   SYS_prctl,   SYS_prlimit64};

const Fault kFaults[] = {
    {"error", kOnFiles, false, {Fate::Fails, EIO}},
    {"no space", kTakingSpace, false, {Fate::Fails, ENOSPC}},
    {"too many files", kOpening, false, {Fate::Fails, EMFILE}},
    {"interruption", kWaiting, false, {Fate::Fails, EINTR}},
    {"short transfer", kTransfers, false, {Fate::ComesShort}},
    {"death before", kOwnAffairs, true, {Fate::EndsBefore}},
    {"death behind", kChanging, false, {Fate::EndsBehind}},
};

// Calls that can't fail that way: an unlock or wake-up, an interrupted call that doesn't wait, a short transfer of one
// byte.
bool isSure(const TracedChild& child, const SystemCall& call, const Fate& fate) {
    if (fate.what == Fate::ComesShort)
        return call.arguments[2] < 2;
    if (fate.what != Fate::Fails)
        return false;
    const bool interrupts = fate.error == EINTR;
    const auto command = static_cast<int>(call.arguments[1]);
    switch (call.number) {
    case SYS_futex:
        return (command & FUTEX_CMD_MASK) != FUTEX_WAIT && (command & FUTEX_CMD_MASK) != FUTEX_WAIT_BITSET;
    case SYS_flock:
        return (command & LOCK_UN) != 0 || (interrupts && (command & LOCK_NB) != 0);
    case SYS_fcntl: {
        const bool isLock = command == F_SETLK || command == F_OFD_SETLK;
        const bool waits = command == F_SETLKW || command == F_OFD_SETLKW;
        struct flock lock {};
        if (isLock || waits)
            child.bytes(call.arguments[2], sizeof lock).copy(reinterpret_cast<char*>(&lock), sizeof lock);
        return (interrupts && !waits) || ((isLock || waits) && lock.l_type == F_UNLCK);
    }
    default:
        return false;
    }
}

} // namespace

std::span<const Fault> faults() {
    return kFaults;
}

bool Disturbance::metCleaning() const {
    return kCleaning.contains(number);
}

// Calls made by the C library itself, when it loads libraries or for a program's streams: it doesn't retry them.
bool Disturbance::isOthers(const TracedChild& child, const SystemCall& call) const {
    if (call.number == SYS_write)
        return m_isLoaded && call.arguments[0] == STDOUT_FILENO;
    const auto name = [&] { return std::filesystem::read_symlink(child.descriptor(call.arguments[0])).native(); };
    return call.number == SYS_read && (m_isLoaded || name().find(".so") != std::string::npos);
}

Fate Disturbance::before(const TracedChild& child, const SystemCall& call) {
    if (!m_hasBegun && call.number == SYS_openat)
        m_hasBegun = child.text(call.arguments[1]).starts_with(m_home.native());
    if (!m_hasBegun || wasMet || m_fault.calls.contains(call.number) == m_fault.meetsOthers ||
        isSure(child, call, m_fault.fate) || (isInterruption() && isOthers(child, call)) || m_left-- > 0)
        return {};
    wasMet = true;
    number = call.number;
    Fate fate = m_fault.fate;
    if (fate.what == Fate::Fails && call.number == SYS_close)
        fate.what = Fate::FailsBehind; // a failed close has closed the file all the same
    if (fate.error == EIO && call.number == SYS_mmap)
        fate.error = ENOMEM;
    if (fate.error == EIO && (call.number == SYS_fcntl || call.number == SYS_flock))
        fate.error = ENOLCK;
    return fate;
}

} // namespace walk
