// The table of a home's processes: rows of dead processes are reused with a new generation, and a full or invalid table
// is reported.
#include <Child.h>
#include <TestObject.h>

#include <gtest/gtest.h>

#include <platform/robust.h>

#include <atomic>
#include <cstddef>
#include <fcntl.h>
#include <sys/syscall.h>

namespace {

constexpr std::uint32_t kRows = 4096; // the first is unused

// The table's header in the file.
struct Head {
    std::uint32_t magic;
    std::uint32_t version;
    std::uint64_t reserved;
};
constexpr std::size_t kRowBytes = 32; // begins with the generation

class ProcessTable : public testing::Test {
  protected:
    ProcessTable() {
        useFreshHome();
        inChild([] { EXPECT_TRUE(makeMutex("m")); }); // creates the table
    }
};

int openTable() {
    return open((objectsFolder() / ".processes").c_str(), O_RDWR | O_CLOEXEC);
}
template <class Part>
void put(std::size_t at, const Part& part) {
    const int file = openTable();
    EXPECT_EQ(pwrite(file, &part, sizeof part, static_cast<off_t>(at)), static_cast<ssize_t>(sizeof part));
    close(file);
}
// A child that holds all rows but one, as live processes would, but without using the layer.
Child holdAllRows(std::uint32_t except) {
    return childWith([=] {
        const int file = openTable();
        for (std::uint32_t row = 1; row < kRows; ++row) {
            struct flock lock {};
            lock.l_type = F_WRLCK;
            lock.l_start = row;
            lock.l_len = 1;
            EXPECT_TRUE(row == except || fcntl(file, F_SETLK, &lock) == 0);
        }
        return file;
    });
}

std::uint32_t rowOf(WD_TAG tag) {
    return static_cast<std::uint32_t>(tag >> 16 & 0xFFFF);
}

// The error that a new process gets for its first object.
DWORD errorOfAnother() {
    return static_cast<DWORD>(Child([] { return makeMutex("m") ? 0 : static_cast<int>(GetLastError()); }).wait());
}

TEST_F(ProcessTable, ARowIsUsedAgainUnderAnotherGeneration) {
    constexpr std::uint32_t kRow = 1234;
    const Child others = holdAllRows(kRow);
    put(sizeof(Head) + kRow * kRowBytes, 0xFFFFFFFD);
    const Shared<std::atomic<WD_TAG>> tag;
    std::vector<WD_TAG> before;
    for (const std::uint32_t generation : {0xFFFFFFFE, 0xFFFFFFFF, 1u, 2u}) { // 0 is never used
        inChild([&] {
            *tag = WdOwnTag(WD_ROLE_NONE);
            EXPECT_TRUE(WdTagIsAlive(*tag));
            for (const WD_TAG dead : before)
                EXPECT_FALSE(WdTagIsAlive(dead));
        });
        EXPECT_EQ(rowOf(*tag), kRow);
        EXPECT_EQ(*tag >> 32, generation);
        before.push_back(*tag);
    }
}

// Neither closing the table's file in the process itself, nor a clone that ran no fork handlers and shares its open
// files, changes whether the process counts as alive.
TEST_F(ProcessTable, AProcessLivesNoLongerAndNoShorterThanItDoes) {
    const Shared<std::atomic<WD_TAG>> tag;
    const Shared<std::atomic<int>> copy;
    Child process = childWith([&] {
        *tag = WdOwnTag(WD_ROLE_NONE);
        close(openTable());
        const auto made = static_cast<int>(syscall(SYS_clone, SIGCHLD, nullptr, nullptr, nullptr, nullptr));
        if (made == 0)
            pauseForever();
        return *copy = made;
    });
    inChild([&] { EXPECT_TRUE(WdTagIsAlive(*tag)); });
    process.kill();
    inChild([&] { EXPECT_FALSE(WdTagIsAlive(*tag)); });
    ASSERT_GT(*copy, 0);
    kill(*copy, SIGKILL);
}

// A process that can't get a row can use no objects, not even as the child of one that has a row; it can as soon as
// there is room. The parent's objects go on.
TEST_F(ProcessTable, AProcessWithoutARowIsRefusedUntilThereIsRoom) {
    const Handle elsewhere = makeMutex("m"); // in another home, whose table has room
    useFreshHome();
    const Handle mutex = makeMutex("m", true);
    Child others = holdAllRows(rowOf(WdOwnTag(WD_ROLE_NONE)));
    SteppedChild child([&](const SteppedChild::Stop& stop) {
        EXPECT_EQ(waitFor(mutex), WAIT_FAILED);
        EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
        EXPECT_TRUE(!makeMutex("other") && WdOwnTag(WD_ROLE_ALONE) == 0);
        EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
        stop();
        EXPECT_TRUE(waitFor(mutex) == WAIT_TIMEOUT && makeMutex("other"));
    });
    EXPECT_TRUE(child.awaitStop());
    others.kill();
    EXPECT_EQ(child.end(), 0);
    EXPECT_TRUE(ReleaseMutex(mutex.get()));
}

// A table of another layout, or garbage, is refused while somebody uses it and recreated when nobody does.
TEST_F(ProcessTable, ATableOfAnotherLayout) {
    constexpr std::uint32_t kMagic = 0x54505744;
    for (const Head& other : {Head{kMagic, 1, 0}, Head{0, 0, 0}, Head{0x12345678, 1, 0}}) {
        Child users = holdAllRows(5);
        put(0, other);
        EXPECT_EQ(errorOfAnother(), ERROR_INVALID_DATA) << other.magic;
        users.kill();
        EXPECT_EQ(errorOfAnother(), ERROR_SUCCESS) << other.magic;
    }
}

} // namespace
