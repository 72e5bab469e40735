// Kernel objects between users: whom default security shuts out, whom an empty list lets in, what the sticky folder
// keeps apart, and the home with a group. Needs the administrator's rights, to be other users.
#include <Child.h>
#include <TestObject.h>

#include <gtest/gtest.h>

#include <platform/robust.h>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

constexpr uid_t kOne = kOneUser;
constexpr uid_t kOther = kOtherUser;
constexpr gid_t kGroup = kHomeGroup;
constexpr gid_t kNoGroup = 61'200;

class KernelObjectUser : public testing::Test {
  protected:
    void SetUp() override {
        if (geteuid() != 0)
            GTEST_SKIP() << "only the administrator can be several users";
        fs::permissions(TestHome::instance().path(), fs::perms(0755)); // the way to the home
        useFreshHome();
        std::fflush(stdout);
        makeMutex("the home is there").reset();
    }
};

Child as(uid_t user, const std::function<int()>& work, gid_t group = kNoGroup) {
    return Child([&] { return becomeUser(user, group) ? work() : 100; });
}

unsigned modeOf(const char* object) {
    struct stat status {};
    return stat((objectsFolder() / object).c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

// 0, or the error of each.
int openError(const char* mutex) {
    return OpenMutexA(MUTEX_ALL_ACCESS, FALSE, mutex) != nullptr ? 0 : static_cast<int>(GetLastError());
}
int createError(const char* mutex) {
    return makeMutex(mutex) ? 0 : static_cast<int>(GetLastError());
}

constexpr int kDenied = static_cast<int>(ERROR_ACCESS_DENIED);

TEST_F(KernelObjectUser, DefaultSecurityIsTheCreatorsAlone) {
    for (const uid_t creator : {uid_t{0}, kOne}) {
        const Pipe made; // by a process of its own, so that the others inherit nothing
        Child maker = as(creator, [&] {
            const Handle mutex = makeMutex("alone");
            made.signal();
            return mutex ? pause() : 1;
        });
        ASSERT_TRUE(made.await());
        EXPECT_EQ(modeOf("alone"), 0600u);
        EXPECT_EQ(as(kOther, [] { return openError("alone"); }).wait(), kDenied);
        EXPECT_EQ(as(kOther, [] { return createError("alone"); }).wait(), kDenied);
        EXPECT_EQ(as(creator, [] { return openError("alone"); }).wait(), 0);
        EXPECT_EQ(as(0, [] { return openError("alone"); }).wait(), 0) << "the administrator passes always";
        maker.kill();
        fs::remove(objectsFolder() / "alone"); // which others can't
    }
}

// A child of a fork that becomes another user before its first call can't have what its parent had to itself.
TEST_F(KernelObjectUser, AChildThatChangesUsersLosesWhatIsNotItsOwn) {
    Everybody everybody;
    const Handle alone = makeMutex("alone", true);
    const Handle ours = makeMutex("ours", true, everybody.get());
    EXPECT_EQ(as(kOne,
                 [&] {
                     if (waitFor(alone) != WAIT_FAILED || GetLastError() != ERROR_INVALID_HANDLE)
                         return 1;
                     if (waitFor(ours) != WAIT_TIMEOUT)
                         return 2;
                     return CloseHandle(alone.get()) != FALSE && createError("alone") == kDenied ? 0 : 3;
                 })
                  .wait(),
              0);
    EXPECT_TRUE(ReleaseMutex(alone.get()) && ReleaseMutex(ours.get()));
}

TEST_F(KernelObjectUser, AnEmptyListLetsEverybodyIn) {
    Everybody everybody;
    const Handle mutex = makeMutex("ours", true, everybody.get());
    const Handle mapping = makeMapping("map", 100, everybody.get());
    const Handle event = makeEvent("e", false, false, everybody.get());
    EXPECT_EQ(modeOf("ours"), 0666u);
    const View<char> view = viewOf<char>(mapping);
    Child one = as(kOne, [] {
        const Handle own(OpenEventA(EVENT_ALL_ACCESS, FALSE, "e"));
        const Handle memory = makeMapping("map", 100);
        const View<char> seen = viewOf<char>(memory);
        if (seen == nullptr)
            return 1;
        seen[0] = 'o';
        SetEvent(own.get());
        const Handle lock(OpenMutexA(MUTEX_ALL_ACCESS, FALSE, "ours"));
        return waitFor(lock, INFINITE) == WAIT_OBJECT_0 ? 0 : 2; // and ends with it
    });
    EXPECT_EQ(waitFor(event, INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(view[0], 'o');
    EXPECT_TRUE(ReleaseMutex(mutex.get()));
    EXPECT_EQ(one.wait(), 0);
    EXPECT_EQ(as(kOther, [] { return waitFor(Handle(OpenMutexA(0, FALSE, "ours"))) == WAIT_ABANDONED ? 0 : 1; }).wait(),
              0);
}

// Whoever closes last can't remove another's file. It stands for nothing, and is anybody's next object.
TEST_F(KernelObjectUser, TheLastOfAnotherUserLeavesAFileForTheNext) {
    Everybody everybody;
    const Pipe made;
    const Pipe closed;
    Child last = as(kOne, [&] {
        const Handle own(OpenMutexA(0, FALSE, "ours"));
        made.signal();
        closed.await();
        return own ? 0 : 1;
    });
    {
        const Handle mutex = makeMutex("ours", false, everybody.get());
        closed.signal();
        static_cast<void>(made.await());
    }
    last.wait();
    for (const uid_t user : {kOther, kOne, uid_t{0}}) {
        EXPECT_EQ(as(user, [] { return openError("ours"); }).wait(), static_cast<int>(ERROR_FILE_NOT_FOUND));
        EXPECT_EQ(as(user,
                     [] {
                         Everybody again;
                         return makeMutex("ours", false, again.get()) && GetLastError() == ERROR_SUCCESS ? 0 : 1;
                     })
                      .wait(),
                  0)
            << user;
    }
}

TEST_F(KernelObjectUser, TheFolderKeepsOthersFromRemovingAndRenaming) {
    Everybody everybody;
    const Handle mutex = makeMutex("ours", false, everybody.get());
    EXPECT_EQ(as(kOne,
                 [] {
                     const fs::path file = objectsFolder() / "ours";
                     if (unlink(file.c_str()) == 0 || errno != EPERM)
                         return 1;
                     if (rename(file.c_str(), (objectsFolder() / "theirs").c_str()) == 0 || errno != EPERM)
                         return 2;
                     return chmod(file.c_str(), 0600) != 0 && rmdir(objectsFolder().c_str()) != 0 ? 0 : 3;
                 })
                  .wait(),
              0);
}

// A member of the home's group shares default security with the others; a stranger doesn't.
TEST_F(KernelObjectUser, AHomeWithAGroup) {
    useFreshHome();
    const fs::path home = objectsFolder().parent_path();
    fs::create_directories(home);
    ASSERT_EQ(chown(home.c_str(), 0, kGroup), 0);
    ASSERT_EQ(chmod(home.c_str(), 02775), 0);
    const Pipe made;
    Child member = as(
        kOne,
        [&] {
            const Handle own = makeMutex("group's");
            made.signal();
            return own ? pause() : 1;
        },
        kGroup);
    ASSERT_TRUE(made.await());
    EXPECT_EQ(modeOf("group's"), 0660u);
    EXPECT_EQ(as(
                  kOther, [] { return openError("group's"); }, kGroup)
                  .wait(),
              0);
    EXPECT_EQ(as(
                  kOther, [] { return createError("group's"); }, kGroup)
                  .wait(),
              0);
    EXPECT_EQ(as(kOther, [] { return openError("group's"); }).wait(), kDenied);
    member.kill(); // its file stays
    EXPECT_EQ(as(
                  kOther, [] { return createError("group's"); }, kGroup)
                  .wait(),
              0);
}

// Two users who make and close one object for everybody: neither is ever refused.
TEST_F(KernelObjectUser, UsersWhoMakeTheSameObjectAtOnce) {
    constexpr int kRounds = 2000;
    std::vector<Child> users;
    Pipe start;
    for (const uid_t user : {kOne, kOther})
        users.push_back(as(user, [&] {
            start.closeSender();
            start.await();
            Everybody everybody;
            int refused = 0;
            for (int i = 0; i < kRounds; ++i) {
                // For good, so that the next one is made anew.
                if (!makeMutex("ours", false, everybody.get()))
                    refused += GetLastError() == ERROR_ACCESS_DENIED ? 1 : 100;
                Handle(OpenMutexA(0, FALSE, "ours")).reset();
            }
            return std::min(refused, 99);
        }));
    start.closeSender();
    for (Child& user : users)
        EXPECT_EQ(user.wait(), 0) << "times refused, or more than that if for another reason";
}

// Whoever dies while he makes an object for everybody leaves nothing that shuts others out.
TEST_F(KernelObjectUser, ACreatorThatDiesShutsNobodyOut) {
    for (const char* call : {"openat", "fcntl_lock", "fstat", "fchmod", "fallocate", "mmap"})
        for (int nth = 1; nth <= 3; ++nth) {
            as(kOne, [&] {
                makeMutex("warm").reset(); // the table's own steps come first
                WdTestFailCall(call, nth, 0);
                Everybody everybody;
                makeMutex("ours", false, everybody.get());
                return 0;
            }).wait();
            EXPECT_EQ(as(kOther,
                         [] {
                             Everybody everybody;
                             return makeMutex("ours", false, everybody.get()) ? 0 : static_cast<int>(GetLastError());
                         })
                          .wait(),
                      0)
                << call << ' ' << nth;
            fs::remove(objectsFolder() / "ours");
        }
}

TEST_F(KernelObjectUser, TheFirstProcessOfAHomeThatDiesShutsNobodyOut) {
    for (const char* call : {"openat", "fcntl_lock", "fstat", "fchmod", "fallocate", "mmap"})
        for (int nth = 1; nth <= 3; ++nth) {
            useFreshHome();
            Child([&] {
                WdTestFailCall(call, nth, 0);
                makeMutex("m");
                return 0;
            }).wait();
            EXPECT_EQ(Child([] { return createError("other"); }).wait(), 0) << call << ' ' << nth;
            EXPECT_EQ(as(kOther, [] { return createError("one more"); }).wait(), 0) << call << ' ' << nth;
        }
}

} // namespace
