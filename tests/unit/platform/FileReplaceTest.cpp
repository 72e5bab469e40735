// Copies and replacements: what they keep, what they refuse, and obstacles next to the target.
#include <Child.h>
#include <TestFiles.h>

#include <platform/file_content.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <grp.h>

namespace {

namespace fs = std::filesystem;
using testing::IsEmpty;

constexpr uid_t kUser = kOneUser;
constexpr gid_t kGroup = kHomeGroup;

class FileReplace : public TestFiles {
  protected:
    FileReplace() { put("from", "new content"); }
};

TEST_F(FileReplace, ACopyHasTheContentAndTheTargetsOwnModeAndOwner) {
    umask(027);
    for (const std::size_t size : {0u, 65'535u, 65'536u, 65'537u}) {
        std::string content(size, 'x');
        for (std::size_t i = 0; i < size; ++i)
            content[i] = static_cast<char>(i * 31 + i / 256);
        put("from", content, 0604);
        fs::remove(at("new"));
        const struct timespec written[] = {{1, 0}, {1, 0}};
        EXPECT_EQ(utimensat(AT_FDCWD, at("from").c_str(), written, 0), 0);
        EXPECT_EQ(copy("from", "new"), ERROR_SUCCESS);
        EXPECT_TRUE(get("new") == content) << size;
        EXPECT_EQ(statusOf(at("new")).st_mode & 07777, 0600u) << "a new file's mode, however wide the source's is";
        put("old", "a longer old content");
        EXPECT_TRUE(geteuid() != 0 || chown(at("old").c_str(), kUser, kGroup) == 0);
        EXPECT_EQ(chmod(at("old").c_str(), 04757), 0);
        EXPECT_EQ(copy("from", "old"), ERROR_SUCCESS);
        EXPECT_TRUE(get("old") == content) << size;
        const struct stat status = statusOf(at("old"));
        EXPECT_EQ(status.st_mode & 07777, 04757u);
        EXPECT_TRUE(geteuid() != 0 || (status.st_uid == kUser && status.st_gid == kGroup));
        fs::remove(at("old"));
    }
    EXPECT_EQ(statusOf(at("new")).st_mtim.tv_sec, 1) << "the time of the last write";
    EXPECT_EQ(copy("from", std::string(255, 'n')), ERROR_SUCCESS) << "the longest name";
    EXPECT_THAT(partials(), IsEmpty());
}

TEST_F(FileReplace, WhoHasTheTargetOpenKeepsWhatItOpened) {
    for (const bool copies : {true, false}) {
        const fs::path target = put("target", "old", 0640);
        EXPECT_TRUE(geteuid() != 0 || chown(target.c_str(), kUser, kGroup) == 0);
        const Handle held = open(target, GENERIC_READ, OPEN_EXISTING, 0);
        const auto replacement = statusOf(put("replacement", "new")).st_ino;
        EXPECT_EQ(copies ? copy("from", "target") : replace("target", at("replacement")), ERROR_SUCCESS);
        char buffer[4] = {};
        DWORD done = 0;
        EXPECT_TRUE(ReadFile(held.get(), buffer, 4, &done, nullptr));
        EXPECT_STREQ(buffer, "old");
        EXPECT_EQ(get("target"), copies ? "new content" : "new");
        const struct stat status = statusOf(target);
        EXPECT_EQ(status.st_ino == replacement, !copies);
        EXPECT_EQ(status.st_mode & 07777, 0640u) << "the mode of what it replaces";
        EXPECT_TRUE(geteuid() != 0 || (status.st_uid == kUser && status.st_gid == kGroup));
        EXPECT_TRUE(open(target, GENERIC_READ, OPEN_EXISTING, 0)) << "the new file is nobody's";
    }
    // What it is replaced by must be free.
    for (const DWORD share : {DWORD{0}, FILE_SHARE_READ}) {
        const Handle held = open(put("source", "x"), GENERIC_READ, OPEN_EXISTING, share);
        EXPECT_EQ(copy("source", "target"), share == 0 ? ERROR_SHARING_VIOLATION : ERROR_SUCCESS);
        EXPECT_EQ(replace("target", at("source")), ERROR_SHARING_VIOLATION);
    }
}

TEST_F(FileReplace, ALinkLeadsToTheFileThatIsMeant) {
    fs::create_directory(at("elsewhere"));
    put("elsewhere/file", "old", 0606);
    fs::create_symlink("elsewhere", at("away"));
    fs::create_symlink("../away/file", at("elsewhere/second"));
    fs::create_symlink("away/second", at("link"));
    EXPECT_EQ(copy("from", "link"), ERROR_SUCCESS);
    EXPECT_EQ(get("elsewhere/file"), "new content");
    EXPECT_EQ(statusOf(at("elsewhere/file")).st_mode & 07777, 0606u);
    EXPECT_EQ(replace("link", put("replacement", "newer")), ERROR_SUCCESS);
    EXPECT_EQ(get("elsewhere/file"), "newer");
    EXPECT_TRUE(fs::is_symlink(at("link")) && fs::is_symlink(at("elsewhere/second")));
    fs::create_symlink("loop", at("loop"));
    EXPECT_EQ(copy("from", "loop"), ERROR_ACCESS_DENIED);
    fs::create_symlink("replacement", at("to replacement"));
    EXPECT_EQ(replace("from", at("to replacement")), ERROR_ACCESS_DENIED);
    EXPECT_EQ(get("from"), "new content");
}

TEST_F(FileReplace, RefusalsChangeNothing) {
    put("target", "old");
    fs::create_directory(at("dir"));
    ASSERT_EQ(mkfifo(at("pipe").c_str(), 0600), 0);
    fs::create_hard_link(at("target"), at("second name"));
    const struct {
        const char* from;
        std::string to;
        DWORD replaced;
        DWORD copied = replaced;
    } rows[] = {
        {"none", "target", ERROR_FILE_NOT_FOUND},
        {"dir", "target", ERROR_ACCESS_DENIED},
        {"pipe", "target", ERROR_ACCESS_DENIED},
        {"from", "none/target", ERROR_PATH_NOT_FOUND},
        {"from", "dir/", ERROR_ACCESS_DENIED},
        {"from", std::string(256, 'n'), ERROR_FILENAME_EXCED_RANGE},
        {"target", "second name", ERROR_SHARING_VIOLATION},
        {"from", "new", ERROR_FILE_NOT_FOUND, ERROR_SUCCESS},
    };
    const auto before = openDescriptors();
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.from << " to " << row.to);
        EXPECT_EQ(replace(row.to, at(row.from)), row.replaced);
        EXPECT_EQ(copy(row.from, row.to), row.copied);
        EXPECT_EQ(get("target") + get("from"), "oldnew content");
    }
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_THAT(partials(), IsEmpty());
}

TEST_F(FileReplace, WhatLiesBesideTheTarget) {
    const fs::path beside = at(".target.new");
    const struct {
        const char* what;
        std::function<void()> lay;
        DWORD error; // links aren't followed, pipes not waited for, and folders stay
    } rows[] = {
        {"what a crash left", [&] { std::ofstream(beside) << "a longer content than the new one has"; }, ERROR_SUCCESS},
        {"a pipe", [&] { ASSERT_EQ(mkfifo(beside.c_str(), 0600), 0); }, ERROR_SUCCESS},
        {"a link", [&] { fs::create_symlink(put("victim", "untouched"), beside); }, ERROR_ACCESS_DENIED},
        {"a folder", [&] { fs::create_directory(beside); }, ERROR_ACCESS_DENIED},
    };
    for (const auto& row : rows) {
        put("target", "old");
        row.lay();
        EXPECT_EQ(copy("from", "target"), row.error) << row.what;
        EXPECT_EQ(get("target"), row.error == ERROR_SUCCESS ? "new content" : "old") << row.what;
        EXPECT_EQ(partials().empty(), row.error == ERROR_SUCCESS) << row.what;
        fs::remove(beside);
    }
    EXPECT_EQ(get("victim"), "untouched");

    // A temporary file that another process is writing is waited for, and reused when its writer is gone.
    const int writer = ::open(put(".target.new", "half").c_str(), O_WRONLY | O_CLOEXEC);
    const auto lock = [&](short type) {
        struct flock byte {};
        byte.l_type = type;
        byte.l_len = 1;
        return fcntl(writer, F_OFD_SETLK, &byte);
    };
    ASSERT_EQ(lock(F_WRLCK), 0);
    const auto waits = [&] { return WdTestFailCall("nanosleep", 20, 0) != FALSE ? int(copy("from", "target")) : -1; };
    EXPECT_EQ(Child(waits).wait(), Child::kSignal + SIGKILL) << "didn't wait twenty times";
    EXPECT_EQ(get("target") + get(".target.new"), "oldhalf");
    ASSERT_EQ(lock(F_UNLCK), 0);
    EXPECT_EQ(copy("from", "target"), ERROR_SUCCESS);
    close(writer);
    EXPECT_EQ(get("target"), "new content");
    EXPECT_THAT(partials(), IsEmpty());
}

TEST_F(FileReplace, WhatAUserMayNotWriteItMayNotReplace) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only the administrator can be another user";
    const struct {
        const char* name;
        unsigned folderMode;
        uid_t owner;
        gid_t group;
        unsigned mode;
        DWORD error;
    } rows[] = {
        {"read-only", 0755, kUser, kUser, 0444, ERROR_ACCESS_DENIED},
        {"closed folder", 0555, kUser, kUser, 0644, ERROR_ACCESS_DENIED},
        {"unreadable folder", 0300, kUser, kUser, 0644, ERROR_ACCESS_DENIED},
        {"a group's of ours", 0755, 0, kGroup, 0664, ERROR_SUCCESS},
        {"a group's of others", 0755, 0, 0, 0666, ERROR_ACCESS_DENIED},
        // In a home with a group: another member's file, whatever its mode.
        {"home's group", 0755, 0, kGroup, 0600, ERROR_SUCCESS},
    };
    const auto asUser = [&](const std::function<DWORD()>& act) {
        return Child([&] {
                   const gid_t groups[] = {kGroup};
                   if (setgroups(1, groups) != 0 || setgid(kUser) != 0 || setuid(kUser) != 0)
                       return 100;
                   return static_cast<int>(act());
               })
            .wait();
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        if (row.name == std::string_view("home's group")) {
            giveHomeToGroup();
            fs::permissions(folder, fs::perms(0755));
        }
        const bool succeeds = row.error == ERROR_SUCCESS;
        const std::string name = std::string(row.name) + "/target";
        put(name, "old", row.mode);
        put(std::string(row.name) + "/replacement", "new");
        ASSERT_EQ(chown(at(name).c_str(), row.owner, row.group), 0);
        ASSERT_EQ(chown(at(row.name).c_str(), kUser, kUser), 0);
        fs::permissions(at(row.name), fs::perms(row.folderMode));
        EXPECT_EQ(asUser([&] { return copy("from", name); }), static_cast<int>(row.error));
        EXPECT_TRUE(succeeds || asUser([&] { return replace(name, at(row.name) / "replacement"); }) == int(row.error));
        EXPECT_TRUE(row.mode != 0444 ||
                    asUser([&] { return errorOf(DeleteFileA(at(name).c_str())); }) == int(row.error));
        EXPECT_EQ(get(name), succeeds ? "new content" : "old");
        const struct stat status = statusOf(at(name));
        EXPECT_EQ(status.st_uid, succeeds ? kUser : row.owner);
        EXPECT_EQ(status.st_gid, succeeds ? kGroup : row.group);
        EXPECT_EQ(status.st_mode & 07777, row.mode);
        EXPECT_EQ(std::distance(fs::directory_iterator(at(row.name)), {}), 2) << "something was left";
    }
}

// In a folder where others can write, a link could lead root to any file.
TEST_F(FileReplace, ALinkThatAnotherUserLaidIsNotFollowed) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only the administrator can be another user";
    fs::create_symlink(at("victim"), at("link"));
    for (const uid_t owner : {uid_t{0}, uid_t{kUser}})
        for (const unsigned mode : {0755u, 0775u}) {
            put("victim", "old");
            ASSERT_EQ(lchown(at("link").c_str(), owner, owner), 0);
            fs::permissions(folder, fs::perms(mode));
            const DWORD error = owner == 0 || mode == 0755 ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
            EXPECT_EQ(copy("from", "link"), error);
            EXPECT_EQ(get("victim"), error == ERROR_SUCCESS ? "new content" : "old") << owner << ' ' << mode;
            EXPECT_EQ(errorOf(open(at("link"), GENERIC_WRITE)), error);
        }
}

} // namespace
