// Who may use the registry's keys. ShareMemoryTest.cpp tests who may use an object.
#include "SecurityAttributes.h"
#include "ObjectSecurity.h"

#include <gtest/gtest.h>

namespace {

using WdCommon::AccessControl::SecurityAttributes;

// Administrators, power users, SYSTEM, authenticated users, users, interactive, creator owner.
TEST(SecurityAttributes, HaveAnEntryForEachAccount) {
    const SecurityAttributes attributes(4, 1);
    EXPECT_EQ(textOf(attributes.lpSecurityDescriptor),
              "D:(A;;CCDCLCRPWPSD;;;BA)(A;;CCDCLCRPWP;;;PU)(A;;CCDCLCRPWPSD;;;SY)(A;;CCSW;;;AU)(A;;CCSW;;;BU)"
              "(A;;CCSW;;;IU)(A;;KA;;;CO)");
    EXPECT_EQ(attributes.bInheritHandle, 1);
}

} // namespace
