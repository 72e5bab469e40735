#include "GMutex.h"

#include "TestObject.h"

#include <gtest/gtest.h>

namespace {

constexpr const char* kName = "somebody inside";

TEST(GMutex, IsThereAsLongAsItsObject) {
    EXPECT_EQ(CGMutex::CheckGMutex(kName), CGMutex::kNobody);
    {
        CGMutex first;
        EXPECT_EQ(first.CreateGMutexEx(kName), CGMutex::kCreated);
        EXPECT_EQ(CGMutex::CheckGMutex(kName), CGMutex::kLocal);
        CGMutex second;
        EXPECT_EQ(second.CreateGMutexEx(kName), CGMutex::kLocal);
        EXPECT_EQ(waitElsewhere(makeMutex("Global\\somebody inside")), WAIT_OBJECT_0) << "nobody owns it";
    }
    EXPECT_EQ(CGMutex::CheckGMutex(kName), CGMutex::kNobody);
}

TEST(GMutex, EitherNameSaysThatSomebodyIsInside) {
    CGMutex mutex;
    {
        const Handle global = makeMutex("Global\\somebody inside");
        EXPECT_EQ(CGMutex::CheckGMutex(kName), CGMutex::kGlobal);
        EXPECT_EQ(mutex.CreateGMutexEx(kName), CGMutex::kGlobal);
        EXPECT_EQ(CGMutex::CheckGMutex(kName), CGMutex::kGlobal) << "the local one was kept";
    }
    const Handle local = makeMutex("Local_somebody inside");
    EXPECT_EQ(CGMutex::CheckGMutex(kName), CGMutex::kLocal);
    EXPECT_EQ(mutex.CreateGMutexEx(kName), CGMutex::kLocal);
}

} // namespace
