// The table of a home's processes: rows of the dead are used again under another generation, and a table that is full
// or isn't a table is told.
#include <Child.h>
#include <TestObject.h>

#include <gtest/gtest.h>

#include <platform/robust.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/syscall.h>

namespace {

constexpr std::uint32_t kRows = 4096; // the first is nobody's
constexpr std::uint32_t kMagic = 0x54505744;

// As it stands in the file.
struct Table {
    struct Row {
        std::uint32_t generation;
        std::uint32_t process;
        std::uint64_t identity;
        std::uint64_t start;
        std::uint64_t namespaces;
    };
    std::uint32_t magic;
    std::uint32_t version;
    std::uint64_t reserved;
    Row rows[kRows];
};
static_assert(sizeof(Table) == 16 + kRows * 32);

class ProcessTable : public testing::Test {
  protected:
    ProcessTable() {
        useFreshHome();
        std::fflush(stdout);
        EXPECT_EQ(Child([] { return makeMutex("m") ? 0 : 1; }).wait(), 0); // the table is there
    }
};

// A child that has the table's file open, without the layer. It holds rows as a living process would.
Child withTable(const std::function<int(int)>& work) {
    return Child([&] {
        const int file = open((objectsFolder() / ".processes").c_str(), O_RDWR | O_CLOEXEC);
        return file < 0 ? 100 : work(file);
    });
}
bool lockRows(int file, std::uint32_t first, std::uint32_t count) {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = first;
    lock.l_len = count;
    return count == 0 || fcntl(file, F_SETLK, &lock) == 0;
}
// Lives until it is killed.
Child holdRows(const Pipe& held, std::uint32_t all, std::uint32_t except) {
    return withTable([&held, all, except](int file) -> int {
        if (!lockRows(file, 1, except - 1) || !lockRows(file, except + 1, all - except))
            return 1;
        held.signal();
        for (;;)
            pause();
    });
}
int fill(const std::function<void(Table&)>& change) {
    return withTable([&](int file) {
               auto table = std::make_unique<Table>();
               if (pread(file, table.get(), sizeof(Table), 0) != static_cast<ssize_t>(sizeof(Table)))
                   return 1;
               change(*table);
               return pwrite(file, table.get(), sizeof(Table), 0) == static_cast<ssize_t>(sizeof(Table)) ? 0 : 2;
           })
        .wait();
}

std::uint32_t rowOf(WD_TAG tag) {
    return static_cast<std::uint32_t>(tag >> 16 & 0xFFFF);
}
std::uint32_t generationOf(WD_TAG tag) {
    return static_cast<std::uint32_t>(tag >> 32);
}

TEST_F(ProcessTable, ARowIsUsedAgainUnderAnotherGeneration) {
    constexpr std::uint32_t kRow = 1234;
    const Pipe held;
    Child others = holdRows(held, kRows - 1, kRow); // all but one row are taken
    ASSERT_TRUE(held.await());
    ASSERT_EQ(fill([](Table& table) { table.rows[kRow].generation = 0xFFFFFFFD; }), 0);
    const Shared<std::atomic<WD_TAG>> tag;
    std::vector<WD_TAG> tags;
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(Child([&] {
                      *tag = WdOwnTag(WD_ROLE_NONE);
                      for (const WD_TAG before : tags)
                          if (WdTagIsAlive(before) != FALSE)
                              return 1;
                      return WdTagIsAlive(*tag) != FALSE ? 0 : 2;
                  }).wait(),
                  0);
        tags.push_back(*tag);
    }
    std::vector<std::uint32_t> generations;
    for (const WD_TAG one : tags) {
        EXPECT_EQ(rowOf(one), kRow);
        generations.push_back(generationOf(one));
    }
    EXPECT_EQ(generations, (std::vector<std::uint32_t>{0xFFFFFFFE, 0xFFFFFFFF, 1, 2})) << "0 is nobody's";
}

TEST_F(ProcessTable, TheHeirOfARowGetsItsMutexAbandoned) {
    const Pipe held;
    Child others = holdRows(held, kRows - 1, 77);
    ASSERT_TRUE(held.await());
    const Pipe ready;
    Child first([&]() -> int {
        const Handle mutex = makeMutex("m", true);
        ready.signal();
        for (;;)
            pause();
    });
    ASSERT_TRUE(ready.await());
    // Something that keeps the mutex there, without a row.
    const int keeper = open((objectsFolder() / "m").c_str(), O_RDONLY | O_CLOEXEC);
    struct flock reading {};
    reading.l_type = F_RDLCK;
    reading.l_len = 1;
    ASSERT_EQ(fcntl(keeper, F_OFD_SETLK, &reading), 0);
    EXPECT_EQ(Child([] { return makeMutex("m") ? 1 : static_cast<int>(GetLastError()); }).wait(),
              static_cast<int>(ERROR_NOT_ENOUGH_MEMORY))
        << "no row is left";
    first.kill();
    EXPECT_EQ(Child([] {
                  const Handle mutex = makeMutex("m");
                  if (GetLastError() != ERROR_ALREADY_EXISTS)
                      return 1;
                  return waitFor(mutex, INFINITE) == WAIT_ABANDONED ? 0 : 2;
              }).wait(),
              0);
    close(keeper);
}

// What a process does to its table by itself, and what a copy of its open files does that ran no handlers, changes
// nothing about its life.
TEST_F(ProcessTable, AProcessLivesNoLongerAndNoShorterThanItDoes) {
    const Shared<std::atomic<WD_TAG>> tag;
    const Shared<std::atomic<int>> copy;
    const Pipe ready;
    Child process([&]() -> int {
        *tag = WdOwnTag(WD_ROLE_NONE);
        close(open((objectsFolder() / ".processes").c_str(), O_RDWR | O_CLOEXEC));
        const auto made = static_cast<int>(syscall(SYS_clone, SIGCHLD, nullptr, nullptr, nullptr, nullptr));
        if (made != 0) {
            *copy = made;
            ready.signal();
        }
        for (;;)
            pause();
    });
    ASSERT_TRUE(ready.await());
    const auto alive = [&] { return Child([&] { return WdTagIsAlive(*tag) != FALSE ? 1 : 0; }).wait(); };
    EXPECT_EQ(alive(), 1);
    process.kill();
    EXPECT_EQ(alive(), 0);
    ASSERT_GT(*copy, 0);
    kill(*copy, SIGKILL);
}

TEST_F(ProcessTable, AFullOneIsToldAndADeadOneIsRoom) {
    const Pipe held;
    const auto create = [] {
        return Child([] { return makeMutex("m") ? 0 : static_cast<int>(GetLastError()); }).wait();
    };
    Child others = holdRows(held, kRows - 1, kRows);
    ASSERT_TRUE(held.await());
    for (int attempt = 0; attempt < 2; ++attempt)
        EXPECT_EQ(create(), static_cast<int>(ERROR_NOT_ENOUGH_MEMORY));
    others.kill();
    // Thousands that died without a word, this process's own number among them.
    ASSERT_EQ(fill([](Table& table) {
                  for (std::uint32_t row = 0; row < kRows; ++row)
                      table.rows[row] = {row * 7919, row, row * 104729, 0, 0};
              }),
              0);
    EXPECT_EQ(create(), 0);
}

// A process that can't enter the table makes nothing, and can as soon as there is room.
TEST_F(ProcessTable, AProcessWithoutARowTriesAgain) {
    const Pipe held;
    Child others = holdRows(held, kRows - 1, kRows);
    ASSERT_TRUE(held.await());
    const Pipe refused;
    const Pipe room;
    Child late([&] {
        if (makeMutex("m") || WdOwnTag(WD_ROLE_ALONE) != 0 || GetLastError() != ERROR_NOT_ENOUGH_MEMORY)
            return 1;
        refused.signal();
        room.await();
        return makeMutex("m") && WdOwnTag(WD_ROLE_ALONE) != 0 ? 0 : 2;
    });
    EXPECT_TRUE(refused.await());
    others.kill();
    room.signal();
    EXPECT_EQ(late.wait(), 0);
}

// The child of a fork that finds no row has nothing; what its parent has goes on.
TEST_F(ProcessTable, AChildWithoutARowIsRefusedUntilThereIsRoom) {
    const Pipe held;
    const Pipe refused;
    const Pipe room;
    const Handle elsewhere = makeMutex("m"); // in another home, whose table has room all the time
    useFreshHome();
    const Handle mutex = makeMutex("m", true);
    const std::uint32_t own = rowOf(WdOwnTag(WD_ROLE_NONE));
    Child others = holdRows(held, kRows - 1, own);
    ASSERT_TRUE(held.await());
    Child child([&] {
        for (int attempt = 0; attempt < 2; ++attempt)
            if (waitFor(mutex) != WAIT_FAILED || GetLastError() != ERROR_NOT_ENOUGH_MEMORY)
                return 1;
        if (makeMutex("other") || GetLastError() != ERROR_NOT_ENOUGH_MEMORY)
            return 2;
        refused.signal();
        room.await();
        return waitFor(mutex) == WAIT_TIMEOUT && makeMutex("other") ? 0 : 3;
    });
    EXPECT_TRUE(refused.await());
    others.kill();
    room.signal();
    EXPECT_EQ(child.wait(), 0);
    EXPECT_TRUE(ReleaseMutex(mutex.get()));
}

// Of another layout, or nonsense: refused while somebody uses it, laid down afresh when nobody does.
TEST_F(ProcessTable, ATableOfAnotherLayout) {
    const struct {
        std::uint32_t magic;
        std::uint32_t version;
    } kOthers[] = {{kMagic, 1}, {0, 0}, {0x12345678, 1}};
    for (const auto& other : kOthers) {
        const Pipe held;
        Child user = withTable([&held](int file) -> int {
            if (!lockRows(file, 5, 1))
                return 1;
            held.signal();
            for (;;)
                pause();
        });
        ASSERT_TRUE(held.await());
        ASSERT_EQ(fill([&](Table& table) {
                      table.magic = other.magic;
                      table.version = other.version;
                  }),
                  0);
        const auto create = [] {
            return Child([] { return makeMutex("m") ? 0 : static_cast<int>(GetLastError()); }).wait();
        };
        EXPECT_EQ(create(), static_cast<int>(ERROR_INVALID_DATA)) << other.version;
        user.kill();
        EXPECT_EQ(create(), 0) << other.version;
    }
}

} // namespace
