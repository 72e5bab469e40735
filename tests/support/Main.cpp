#include "TestHome.h"

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    TestHome::instance();
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
