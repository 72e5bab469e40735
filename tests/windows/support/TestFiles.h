// What the acceptance tests use of the tests of the layer's files.
#pragma once

#include "TestObject.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sys/stat.h>

class TestFiles : public testing::Test {
  protected:
    TestFiles() { std::filesystem::create_directory(folder); }
    ~TestFiles() override {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) // read-only files stay else
            std::filesystem::permissions(entry.path(), std::filesystem::perms::all);
        std::filesystem::remove_all(folder);
    }

    std::filesystem::path at(const std::string& name) const { return folder / name; }
    std::filesystem::path put(const std::string& name, const std::string& content, unsigned = 0) const {
        if (std::filesystem::exists(at(name))) // it may have become read-only
            std::filesystem::permissions(at(name), std::filesystem::perms::all);
        return TestHome::instance().write(at(name).string(), content);
    }
    std::string get(const std::string& name) const { return TestHome::instance().read(at(name).string()); }

    const std::filesystem::path folder = TestHome::instance().path() / "work";
};

inline struct stat statusOf(const std::filesystem::path& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.string().c_str(), &status), 0) << path;
    return status;
}
