// The mutex between processes, the guard of a scope, and the names under which all of it stands.
#include "SyncObject.h"
#include "Child.h"
#include "LayerDoubles.h"
#include "Mutex.h"
#include "ObjectName.h"

#include <platform/win32.h>

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

using layer_doubles::Refusal;
using layer_doubles::Refused;

constexpr const char* kName = "Global\\sync_object_test";

HANDLE makeHandle() {
    return CreateMutexA(nullptr, FALSE, kName);
}

// Whether another thread gets the mutex at once.
bool isFree() {
    bool taken = false;
    std::thread([&] {
        HANDLE const mutex = makeHandle();
        const DWORD waited = WaitForSingleObject(mutex, 0);
        taken = waited == WAIT_OBJECT_0 || waited == WAIT_ABANDONED;
        if (taken)
            ReleaseMutex(mutex);
        CloseHandle(mutex);
    }).join();
    return taken;
}

void throwInside(CWdMutex& mutex) {
    const WdltSingleLock lock(&mutex);
    throw std::runtime_error("inside");
}

TEST(WdMutex, AScopeHoldsItAndAnExceptionGivesItBack) {
    CWdMutex mutex(makeHandle());
    EXPECT_TRUE(isFree());
    {
        const WdltSingleLock lock(&mutex);
        EXPECT_FALSE(isFree());
    }
    EXPECT_TRUE(isFree());
    EXPECT_THROW(throwInside(mutex), std::runtime_error);
    EXPECT_TRUE(isFree());
}

TEST(WdMutex, ItWaitsForAsLongAsItTakes) {
    CWdMutex mutex(makeHandle());
    long counted = 0; // a plain number that only the mutex keeps right
    const auto count = [&] {
        CWdMutex own(makeHandle());
        for (int i = 0; i < 2'000; ++i) {
            const WdltSingleLock lock(&own);
            ++counted;
        }
    };
    std::thread first(count);
    std::thread second(count);
    first.join();
    second.join();
    EXPECT_EQ(counted, 4'000);
}

TEST(WdMutex, OneWhoseHolderDiedIsTakenLikeAnyOther) {
    CWdMutex mutex(makeHandle());
    Child holder([] {
        WaitForSingleObject(makeHandle(), INFINITE);
        return raise(SIGKILL);
    });
    ASSERT_EQ(holder.wait(), 1000 + SIGKILL);
    {
        const WdltSingleLock lock(&mutex);
        EXPECT_FALSE(isFree());
    }
    EXPECT_TRUE(isFree());
}

TEST(WdMutex, WithoutAHandleNothingIsLocked) {
    CWdMutex mutex(nullptr);
    const WdltSingleLock lock(&mutex);
    EXPECT_FALSE(lock.isHeld());
    EXPECT_FALSE(mutex.SetToLowIntegrity());
    CWdMutex real(makeHandle());
    EXPECT_TRUE(real.SetToLowIntegrity());
}

TEST(ObjectName, HasThePrefixWhereThereAreSessions) {
    EXPECT_EQ(GlobalObjectName("wdlt_name"), "Global\\wdlt_name");
    EXPECT_EQ(GlobalObjectName(""), "Global\\");
    const Refusal withoutSessions(Refused::WindowsNt4);
    EXPECT_EQ(GlobalObjectName("wdlt_name"), "wdlt_name");
}

TEST(ObjectName, IsCutToACallersBuffer) {
    const struct {
        std::size_t length;
        std::size_t kept;
    } cases[] = {{0, 0}, {9, 9}, {252, 252}, {253, 252}, {1000, 252}};
    for (const auto& c : cases) {
        std::array<char, 261> buffer{};
        buffer.fill('#');
        GlobalObjectName(std::string(c.length, 'n').c_str(), std::span<char, 260>(buffer.data(), 260));
        EXPECT_EQ(std::string(buffer.data()), "Global\\" + std::string(c.kept, 'n')) << c.length;
        EXPECT_EQ(buffer.back(), '#');
    }
    const Refusal withoutSessions(Refused::WindowsNt4);
    std::array<char, 260> buffer{};
    GlobalObjectName("wdlt_name", buffer);
    EXPECT_STREQ(buffer.data(), "wdlt_name");
}

} // namespace
