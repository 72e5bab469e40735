// The mutex between processes, the scope guard, and the names of the objects.
#include "SyncObject.h"
#include "Child.h"
#include "Mutex.h"
#include "ObjectName.h"
#include "TestObject.h"

#include <gtest/gtest.h>

#include <csignal>

namespace {

constexpr const char* kMutex = "Global\\sync_object_test";

// Whether another thread gets the mutex at once.
bool isFree() {
    return waitElsewhere(makeMutex(kMutex)) != WAIT_TIMEOUT;
}

TEST(WdMutex, AScopeHoldsIt) {
    CWdMutex mutex(makeMutex(kMutex).release());
    Child holder([] {
        waitFor(makeMutex(kMutex), INFINITE);
        return raise(SIGKILL);
    });
    ASSERT_EQ(holder.wait(), 1000 + SIGKILL);
    {
        const WdltSingleLock lock(&mutex); // an abandoned mutex is taken like any other
        EXPECT_TRUE(lock.isHeld());
        EXPECT_FALSE(isFree());
    }
    EXPECT_TRUE(isFree());
}

TEST(WdMutex, WithoutAHandleNothingIsLocked) {
    CWdMutex mutex(nullptr);
    const WdltSingleLock lock(&mutex);
    EXPECT_FALSE(lock.isHeld());
}

TEST(ObjectName, IsCutToACallersBuffer) {
    EXPECT_EQ(GlobalObjectName(""), "Global\\");
    const struct {
        std::size_t length;
        std::size_t kept;
    } cases[] = {{0, 0}, {9, 9}, {252, 252}, {253, 252}, {1000, 252}};
    for (const auto& c : cases) {
        const std::string name(c.length, 'n');
        EXPECT_EQ(GlobalObjectName(name.c_str()), "Global\\" + name);
        std::array<char, 261> buffer{};
        buffer.fill('#');
        GlobalObjectName(name.c_str(), std::span<char, 260>(buffer.data(), 260));
        EXPECT_EQ(std::string(buffer.data()), "Global\\" + std::string(c.kept, 'n')) << c.length;
        EXPECT_EQ(buffer.back(), '#');
    }
}

} // namespace
