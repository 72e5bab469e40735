#include "FaultWalk.h"

#include "Child.h"
#include "ExhaustedMemory.h"
#include "HomeState.h"
#include "PowerCut.h"
#include "Sanitizers.h"
#include "TestHome.h"
#include "TracedChild.h"

#include <wdltcfg/status.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <optional>
#include <set>
#include <sys/file.h>
#include <sys/syscall.h>
#include <thread>

namespace walk {
namespace {

namespace fs = std::filesystem;
using Fate = TracedChild::Fate;

constexpr unsigned kLimitSeconds = 10; // for what takes milliseconds
constexpr int kMostFailures = 3;       // of one operation, before its walk ends
constexpr std::int32_t kThrew = 1;
// The sanitizers have system calls of their own, which must not fail.
#if defined(WDLT_ADDRESS_SANITIZER) || defined(WDLT_THREAD_SANITIZER)
constexpr bool kCallsCanFail = false;
#else
constexpr bool kCallsCanFail = true;
#endif
constexpr int kKilled = Child::kSignal + SIGKILL;

using Calls = std::set<long>;
const Calls kOpens{SYS_open, SYS_openat};
const Calls kTransfers{SYS_read, SYS_pread64, SYS_write, SYS_pwrite64, SYS_writev};
const Calls kLocks{SYS_flock, SYS_fcntl};
const Calls kTakingSpace{SYS_write, SYS_pwrite64,  SYS_writev, SYS_ftruncate, SYS_fallocate,
                         SYS_fsync, SYS_fdatasync, SYS_linkat, SYS_rename,    SYS_mkdir};
const Calls kInterrupted{SYS_read,  SYS_pread64, SYS_write, SYS_pwrite64,       SYS_writev,
                         SYS_flock, SYS_fcntl,   SYS_futex, SYS_clock_nanosleep};
const Calls kUndone{SYS_unlink, SYS_unlinkat, SYS_rmdir}; // whoever can't clean up leaves it to the next one
const Calls kOnFiles{SYS_open,      SYS_openat,    SYS_close,      SYS_read,     SYS_pread64,    SYS_write,
                     SYS_pwrite64,  SYS_writev,    SYS_lseek,      SYS_fsync,    SYS_fdatasync,  SYS_msync,
                     SYS_ftruncate, SYS_fallocate, SYS_newfstatat, SYS_stat,     SYS_lstat,      SYS_fstat,
                     SYS_fchmod,    SYS_fchown,    SYS_chmod,      SYS_mkdir,    SYS_rmdir,      SYS_rename,
                     SYS_linkat,    SYS_unlink,    SYS_unlinkat,   SYS_readlink, SYS_getdents64, SYS_getrandom,
                     SYS_flock,     SYS_fcntl,     SYS_mmap};
// What no other process sees, and no error of it is heard of.
const Calls kOwnAffairs{SYS_brk,          SYS_getpid,        SYS_gettid,  SYS_tgkill,   SYS_rt_sigprocmask,
                        SYS_rt_sigaction, SYS_clock_gettime, SYS_geteuid, SYS_getuid,   SYS_mprotect,
                        SYS_madvise,      SYS_sched_yield,   SYS_prctl,   SYS_prlimit64};

// An unlock doesn't fail.
bool isUnlock(const TracedChild& child, const SystemCall& call) {
    if (call.number == SYS_flock)
        return (call.arguments[1] & LOCK_UN) != 0;
    const std::set<std::uint64_t> locks{F_SETLK, F_SETLKW, F_OFD_SETLK, F_OFD_SETLKW};
    struct flock lock {};
    if (call.number != SYS_fcntl || !locks.contains(call.arguments[1]))
        return false;
    child.bytes(call.arguments[2], sizeof lock).copy(reinterpret_cast<char*>(&lock), sizeof lock);
    return lock.l_type == F_UNLCK;
}

struct Fault {
    const char* name;
    const Calls& calls;
    bool areOthers; // than those
    Fate fate;
    Fate of(const TracedChild& child, const SystemCall& call) const {
        if (calls.contains(call.number) == areOthers)
            return {};
        Fate made = fate;
        if (made.what == Fate::ComesShort && call.arguments[2] < 2)
            return {};
        if (made.what != Fate::Fails)
            return made;
        if (isUnlock(child, call))
            return {};
        if (call.number == SYS_close)
            made.what = Fate::FailsBehind; // it is closed all the same
        if (made.error == EIO && call.number == SYS_mmap)
            made.error = ENOMEM;
        if (made.error == EIO && kLocks.contains(call.number))
            made.error = ENOLCK;
        return made;
    }
};
const Fault kFaults[] = {
    {"error", kOnFiles, false, {Fate::Fails, EIO}},
    {"no space", kTakingSpace, false, {Fate::Fails, ENOSPC}},
    {"too many files", kOpens, false, {Fate::Fails, EMFILE}},
    {"interruption", kInterrupted, false, {Fate::Fails, EINTR}},
    {"short transfer", kTransfers, false, {Fate::ComesShort}},
    {"death before", kOwnAffairs, true, {Fate::EndsBefore}},
    {"death behind", kOwnAffairs, true, {Fate::EndsBehind}},
};

// Lets the fault happen behind the first `count` calls that it fits.
class Disturbance final : public TracedChild::Watcher {
  public:
    // A program's own start isn't looked at: it has begun when it opens something in the home.
    Disturbance(const Fault& fault, std::size_t count, const fs::path& home, bool isProgram)
        : m_fault(fault), m_left(count), m_home(home), m_hasBegun(!isProgram) {}

    Fate before(const TracedChild& child, const SystemCall& call) override {
        if (!m_hasBegun && call.number == SYS_openat)
            m_hasBegun = child.text(call.arguments[1]).starts_with(m_home.native());
        const Fate fate = m_hasBegun && !wasMet ? m_fault.of(child, call) : Fate{};
        if (fate.what == Fate::Made || m_left-- > 0)
            return {};
        wasMet = true;
        number = call.number;
        return fate;
    }

    bool wasMet = false;
    long number = 0;

  private:
    const Fault& m_fault;
    std::size_t m_left;
    const fs::path& m_home;
    bool m_hasBegun;
};

std::string told(int ending) {
    return ending == Child::kSignal + SIGALRM ? "hangs" : "ended with " + std::to_string(ending);
}

struct Report {
    std::int32_t status;
    bool wasMet;
    std::ptrdiff_t descriptors;
    char complaint[300];
};

class Walk {
  public:
    explicit Walk(const Operation& operation);
    ~Walk() { fs::remove_all(m_folder); }
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;

    void run(std::size_t stride);

  private:
    // Makes what it is given; whether a fault was met.
    using Around = std::function<bool(const std::function<void()>&)>;

    std::int32_t make(const LoadedLibrary* library) const;
    int first(const Around& around) const;
    std::string others(const Between& between) const;
    std::string point(const Around& around, Disturbance* disturbance = nullptr) const;

    void restore() const;
    HomeState look() const;
    void become(uid_t user) const;

    void walkCalls(const Fault& fault, std::size_t first, std::size_t stride);
    void walkMemory(std::size_t first, std::size_t stride);
    void walkPowerCuts(std::size_t first, std::size_t stride);
    // Notes what went wrong there. False: that's enough.
    bool passed(const std::string& complaint, const char* fault, std::size_t point);
    void note(const char* fault, std::size_t points);

    const Operation& m_operation;
    const fs::path m_folder;
    const fs::path m_home = m_folder / "home";
    const fs::path m_bin = fs::read_symlink("/proc/self/exe").parent_path();
    std::vector<std::string> m_program;
    bool m_hasUsers;
    HomeState m_before;
    HomeState m_behind;
    std::optional<DiskRecord> m_record; // of the undisturbed operation
    std::ptrdiff_t m_descriptors = 0;   // that it leaves open
    Shared<Report> m_report;
    int m_failures = 0;
    std::string m_notes;
    std::size_t m_points = 0;
};

// In memory, where a sync takes no time; what a sync is for, the walk of power cuts sees.
fs::path makeFolder() {
    for (std::string name : {std::string("/dev/shm"), TestHome::instance().path().string()})
        if (mkdtemp(name.append("/wdlt-walk-XXXXXX").data()) != nullptr)
            return name;
    throw std::runtime_error("no folder for the walk");
}

Walk::Walk(const Operation& operation) : m_operation(operation), m_folder(makeFolder()), m_program(operation.program) {
    umask(0);
    fs::create_directory(m_home);
    fs::permissions(m_folder, fs::perms(0755));
    m_hasUsers =
        geteuid() == 0 && chown(m_home.c_str(), 0, kHomeGroup) == 0 &&
        Child([] { return becomeUser(kOneUser, kHomeGroup) && access(WDLT_LIBRARY, R_OK) == 0 ? 0 : 1; }).wait() == 0;
    fs::permissions(m_home, fs::perms(02775));
    setenv("WARDLET_HOME", m_home.c_str(), 1);
    setenv("WARDLET_DURABILITY", "disk", 1);
    for (std::string& word : m_program)
        if (const auto at = word.find("$HOME"); at != std::string::npos)
            word.replace(at, 5, m_home.string());
    if (!m_program.empty())
        m_program[0] = m_bin / m_program[0];
    EXPECT_TRUE(operation.onEmptyHome ||
                Child::run({m_bin / "wdltctl", "init", "--install", m_home / "install"}).wait() == 0);
    EXPECT_TRUE(!operation.layDown || Child([&] { return operation.layDown(LoadedLibrary()); }).wait() == 0);
    fs::remove_all(m_home / "objects");
    fs::copy(m_home, m_folder / "snapshot", fs::copy_options::recursive);

    m_before = look();
    restore();
    m_record.emplace(m_home);
    TracedChild one([&] { return first([](const auto& body) { return body(), false; }); });
    const bool stands = one.run() && one.run(&*m_record);
    m_behind = look();
    if (stands)
        one.run();
    EXPECT_EQ(one.ending(), 0);
    EXPECT_FALSE(m_before == m_behind) << "nothing is stored";
    m_descriptors = m_report->descriptors;
}

void Walk::restore() const {
    for (const auto& entry : fs::directory_iterator(m_home))
        fs::remove_all(entry);
    fs::copy(m_folder / "snapshot", m_home, fs::copy_options::recursive);
}

HomeState Walk::look() const {
    const fs::path seen = m_folder / "seen";
    EXPECT_EQ(Child([&] { return HomeState::now(m_home).write(seen), 0; }).wait(), 0);
    return HomeState::read(seen);
}

void Walk::become(uid_t user) const {
    umask(022);
    const int nowhere = m_program.empty() ? -1 : open("/dev/null", O_WRONLY);
    for (const int file : {STDOUT_FILENO, STDERR_FILENO})
        if (nowhere >= 0)
            dup2(nowhere, file);
    alarm(kLimitSeconds);
    if (m_hasUsers && m_program.empty() && !becomeUser(user, kHomeGroup))
        std::abort();
    alarm(kLimitSeconds);
}

std::int32_t Walk::make(const LoadedLibrary* library) const {
    try {
        return m_program.empty() ? m_operation.call(*library) : Child::run(m_program).wait();
    } catch (const std::exception&) {
        return kThrew;
    }
}

// The process that the fault happens to. Behind its second mark it stands until the others have done theirs, with
// whatever it has kept, and then makes the operation once more.
int Walk::first(const Around& around) const {
    become(kOneUser);
    if (!m_program.empty()) {
        TracedChild::mark();
        return Child::become(m_program);
    }
    std::optional<LoadedLibrary> library;
    if (!m_operation.loadsInside)
        library.emplace();
    const auto meet = [&] {
        m_report->wasMet = around([&] {
            try {
                m_report->status = kThrew;
                if (m_operation.loadsInside)
                    library.emplace();
                m_report->status = make(&*library);
            } catch (const std::exception&) { // it can't be loaded
            }
        });
    };
    if (m_operation.onFreshThread)
        make(&*library);
    if (m_operation.read)
        m_operation.read(*library);
    TracedChild::mark();
    if (m_operation.onFreshThread)
        std::thread(meet).join();
    else
        meet();
    TracedChild::mark();
    alarm(kLimitSeconds);
    if (!library)
        library.emplace();
    const auto ends = std::chrono::steady_clock::now() + std::chrono::seconds(kLimitSeconds / 2);
    for (std::int32_t status = make(&*library); status != WDLT_OK && status != m_operation.again;) {
        // A library that couldn't be attached tries again a second later.
        if (!m_operation.loadsInside || std::chrono::steady_clock::now() > ends)
            return 1;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        status = make(&*library);
    }
    m_report->descriptors = std::distance(fs::directory_iterator("/proc/self/fd"), {});
    return 0;
}

// A process that comes behind: what it finds, and that it goes on.
std::string Walk::others(const Between& between) const {
    const auto complain = [&](const std::string& complaint) {
        complaint.copy(m_report->complaint, sizeof m_report->complaint - 1);
        return 1;
    };
    const Between isWhole{m_before, m_behind};
    const Between isStored{.before = m_before, .behind = m_behind, .mayLeave = true};
    m_report->complaint[0] = 0;
    const int ending = Child([&] {
                           become(kOtherUser);
                           const HomeState found = HomeState::now(m_home);
                           if (const std::string complaint = between.complaint(found); !complaint.empty())
                               return complain("finds that " + complaint);
                           const LoadedLibrary library;
                           if (m_operation.read)
                               m_operation.read(library);
                           const std::int32_t status = make(&library);
                           if (status != WDLT_OK && (status != m_operation.again || !isStored.complaint(found).empty()))
                               return complain("is refused with " + std::to_string(status));
                           const std::string complaint = isWhole.complaint(HomeState::now(m_home));
                           return complaint.empty() ? 0 : complain("makes it so that " + complaint);
                       }).wait();
    if (ending == 0)
        return {};
    return "another process " + (m_report->complaint[0] != 0 ? m_report->complaint : told(ending));
}

// What went wrong; empty when nothing did.
std::string Walk::point(const Around& around, Disturbance* disturbance) const {
    restore();
    *m_report = {};
    TracedChild one([&] { return first(around); });
    const bool stands = one.run() && one.run(disturbance);
    const bool died = !stands && one.ending() == kKilled;
    if (!stands && !died && (m_program.empty() || one.ending() >= Child::kSignal))
        return "the process itself " + told(one.ending());
    const std::int32_t status = stands ? m_report->status : one.ending();
    const bool isStored = status == WDLT_OK && !m_operation.tellsNothing;
    const bool wasMet = disturbance == nullptr ? m_report->wasMet : disturbance->wasMet;
    const bool mayLeave = died || (m_operation.keepsWork && !isStored) ||
                          (disturbance != nullptr && kUndone.contains(disturbance->number));
    const bool inSteps = m_operation.inSteps || !died; // a write that fails leaves what was written before it
    const std::string complaint = others({m_before, m_behind, isStored, inSteps, mayLeave});
    if (!complaint.empty() && !died)
        return "status " + std::to_string(status) + ", and " + complaint;
    if (!complaint.empty())
        return complaint;
    if (stands && !one.run() && one.ending() != 0)
        return "behind it the process itself " + (one.ending() == 1 ? "is refused" : told(one.ending()));
    if (stands && m_report->descriptors != m_descriptors)
        return std::to_string(m_report->descriptors - m_descriptors) + " descriptors more than undisturbed";
    return status == WDLT_OK || wasMet ? std::string() : "undisturbed it gives " + std::to_string(status);
}

bool Walk::passed(const std::string& complaint, const char* fault, std::size_t point) {
    if (complaint.empty())
        return true;
    ADD_FAILURE() << m_operation.name << ", " << fault << " " << point << ": " << complaint;
    return ++m_failures < kMostFailures;
}

void Walk::note(const char* fault, std::size_t points) {
    m_notes.append(" ").append(fault).append(" ").append(std::to_string(points));
    m_points += points;
}

void Walk::walkCalls(const Fault& fault, std::size_t first, std::size_t stride) {
    const auto plainly = [&](const auto& body) { return body(), false; };
    std::size_t points = 0;
    for (std::size_t n = first;; n += stride, ++points) {
        Disturbance disturbance(fault, n, m_home, !m_program.empty());
        if (!passed(point(plainly, &disturbance), fault.name, n) || !disturbance.wasMet)
            break;
    }
    note(fault.name, points);
}

void Walk::walkMemory(std::size_t first, std::size_t stride) {
    std::size_t points = 0;
    for (std::size_t n = first;; n += stride, ++points) {
        const auto exhausted = [&](const auto& body) {
            const ExhaustedMemory memory(static_cast<int>(n));
            body();
            return ExhaustedMemory::wasMet();
        };
        if (!passed(point(exhausted), "allocation", n) || !m_report->wasMet)
            break;
    }
    note("allocation", points);
}

// At each moment: nothing is lost of what wasn't synced, all of it, or one call alone.
void Walk::walkPowerCuts(std::size_t first, std::size_t stride) {
    std::size_t points = 0;
    std::size_t n = 0;
    for (std::size_t count = 0; count <= m_record->count(); ++count) {
        const std::vector<std::size_t> unsynced = m_record->unsynced(count);
        std::vector<std::vector<std::size_t>> losses{{}, unsynced};
        for (const std::size_t event : unsynced)
            losses.push_back({event});
        for (const auto& lost : losses) {
            if (n++ % stride != first)
                continue;
            ++points;
            m_record->lay(count, lost);
            const bool isDone = count == m_record->count();
            if (!passed(others({m_before, m_behind, isDone, m_operation.inSteps, true}), "power cut", n - 1))
                return;
        }
    }
    note("power cut", points);
}

void Walk::run(std::size_t stride) {
    std::size_t first = 0;
    const bool isCalled = !m_operation.onFreshThread && kCallsCanFail;
    if (isCalled)
        for (const Fault& fault : kFaults)
            walkCalls(fault, first++ % stride, stride);
    if (isCalled)
        walkPowerCuts(first++ % stride, stride);
    if (m_program.empty() && ExhaustedMemory::kIsPossible)
        walkMemory(first++ % stride, stride);
    std::printf("%s, every %zu:%s; %zu points in all\n", m_operation.name.c_str(), stride, m_notes.c_str(), m_points);
}

} // namespace

void walk(const Operation& operation, std::size_t stride) {
    Walk(operation).run(stride);
}

} // namespace walk
