// Kernel objects between users: whom default security shuts out, whom an empty list lets in, and the home with a group.
// Needs the administrator's rights, to be other users.
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
        fs::permissions(TestHome::instance().path(), fs::perms(0755)); // the way to the home
        useFreshHome();
    }
};

// 0, or the error of each, in a process of that user's.
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

// Whom an object lets in by its creator's security, in a home without a group or with one.
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
        EXPECT_EQ(errorOf(kAdministrator, Call::Open), ERROR_FILE_NOT_FOUND); // the home is there
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
        maker.kill(); // its file stays, for whom it was
        EXPECT_EQ(errorOf(kOtherUser, row.forEverybody ? Call::CreateForEverybody : Call::Create, kHomeGroup),
                  expectedError(row.letsMembersIn));
    }
}

// A child of a fork that becomes another user before its first call can't have what its parent had to itself.
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

// Whoever closes last can't remove another's file. It stands for nothing, and is anybody's next object; the next one's
// security is its own, where the file's owner lays it down.
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
