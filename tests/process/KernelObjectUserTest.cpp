// Kernel objects between users: whom default security keeps out, whom a null DACL admits, and a home with a group.
// Needs root, to become other users.
#include <Child.h>
#include <TestObject.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

constexpr uid_t kAdministrator = 0;

class KernelObjectUser : public testing::Test {
  protected:
    void SetUp() override {
        if (geteuid() != 0)
            GTEST_SKIP() << "only the administrator can be several users";
        fs::permissions(TestHome::instance().path(), fs::perms(0755)); // makes the home reachable
        useFreshHome();
    }
};

// The error of the call, or 0, in a process of that user.
enum class Call { Open, Create, CreateForEverybody };
DWORD errorOf(uid_t user, Call call, gid_t group = kNoGroup) {
    const auto make = [call] {
        Everybody everybody;
        auto* const security = call == Call::Create ? nullptr : everybody.get();
        const Handle mutex(call == Call::Open ? OpenMutexA(MUTEX_ALL_ACCESS, FALSE, "m")
                                              : CreateMutexA(security, FALSE, "m"));
        return static_cast<int>(mutex ? 0 : GetLastError());
    };
    return static_cast<DWORD>(as(user, make, group).wait());
}

// Who gets access to an object by its creator's security, in a home without a group or with one.
TEST_F(KernelObjectUser, WhoIsLetIn) {
    const struct {
        const char* name;
        bool homeHasGroup;
        uid_t creator;
        gid_t creatorsGroup;
        bool forEverybody;
        unsigned mode;
        bool letsMembersIn;
        bool letsStrangersIn;
    } kRows[] = {
        {"the administrator's own", false, kAdministrator, kNoGroup, false, 0600, false, false},
        {"a user's own", false, kOneUser, kNoGroup, false, 0600, false, false},
        {"everybody's", false, kOneUser, kNoGroup, true, 0666, true, true},
        {"its group's", true, kOneUser, kHomeGroup, false, 0660, true, false},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.name);
        useFreshHome();
        const fs::path home = objectsFolder().parent_path();
        if (row.homeHasGroup) {
            fs::create_directories(home);
            ASSERT_TRUE(chown(home.c_str(), 0, kHomeGroup) == 0 && chmod(home.c_str(), 02775) == 0);
        }
        EXPECT_EQ(errorOf(kAdministrator, Call::Open), ERROR_FILE_NOT_FOUND); // creates the home
        Child maker = childWith([&] { // a process of its own, so that the others inherit nothing
            if (row.creator != kAdministrator && !becomeUser(row.creator, row.creatorsGroup))
                std::abort();
            Everybody everybody;
            return makeMutex("m", false, row.forEverybody ? everybody.get() : nullptr);
        });
        struct stat status {};
        EXPECT_EQ(stat((objectsFolder() / "m").c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, row.mode);
        const auto expectedError = [](bool isIn) { return isIn ? ERROR_SUCCESS : ERROR_ACCESS_DENIED; };
        for (const Call call : {Call::Open, Call::Create}) {
            EXPECT_EQ(errorOf(kOtherUser, call, kHomeGroup), expectedError(row.letsMembersIn));
            EXPECT_EQ(errorOf(kOtherUser, call), expectedError(row.letsStrangersIn));
            EXPECT_EQ(errorOf(row.creator, call, row.creatorsGroup), ERROR_SUCCESS);
            EXPECT_EQ(errorOf(kAdministrator, call), ERROR_SUCCESS) << "who passes always";
        }
        maker.kill(); // its file stays, with its mode
        EXPECT_EQ(errorOf(kOtherUser, row.forEverybody ? Call::CreateForEverybody : Call::Create, kHomeGroup),
                  expectedError(row.letsMembersIn));
    }
}

// A forked child that becomes another user before its first call has no access to its parent's private objects.
TEST_F(KernelObjectUser, AChildThatChangesUsersLosesWhatIsNotItsOwn) {
    Everybody everybody;
    const Handle alone = makeMutex("m", true);
    const Handle ours = makeMutex("ours", true, everybody.get());
    EXPECT_EQ(as(kOneUser,
                 [&] {
                     EXPECT_EQ(waitFor(alone), WAIT_FAILED);
                     EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
                     EXPECT_EQ(waitFor(ours), WAIT_TIMEOUT);
                     EXPECT_TRUE(CloseHandle(alone.get()) && !makeMutex("m"));
                 })
                  .wait(),
              0);
    EXPECT_TRUE(ReleaseMutex(alone.get()) && ReleaseMutex(ours.get()));
}

// The last to close can't remove another user's file. The file no longer counts as an object, and anybody may reuse it
// for the next one, which has its own security if the file's owner creates it.
TEST_F(KernelObjectUser, TheLastOfAnotherUserLeavesAFileForTheNext) {
    Everybody everybody;
    Handle mutex = makeMutex("m", false, everybody.get());
    SteppedChild last([](const SteppedChild::Stop& stop) {
        EXPECT_TRUE(becomeUser(kOneUser, kNoGroup));
        const Handle own(OpenMutexA(0, FALSE, "m"));
        EXPECT_NE(own, nullptr);
        stop();
    });
    ASSERT_TRUE(last.awaitStop());
    mutex.reset();
    EXPECT_EQ(last.end(), 0);
    for (const uid_t user : {kOtherUser, kOneUser, kAdministrator}) {
        EXPECT_EQ(errorOf(user, Call::Open), ERROR_FILE_NOT_FOUND) << user;
        EXPECT_EQ(errorOf(user, Call::CreateForEverybody), ERROR_SUCCESS) << user;
    }
    const Child alone = childWith([] { return makeMutex("m"); });
    EXPECT_EQ(errorOf(kOneUser, Call::Open), ERROR_ACCESS_DENIED);
}

} // namespace
