// Processes that die while they write a list, at each system call and at random: the file is one whole list or the
// other, who comes next, another member of the home's group, removes what a death left, and is held up by an abandoned
// mutex once at most.
#include <StoreFiles.h>

#include <Child.h>
#include <TimeScale.h>

#include <platform/file_content.h>
#include <platform/testing.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <poll.h>
#include <random>

namespace {

namespace fs = std::filesystem;
using namespace store_files;

constexpr int kKilled = Child::kSignal + SIGKILL;

class StoreKill : public StoreTest, public testing::WithParamInterface<Subject> {
  protected:
    static void SetUpTestSuite() {
        homeHasGroup = true;
        StoreTest::SetUpTestSuite();
    }
    void SetUp() override {
        fs::remove(at("temp"));
        EXPECT_TRUE(WdMakeFolder(at("temp").c_str()));
        makeMutex("the home is there").reset();
    }

    // Once more when the mutex was abandoned.
    Got readTwice() const {
        const Got got = read(s, "list");
        return got.code == -1 ? read(s, "list") : got;
    }

    const Subject& s = GetParam();
};

INSTANTIATE_TEST_SUITE_P(Each, StoreKill, testing::Values(subject("CUrlListDB"), subject("CSpyListDB")),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_P(StoreKill, AWriteDiesAtEachSystemCall) {
    constexpr const char* kCalls[] = {"open",   "openat",    "close",    "write",      "pread",     "lseek",
                                      "fsync",  "ftruncate", "stat",     "fstat",      "fstatat",   "flock",
                                      "fchown", "fchmod",    "linkat",   "rename",     "readlink",  "mmap",
                                      "unlink", "munmap",    "unlinkat", "fcntl_lock", "fallocate", "getrandom"};
    const TimeScale asItIs("1");
    const Got old{0, listOf(s, 2)};
    const Got changed{0, listOf(s, 4)};
    const Handle mutex = makeMutex((std::string("Global\\") + s.mutex).c_str()); // outlives whoever dies with it
    int deaths = 0;
    int abandoned = 0;
    int replaced = 0;
    for (const char* call : kCalls)
        for (int nth = 1;; ++nth) {
            SCOPED_TRACE(testing::Message() << call << ' ' << nth);
            put("list", fileOf(s, 2));
            const int status = asMember(kOneUser, [&] {
                WdTestFailCall(call, nth, 0);
                return write(s, "list", changed.list) == 0 ? 0 : 1;
            });
            const bool died = status == kKilled;
            EXPECT_TRUE(died || status == 0) << status;
            const Got first = read(s, "list");
            EXPECT_TRUE(first.code == 0 || (died && first.code == -1)) << first.code;
            const Got got = first.code == 0 ? first : read(s, "list");
            EXPECT_TRUE(got == changed || (died && got == old)) << "code " << got.code << ", or another list";
            EXPECT_LE(temporaryFiles(), died ? 1 : 0);
            EXPECT_LE(partials().size(), died && got == old ? 1u : 0u);
            EXPECT_EQ(asMember(kOtherUser, [&] { return write(s, "list", changed.list); }), 0);
            EXPECT_TRUE(partials().empty());
            EXPECT_EQ(temporaryFiles(), 0) << "a writer left a temporary file, or a dead one's";
            EXPECT_TRUE(read(s, "list") == changed);
            deaths += died ? 1 : 0;
            abandoned += first.code == -1 ? 1 : 0;
            replaced += died && got == changed ? 1 : 0;
            if (!died || HasFailure())
                break;
        }
    std::printf("%d deaths, %d with the mutex, %d behind the replacement\n", deaths, abandoned, replaced);
    EXPECT_GT(deaths, 30);
    EXPECT_GT(abandoned, 10);
    EXPECT_GT(replaced, 0);
}

struct Counts {
    std::atomic<int> writes;
    std::atomic<int> reads;
    std::atomic<int> abandoned;
    std::atomic<bool> done;
};

TEST_P(StoreKill, WritersAndReadersDieAtRandom) {
    constexpr std::uint32_t kWriters = 2;
    constexpr std::uint32_t kProcesses = 4; // the others read
    constexpr int kDeaths = 40;
    const TimeScale asItIs("1");
    const unsigned seed = std::random_device()();
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    const std::vector<std::string> lists{listOf(s, 30), listOf(s, 70)};
    put("list", fileOf(s, 30));
    const Handle mutex = makeMutex((std::string("Global\\") + s.mutex).c_str());
    const Shared<Counts> counts;
    const auto start = [&](std::uint32_t process) {
        return Child([&, process] {
            while (!counts->done) {
                const bool writes = process < kWriters;
                const Got got = writes ? Got{write(s, "list", lists[process]), lists[process]} : read(s, "list");
                if (got.code != 0 && got.code != -1)
                    return 10 - got.code;
                if (got.code == 0 && got.list != lists[0] && got.list != lists[1])
                    return 2;
                ++(got.code == -1 ? counts->abandoned : writes ? counts->writes : counts->reads);
            }
            return 0;
        });
    };
    std::vector<Child> processes;
    for (std::uint32_t i = 0; i < kProcesses; ++i)
        processes.push_back(start(i));
    for (int i = 0; i < kDeaths; ++i) {
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 8000)); // a moment, whichever
        const auto victim = random() % kProcesses;
        EXPECT_EQ(processes[victim].kill(), kKilled) << "ended by itself";
        EXPECT_LE(partials().size(), 1u);
        processes[victim] = start(static_cast<std::uint32_t>(victim));
    }
    const int before = counts->writes;
    const int readBefore = counts->reads;
    while (counts->writes < before + 4 || counts->reads < readBefore + 4) // the survivors get on
        ASSERT_EQ(poll(nullptr, 0, 1), 0);
    counts->done = true;
    for (Child& process : processes)
        EXPECT_EQ(process.wait(), 0);
    std::printf("%d deaths, %d writes, %d reads, %d mutexes abandoned\n", kDeaths, counts->writes.load(),
                counts->reads.load(), counts->abandoned.load());
    EXPECT_LE(counts->abandoned, kDeaths);
    EXPECT_EQ(readTwice().code, 0);
    EXPECT_EQ(write(s, "list", lists[0]), 0);
    EXPECT_TRUE(partials().empty() && temporaryFiles() == 0);
    EXPECT_TRUE(read(s, "list") == (Got{0, lists[0]}));
}

} // namespace
