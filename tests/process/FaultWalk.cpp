#include "FaultWalk.h"

#include "Child.h"
#include "Disturbance.h"
#include "ExhaustedMemory.h"
#include "HomeState.h"
#include "PowerCut.h"
#include "Sanitizers.h"
#include "Seed.h"
#include "TestHome.h"

#include <wdltcfg/status.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <linux/capability.h>
#include <optional>
#include <sys/syscall.h>
#include <thread>

namespace walk {
namespace {

namespace fs = std::filesystem;

constexpr unsigned kLimitSeconds = 10; // for operations that take milliseconds
constexpr int kMostFailures = 3;       // of one operation, before its walk ends
constexpr std::int32_t kThrew = 1000;  // not a status of the library
constexpr std::size_t kBatch = 16;     // allocations that fail in one process
constexpr int kKilled = Child::kSignal + SIGKILL;
constexpr bool kCallsCanFail = !kIsSanitized; // the sanitizers have calls of their own, which must not fail

std::string told(int ending) {
    return ending == Child::kSignal + SIGALRM ? "hangs" : "ended with " + std::to_string(ending);
}

// In memory if possible, where a sync takes no time; the power cuts test what syncs are for.
fs::path makeFolder() {
    for (std::string name : {std::string("/dev/shm"), TestHome::instance().path().string()})
        if (mkdtemp(name.append("/wdlt-walk-XXXXXX").data()) != nullptr)
            return name;
    throw std::runtime_error("no folder for the walk");
}

void beQuiet() {
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    for (const int file : {STDOUT_FILENO, STDERR_FILENO})
        dup2(nowhere, file);
}

struct Report {
    std::int32_t status;
    std::size_t points; // allocations that failed
    bool wasMet;
    bool isStuck;
    std::ptrdiff_t descriptors;
    char complaint[300];
};

class Walk {
  public:
    Walk(const Operation& operation, std::size_t stride);
    ~Walk() { fs::remove_all(m_folder); }
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;

    void meet(const Fault& fault);
    void exhaustMemory();
    void cutPower();
    bool hasMet(std::size_t calls, std::size_t allocations) const {
        return m_calls >= calls && m_allocations >= allocations;
    }
    std::size_t points() const { return m_calls + m_allocations + m_cuts; }

  private:
    // Runs its argument with faults armed; returns whether one was met.
    using Around = std::function<bool(const std::function<void()>&)>;

    void restore() const;
    void become(uid_t user) const;
    std::int32_t make(const LoadedLibrary& library) const;
    int first(const Around& around) const;
    std::string next(const Between& between) const;
    std::string point(const Around& around, Disturbance* disturbance) const;
    std::size_t allocations();
    bool goesOn(const std::string& fault, std::size_t point, const std::string& complaint);

    const Operation& m_operation;
    const std::size_t m_stride;
    std::size_t m_begin = Seed() % m_stride; // differs between faults, so that together they cover more points
    const fs::path m_folder = makeFolder();
    const fs::path m_home = m_folder / "home";
    std::vector<std::string> m_program;
    std::vector<std::string> m_settle;
    bool m_hasUsers;
    HomeState m_before;
    HomeState m_behind;
    std::optional<DiskRecord> m_record; // of the undisturbed operation
    std::ptrdiff_t m_descriptors = 0;   // left open by it
    Shared<Report> m_report;
    std::size_t m_calls = 0; // points met
    std::size_t m_allocations = 0;
    std::size_t m_cuts = 0;
    int m_failures = 0;
};

Walk::Walk(const Operation& operation, std::size_t stride)
    : m_operation(operation), m_stride(stride), m_program(operation.program), m_settle(operation.settle) {
    umask(0);
    fs::permissions(m_folder, fs::perms(0755));
    fs::create_directory(m_home);
    // Without the right to trace other users' processes, all processes run as one user.
    m_hasUsers = geteuid() == 0 && prctl(PR_CAPBSET_READ, CAP_SYS_PTRACE) == 1 &&
                 chown(m_home.c_str(), 0, kHomeGroup) == 0 && m_program.empty() &&
                 asMember(kOneUser, [] { return access(WDLT_LIBRARY, R_OK); }) == 0;
    fs::permissions(m_home, fs::perms(02775));
    setenv("WARDLET_HOME", m_home.c_str(), 1);
    setenv("WARDLET_DURABILITY", "disk", 1);

    const fs::path bin = fs::read_symlink("/proc/self/exe").parent_path();
    for (std::string& word : m_program)
        if (const auto at = word.find("$HOME"); at != std::string::npos)
            word.replace(at, 5, m_home.string());
    for (auto* program : {&m_program, &m_settle})
        if (!program->empty())
            program->front() = bin / program->front();
    EXPECT_EQ(Child([&] {
                  beQuiet();
                  return Child::become({bin / "wdltctl", "init", "--install", m_home / "install"});
              }).wait(),
              0);
    EXPECT_TRUE(!operation.layDown || Child([&] { return operation.layDown(LoadedLibrary()); }).wait() == 0);
    fs::remove_all(m_home / "objects");
    fs::copy(m_home, m_folder / "snapshot", fs::copy_options::recursive);

    const auto look = [&] {
        EXPECT_EQ(Child([&] { return writeState(lookAtHome(m_home), m_folder / "seen"), 0; }).wait(), 0);
        return readState(m_folder / "seen");
    };
    m_before = look();
    restore();
    m_record.emplace(m_home);
    TracedChild one([&] { return first([](const auto& body) { return body(), false; }); });
    const bool stands = one.run() && one.run(&*m_record);
    m_behind = look();
    EXPECT_TRUE((stands ? one.run() : false) || one.ending() == 0) << "undisturbed it " << told(one.ending());
    EXPECT_FALSE(m_before == m_behind) << "nothing is stored";
    m_descriptors = m_report->descriptors;
}

void Walk::restore() const {
    for (const auto& entry : fs::directory_iterator(m_home))
        fs::remove_all(entry);
    fs::copy(m_folder / "snapshot", m_home, fs::copy_options::recursive);
}

// Called in a child.
void Walk::become(uid_t user) const {
    umask(022);
    beQuiet();
    if (m_hasUsers && !becomeUser(user, kHomeGroup))
        std::abort();
    alarm(kLimitSeconds);
}

std::int32_t Walk::make(const LoadedLibrary& library) const {
    try {
        return m_program.empty() ? m_operation.call(library) : Child::run(m_program).wait();
    } catch (const std::exception&) {
        return kThrew;
    }
}

// The process that the fault hits. It stops at its second mark, with whatever it still holds, until the next process
// has finished, and then repeats the operation.
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
        m_report->status = kThrew;
        m_report->wasMet = around([&] {
            try {
                if (m_operation.loadsInside)
                    library.emplace();
                m_report->status = make(*library);
            } catch (const std::exception&) { // the library can't be loaded
            }
        });
    };
    if (m_operation.onFreshThread)
        make(*library);
    TracedChild::mark();
    if (m_operation.onFreshThread)
        std::thread(meet).join();
    else
        meet();
    TracedChild::mark();
    alarm(kLimitSeconds);
    if (!library)
        library.emplace();
    std::int32_t status = make(*library);
    if (m_report->isStuck)
        return status == m_operation.stuck ? 0 : 1;
    // A library that failed to attach tries again after a second.
    for (; m_operation.loadsInside && status != WDLT_OK; status = make(*library))
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    m_report->descriptors = std::distance(fs::directory_iterator("/proc/self/fd"), {});
    return status == WDLT_OK || status == m_operation.again ? 0 : 1;
}

// Another process comes afterwards: checks what it finds, and that it can make the operation. Returns a complaint.
std::string Walk::next(const Between& between) const {
    const auto look = [&]() -> std::string {
        become(kOtherUser);
        if (!m_settle.empty() && Child::run(m_settle).wait() != 0)
            return "can't settle it";
        const HomeState found = lookAtHome(m_home);
        if (std::string complaint = between.complaint(found, !m_settle.empty()); !complaint.empty())
            return "finds that " + complaint;
        const Between withRests{.before = m_before, .behind = m_behind, .mayLeave = true};
        const bool isStored = withRests.complaint(found).empty();
        const std::int32_t status = make(LoadedLibrary());
        m_report->isStuck = status != WDLT_OK && status == m_operation.stuck && !isStored;
        if (m_report->isStuck)
            return {};
        if (status != WDLT_OK && (status != m_operation.again || !isStored))
            return "is refused with " + std::to_string(status);
        // One that settles stores nothing a second time, and so removes nothing that the first left.
        const Between whole{.before = m_before, .behind = m_behind, .mayLeave = !m_settle.empty()};
        const std::string complaint = whole.complaint(lookAtHome(m_home), !m_settle.empty());
        return complaint.empty() ? complaint : "makes it so that " + complaint;
    };
    m_report->complaint[0] = 0;
    const int ending = Child([&] {
                           std::snprintf(m_report->complaint, sizeof m_report->complaint, "%s", look().c_str());
                           return 0;
                       }).wait();
    const std::string complaint = ending == 0 ? m_report->complaint : told(ending);
    return complaint.empty() ? complaint : "another process " + complaint;
}

// Runs the operation with one fault. Returns what went wrong; empty if nothing.
std::string Walk::point(const Around& around, Disturbance* disturbance) const {
    restore();
    *m_report = {};
    TracedChild one([&] { return first(around); });
    const bool stands = one.run() && one.run(disturbance);
    const bool died = !stands && one.ending() == kKilled;
    if (!stands && !died && (m_program.empty() || one.ending() >= Child::kSignal))
        return "the process itself " + told(one.ending());
    const std::int32_t status = stands ? m_report->status : one.ending();
    const bool wasMet = disturbance == nullptr ? m_report->wasMet : disturbance->wasMet;
    if (!wasMet && status != WDLT_OK)
        return "undisturbed it gives " + std::to_string(status);
    const bool hadMemory = disturbance != nullptr && disturbance->number != SYS_mmap;
    if (stands && status == kThrew && hadMemory && !m_operation.loadsInside)
        return "threw for another reason than a lack of memory";
    if (disturbance != nullptr && disturbance->isInterruption() && status != WDLT_OK)
        return "told of an interruption: status " + std::to_string(status);
    const bool isDone = status == WDLT_OK && !m_operation.tellsNothing;
    // A failing write keeps the values written before it. A process that dies, lacks the memory or fails to clean up
    // leaves the cleaning to the next one.
    const bool inSteps = m_operation.inSteps || !died;
    const bool mayLeave =
        died || disturbance == nullptr || disturbance->metCleaning() || (m_operation.keepsWork && !isDone);
    // Under a sanitizer only the process itself is checked, but only the next process can tell that a value is stuck.
    if (!kIsSanitized || m_operation.stuck != WDLT_OK)
        if (const std::string complaint = next({m_before, m_behind, isDone, inSteps, mayLeave}); !complaint.empty())
            return "status " + std::to_string(status) + ", and " + complaint;
    if (stands && !one.run() && one.ending() != 0)
        return "behind it the process itself " + (one.ending() == 1 ? "is refused" : told(one.ending()));
    if (stands && !m_report->isStuck && m_report->descriptors != m_descriptors)
        return std::to_string(m_report->descriptors - m_descriptors) + " descriptors more than undisturbed";
    return {};
}

bool Walk::goesOn(const std::string& fault, std::size_t point, const std::string& complaint) {
    if (complaint.empty())
        return true;
    ADD_FAILURE() << m_operation.name << ", " << fault << ", point " << point << ": " << complaint;
    return ++m_failures < kMostFailures;
}

void Walk::meet(const Fault& fault) {
    for (std::size_t n = m_begin++ % m_stride;; n += m_stride) {
        Disturbance disturbance(fault, n, m_home, m_operation.loadsInside || !m_program.empty());
        const std::string complaint = point([](const auto& body) { return body(), false; }, &disturbance);
        const std::string name = fault.name + (" of system call " + std::to_string(disturbance.number));
        m_calls += disturbance.wasMet ? 1 : 0;
        if (!goesOn(name, n, complaint) || !disturbance.wasMet)
            return;
    }
}

// The number of allocations in a call, in a process that has made the call before.
std::size_t Walk::allocations() {
    constexpr int kMany = 1'000'000'000;
    restore();
    *m_report = {};
    TracedChild one([&] {
        return first([&](const auto& body) {
            {
                const ExhaustedMemory memory(0);
                body();
            }
            const ExhaustedMemory memory(kMany);
            body();
            m_report->points = static_cast<std::size_t>(kMany - ExhaustedMemory::left());
            return false;
        });
    });
    if (one.run())
        one.run();
    return m_report->points;
}

// Several points share a process, as long as each is sure to be met. The call that succeeds, and overwrites what the
// failed ones left, gets a process of its own. Allocations made only by a process's first call are tested by the
// operation with loadsInside.
void Walk::exhaustMemory() {
    constexpr std::size_t kUnsure = 8; // a call may make a few more or fewer than the one before it
    const bool isAlone = m_operation.loadsInside || m_operation.onFreshThread || m_operation.stuck != WDLT_OK ||
                         m_operation.again != WDLT_OK;
    const std::size_t total = isAlone ? 0 : allocations();
    const std::size_t sure = total > kUnsure ? total - kUnsure : 0;
    for (std::size_t begin = m_begin++ % m_stride;; begin += m_report->points * m_stride) {
        const std::size_t left = begin < sure ? (sure - begin + m_stride - 1) / m_stride : 1;
        const std::size_t batch = std::min(left, kBatch);
        const auto exhausted = [&](const auto& body) {
            bool wasMet = true;
            while (wasMet && m_report->points < batch && m_report->status != WDLT_OK) {
                const ExhaustedMemory memory(static_cast<int>(begin + m_report->points * m_stride));
                body();
                wasMet = ExhaustedMemory::wasMet();
                m_report->points += wasMet ? 1 : 0;
            }
            return wasMet;
        };
        const std::string complaint = point(exhausted, nullptr);
        m_allocations += m_report->points;
        const std::string name = std::to_string(m_report->points) + " allocations, each in a call of its own, from";
        if (!goesOn(name, begin, complaint) || !m_report->wasMet)
            return;
    }
}

// Cuts the power after each change: none of the unsynced changes is lost, all of them, or a single one. After the last
// change, losing all of them is tested at every stride: surviving that is what WDLT_OK promises.
void Walk::cutPower() {
    std::size_t n = m_begin++;
    for (std::size_t count = 0; count <= m_record->count(); ++count) {
        const bool isDone = count == m_record->count();
        const std::vector<std::size_t> unsynced = m_record->unsynced(count);
        std::vector<std::vector<std::size_t>> losses{{}, unsynced};
        for (const std::size_t event : unsynced)
            losses.push_back({event});
        for (const auto& lost : losses) {
            if (++n % m_stride != 0 && !(isDone && lost == unsynced))
                continue;
            m_record->lay(count, lost);
            ++m_cuts;
            if (!goesOn("power cut", n, next({m_before, m_behind, isDone, m_operation.inSteps, true})))
                return;
        }
    }
}

} // namespace

void walk(const Operation& operation, std::size_t stride) {
    Walk walk(operation, stride);
    const bool callsFail = kCallsCanFail && !operation.onFreshThread;
    const bool memoryFails = ExhaustedMemory::kIsPossible && operation.program.empty();
    if (callsFail) {
        for (const Fault& fault : faults())
            walk.meet(fault);
        walk.cutPower();
    }
    if (memoryFails)
        walk.exhaustMemory();
    std::printf("%s: %zu points met, every %zu\n", operation.name.c_str(), walk.points(), stride);
    const bool hasMet = walk.hasMet(callsFail ? 1 : 0, memoryFails ? 1 : 0);
    if (!hasMet && stride > 1 && !testing::Test::HasFailure())
        return walk::walk(operation, stride / 2); // it has fewer points than the stride
    EXPECT_TRUE(hasMet);
}

} // namespace walk
