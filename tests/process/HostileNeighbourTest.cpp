// Another user's process that may open the objects which everybody may use, and does its worst: random bytes in every
// file, file locks, links and other things under objects' names, files cut short. Ours may get wrong answers and
// errors; they must not crash, write elsewhere, or wait longer than they said. When the neighbour is gone and nobody
// has the objects any more, all is well. Needs the administrator's rights, to be another user.
#include "RWLock.h"

#include <Child.h>
#include <TestObject.h>

#include <gtest/gtest.h>

#include <platform/robust.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <grp.h>
#include <random>
#include <sys/mman.h>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

constexpr uid_t kNeighbour = 61'001; // no user of any machine
constexpr uid_t kOther = 61'002;
constexpr int kKilled = Child::kSignal + SIGKILL;
constexpr unsigned kNames = 3;
constexpr unsigned kPatience = 60; // seconds, for what should take less than one

// This process itself calls nothing of the layer: it would have a place in the home's table of processes.
class HostileNeighbour : public testing::Test {
  protected:
    void SetUp() override {
        if (geteuid() != 0)
            GTEST_SKIP() << "only the administrator can be several users";
        fs::permissions(TestHome::instance().path(), fs::perms(0755)); // the way to the home
        useFreshHome();
        std::fflush(stdout);
        victim = TestHome::instance().write("victim", std::string(9000, 'v'));
        fs::permissions(victim, fs::perms(0600));
        ASSERT_EQ(ours([] { return makeMutex("the home is there") ? 0 : 1; }).wait(), 0);
    }
    void TearDown() override {
        if (!victim.empty()) {
            EXPECT_EQ(TestHome::instance().read("victim"), std::string(9000, 'v')) << "a write went elsewhere";
        }
    }

    static Child as(uid_t user, const std::function<int()>& work) {
        return Child([&] {
            if (user != 0 && (setgroups(0, nullptr) != 0 || setgid(user) != 0 || setuid(user) != 0))
                return 100;
            prctl(PR_SET_PDEATHSIG, SIGKILL); // changing users took it back
            alarm(kPatience);
            return work();
        });
    }
    static Child ours(const std::function<int()>& work) { return as(0, work); }

    void harass(std::mt19937& random, int acts);

    fs::path victim;
};

std::string named(const char* kind, unsigned number) {
    return kind + std::to_string(number);
}

// One round of a process that uses everything, whatever comes of it.
class User {
  public:
    explicit User(unsigned seed) : m_random(seed) {}

    void round() {
        const auto name = static_cast<unsigned>(m_random() % kNames);
        switch (m_random() % 6) {
        case 0:
            return useMutex(named("mutex", name).c_str());
        case 1:
            return useEvent(named("event", name).c_str());
        case 2:
            return useSemaphore(named("semaphore", name).c_str());
        case 3:
            return useMapping(named("mapping", name).c_str());
        case 4:
            return useSecurity(named("mutex", name).c_str());
        default:
            m_kept.push_back(makeMutex(named("mutex", name).c_str(), true, m_everybody.get()));
            if (m_kept.size() > 4)
                m_kept.clear(); // what nobody has any more is whole the next time
        }
    }

  private:
    static constexpr DWORD kShort = 200; // 2 ms in the tests' time

    void useMutex(const char* name) {
        const Handle mutex = makeMutex(name, m_random() % 2 == 0, m_everybody.get());
        const DWORD result = waitFor(mutex, kShort);
        if (result == WAIT_OBJECT_0 || result == WAIT_ABANDONED)
            ReleaseMutex(mutex.get());
    }
    void useEvent(const char* name) {
        const Handle event = makeEvent(name, m_random() % 2 == 0, true, m_everybody.get());
        WdWaitForEvent(event.get(), m_random() % 2 == 0 ? WD_ROLE_ALONE : WD_ROLE_GROUP, kShort, nullptr, nullptr);
        const WD_TAG taker = WdEventTaker(event.get());
        WdTagIsAlive(taker);
        WdSignalAgain(event.get(), taker);
        ResetEvent(event.get());
        waitFor(event, 1);
        SetEvent(event.get());
    }
    void useSemaphore(const char* name) {
        const Handle semaphore = makeSemaphore(name, 1, 3, m_everybody.get());
        waitFor(semaphore, kShort);
        LONG previous = 0;
        ReleaseSemaphore(semaphore.get(), 1, &previous);
    }
    void useMapping(const char* name) {
        const auto bytes = static_cast<DWORD>(1 + m_random() % 20'000);
        const Handle mapping = makeMapping(name, bytes, m_everybody.get());
        const View<char> view = viewOf<char>(mapping, mapping ? bytes : 0);
        if (view != nullptr)
            std::memset(view.get(), 'o', bytes);
    }
    void useSecurity(const char* name) {
        const Handle mutex = makeMutex(name, false, m_everybody.get());
        PSECURITY_DESCRIPTOR descriptor = nullptr;
        std::string text = name;
        if (GetNamedSecurityInfoA(text.data(), SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION | LABEL_SECURITY_INFORMATION,
                                  nullptr, nullptr, nullptr, nullptr, &descriptor) == 0)
            LocalFree(descriptor);
    }

    std::mt19937 m_random;
    Everybody m_everybody;
    std::vector<Handle> m_kept;
};

// What the neighbour does to one file after the other.
class Neighbour {
  public:
    Neighbour(unsigned seed, fs::path victim) : m_random(seed), m_victim(std::move(victim)) {
        signal(SIGBUS, SIG_DFL); // ours may make a file shorter under it, which it has to live with
    }

    void act() {
        if (m_random() % 8 == 0)
            return squat();
        std::vector<std::string> names = objectFiles();
        names.push_back(".processes");
        const fs::path path = objectsFolder() / names[m_random() % names.size()];
        const int file = open(path.c_str(), O_RDWR | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
        if (file < 0)
            return;
        struct stat status {};
        if (fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_size >= 64)
            scribble(file, static_cast<std::size_t>(status.st_size));
        close(file);
    }
    // Takes away what it put under objects' names.
    static void leave() {
        for (const char* kind : kKinds)
            for (unsigned name = 0; name < kNames; ++name) {
                const fs::path path = objectsFolder() / named(kind, name);
                std::error_code ignored;
                if (!fs::is_regular_file(fs::symlink_status(path, ignored)))
                    fs::remove(path, ignored);
            }
    }

  private:
    static constexpr const char* kKinds[] = {"mutex", "event", "semaphore", "mapping"};

    void scribble(int file, std::size_t size) {
        switch (m_random() % 5) {
        case 0: { // anything anywhere
            std::string bytes(1 + m_random() % 600, '\0');
            for (char& byte : bytes)
                byte = static_cast<char>(m_random());
            pwrite(file, bytes.data(), std::min(bytes.size(), size), static_cast<off_t>(position(size, 1)));
            break;
        }
        case 1: { // as a process that has it mapped would
            void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
            if (memory == MAP_FAILED)
                return;
            for (int i = 0; i < 50; ++i)
                static_cast<std::atomic<std::uint64_t>*>(memory)[position(size, 8) / 8] = word();
            munmap(memory, size);
            break;
        }
        case 2: { // its word, or the text behind it
            const std::uint64_t number = word();
            pwrite(file, &number, sizeof number, static_cast<off_t>(m_random() % 2 == 0 ? 64 : 128));
            break;
        }
        case 3: { // locks of both kinds
            struct flock lock {};
            lock.l_type = m_random() % 2 == 0 ? F_RDLCK : F_WRLCK;
            lock.l_start = static_cast<off_t>(m_random() % 5000);
            lock.l_len = static_cast<off_t>(m_random() % 5000);
            fcntl(file, m_random() % 2 == 0 ? F_OFD_SETLK : F_SETLK, &lock);
            const struct timespec pause { 0, 2'000'000 };
            nanosleep(&pause, nullptr);
            break;
        }
        default: { // the tag of somebody who lives, with all roles
            const int table = open((objectsFolder() / ".processes").c_str(), O_RDONLY | O_CLOEXEC);
            std::uint32_t row = 1 + static_cast<std::uint32_t>(m_random() % 4095);
            std::uint32_t generation = 0;
            pread(table, &generation, sizeof generation, 16 + off_t{row} * 16);
            close(table);
            const std::uint64_t tag = std::uint64_t{generation} << 32 | row << 16 | (m_random() % 16) | 1;
            pwrite(file, &tag, sizeof tag, 64);
        }
        }
    }
    // Mostly in the header, where it matters, and seldom in its first bytes: without them nobody even joins.
    std::size_t position(std::size_t size, std::size_t step) {
        const std::size_t within = m_random() % 4 == 0 ? size : 192;
        const std::size_t at = m_random() % std::min(within, size) / step * step;
        return at < 8 && m_random() % 20 != 0 ? 64 : at;
    }
    std::uint64_t word() {
        const std::uint64_t number = std::uint64_t{m_random()} << 32 | m_random();
        return m_random() % 3 == 0 ? number & 31 : number;
    }
    void squat() {
        const fs::path path =
            objectsFolder() / named(kKinds[m_random() % 4], static_cast<unsigned>(m_random() % kNames));
        std::error_code failure;
        switch (m_random() % 4) {
        case 0:
            return fs::create_symlink(m_victim, path, failure);
        case 1:
            fs::create_directory(path, failure);
            return;
        case 2:
            mkfifo(path.c_str(), 0666);
            return;
        default:
            leave();
        }
    }

    std::mt19937 m_random;
    fs::path m_victim;
};

// So many acts of the neighbour, which is another process after each death.
void HostileNeighbour::harass(std::mt19937& random, int acts) {
    const Shared<std::atomic<int>> left;
    *left = acts;
    while (*left > 0) {
        const auto seed = static_cast<unsigned>(random());
        const int status = as(kNeighbour, [&] {
                               Neighbour self(seed, victim);
                               while (left->fetch_sub(1) > 0)
                                   self.act();
                               return 0;
                           }).wait();
        ASSERT_TRUE(status == 0 || status == Child::kSignal + SIGBUS) << status;
    }
    EXPECT_EQ(as(kNeighbour,
                 [] {
                     Neighbour::leave();
                     return 0;
                 })
                  .wait(),
              0);
}

// After all of it: every object is new, and does what it is for.
int allIsWell() {
    Everybody everybody;
    for (unsigned name = 0; name < kNames; ++name) {
        const Handle mutex = makeMutex(named("mutex", name).c_str(), true, everybody.get());
        if (!mutex || GetLastError() != ERROR_SUCCESS || ReleaseMutex(mutex.get()) == FALSE)
            return 1;
        const Handle event = makeEvent(named("event", name).c_str(), false, true, everybody.get());
        if (!event || GetLastError() != ERROR_SUCCESS || waitFor(event) != WAIT_OBJECT_0)
            return 2;
        const Handle mapping = makeMapping(named("mapping", name).c_str(), 9000, everybody.get());
        const bool isNew = mapping && GetLastError() == ERROR_SUCCESS;
        const View<char> view = viewOf<char>(mapping, 9000);
        if (!isNew || view == nullptr || std::string(view.get(), 9000) != std::string(9000, '\0'))
            return 3;
        const Handle semaphore = makeSemaphore(named("semaphore", name).c_str(), 1, 3, everybody.get());
        if (!semaphore || GetLastError() != ERROR_SUCCESS || waitFor(semaphore) != WAIT_OBJECT_0)
            return 4;
    }
    return 0;
}

unsigned testSeed() {
    const char* given = getenv("WDLT_SEED");
    const unsigned seed = given != nullptr ? static_cast<unsigned>(std::stoul(given)) : std::random_device()();
    std::printf("seed %u\n", seed);
    std::fflush(stdout);
    return seed;
}

TEST_F(HostileNeighbour, ScribblesOverEverything) {
    constexpr int kActs = 6000;
    std::mt19937 random(testSeed());
    const Shared<std::atomic<bool>> stop;
    const Shared<std::atomic<int>> rounds;
    std::vector<Child> users;
    for (const uid_t user : {uid_t{0}, uid_t{0}, kOther}) {
        const auto seed = static_cast<unsigned>(random());
        users.push_back(as(user, [&, seed] {
            User self(seed);
            while (!*stop) {
                self.round();
                ++*rounds;
            }
            return 0;
        }));
    }
    harass(random, kActs);
    *stop = true;
    for (Child& user : users)
        EXPECT_EQ(user.wait(), 0);
    EXPECT_GT(*rounds, 1000) << "they came to nothing";
    EXPECT_EQ(ours(allIsWell).wait(), 0);
}

// Both halves of an operation, as callers of the lock have them.
void lockOnce(CWdRWLockEx& lock, bool writes) WD_NO_THREAD_SAFETY_ANALYSIS {
    if (writes) {
        lock.LockWrite();
        lock.UnlockWrite();
    } else {
        lock.LockRead();
        lock.UnlockRead();
    }
}

// Its waits never give up, so a user whose lock was confused may stand still until it is killed.
TEST_F(HostileNeighbour, ScribblesOverTheReaderWriterLock) {
    constexpr int kActs = 3000;
    constexpr unsigned kUsers = 3;
    std::mt19937 random(testSeed());
    const Shared<std::atomic<bool>> stop;
    const Shared<std::atomic<int>> rounds;
    const auto startUser = [&] {
        const auto seed = static_cast<unsigned>(random());
        return ours([&, seed] {
            std::mt19937 own(seed);
            while (!*stop) {
                CWdRWLockEx lock;
                if (!lock.Initialize("hostile"))
                    continue;
                for (int i = 0; i < 20 && !*stop; ++i, ++*rounds)
                    lockOnce(lock, own() % 4 == 0);
            }
            return 0;
        });
    };
    for (int round = 0; round < 10; ++round) {
        std::vector<Child> users;
        *stop = false;
        for (unsigned i = 0; i < kUsers; ++i)
            users.push_back(startUser());
        harass(random, kActs / 10);
        *stop = true;
        for (Child& user : users) {
            const int status = user.kill();
            EXPECT_TRUE(status == kKilled || status == 0) << status;
        }
    }
    EXPECT_GT(*rounds, 1000) << "they came to nothing";
    EXPECT_EQ(ours([] {
                  CWdRWLockEx lock;
                  if (!lock.Initialize("hostile"))
                      return 1;
                  for (int i = 0; i < 100; ++i)
                      lockOnce(lock, i % 2 == 0);
                  return 0;
              }).wait(),
              0);
}

// Whoever may write to a file may give it a second name, for good, somewhere else. That shuts nobody out, whatever he
// writes into it besides.
TEST_F(HostileNeighbour, MakesHardLinks) {
    for (const bool scribbles : {false, true}) {
        const Pipe ready;
        Child user = as(kOther, [&] {
            Everybody everybody;
            const Handle mutex = makeMutex("mutex0", false, everybody.get());
            ready.signal();
            return mutex ? pause() : 1;
        });
        ASSERT_TRUE(ready.await());
        const int linked = as(kNeighbour, [&] {
                               for (const char* name : {"mutex0", ".processes"}) {
                                   const fs::path file = objectsFolder() / name;
                                   const fs::path second = objectsFolder() / (std::string("linked ") + name);
                                   if (link(file.c_str(), second.c_str()) != 0 && errno != EEXIST)
                                       return errno;
                                   if (scribbles)
                                       std::fstream(file) << "nonsense";
                               }
                               return 0;
                           }).wait();
        ASSERT_EQ(linked, 0);
        EXPECT_TRUE(scribbles ||
                    ours([] { return OpenMutexA(MUTEX_ALL_ACCESS, FALSE, "mutex0") != nullptr ? 0 : 1; }).wait() == 0);
        user.kill();
        EXPECT_EQ(ours(allIsWell).wait(), 0) << scribbles;
        EXPECT_EQ(as(kOther, allIsWell).wait(), 0) << scribbles;
    }
}

// A lock on an object's file that never ends looks like a creator at work: whoever wants the object gives up.
TEST_F(HostileNeighbour, KeepsACreatorsLock) {
    const Pipe locked;
    Child neighbour = as(kNeighbour, [&] {
        Everybody everybody;
        const int file = open((objectsFolder() / "mutex0").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
        struct flock lock {};
        lock.l_type = F_WRLCK;
        if (file < 0 || fchmod(file, 0666) != 0 || fcntl(file, F_OFD_SETLK, &lock) != 0)
            return 1;
        locked.signal();
        return pause();
    });
    ASSERT_TRUE(locked.await());
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(ours([] { return makeMutex("mutex0") ? 0 : static_cast<int>(GetLastError()); }).wait(),
              static_cast<int>(ERROR_SHARING_VIOLATION));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
    neighbour.kill();
    EXPECT_EQ(ours(allIsWell).wait(), 0);
}

// Memory whose file was cut short is this process's own from then on, with zeros where the file ended.
TEST_F(HostileNeighbour, CutsFilesShort) {
    for (const off_t length : {0, 1, 5000})
        for (const char* cut : {"mapping0", "mutex0", "event0", ".processes"}) {
            const Pipe ready;
            const Pipe done;
            Child user = ours([&] {
                Everybody everybody;
                const Handle mapping = makeMapping("mapping0", 20'000, everybody.get());
                const View<char> view = viewOf<char>(mapping);
                const Handle mutex = makeMutex("mutex0", true, everybody.get());
                const Handle event = makeEvent("event0", false, true, everybody.get());
                std::memset(view.get(), 'o', 20'000);
                ready.signal();
                done.await();
                std::memset(view.get(), 'p', 20'000);
                if (view[0] != 'p' || view[19'999] != 'p')
                    return 1;
                waitFor(mutex);
                ReleaseMutex(mutex.get());
                waitFor(event, 1);
                SetEvent(event.get());
                makeMutex("mutex1", true, everybody.get()).reset();
                return 0;
            });
            ASSERT_TRUE(ready.await());
            EXPECT_EQ(as(kNeighbour, [&] { return truncate((objectsFolder() / cut).c_str(), length) == 0 ? 0 : errno; })
                          .wait(),
                      0);
            done.signal();
            EXPECT_EQ(user.wait(), 0) << cut << ' ' << length;
            EXPECT_EQ(ours(allIsWell).wait(), 0) << cut << ' ' << length;
        }
}

// An object that lost pages isn't taken up again from what stays mapped.
TEST_F(HostileNeighbour, CutsAClosedObjectShort) {
    const Pipe ready;
    const Pipe done;
    Child user = ours([&] {
        Everybody everybody;
        {
            const Handle mapping = makeMapping("mapping0", 20'000, everybody.get());
            const View<char> view = viewOf<char>(mapping);
            ready.signal();
            done.await();
            view[19'999] = 'x'; // touches what isn't there any more
        }
        const Handle again = makeMapping("mapping0", 20'000, everybody.get());
        const bool created = GetLastError() == ERROR_SUCCESS;
        const View<char> view = viewOf<char>(again);
        if (!created || view == nullptr || view[19'999] != '\0')
            return 1;
        view[19'999] = 'm';
        const Handle event = makeEvent("event0", false, true, everybody.get());
        return Child([] {
                   const Handle seen(OpenFileMappingA(FILE_MAP_READ, FALSE, "mapping0"));
                   const View<char> memory = viewOf<char>(seen);
                   return memory != nullptr && memory[19'999] == 'm' ? 0 : 2;
               })
            .wait();
    });
    ASSERT_TRUE(ready.await());
    EXPECT_EQ(
        as(kNeighbour, [] { return truncate((objectsFolder() / "mapping0").c_str(), 100) == 0 ? 0 : errno; }).wait(),
        0);
    done.signal();
    EXPECT_EQ(user.wait(), 0);
}

// The guard is for objects' memory alone: elsewhere such a signal does what it did.
TEST(PageGuard, OtherMemoryFailsAsEver) {
    const auto touch = [] { // memory behind a file's end
        const int file = open((TestHome::instance().path() / "short").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        void* memory = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        *static_cast<volatile char*>(memory) = 'x';
    };
    useFreshHome();
    EXPECT_EQ(Child([&] {
                  signal(SIGBUS, SIG_DFL); // a sanitizer has its own
                  const Handle mutex = makeMutex("m");
                  touch();
                  return 0;
              }).wait(),
              Child::kSignal + SIGBUS);
    EXPECT_EQ(Child([&] {
                  signal(SIGBUS, [](int) { _exit(7); }); // of the program, before its first object
                  const Handle mutex = makeMutex("m");
                  touch();
                  return 0;
              }).wait(),
              7);
}

} // namespace
