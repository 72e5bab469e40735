// All cases share the system's registry, so they run one after another, each with the tree and the home emptied.
#include "TestHome.h"

#include <platform/testing.h>
#include <platform/win32.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <system_error>

namespace {

class FreshStart : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo&) override {
        RegDeleteTreeA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Halvermoor");
        std::error_code none;
        for (const auto& entry : std::filesystem::directory_iterator(TestHome::instance().path(), none))
            std::filesystem::remove_all(entry.path(), none);
    }
};

} // namespace

int main(int argc, char** argv) {
    TestHome::instance();
    testing::InitGoogleTest(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new FreshStart);
    return RUN_ALL_TESTS();
}
