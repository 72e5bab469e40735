// A folder for tests of the layer's files, accessed without the layer. Wrappers of the layer's calls return the error,
// 0 for none.
#pragma once

#include "TestObject.h"
#include <Child.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sys/stat.h>

class TestFiles : public testing::Test {
  protected:
    TestFiles() {
        umask(022);
        std::filesystem::permissions(TestHome::instance().path(), std::filesystem::perms(0755)); // for other users
        std::filesystem::create_directory(folder);
        std::fflush(stdout); // before children inherit the buffer
        if (homeHasGroup)
            giveHomeToGroup();
        GetFileAttributesA(folder.c_str()); // makes the layer's start-up calls now, before tests count calls
    }
    ~TestFiles() override {
        std::filesystem::remove_all(folder);
        std::filesystem::remove_all(TestHome::instance().path() / "drive_c");
    }

    // True in a suite whose homes have a group from the start.
    static inline bool homeHasGroup = false;
    // Gives the home and this folder a group of their own, if run as root; else only their mode changes.
    void giveHomeToGroup() const {
        for (const auto& [path, mode] : {std::pair{TestHome::instance().path(), 02775u}, std::pair{folder, 02770u}}) {
            EXPECT_TRUE(geteuid() != 0 || chown(path.c_str(), 0, kHomeGroup) == 0);
            EXPECT_EQ(chmod(path.c_str(), mode), 0);
        }
    }

    std::filesystem::path at(const std::string& name) const { return folder / name; }
    // With mode 0 the file's mode isn't changed.
    std::filesystem::path put(const std::string& name, const std::string& content, unsigned mode = 0) const {
        TestHome::instance().write(at(name).string(), content);
        if (mode != 0)
            std::filesystem::permissions(at(name), std::filesystem::perms(mode));
        return at(name);
    }
    std::string get(const std::string& name) const { return TestHome::instance().read(at(name).string()); }
    // Names that begin with a dot: new files that haven't replaced the old ones yet.
    std::vector<std::string> partials() const { return objectFiles(folder, true); }

    static Handle open(const std::filesystem::path& name, DWORD access, DWORD disposition = OPEN_EXISTING,
                       DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE) {
        HANDLE file = CreateFileA(name.c_str(), access, share, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
        return Handle(file == INVALID_HANDLE_VALUE ? nullptr : file);
    }
    DWORD copy(const std::string& from, const std::string& to, bool failIfExists = false) const {
        return errorOf(CopyFileA(at(from).c_str(), at(to).c_str(), failIfExists ? TRUE : FALSE));
    }
    DWORD replace(const std::string& replaced, const std::filesystem::path& by) const {
        return errorOf(ReplaceFileA(at(replaced).c_str(), by.c_str(), nullptr, 1, nullptr, nullptr));
    }

    const std::filesystem::path folder = TestHome::instance().path() / "work";
};

inline struct stat statusOf(const std::filesystem::path& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status;
}
inline std::ptrdiff_t openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}
