// Batches of registry writes: who sees which state, what a failing write leaves, and how they end.
#include <Child.h>
#include <TestKey.h>

#include <gtest/gtest.h>

#include <platform/home.h>
#include <platform/registry_batch.h>
#include <platform/win32.h>

#include <functional>
#include <new>
#include <optional>
#include <string>
#include <thread>

namespace {

// What another thread reads: only committed values.
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
    {
        RegistryBatch inner(WD_BATCH_ALL_OR_NOTHING); // joins the outer batch
        EXPECT_EQ(made.set("w", 3), 0);
        EXPECT_EQ(inner.end(), 0);
    }
    EXPECT_EQ(key.number("v"), 2u);
    EXPECT_EQ(TestKey::open("B\\Sub\\Key").number("w"), 3u);
    EXPECT_EQ(seenElsewhere("B", "v"), 1u);
    EXPECT_EQ(seenElsewhere("B\\Sub\\Key", "w"), std::nullopt);
    EXPECT_EQ(batch.end(), 0);
    EXPECT_EQ(seenElsewhere("B", "v"), 2u);
    EXPECT_EQ(seenElsewhere("B\\Sub\\Key", "w"), 3u);
    EXPECT_EQ(made.set("w", 4), 0) << "a handle opened inside goes on behind the end";
}

ULONGLONG generation() {
    ULONGLONG number = 0;
    EXPECT_EQ(WdRegistryGeneration(&number), 0);
    return number;
}

TEST(RegistryBatch, TheGenerationRisesWithWhatIsCommittedAndNothingElse) {
    const TestKey key = TestKey::create("Generation");
    const ULONGLONG before = generation();
    EXPECT_EQ(key.number("v"), std::nullopt);
    {
        RegistryBatch batch;
        EXPECT_EQ(key.set("v", 1), 0);
        EXPECT_EQ(generation(), before) << "open";
        batch.abandon();
    }
    EXPECT_EQ(generation(), before) << "abandoned";
    EXPECT_EQ(Child([&] { return key.set("v", 1); }).wait(), 0);
    EXPECT_GT(generation(), before) << "another process's";
    EXPECT_EQ(WdRegistryGeneration(nullptr), ERROR_INVALID_PARAMETER);
}

// A write with invalid arguments counts as a failing write too.
TEST(RegistryBatch, AFailingWriteEndsItAsItsModeSays) {
    const struct {
        const char* what;
        std::function<LONG(const TestKey&)> fail;
        LONG error;
    } rows[] = {
        {"nothing to delete", [](const TestKey& key) { return RegDeleteValueA(key.get(), "nothing"); },
         ERROR_FILE_NOT_FOUND},
        {"no data", [](const TestKey& key) { return RegSetValueExA(key.get(), "a", 0, REG_BINARY, nullptr, 5); },
         ERROR_NOACCESS},
        {"no handle", [](const TestKey&) { return TestKey().set("a", 5); }, ERROR_INVALID_HANDLE},
    };
    for (const auto& row : rows)
        for (const DWORD mode : {WD_BATCH_KEEP_WRITTEN, WD_BATCH_ALL_OR_NOTHING}) {
            SCOPED_TRACE(testing::Message() << row.what << ' ' << mode);
            const bool keeps = mode == WD_BATCH_KEEP_WRITTEN;
            const TestKey key = TestKey::create("Fail");
            ASSERT_TRUE(key.set("a", 1) == 0 && key.set("b", 1) == 0);
            RegistryBatch batch(mode);
            EXPECT_EQ(key.set("a", 2), 0);
            EXPECT_EQ(row.fail(key), row.error);
            EXPECT_EQ(seenElsewhere("Fail", "a"), keeps ? 2u : 1u) << "it is over at once";
            EXPECT_EQ(key.set("b", 2), keeps ? 0 : row.error);
            EXPECT_EQ(seenElsewhere("Fail", "b"), keeps ? 2u : 1u);
            EXPECT_EQ(batch.end(), keeps ? 0 : row.error);
            EXPECT_EQ(key.number("a"), keeps ? 2u : 1u);
        }
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
    const auto leaveByAnException = [&] {
        RegistryBatch batch;
        EXPECT_EQ(key.set("v", 3), 0);
        throw std::bad_alloc();
    };
    EXPECT_THROW(leaveByAnException(), std::bad_alloc);
    EXPECT_EQ(key.number("v"), std::nullopt);
    std::thread([&] { // a thread that ends inside a batch
        WdRegBeginBatch(WD_BATCH_KEEP_WRITTEN);
        EXPECT_EQ(key.set("v", 1), 0);
    })
        .join();
    EXPECT_EQ(key.number("v"), std::nullopt);
}

TEST(RegistryBatch, WithoutAWriteItLocksNobodyOut) {
    const TestKey key = TestKey::create("Idle");
    RegistryBatch batch;
    EXPECT_EQ(key.number("v"), std::nullopt);
    EXPECT_TRUE(TestKey::create("Idle")) << "the key is there: no write";
    std::thread([&] { EXPECT_EQ(key.set("v", 1), 0); }).join();
    EXPECT_EQ(key.number("v"), 1u);
}

// 40 MiB in a map that begins with 16: the transaction is rolled back and replayed twice, including keys created in it.
TEST(RegistryBatch, GrowsTheMapInTheMiddle) {
    const TestKey key = TestKey::create("Grow");
    RegistryBatch batch;
    const TestKey early = TestKey::create("Early", key.get());
    const std::string large(1 << 20, 'L');
    for (int i = 0; i < 40; ++i)
        ASSERT_EQ(TestKey::create(("part" + std::to_string(i)).c_str(), key.get()).setBytes("v", large), 0);
    EXPECT_EQ(early.set("v", 7), 0) << "its handle survives the second making";
    ASSERT_EQ(batch.end(), 0);
    EXPECT_EQ(seenElsewhere("Grow\\Early", "v"), 7u);
    for (int i = 0; i < 40; ++i)
        EXPECT_EQ(TestKey::open(("Grow\\part" + std::to_string(i)).c_str()).bytes("v"), large) << i;
}

// The transaction remains the parent's: the child sees none of it, and its own writes wait until the parent ends it.
TEST(RegistryBatch, AForkInTheMiddleLeavesItToTheParent) {
    const TestKey key = TestKey::create("Fork");
    ASSERT_EQ(key.set("v", 1), 0);
    RegistryBatch batch;
    ASSERT_EQ(key.set("v", 2), 0);
    const Pipe hasRead;
    Child child([&] {
        const bool seesCommitted = key.number("v") == 1u;
        hasRead.signal();
        return seesCommitted && batch.end() == 0 && key.set("child", 5) == 0 ? 0 : 1;
    });
    EXPECT_TRUE(hasRead.await());
    EXPECT_EQ(key.number("v"), 2u);
    EXPECT_EQ(batch.end(), 0);
    EXPECT_EQ(child.wait(), 0);
    EXPECT_EQ(key.number("v"), 2u);
    EXPECT_EQ(key.number("child"), 5u);
}

} // namespace
