// Processes that die while they write privacy items or exclusions, at each system call: the database is the old one or
// the new one, the backup none or the old one whole, the registry of one piece, and the next process goes on, which is
// another member's of the home's group.
#include <PrivacyHelper.h>

#include <Child.h>
#include <TimeScale.h>

#include <platform/file_content.h>
#include <platform/testing.h>

#include <gtest/gtest.h>

#include <cstdio>

namespace {

using namespace privacy_files;
namespace fs = std::filesystem;

constexpr int kKilled = Child::kSignal + SIGKILL;

class PrivacyKill : public PrivacyHelperTest, public testing::WithParamInterface<bool> {
  protected:
    static void SetUpTestSuite() {
        homeHasGroup = true;
        PrivacyHelperTest::SetUpTestSuite();
    }
    void SetUp() override {
        for (const char* name : {"install", "temp"}) {
            fs::remove_all(at(name));
            EXPECT_TRUE(WdMakeFolder(at(name).c_str()));
        }
    }
    void prepare() {
        emptyTemp();
        for (const auto& entry : fs::directory_iterator(at("install")))
            fs::remove(entry.path());
        put(kDatabase, emptyFile());
        ASSERT_EQ(writeItems({item(1, "old"), item(2, "older")}), WDLT_OK);
        ASSERT_EQ(writeExclusions({exclusionItem(1, "old.example")}), WDLT_OK);
    }
    std::int32_t change() {
        return GetParam() ? writeItems({item(3, "new"), item(4, "newer"), item(5, "newest")})
                          : writeExclusions({exclusionItem(1, "new.example"), exclusionItem(2, "x")});
    }
    // What a copy is written to before it takes its name.
    std::ptrdiff_t partialsInInstall() const {
        std::ptrdiff_t count = 0;
        for (const auto& entry : fs::directory_iterator(at("install")))
            count += entry.path().filename().string().front() == '.' ? 1 : 0;
        return count;
    }
};

INSTANTIATE_TEST_SUITE_P(Of, PrivacyKill, testing::Bool(),
                         [](const auto& info) { return info.param ? "Items" : "Exclusions"; });

TEST_P(PrivacyKill, AWriteDiesAtEachSystemCall) {
    constexpr const char* kCalls[] = {"open",   "openat",   "close",      "read",      "write",    "lseek",
                                      "fsync",  "stat",     "fstat",      "fstatat",   "flock",    "fchown",
                                      "fchmod", "linkat",   "rename",     "unlink",    "mmap",     "readlink",
                                      "munmap", "unlinkat", "fcntl_lock", "fallocate", "getrandom"};
    const TimeScale asItIs("1");
    prepare();
    const State old = state();
    ASSERT_EQ(change(), WDLT_OK);
    const State changed = state();
    int deaths = 0;
    int withBackup = 0;
    int replaced = 0;
    for (const char* const call : kCalls)
        for (int nth = 1;; ++nth) {
            SCOPED_TRACE(testing::Message() << call << ' ' << nth);
            prepare();
            const int status = asMember(kOneUser, [&] {
                WdTestFailCall(call, nth, 0);
                return change() == WDLT_OK ? 0 : 1;
            });
            const bool died = status == kKilled;
            EXPECT_TRUE(died || status == 0) << status;
            const State found = state();
            EXPECT_TRUE(found.database == old.database || found.database == changed.database) << "a part of a database";
            EXPECT_TRUE(found.backup == "-" || (died && found.backup == old.database)) << "a part of a backup";
            EXPECT_LE(found.temporary.size(), died ? 1u : 0u);
            EXPECT_LE(partialsInInstall(), died ? 1 : 0);
            EXPECT_TRUE(found.values == old.values || found.values == changed.values) << "a part of the items";
            if (found.values != old.values) {
                EXPECT_EQ(found.database, changed.database);
                EXPECT_EQ(found.backup, "-");
            }
            EXPECT_EQ(readItems().status, WDLT_OK);
            EXPECT_EQ(readSearch().status, WDLT_OK);
            EXPECT_EQ(readExclusions().status, WDLT_OK);
            EXPECT_EQ(asMember(kOtherUser, [&] { return change(); }), WDLT_OK);
            EXPECT_EQ(state(), changed) << "or a temporary file is left, the dead one's perhaps";
            EXPECT_EQ(partialsInInstall(), 0);
            deaths += died ? 1 : 0;
            withBackup += found.backup != "-" ? 1 : 0;
            replaced += died && found.database == changed.database ? 1 : 0;
            if (!died || HasFailure())
                break;
        }
    std::printf("%d deaths, %d with a backup left, %d behind the replacement\n", deaths, withBackup, replaced);
    EXPECT_GT(deaths, 30);
    EXPECT_GT(withBackup, 10);
    EXPECT_GT(replaced, 2);
}

} // namespace
