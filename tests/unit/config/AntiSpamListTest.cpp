// A list of anti-spam and its file, where system calls fail: what is left of the file, and what a reader makes of it.
#include "AntiSpamList.h"
#include "LogFile.h"
#include "ManagerMailCommon.h"
#include "TestFiles.h"
#include "TimeScale.h"

#include <platform/testing.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr const char* kCalls[] = {"open",  "close", "write",     "fsync", "stat",   "lstat",
                                  "fstat", "flock", "ftruncate", "read",  "rename", "readlink"};

class AntiSpamList : public TestFiles {
  protected:
    static std::vector<WdpeAspmEntry> entries() {
        std::vector<WdpeAspmEntry> made(2);
        std::copy_n("new", 3, made[0].szEntry);
        std::copy_n("list", 4, made[1].szEntry);
        return made;
    }
    int write() { return CAntiSpamList().WriteList(at("list.txt").c_str(), entries().data(), 2); }
    CAntiSpamList::State load(int& count) {
        std::vector<WdpeAspmEntry> read(5);
        const auto state = CAntiSpamList().Load(at("list.txt").c_str(), read.data(), 5, count);
        EXPECT_TRUE(count != 0 ||
                    std::ranges::all_of(read, [](const auto& entry) { return entry.szEntry[0] == '\0'; }));
        return state;
    }
    static constexpr const char* kOld = "old list\n";
    static constexpr const char* kNew = "new\nlist\n";

    const LogFile log;
};

TEST_F(AntiSpamList, AWriteThatFailsAnywhereLeavesTheOldFile) {
    for (const int error : {EIO, ENOSPC})
        for (const char* const call : kCalls)
            for (int nth = 1; nth < 12; ++nth) {
                SCOPED_TRACE(testing::Message() << call << ' ' << nth << " error " << error);
                put("list.txt", kOld);
                WdTestFailCall(call, nth, error);
                const int written = write();
                WdTestFailCall(call, 0, 0);
                // The last sync of all comes behind the replacement.
                const std::string left = get("list.txt");
                EXPECT_TRUE(written == 1 ? left == kNew
                                         : left == kOld || (left == kNew && call == std::string("fsync")))
                    << left;
                EXPECT_TRUE(partials().empty());
            }
    EXPECT_TRUE(log.contains("CAntiSpamList::WriteList(): the list can't be written (err=112, file="));
}

// No file can be made beside it: the folder is another's. Every refused call but the one that opens the file itself.
TEST_F(AntiSpamList, WhereNoFileCanBeMadeBesideItTheFileIsWrittenInPlace) {
    int inPlace = 0;
    for (int nth = 1; nth < 20; ++nth) {
        SCOPED_TRACE(nth);
        put("list.txt", kOld);
        const auto before = statusOf(at("list.txt")).st_ino;
        WdTestFailCall("open", nth, EACCES);
        const int written = write();
        WdTestFailCall("open", 0, 0);
        EXPECT_EQ(get("list.txt"), written == 1 ? kNew : kOld);
        inPlace += written == 1 && statusOf(at("list.txt")).st_ino == before ? 1 : 0;
    }
    EXPECT_GT(inPlace, 0);
    std::filesystem::remove_all(folder);
    EXPECT_EQ(write(), 0); // nor anything to write in
}

TEST_F(AntiSpamList, AReadThatFailsIsNoShorterList) {
    std::string long_(20000, 'x');
    for (std::size_t i = 100; i < long_.size(); i += 100)
        long_[i] = '\n';
    put("list.txt", "first\n" + long_);
    for (int nth = 1; nth < 3; ++nth) { // the second piece, too
        WdTestFailCall("read", nth, EIO);
        std::vector<WdpeAspmEntry> read(300);
        int count = 7;
        EXPECT_EQ(CAntiSpamList().Load(at("list.txt").c_str(), read.data(), 300, count),
                  CAntiSpamList::State::Unreadable);
        EXPECT_EQ(count, 0);
        EXPECT_EQ(read[0].szEntry[0], '\0');
        EXPECT_EQ(CAntiSpamList().ReadList(at("list.txt").c_str(), read.data(), 300, &count), 1);
        EXPECT_EQ(count, 201);
    }
    WdTestFailCall("read", 0, 0);
    int count = 0;
    put("list.txt", kOld, 0644);
    WdTestFailCall("open", 1, EMFILE);
    EXPECT_EQ(load(count), CAntiSpamList::State::Unreadable);
    WdTestFailCall("open", 0, 0);
    std::filesystem::remove(at("list.txt"));
    EXPECT_EQ(load(count), CAntiSpamList::State::Missing);
    EXPECT_EQ(CAntiSpamList().Look(at("list.txt").c_str()), CAntiSpamList::State::Missing);
}

template <class Locked>
class StoreLock : public testing::Test {};
using LockedClasses = testing::Types<CAntiSpamList, CManagerMailCommon>;
TYPED_TEST_SUITE(StoreLock, LockedClasses);

TYPED_TEST(StoreLock, OneObjectTakesItOnce) {
    const LogFile log;
    TypeParam first;
    EXPECT_TRUE(first.Lock());
    EXPECT_FALSE(first.Lock()); // and goes on holding it
    std::thread([] {
        const TimeScale impatient("0.001");
        EXPECT_FALSE(TypeParam().Lock());
    }).join();
    first.Unlock();
    first.Unlock();
    std::thread([] { EXPECT_TRUE(TypeParam().Lock()); }).join(); // which gives it up at its end
    EXPECT_TRUE(first.Lock());
}

} // namespace
