// Batches of registry writes: what they show to whom, what a failing write leaves, and how they end.
#include <TestKey.h>

#include <gtest/gtest.h>

#include <platform/registry_batch.h>
#include <platform/win32.h>

#include <optional>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr auto kMissing = static_cast<LONG>(ERROR_FILE_NOT_FOUND);

// What another thread reads: committed values alone.
std::optional<DWORD> seenElsewhere(const char* path, const char* name) {
    std::optional<DWORD> seen;
    std::thread([&] { seen = TestKey::open(path).number(name); }).join();
    return seen;
}

TEST(RegistryBatch, ItsThreadSeesItsWritesAndOthersSeeThemAtTheEnd) {
    const TestKey key = TestKey::create("B");
    ASSERT_EQ(key.set("v", 1), 0);
    RegistryBatch batch;
    EXPECT_EQ(key.set("v", 2), 0);
    const TestKey made = TestKey::create("Sub\\Key", key.get());
    EXPECT_EQ(made.set("w", 3), 0);
    EXPECT_EQ(key.number("v"), 2u);
    EXPECT_EQ(TestKey::open("B\\Sub\\Key").number("w"), 3u);
    EXPECT_EQ(seenElsewhere("B", "v"), 1u);
    EXPECT_EQ(seenElsewhere("B\\Sub\\Key", "w"), std::nullopt);
    EXPECT_EQ(batch.end(), 0);
    EXPECT_EQ(seenElsewhere("B", "v"), 2u);
    EXPECT_EQ(seenElsewhere("B\\Sub\\Key", "w"), 3u);
    EXPECT_EQ(made.set("w", 4), 0) << "a handle opened inside goes on behind the end";
}

TEST(RegistryBatch, AFailingWriteKeepsWhatWasWritten) {
    const TestKey key = TestKey::create("Keep");
    RegistryBatch batch;
    EXPECT_EQ(key.set("a", 1), 0);
    EXPECT_EQ(RegDeleteValueA(key.get(), "nothing"), kMissing);
    EXPECT_EQ(seenElsewhere("Keep", "a"), 1u) << "committed at once";
    EXPECT_EQ(key.set("b", 2), 0);
    EXPECT_EQ(seenElsewhere("Keep", "b"), 2u) << "the batch is over";
    EXPECT_EQ(batch.end(), 0);
}

// A write that is refused for its arguments is a failing write too.
TEST(RegistryBatch, ARefusedWriteEndsItLikeAFailedOne) {
    const TestKey key = TestKey::create("Refused");
    RegistryBatch batch;
    EXPECT_EQ(key.set("a", 1), 0);
    EXPECT_EQ(RegSetValueExA(key.get(), "a", 0, REG_BINARY, nullptr, 5), static_cast<LONG>(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(seenElsewhere("Refused", "a"), 1u);
}

TEST(RegistryBatch, AllOrNothingDiscardsAll) {
    const TestKey key = TestKey::create("All");
    ASSERT_EQ(key.set("v", 1), 0);
    {
        RegistryBatch batch(WD_BATCH_ALL_OR_NOTHING);
        EXPECT_EQ(key.set("v", 2), 0);
        EXPECT_EQ(RegDeleteKeyA(key.get(), "nothing"), kMissing);
        EXPECT_EQ(key.set("w", 3), kMissing) << "nothing more is taken";
        EXPECT_EQ(batch.end(), kMissing);
    }
    EXPECT_EQ(key.number("v"), 1u);
    EXPECT_EQ(key.number("w"), std::nullopt);
    {
        RegistryBatch batch(WD_BATCH_ALL_OR_NOTHING);
        EXPECT_EQ(key.set("v", 2), 0);
        EXPECT_EQ(key.set("w", 3), 0);
        EXPECT_EQ(batch.end(), 0);
    }
    EXPECT_EQ(key.number("v"), 2u);
    EXPECT_EQ(key.number("w"), 3u);
}

TEST(RegistryBatch, AnAbandonedOneKeepsNothing) {
    constexpr auto kAborted = static_cast<LONG>(ERROR_OPERATION_ABORTED);
    const TestKey key = TestKey::create("Abandoned");
    RegistryBatch outer;
    EXPECT_EQ(key.set("v", 1), 0);
    {
        RegistryBatch inner;
        inner.abandon();
    }
    EXPECT_EQ(key.set("v", 2), kAborted);
    EXPECT_EQ(outer.end(), kAborted);
    EXPECT_EQ(key.number("v"), std::nullopt);
    EXPECT_EQ(key.set("v", 3), 0);
}

TEST(RegistryBatch, AnInnerOneJoinsTheOuter) {
    const TestKey key = TestKey::create("Nested");
    RegistryBatch outer;
    {
        RegistryBatch inner(WD_BATCH_ALL_OR_NOTHING);
        EXPECT_EQ(key.set("v", 1), 0);
        EXPECT_EQ(inner.end(), 0);
    }
    EXPECT_EQ(seenElsewhere("Nested", "v"), std::nullopt);
    EXPECT_EQ(outer.end(), 0);
    EXPECT_EQ(seenElsewhere("Nested", "v"), 1u);
    EXPECT_EQ(WdRegEndBatch(), 0) << "an end without a beginning does nothing";
}

TEST(RegistryBatch, WithoutAWriteItLocksNobodyOut) {
    const TestKey key = TestKey::create("Idle");
    RegistryBatch batch;
    EXPECT_EQ(key.number("v"), std::nullopt);
    EXPECT_TRUE(TestKey::create("Idle")) << "the key is there: no write";
    std::thread([&] { EXPECT_EQ(key.set("v", 1), 0); }).join();
    EXPECT_EQ(key.number("v"), 1u);
}

// 40 MiB in a map that begins with 16: the transaction is thrown away twice and made again, keys made in it included.
TEST(RegistryBatch, GrowsTheMapInTheMiddle) {
    const TestKey key = TestKey::create("Grow");
    RegistryBatch batch;
    const TestKey early = TestKey::create("Early", key.get());
    const std::string large(1 << 20, 'L');
    for (int i = 0; i < 40; ++i) {
        const TestKey part = TestKey::create(("part" + std::to_string(i)).c_str(), key.get());
        ASSERT_EQ(part.setBytes("v", large), 0);
    }
    EXPECT_EQ(early.set("v", 7), 0) << "its handle survives the second making";
    ASSERT_EQ(batch.end(), 0);
    EXPECT_EQ(seenElsewhere("Grow\\Early", "v"), 7u);
    for (int i = 0; i < 40; ++i)
        EXPECT_EQ(TestKey::open(("Grow\\part" + std::to_string(i)).c_str()).bytes("v"), large) << i;
}

TEST(RegistryBatch, AThreadThatEndsInsideOneLeavesNothingAndNoLock) {
    const TestKey key = TestKey::create("Lost");
    std::thread([&] {
        WdRegBeginBatch(WD_BATCH_KEEP_WRITTEN);
        EXPECT_EQ(key.set("v", 1), 0);
    }).join();
    EXPECT_EQ(key.number("v"), std::nullopt);
    EXPECT_EQ(key.set("v", 2), 0);
}

// The parent's transaction stays the parent's: the child sees none of it, and its own writes wait for the parent's end.
TEST(RegistryBatch, AForkInTheMiddleLeavesItToTheParent) {
    const TestKey key = TestKey::create("Fork");
    ASSERT_EQ(key.set("v", 1), 0);
    RegistryBatch batch;
    ASSERT_EQ(key.set("v", 2), 0);
    int hasRead[2];
    ASSERT_EQ(pipe(hasRead), 0);
    const pid_t child = fork();
    if (child == 0) {
        const bool seesCommitted = key.number("v") == 1u && write(hasRead[1], "", 1) == 1;
        const bool endsQuietly = batch.end() == 0;
        const bool writes = key.set("child", 5) == 0;
        _exit(seesCommitted && endsQuietly && writes ? 0 : 1);
    }
    close(hasRead[1]);
    char byte = 1;
    EXPECT_EQ(read(hasRead[0], &byte, 1), 1);
    close(hasRead[0]);
    EXPECT_EQ(key.number("v"), 2u);
    EXPECT_EQ(batch.end(), 0);
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(key.number("v"), 2u);
    EXPECT_EQ(key.number("child"), 5u);
}

} // namespace
