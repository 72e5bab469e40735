// Another user's process that may open the objects which everybody may use, and does its worst: random bytes in every
// file, file locks, links and other things under objects' names, files cut short. Ours may get wrong answers and
// errors; they must not crash, write elsewhere, or wait longer than they said. When the neighbour is gone and nobody
// has the objects any more, all is well. Needs the administrator's rights, to be another user.
#include "RWLock.h"
#include "Workers.h"

#include <Child.h>
#include <TestObject.h>

#include <gtest/gtest.h>

#include <platform/robust.h>

#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

constexpr uid_t kNeighbour = kOneUser;
constexpr uid_t kOther = kOtherUser;
constexpr unsigned kNames = 3;
constexpr const char* kKinds[] = {"mutex", "event", "semaphore", "mapping"};

fs::path fileOf(const std::string& object) {
    return objectsFolder() / object;
}
std::string named(const char* kind, std::size_t number) {
    return kind + std::to_string(number);
}

// After all of it: every object is new, and does what it is for.
void expectAllIsWell() {
    Everybody everybody;
    for (unsigned name = 0; name < kNames; ++name) {
        const auto isNew = [](const Handle& object) { return object && GetLastError() == ERROR_SUCCESS; };
        const Handle mutex = makeMutex(named("mutex", name).c_str(), true, everybody.get());
        EXPECT_TRUE(isNew(mutex) && ReleaseMutex(mutex.get()));
        const Handle event = makeEvent(named("event", name).c_str(), false, true, everybody.get());
        EXPECT_TRUE(isNew(event) && waitFor(event) == WAIT_OBJECT_0);
        const Handle semaphore = makeSemaphore(named("semaphore", name).c_str(), 1, 3, everybody.get());
        EXPECT_TRUE(isNew(semaphore) && waitFor(semaphore) == WAIT_OBJECT_0);
        const Handle mapping = makeMapping(named("mapping", name).c_str(), 9000, everybody.get());
        EXPECT_TRUE(isNew(mapping));
        const View<char> view = viewOf<char>(mapping, 9000);
        ASSERT_NE(view, nullptr);
        EXPECT_EQ(std::string(view.get(), 9000), std::string(9000, '\0'));
    }
}

// This process itself calls nothing of the layer: it would have a place in the home's table of processes.
class HostileNeighbour : public testing::Test {
  protected:
    void SetUp() override {
        if (geteuid() != 0)
            GTEST_SKIP() << "only the administrator can be several users";
        fs::permissions(TestHome::instance().path(), fs::perms(0755)); // the way to the home
        useFreshHome();
        victim = TestHome::instance().write("victim", std::string(9000, 'v'));
        fs::permissions(victim, fs::perms(0600));
        inChild([] { EXPECT_TRUE(makeMutex("the home is there")); });
    }
    void TearDown() override {
        EXPECT_TRUE(victim.empty() || TestHome::instance().read("victim") == std::string(9000, 'v'))
            << "a write went elsewhere";
    }

    void harass(unsigned seed, int acts) const;

    fs::path victim;
};

// One round of a process that uses everything, whatever comes of it.
class User {
  public:
    explicit User(unsigned seed) : m_random(seed) {}

    void round() {
        const auto name = m_random() % kNames;
        switch (m_random() % 6) {
        case 0:
            return useMutex(named("mutex", name));
        case 1:
            return useEvent(named("event", name));
        case 2: {
            const Handle semaphore = makeSemaphore(named("semaphore", name).c_str(), 1, 3, m_everybody.get());
            waitFor(semaphore, kShort);
            ReleaseSemaphore(semaphore.get(), 1, nullptr);
            return;
        }
        case 3: {
            const auto bytes = static_cast<DWORD>(1 + m_random() % 20'000);
            const Handle mapping = makeMapping(named("mapping", name).c_str(), bytes, m_everybody.get());
            if (const View<char> view = viewOf<char>(mapping, mapping ? bytes : 0))
                std::memset(view.get(), 'o', bytes);
            return;
        }
        case 4: {
            PSECURITY_DESCRIPTOR descriptor = nullptr;
            GetNamedSecurityInfoA(named("mutex", name).data(), SE_KERNEL_OBJECT,
                                  DACL_SECURITY_INFORMATION | LABEL_SECURITY_INFORMATION, nullptr, nullptr, nullptr,
                                  nullptr, &descriptor);
            LocalFree(descriptor);
            return;
        }
        default:
            m_kept.push_back(makeMutex(named("mutex", name).c_str(), true, m_everybody.get()));
            if (m_kept.size() > 4)
                m_kept.clear(); // what nobody has any more is whole the next time
        }
    }

  private:
    static constexpr DWORD kShort = 200; // 2 ms in the tests' time

    void useMutex(const std::string& name) {
        const Handle mutex = makeMutex(name.c_str(), m_random() % 2 == 0, m_everybody.get());
        const DWORD result = waitFor(mutex, kShort);
        if (result == WAIT_OBJECT_0 || result == WAIT_ABANDONED)
            ReleaseMutex(mutex.get());
    }
    void useEvent(const std::string& name) {
        const Handle event = makeEvent(name.c_str(), m_random() % 2 == 0, true, m_everybody.get());
        WdWaitForEvent(event.get(), m_random() % 2 == 0 ? WD_ROLE_ALONE : WD_ROLE_GROUP, kShort, nullptr, nullptr);
        const WD_TAG taker = WdEventTaker(event.get());
        WdTagIsAlive(taker);
        WdSignalAgain(event.get(), taker);
        ResetEvent(event.get());
        waitFor(event, 1);
        SetEvent(event.get());
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
        names.emplace_back(".processes");
        const int file =
            open(fileOf(names[m_random() % names.size()]).c_str(), O_RDWR | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
        struct stat status {};
        if (fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_size >= 192)
            scribble(file, static_cast<std::size_t>(status.st_size));
        close(file);
    }
    // Takes away what it put under objects' names.
    static void leave() {
        std::error_code ignored;
        for (const char* kind : kKinds)
            for (unsigned name = 0; name < kNames; ++name)
                if (!fs::is_regular_file(fs::symlink_status(fileOf(named(kind, name)), ignored)))
                    fs::remove(fileOf(named(kind, name)), ignored);
    }

  private:
    void scribble(int file, std::size_t size) {
        switch (m_random() % 4) {
        case 0: // anything anywhere
            for (int i = 0; i < 50; ++i)
                put(file, position(size), word());
            break;
        case 1: // its own word, or the text behind it
            put(file, m_random() % 2 == 0 ? 64 : 128, word());
            break;
        case 2: { // locks of both kinds
            struct flock lock {};
            lock.l_type = m_random() % 2 == 0 ? F_RDLCK : F_WRLCK;
            lock.l_start = static_cast<off_t>(m_random() % 5000);
            lock.l_len = static_cast<off_t>(m_random() % 5000);
            fcntl(file, m_random() % 2 == 0 ? F_OFD_SETLK : F_SETLK, &lock);
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            break;
        }
        default: { // the tag of somebody who lives, with all roles
            const std::uint64_t row = 1 + m_random() % 4095;
            std::uint32_t generation = 0;
            std::ifstream table(fileOf(".processes"), std::ios::binary);
            table.seekg(static_cast<std::streamoff>(16 + row * 32));
            table.read(reinterpret_cast<char*>(&generation), sizeof generation);
            put(file, 64, std::uint64_t{generation} << 32 | row << 16 | (m_random() % 16) | 1);
        }
        }
    }
    static void put(int file, off_t at, std::uint64_t word) { pwrite(file, &word, sizeof word, at); }
    // Mostly in the header, where it matters, and seldom in its first bytes: without them nobody even joins.
    off_t position(std::size_t size) {
        const auto at = static_cast<off_t>(m_random() % (m_random() % 4 == 0 ? size - 8 : 192 - 8));
        return at < 8 && m_random() % 20 != 0 ? 64 : at;
    }
    std::uint64_t word() {
        const std::uint64_t number = std::uint64_t{m_random()} << 32 | m_random();
        return m_random() % 3 == 0 ? number & 31 : number;
    }
    void squat() {
        const fs::path path = fileOf(named(kKinds[m_random() % 4], m_random() % kNames));
        std::error_code failure;
        if (m_random() % 4 == 0)
            return leave();
        m_random() % 2 == 0 ? fs::create_symlink(m_victim, path, failure)
                            : static_cast<void>(mkfifo(path.c_str(), 0666));
    }

    std::mt19937 m_random;
    const fs::path m_victim;
};

// So many acts of the neighbour, which is another process after each death.
void HostileNeighbour::harass(unsigned seed, int acts) const {
    const Shared<std::atomic<int>> left;
    *left = acts;
    while (*left > 0) {
        const int status = as(kNeighbour, [&] {
                               Neighbour self(++seed, victim);
                               while (left->fetch_sub(1) > 0)
                                   self.act();
                               return 0;
                           }).wait();
        ASSERT_TRUE(status == 0 || status == Child::kSignal + SIGBUS) << status;
    }
    as(kNeighbour, Neighbour::leave).wait();
}

// One of the users has another user's rights, and three have a lock beside the objects. The lock's waits never give up,
// so whoever has it may stand still until he is killed.
TEST_F(HostileNeighbour, ScribblesOverEverything) {
    constexpr std::size_t kUsers = 3;
    const Seed seed;
    const Shared<std::atomic<unsigned>> rounds;
    {
        Workers objects(kUsers, seed, [](const Life& life) {
            EXPECT_TRUE(life.place != 0 || becomeUser(kOther, kNoGroup));
            User self(life.seed);
            do
                self.round();
            while (life.goesOn());
        });
        Workers locks(kUsers, seed, [&](const Life& life) {
            do {
                CWdRWLockEx lock;
                if (!lock.Initialize("hostile"))
                    continue;
                { const CWdRWReadLock hold(&lock); }
                if (life.seed % 2 == 0)
                    const CWdRWWriteLock hold(&lock);
                ++*rounds;
            } while (life.goesOn());
        });
        for (unsigned i = 0; i < 20 && !HasFailure(); ++i) {
            harass(seed + i, 200);
            objects.awaitRounds(5);
            locks.killOne();
        }
    }
    EXPECT_GT(*rounds, 20u) << "they came to nothing";
    inChild(expectAllIsWell);
    inChild([] {
        CWdRWLockEx lock;
        ASSERT_TRUE(lock.Initialize("hostile"));
        for (int i = 0; i < 100; ++i) {
            { const CWdRWReadLock hold(&lock); }
            { const CWdRWWriteLock hold(&lock); }
        }
    });
}

// Whoever may write to a file may give it a second name, for good, somewhere else. That shuts nobody out, whatever he
// writes into it besides.
TEST_F(HostileNeighbour, MakesHardLinks) {
    for (const bool scribbles : {false, true}) {
        SCOPED_TRACE(scribbles);
        Child user = childWith([] {
            EXPECT_TRUE(becomeUser(kOther, kNoGroup));
            Everybody everybody;
            return makeMutex("mutex0", false, everybody.get());
        });
        EXPECT_EQ(as(kNeighbour,
                     [&] {
                         for (const char* name : {"mutex0", ".processes"}) {
                             const fs::path second = fileOf(std::string("linked ") + name);
                             EXPECT_TRUE(link(fileOf(name).c_str(), second.c_str()) == 0 || errno == EEXIST);
                             if (scribbles)
                                 std::fstream(fileOf(name)) << "nonsense";
                         }
                     })
                      .wait(),
                  0);
        inChild([&] { EXPECT_TRUE(scribbles || OpenMutexA(MUTEX_ALL_ACCESS, FALSE, "mutex0") != nullptr); });
        user.kill();
        inChild(expectAllIsWell);
        EXPECT_EQ(as(kOther, expectAllIsWell).wait(), 0);
    }
}

// A lock on an object's file that never ends looks like a creator at work: whoever wants the object gives up.
TEST_F(HostileNeighbour, KeepsACreatorsLock) {
    Child neighbour = childWith([] {
        EXPECT_TRUE(becomeUser(kNeighbour, kNoGroup));
        const int file = open(fileOf("mutex0").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
        struct flock lock {};
        lock.l_type = F_WRLCK;
        EXPECT_TRUE(fchmod(file, 0666) == 0 && fcntl(file, F_OFD_SETLK, &lock) == 0);
        return file;
    });
    inChild([] {
        EXPECT_FALSE(makeMutex("mutex0"));
        EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
    });
    neighbour.kill();
    inChild(expectAllIsWell);
}

// Memory whose file was cut short is this process's own from then on, with zeros where the file ended. An object that
// lost pages isn't taken up again from what stays mapped.
TEST_F(HostileNeighbour, CutsFilesShort) {
    for (const off_t length : {0, 1, 5000})
        for (const char* cut : {"mapping0", "mutex0", "event0", ".processes"}) {
            SCOPED_TRACE(testing::Message() << cut << " to " << length);
            SteppedChild user([&](const SteppedChild::Stop& stop) {
                Everybody everybody;
                {
                    const Handle mapping = makeMapping("mapping0", 20'000, everybody.get());
                    const View<char> view = viewOf<char>(mapping);
                    const Handle mutex = makeMutex("mutex0", true, everybody.get());
                    const Handle event = makeEvent("event0", false, true, everybody.get());
                    stop();
                    std::memset(view.get(), 'p', 20'000);
                    EXPECT_TRUE(view[0] == 'p' && view[19'999] == 'p');
                    waitFor(mutex);
                    ReleaseMutex(mutex.get());
                    waitFor(event, 1);
                    SetEvent(event.get());
                }
                if (std::string_view(cut) != "mapping0")
                    return;
                const Handle again = makeMapping("mapping0", 20'000, everybody.get());
                EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
                const View<char> view = viewOf<char>(again);
                EXPECT_TRUE(view != nullptr && view[19'999] == '\0');
            });
            ASSERT_TRUE(user.awaitStop());
            EXPECT_EQ(as(kNeighbour, [&] { return truncate(fileOf(cut).c_str(), length) == 0 ? 0 : errno; }).wait(), 0);
            EXPECT_EQ(user.end(), 0);
            inChild(expectAllIsWell);
        }
}

// The guard is for objects' memory alone: elsewhere such a signal does what it did.
TEST(PageGuard, OtherMemoryFailsAsEver) {
    useFreshHome();
    const auto touch = [](void (*before)(int)) { // memory behind a file's end
        return Child([before] {
                   signal(SIGBUS, before); // before its first object
                   const Handle mutex = makeMutex("m");
                   const int file = open(TestHome::instance().write("short", "").c_str(), O_RDWR | O_CLOEXEC);
                   void* const memory = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
                   *static_cast<volatile char*>(memory) = 'x';
               })
            .wait();
    };
    EXPECT_EQ(touch(SIG_DFL), Child::kSignal + SIGBUS); // a sanitizer has its own
    EXPECT_EQ(touch([](int) { _exit(7); }), 7);
}

} // namespace
