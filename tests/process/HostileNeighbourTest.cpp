// Another user's process may open the objects that are open to everybody, and does its worst: random bytes in every
// file, file locks, links and pipes under objects' names, truncated files. Our processes may get wrong results and
// errors; they must not crash, write elsewhere, or wait longer than their time-out. When the neighbour is gone and
// nobody has the objects open any more, everything works again. Needs root, to be another user.
#include "RWLock.h"
#include "Workers.h"

#include <Child.h>
#include <TestObject.h>

#include <gtest/gtest.h>

#include <platform/robust.h>
#include <platform/shield.h>

#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

constexpr uid_t kNeighbour = kOneUser;
constexpr const char* kNames[] = {"mutex0", "mutex1", "event0", "event1", "mapping0", "mapping1"};

fs::path fileOf(const std::string& object) {
    return objectsFolder() / object;
}

// Afterwards every object is created anew, and works.
void expectAllIsWell() {
    Everybody everybody;
    for (const std::string name : kNames) {
        SCOPED_TRACE(name);
        const Handle object = name[0] == 'e'   ? makeEvent(name.c_str(), false, true, everybody.get())
                              : name[1] == 'u' ? makeMutex(name.c_str(), false, everybody.get())
                                               : makeMapping(name.c_str(), 9000, everybody.get());
        EXPECT_TRUE(object && GetLastError() == ERROR_SUCCESS);
        if (name[1] != 'a') {
            EXPECT_EQ(waitFor(object), WAIT_OBJECT_0);
            continue;
        }
        const View<char> view = viewOf<char>(object, 9000);
        ASSERT_NE(view, nullptr);
        EXPECT_EQ(std::string(view.get(), 9000), std::string(9000, '\0'));
    }
}

// This process itself must not call the layer: it would take a row in the home's process table.
class HostileNeighbour : public testing::Test {
  protected:
    void SetUp() override {
        if (geteuid() != 0)
            GTEST_SKIP() << "only the administrator can be several users";
        fs::permissions(TestHome::instance().path(), fs::perms(0755)); // makes the home reachable
        useFreshHome();
        inChild([] { EXPECT_TRUE(makeMutex("the home is there")); });
    }
};

// Uses all kinds of objects and ignores the results.
void use(const Life& life) {
    constexpr DWORD kShort = 200; // 2 ms in the tests' time scale
    std::mt19937 random(life.seed);
    Everybody everybody;
    std::vector<Handle> kept;
    do {
        const char* const number = random() % 2 == 0 ? "0" : "1";
        const std::string mutexName = std::string("mutex") + number;
        const Handle mutex = makeMutex(mutexName.c_str(), random() % 2 == 0, everybody.get());
        waitFor(mutex, kShort);
        ReleaseMutex(mutex.get());
        PSECURITY_DESCRIPTOR descriptor = nullptr;
        GetNamedSecurityInfoA(mutexName.data(), SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, nullptr,
                              nullptr, &descriptor);
        LocalFree(descriptor);

        const Handle event = makeEvent((std::string("event") + number).c_str(), false, true, everybody.get());
        WdWaitForEvent(event.get(), random() % 2 == 0 ? WD_ROLE_ALONE : WD_ROLE_GROUP, kShort, nullptr, nullptr);
        const WD_TAG taker = WdEventTaker(event.get());
        WdTagIsAlive(taker);
        WdSignalAgain(event.get(), taker);
        waitFor(event, 1);
        SetEvent(event.get());

        const auto bytes = static_cast<DWORD>(1 + random() % 20'000);
        const Handle mapping = makeMapping((std::string("mapping") + number).c_str(), bytes, everybody.get());
        if (const View<char> view = viewOf<char>(mapping, mapping ? bytes : 0))
            std::memset(view.get(), 'o', bytes);

        kept.push_back(makeMutex(mutexName.c_str(), true, everybody.get()));
        if (random() % 4 == 0)
            kept.clear(); // an object that nobody has open is whole when it is next created
    } while (life.goesOn());
}

// Removes links and pipes under objects' names.
void unsquat() {
    std::error_code ignored;
    for (const char* name : kNames)
        if (!fs::is_regular_file(fs::symlink_status(fileOf(name), ignored)))
            fs::remove(fileOf(name), ignored);
}
// One attack of the neighbour on a random file.
void act(std::mt19937& random, const fs::path& victim) {
    if (random() % 8 == 0) {
        const fs::path path = fileOf(kNames[random() % std::size(kNames)]);
        const bool links = random() % 2 == 0;
        return random() % 4 == 0 || (links ? symlink(victim.c_str(), path.c_str()) : mkfifo(path.c_str(), 0666)) != 0
                   ? unsquat()
                   : void();
    }
    std::vector<std::string> names = objectFiles();
    names.emplace_back(".processes");
    const int file = open(fileOf(names[random() % names.size()]).c_str(), O_RDWR | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
    const auto put = [file](off_t at, std::uint64_t word) { pwrite(file, &word, sizeof word, at); };
    const auto word = [&] {
        const std::uint64_t number = std::uint64_t{random()} << 32 | random();
        return random() % 3 == 0 ? number & 31 : number;
    };
    constexpr off_t kWord = 64; // the object's state, in its header
    constexpr off_t kHeader = 192;
    struct stat status {};
    if (fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_size >= kHeader)
        switch (random() % 4) {
        case 0: // random words, mostly in the header, but rarely in its first bytes: without those nobody even opens it
            for (int i = 0; i < 50; ++i) {
                const off_t at = static_cast<off_t>(random()) % ((random() % 4 == 0 ? status.st_size : kHeader) - 8);
                put(at < 8 && random() % 20 != 0 ? kWord : at, word());
            }
            break;
        case 1: // the object's state, or the text after it
            put(random() % 2 == 0 ? kWord : kWord * 2, word());
            break;
        case 2: { // a file lock
            struct flock lock {};
            lock.l_type = random() % 2 == 0 ? F_RDLCK : F_WRLCK;
            lock.l_start = static_cast<off_t>(random() % 5000);
            fcntl(file, F_OFD_SETLK, &lock);
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            break;
        }
        default: { // a tag like a live process's, in any role
            const std::uint64_t row = 1 + random() % 4095;
            std::uint32_t generation = 0;
            std::ifstream table(fileOf(".processes"), std::ios::binary);
            table.seekg(static_cast<std::streamoff>(16 + row * 32));
            table.read(reinterpret_cast<char*>(&generation), sizeof generation);
            put(kWord, std::uint64_t{generation} << 32 | row << 16 | (random() % 16) | 1);
        }
        }
    close(file);
}

// Three processes use the objects, one of them as another user, and three a reader/writer lock. Waits for the lock have
// no time-out, so these may hang until they are killed.
TEST_F(HostileNeighbour, ScribblesOverEverything) {
    const std::string content(9000, 'v');
    const fs::path victim = TestHome::instance().write("victim", content);
    const Seed seed;
    {
        Workers objects(3, seed, [](const Life& life) {
            EXPECT_TRUE(life.place != 0 || becomeUser(kOtherUser, kNoGroup));
            use(life);
        });
        Workers locks(3, seed, [&](const Life& life) {
            do {
                CWdRWLockEx lock;
                if (!lock.Initialize("hostile"))
                    continue;
                { const CWdRWReadLock hold(&lock); }
                if (life.seed % 2 == 0)
                    const CWdRWWriteLock hold(&lock);
            } while (life.goesOn());
        });
        std::mt19937 random(seed);
        for (int i = 0; i < 20 && !HasFailure(); ++i) {
            const int status = as(kNeighbour, [&] {
                                   signal(SIGBUS, SIG_DFL); // our processes may truncate a file that it has mapped
                                   for (int acts = 0; acts < 200; ++acts)
                                       act(random, victim);
                                   unsquat();
                                   return 0;
                               }).wait();
            ASSERT_TRUE(status == 0 || status == Child::kSignal + SIGBUS) << status;
            random.discard(1000); // the child used a copy of the generator
            objects.awaitRounds(1);
            locks.killOne();
        }
    }
    EXPECT_EQ(TestHome::instance().read("victim"), content) << "a write went elsewhere";
    unsquat();
    inChild(expectAllIsWell);
    inChild([] {
        CWdRWLockEx lock;
        ASSERT_TRUE(lock.Initialize("hostile"));
        { const CWdRWReadLock hold(&lock); }
        { const CWdRWWriteLock hold(&lock); }
    });
}

// Whoever can write to a file can give it a second, permanent name elsewhere. That locks nobody out, whatever is
// written to the file as well.
TEST_F(HostileNeighbour, MakesHardLinks) {
    Child user = childWith([] {
        EXPECT_TRUE(becomeUser(kOtherUser, kNoGroup));
        Everybody everybody;
        return makeMutex("mutex0", false, everybody.get());
    });
    const auto giveSecondNames = [] {
        for (const std::string name : {"mutex0", ".processes"}) {
            EXPECT_EQ(link(fileOf(name).c_str(), fileOf("linked " + name).c_str()), 0);
            std::fstream(fileOf(name)) << "nonsense";
        }
    };
    EXPECT_EQ(as(kNeighbour, giveSecondNames).wait(), 0);
    user.kill();
    inChild(expectAllIsWell);
    EXPECT_EQ(as(kOtherUser, expectAllIsWell).wait(), 0);
}

// A file lock that is never released looks like a creator at work: others give up on the object.
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

// When a mapped file is truncated, the process goes on with private memory, zeroed beyond the file's new end, though its
// thread blocks all signals. An object that lost pages isn't reused from the cached mapping.
TEST_F(HostileNeighbour, CutsFilesShort) {
    for (const off_t length : {0, 1, 5000})
        for (const char* cut : {"mapping0", "mutex0", "event0", ".processes"}) {
            SCOPED_TRACE(testing::Message() << cut << " to " << length);
            SteppedChild user([&](const SteppedChild::Stop& stop) {
                Everybody everybody;
                Handle mapping = makeMapping("mapping0", 20'000, everybody.get());
                View<char> view = viewOf<char>(mapping);
                const Handle mutex = makeMutex("mutex0", true, everybody.get());
                const Handle event = makeEvent("event0", false, true, everybody.get());
                stop();
                sigset_t all;
                sigfillset(&all);
                pthread_sigmask(SIG_BLOCK, &all, nullptr);
                const int shield = WdShieldThread();
                std::memset(view.get(), 'p', 20'000);
                EXPECT_TRUE(view[0] == 'p' && view[19'999] == 'p');
                waitFor(mutex);
                ReleaseMutex(mutex.get());
                waitFor(event, 1);
                SetEvent(event.get());
                view.reset();
                mapping.reset();
                mapping = makeMapping("mapping0", 20'000, everybody.get());
                view = viewOf<char>(mapping);
                EXPECT_TRUE(*cut != 'm' || cut[1] != 'a' || (view != nullptr && view[19'999] == '\0'));
                WdUnshieldThread(shield);
                sigset_t before;
                EXPECT_EQ(pthread_sigmask(SIG_UNBLOCK, &all, &before), 0);
                EXPECT_EQ(sigismember(&before, SIGBUS), 1);
            });
            ASSERT_TRUE(user.awaitStop());
            EXPECT_EQ(as(kNeighbour, [&] { return truncate(fileOf(cut).c_str(), length) == 0 ? 0 : errno; }).wait(), 0);
            EXPECT_EQ(user.end(), 0);
            inChild(expectAllIsWell);
        }
}

// The guard handles SIGBUS only for objects' memory: elsewhere the signal keeps its effect.
TEST(PageGuard, OtherMemoryFailsAsEver) {
    useFreshHome();
    const auto touch = [](void (*before)(int)) { // touches mapped memory beyond the end of its file
        return Child([before] {
                   signal(SIGBUS, before); // before its first object
                   const Handle mutex = makeMutex("m");
                   const int file = open(TestHome::instance().write("short", "").c_str(), O_RDWR | O_CLOEXEC);
                   void* const memory = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
                   *static_cast<volatile char*>(memory) = 'x';
               })
            .wait();
    };
    EXPECT_EQ(touch(SIG_DFL), Child::kSignal + SIGBUS); // a sanitizer would have a handler of its own
    EXPECT_EQ(touch([](int) { _exit(7); }), 7);
}

} // namespace
