#include "GMutex.h"

#include "TestObject.h"

#include <gtest/gtest.h>

namespace {

constexpr const char* kPresence = "somebody inside";

TEST(GMutex, IsThereAsLongAsItsObject) {
    EXPECT_EQ(CGMutex::CheckGMutex(kPresence), CGMutex::kNobody);
    {
        CGMutex first;
        EXPECT_EQ(first.CreateGMutexEx(kPresence), CGMutex::kCreated);
        EXPECT_EQ(CGMutex::CheckGMutex(kPresence), CGMutex::kLocal);
        CGMutex second;
        EXPECT_EQ(second.CreateGMutexEx(kPresence), CGMutex::kLocal);
        EXPECT_EQ(waitElsewhere(makeMutex("Global\\somebody inside")), WAIT_OBJECT_0) << "nobody owns it";
    }
    EXPECT_EQ(CGMutex::CheckGMutex(kPresence), CGMutex::kNobody);
}

TEST(GMutex, EitherNameSaysThatSomebodyIsInside) {
    CGMutex mutex;
    {
        const Handle global = makeMutex("Global\\somebody inside");
        EXPECT_EQ(CGMutex::CheckGMutex(kPresence), CGMutex::kGlobal);
        EXPECT_EQ(mutex.CreateGMutexEx(kPresence), CGMutex::kGlobal);
        EXPECT_EQ(CGMutex::CheckGMutex(kPresence), CGMutex::kGlobal) << "the local one was kept";
    }
    const Handle local = makeMutex("Local_somebody inside");
    EXPECT_EQ(CGMutex::CheckGMutex(kPresence), CGMutex::kLocal);
    EXPECT_EQ(mutex.CreateGMutexEx(kPresence), CGMutex::kLocal);
}

} // namespace
