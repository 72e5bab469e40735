// Processes that create, use and close objects are killed at each step and at each system call: the next creator always
// succeeds, with a fresh object or an intact one that somebody has open.
#include "LockSteps.h"

#include <Child.h>
#include <Sanitizers.h>
#include <TestObject.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <sys/stat.h>

namespace {

constexpr DWORD kBytes = 5000;

class KernelObjectKill : public testing::Test {
  protected:
    KernelObjectKill() {
        useFreshHome();
        makeMutex("the home is there").reset();
    }
};

// Waits for the owner, dead or alive.
bool isTaken(const Handle& mutex) {
    const DWORD result = waitFor(mutex, INFINITE);
    return result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
}

void create() {
    const Handle mapping = makeMapping("map", kBytes);
    const View<char> view = viewOf<char>(mapping);
    ASSERT_NE(view, nullptr);
    std::memset(view.get(), 'v', kBytes);
}
void createInAnotherSize() {
    makeMapping("map", 100).reset(); // stays cached
    create();
}
void createAndUse() {
    create();
    Handle(OpenFileMappingA(FILE_MAP_READ, FALSE, "map")).reset();
    const Handle mutex = makeMutex("m");
    EXPECT_TRUE(isTaken(mutex) && ReleaseMutex(mutex.get()));
}
void closeMany() {
    for (int i = 0; i < 32; ++i)
        makeMutex(std::to_string(i).c_str()).reset();
}

// What a process dies in; it doesn't die in `prepare`. It ends with exit, so that the end of a program is included.
struct Deed {
    const char* name;
    void (*run)();
    std::set<std::string> steps; // some of the steps that it must pass
    void (*prepare)() = [] {};
    bool ofHolderToo = true; // also tested while another process has the objects open
};
void PrintTo(const Deed& deed, std::ostream* out) {
    *out << deed.name;
}
const Deed kDeeds[] = {
    {"create and use",
     createAndUse,
     {"object.opened", "object.first", "object.laid", "object.valid", "object.joined", "mutex.taken"}},
    {"create in another size", createInAnotherSize, {"object.empty"}, [] {}, false},
    {"create beside many, of which the oldest goes", create, {"object.closing"}, closeMany},
};

// What others must find after a death; `held`: a live process has the objects open.
void expectAllWell(bool held) {
    const DWORD error = held ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS;
    const Handle mapping = makeMapping("map", kBytes);
    EXPECT_EQ(GetLastError(), error);
    const View<char> view = viewOf<char>(mapping, kBytes);
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(std::string(view.get(), kBytes).find_first_not_of(held ? "hv" : std::string_view("\0", 1)),
              std::string::npos);
    const Handle mutex = makeMutex("m");
    EXPECT_EQ(GetLastError(), error);
    EXPECT_TRUE(isTaken(mutex) && ReleaseMutex(mutex.get()));
}

// A process that keeps the objects open.
Child startHolder() {
    return childWith([] {
        auto mapping = makeMapping("map", kBytes);
        auto view = viewOf<char>(mapping);
        std::memset(view.get(), 'h', kBytes);
        return std::tuple(makeMutex("m"), std::move(mapping), std::move(view));
    });
}

// Lets `deed` die at every point that `arm` can select, from the first to the last; returns their number.
unsigned dieEverywhere(
    const Deed& deed, bool held, const std::function<void(unsigned)>& arm, const std::function<void()>& died = [] {}) {
    for (unsigned nth = 1; !testing::Test::HasFailure(); ++nth) {
        SCOPED_TRACE(testing::Message() << deed.name << ", point " << nth << (held ? ", held" : ""));
        const int status = Child([&] {
                               deed.prepare();
                               arm(nth);
                               deed.run();
                               std::exit(testing::Test::HasFailure() ? 1 : 0);
                           }).wait();
        inChild([held] { expectAllWell(held); });
        expectAllWell(held); // in this process too, which may have them cached
        if (status != Child::kKilled) {
            EXPECT_EQ(status, 0);
            return nth - 1;
        }
        died();
    }
    return 0;
}

class KernelObjectDeath : public KernelObjectKill, public testing::WithParamInterface<Deed> {};

TEST_P(KernelObjectDeath, AtEachStepAndEachSystemCall) {
    const Deed& deed = GetParam();
    std::set<std::string> steps;
    unsigned calls = 0;
    for (const bool held : {false, true}) {
        if (held && !deed.ofHolderToo)
            continue;
        std::vector<Child> holder;
        if (held)
            holder.push_back(startHolder());
        const Shared<steps::Grave> grave;
        dieEverywhere(
            deed, held, [&](unsigned nth) { steps::dieAt(nth, *grave); }, [&] { steps.insert(grave->step.load()); });
        for (const char* call :
             {"openat", "fcntl_lock", "fstat", "fchmod", "ftruncate", "fallocate", "mmap", "unlinkat", "linkat"})
            if (deed.prepare != closeMany) // would test nothing that the steps don't
                calls +=
                    dieEverywhere(deed, held, [&](unsigned nth) { WdTestFailCall(call, static_cast<int>(nth), 0); });
    }
    EXPECT_THAT(steps, testing::IsSupersetOf(deed.steps));
    EXPECT_TRUE(calls > 5 || deed.prepare == closeMany) << calls;
}

INSTANTIATE_TEST_SUITE_P(Deeds, KernelObjectDeath, testing::ValuesIn(kDeeds));

// How many sleep until they get a file lock that another has.
std::size_t lockWaiters(const std::filesystem::path& file) {
    struct stat status {};
    stat(file.c_str(), &status);
    const std::string inode = ":" + std::to_string(status.st_ino) + " ";
    std::ifstream locks("/proc/locks");
    std::size_t waiters = 0;
    for (std::string line; std::getline(locks, line);)
        waiters += line.find("->") != line.npos && line.find(inode) != line.npos ? 1 : 0;
    return waiters;
}

// A dead process left an object that looks whole. A creator finds another process at the file, which leaves without
// recreating the object, and a third one that gets the file lock at the same time: though not alone at the file, the
// creator must not take the dead object for a live one.
TEST_F(KernelObjectKill, ADeadObjectIsNeverJoined) {
    Everybody everybody; // makes the file stay
    for (int round = 0; round < 10; ++round) {
        childWith([&] {
            Handle mapping = makeMapping("map", kBytes, everybody.get());
            std::memset(viewOf<char>(mapping).get(), 'h', kBytes);
            return mapping;
        }).kill();
        SteppedChild inTheWay([](const SteppedChild::Stop& stop) {
            const steps::At late("object.closing", stop);
            EXPECT_EQ(OpenFileMappingA(FILE_MAP_READ, FALSE, "map"), nullptr);
        });
        ASSERT_TRUE(inTheWay.awaitStop());
        std::vector<Child> third;
        third.emplace_back([] {
            const int file = ::open((objectsFolder() / "map").c_str(), O_RDONLY | O_CLOEXEC);
            struct flock reading {};
            reading.l_type = F_RDLCK;
            reading.l_len = 1;
            fcntl(file, F_OFD_SETLKW, &reading);
            pauseForever();
        });
        const Shared<std::atomic<int>> timesOpened;
        Child creator([&] {
            const steps::At opened("object.opened", [&] { ++*timesOpened; });
            const Handle mapping = makeMapping("map", kBytes, everybody.get());
            EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
            const View<char> view = viewOf<char>(mapping, kBytes);
            EXPECT_TRUE(view != nullptr && view[0] == '\0');
        });
        while (*timesOpened < 1)
            std::this_thread::yield();
        while (lockWaiters(objectsFolder() / "map") < 1) // the third; the creator asks again and again
            std::this_thread::yield();
        EXPECT_EQ(inTheWay.end(), 0);
        while (*timesOpened < 2 && !creator.hasEnded())
            std::this_thread::yield();
        third.clear();
        EXPECT_EQ(creator.wait(), 0);
    }
}

// The process table of a fresh home is created, and used, while another process is about to create it too.
TEST_F(KernelObjectKill, TheFirstUsersOfAHomeMayComeTogether) {
    useFreshHome();
    SteppedChild slow([](const SteppedChild::Stop& stop) {
        const steps::At late("processes.new", stop);
        EXPECT_NE(makeMutex("m"), nullptr) << GetLastError();
    });
    ASSERT_TRUE(slow.awaitStop());
    const Child quick = childWith([] { return makeMutex("m"); });
    EXPECT_EQ(slow.end(), 0);
}

} // namespace
