// Copies and replacements: what they keep, what they refuse, what lies beside the target, and every system call failing
// in turn.
#include <Child.h>
#include <TestFiles.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <grp.h>
#include <sys/resource.h>
#include <sys/time.h>

namespace {

namespace fs = std::filesystem;
using testing::IsEmpty;

constexpr int kKilled = Child::kSignal + SIGKILL;
constexpr uid_t kUser = kOneUser;
constexpr gid_t kGroup = kHomeGroup;

class FileReplace : public TestFiles {
  protected:
    FileReplace() { put("from", "new content"); }
};

TEST_F(FileReplace, ACopyHasTheContentAndTheTargetsOwnModeAndOwner) {
    umask(027);
    const bool administrator = geteuid() == 0;
    for (const std::size_t size : {0u, 1u, 65'535u, 65'536u, 65'537u, 200'000u}) {
        std::string content(size, 'x');
        for (std::size_t i = 0; i < size; ++i)
            content[i] = static_cast<char>(i * 31 + i / 256);
        put("from", content, 0604);
        fs::remove(at("new"));
        EXPECT_EQ(copy("from", "new"), ERROR_SUCCESS);
        EXPECT_TRUE(get("new") == content) << size;
        EXPECT_EQ(statusOf(at("new")).st_mode & 07777, 0600u) << "a new file's mode, however wide the source's is";

        put("old", "a longer old content", 04757);
        if (administrator) {
            ASSERT_EQ(chown(at("old").c_str(), kUser, kGroup), 0);
            ASSERT_EQ(chmod(at("old").c_str(), 04757), 0);
        }
        EXPECT_EQ(copy("from", "old"), ERROR_SUCCESS);
        EXPECT_TRUE(get("old") == content) << size;
        EXPECT_EQ(statusOf(at("old")).st_mode & 07777, 04757u);
        if (administrator) {
            EXPECT_EQ(statusOf(at("old")).st_uid, kUser);
            EXPECT_EQ(statusOf(at("old")).st_gid, kGroup);
        }
        fs::remove(at("old"));
    }
    EXPECT_EQ(copy("from", "new", true), ERROR_FILE_EXISTS);
    EXPECT_EQ(copy("from", "newer", true), ERROR_SUCCESS);
    EXPECT_EQ(copy("from", "from"), ERROR_SUCCESS) << "onto itself";
    EXPECT_EQ(get("from").size(), 200'000u);
    EXPECT_THAT(partials(), IsEmpty());
}

TEST_F(FileReplace, WhoHasTheTargetOpenKeepsWhatItOpened) {
    for (const bool copies : {true, false}) {
        const fs::path target = put("target", "old");
        const Handle held = open(target, GENERIC_READ, OPEN_EXISTING, 0);
        const auto replacement = statusOf(put("replacement", "new")).st_ino;
        EXPECT_EQ(copies ? copy("from", "target") : replace("target", at("replacement")), ERROR_SUCCESS);
        char buffer[4] = {};
        DWORD done = 0;
        EXPECT_TRUE(ReadFile(held.get(), buffer, 4, &done, nullptr));
        EXPECT_STREQ(buffer, "old");
        EXPECT_EQ(get("target"), copies ? "new content" : "new");
        EXPECT_EQ(statusOf(target).st_ino == replacement, !copies);
        // The new file is nobody's.
        EXPECT_TRUE(open(target, GENERIC_READ, OPEN_EXISTING, 0)) << GetLastError();
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
    EXPECT_EQ(copy("from", "link", true), ERROR_FILE_EXISTS);

    fs::remove(at("elsewhere/file"));
    EXPECT_EQ(copy("from", "link", true), ERROR_FILE_EXISTS);
    EXPECT_EQ(replace("link", put("replacement", "newest")), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(copy("from", "link"), ERROR_SUCCESS);
    EXPECT_EQ(get("elsewhere/file"), "new content");
    EXPECT_TRUE(fs::is_symlink(at("link")) && fs::is_symlink(at("elsewhere/second")));

    fs::create_symlink("loop", at("loop"));
    EXPECT_EQ(copy("from", "loop"), ERROR_ACCESS_DENIED);
    fs::create_symlink("replacement", at("to replacement"));
    EXPECT_EQ(replace("from", at("to replacement")), ERROR_ACCESS_DENIED);
    EXPECT_EQ(get("from"), "new content");
}

TEST_F(FileReplace, RefusalsChangeNothing) {
    put("target", "old");
    put("file", "x");
    fs::create_directory(at("dir"));
    ASSERT_EQ(mkfifo(at("pipe").c_str(), 0600), 0);
    fs::create_hard_link(at("target"), at("second name"));
    const std::string tooLong(256, 'n');
    const struct {
        const char* from;
        std::string to;
        DWORD copied;
        DWORD replaced;
    } cases[] = {
        {"none", "target", ERROR_FILE_NOT_FOUND, ERROR_FILE_NOT_FOUND},
        {"none/from", "target", ERROR_PATH_NOT_FOUND, ERROR_PATH_NOT_FOUND},
        {"dir", "target", ERROR_ACCESS_DENIED, ERROR_ACCESS_DENIED},
        {"pipe", "target", ERROR_ACCESS_DENIED, ERROR_ACCESS_DENIED},
        {"from", "none/target", ERROR_PATH_NOT_FOUND, ERROR_PATH_NOT_FOUND},
        {"from", "none/", ERROR_PATH_NOT_FOUND, ERROR_PATH_NOT_FOUND},
        {"from", "file/target", ERROR_PATH_NOT_FOUND, ERROR_PATH_NOT_FOUND},
        {"from", "dir", ERROR_ACCESS_DENIED, ERROR_ACCESS_DENIED},
        {"from", "dir/", ERROR_ACCESS_DENIED, ERROR_ACCESS_DENIED},
        {"from", "pipe", ERROR_ACCESS_DENIED, ERROR_ACCESS_DENIED},
        {"from", tooLong, ERROR_FILENAME_EXCED_RANGE, ERROR_FILENAME_EXCED_RANGE},
        {"target", "second name", ERROR_SUCCESS, ERROR_SHARING_VIOLATION}, // the copy parts them
    };
    const auto before = openDescriptors();
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.from << " to " << c.to);
        EXPECT_EQ(replace(c.to, at(c.from)), c.replaced);
        EXPECT_EQ(copy(c.from, c.to), c.copied);
        EXPECT_EQ(get("target"), "old");
        EXPECT_EQ(get("from"), "new content");
    }
    EXPECT_EQ(replace("missing", at("from")), ERROR_FILE_NOT_FOUND);
    EXPECT_FALSE(CopyFileA(at("from").c_str(), "", FALSE));
    EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
    for (const auto& [replaced, backup] : {std::pair<const char*, const char*>{"target", "b"}, {nullptr, nullptr}}) {
        EXPECT_FALSE(ReplaceFileA(replaced, at("from").c_str(), backup, 0, nullptr, nullptr));
        EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    }
    EXPECT_FALSE(CopyFileA(nullptr, "x", FALSE) || CopyFileA("x", nullptr, FALSE));
    EXPECT_TRUE(fs::is_fifo(at("pipe")) && fs::is_directory(at("dir")));
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_THAT(partials(), IsEmpty());
}

TEST_F(FileReplace, TheLongestNamesAreReplacedToo) {
    for (const std::size_t length : {250u, 251u, 255u}) {
        const std::string name(length, 'n');
        EXPECT_EQ(copy("from", name), ERROR_SUCCESS) << length;
        EXPECT_EQ(get(name), "new content");
    }
    EXPECT_THAT(partials(), IsEmpty());
}

TEST_F(FileReplace, WhatLiesBesideTheTarget) {
    put("target", "old");
    put(".target.new", "a longer content than the new one has", 0);
    EXPECT_EQ(copy("from", "target"), ERROR_SUCCESS) << "what a crash left";
    ASSERT_EQ(mkfifo(at(".target.new").c_str(), 0600), 0);
    EXPECT_EQ(copy("from", "target"), ERROR_SUCCESS);
    EXPECT_EQ(get("target"), "new content");
    EXPECT_THAT(partials(), IsEmpty());

    // Links are neither followed nor waited for, and folders stay.
    put("target", "old");
    put("victim", "untouched");
    fs::create_symlink("victim", at(".target.new"));
    EXPECT_EQ(copy("from", "target"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(get("victim"), "untouched");
    fs::remove(at(".target.new"));
    fs::create_directory(at(".target.new"));
    EXPECT_EQ(copy("from", "target"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(get("target"), "old");
    fs::remove(at(".target.new"));

    // One that another process writes is waited for, and taken when its writer has gone.
    const int writer = ::open(put(".target.new", "half").c_str(), O_WRONLY | O_CLOEXEC);
    const auto lock = [&](short type) {
        struct flock byte {};
        byte.l_type = type;
        byte.l_len = 1;
        return fcntl(writer, F_OFD_SETLK, &byte);
    };
    ASSERT_EQ(lock(F_WRLCK), 0);
    Child impatient([&] {
        WdTestFailCall("nanosleep", 20, 0);
        return static_cast<int>(copy("from", "target"));
    });
    EXPECT_EQ(impatient.wait(), kKilled) << "didn't wait twenty times";
    EXPECT_EQ(get("target") + get(".target.new"), "oldhalf");
    Child patient([&] {
        std::signal(SIGALRM, [](int) {}); // as under a profiler, which cuts each pause short
        const itimerval often{{0, 40}, {0, 40}};
        return setitimer(ITIMER_REAL, &often, nullptr) == 0 ? static_cast<int>(copy("from", "target")) : -1;
    });
    usleep(600'000);
    ASSERT_EQ(lock(F_UNLCK), 0); // of the children's copies too
    EXPECT_EQ(patient.wait(), 0);
    close(writer);
    EXPECT_EQ(get("target"), "new content");
    EXPECT_THAT(partials(), IsEmpty());
}

TEST_F(FileReplace, EachFailingCallOfACopyIsTold) {
    const struct {
        const char* call;
        int least; // times that it is called where a failure must be told: not of what there is another way for
    } calls[] = {{"open", 3},   {"openat", 0}, {"fstat", 4}, {"stat", 1},  {"readlink", 1}, {"fcntl_lock", 1},
                 {"fchmod", 1}, {"pread", 2},  {"write", 2}, {"fsync", 1}, {"linkat", 1},   {"rename", 1}};
    const std::string whole(150'000, 'n');
    put("from", whole);
    const auto before = openDescriptors();
    for (const auto& c : calls) {
        int told = 0;
        for (int nth = 1; nth <= 6; ++nth) {
            SCOPED_TRACE(testing::Message() << c.call << ' ' << nth);
            put("target", "old");
            ASSERT_TRUE(WdTestFailCall(c.call, nth, EIO));
            const DWORD error = copy("from", "target");
            WdTestFailCall(c.call, 0, 0);
            told += error != ERROR_SUCCESS ? 1 : 0;
            EXPECT_TRUE(error == ERROR_SUCCESS || error == ERROR_REGISTRY_IO_FAILED) << error;
            EXPECT_TRUE(get("target") == (error == ERROR_SUCCESS ? whole : "old")) << error;
            EXPECT_THAT(partials(), IsEmpty());
            EXPECT_EQ(openDescriptors(), before);
        }
        EXPECT_GE(told, c.least) << c.call;
        EXPECT_EQ(told == 0, c.least == 0) << c.call;
        EXPECT_LT(told, 6) << "the last rounds fail nothing";
    }
    for (const char* interrupted : {"pread", "write"}) {
        ASSERT_TRUE(WdTestFailCall(interrupted, 2, EINTR));
        EXPECT_EQ(copy("from", "target"), ERROR_SUCCESS) << interrupted;
    }
    // When it can't even be removed, it is the next copy's to remove.
    put("target", "old");
    ASSERT_TRUE(WdTestFailCall("rename", 1, ENOSPC) && WdTestFailCall("unlinkat", 1, EIO));
    EXPECT_EQ(copy("from", "target"), ERROR_DISK_FULL) << "the first error, not the one of cleaning up";
    EXPECT_EQ(get("target"), "old");
    EXPECT_EQ(partials().size(), 1u);
    EXPECT_EQ(copy("from", "target"), ERROR_SUCCESS);
    EXPECT_THAT(partials(), IsEmpty());
}

TEST_F(FileReplace, WhereThereIsNoRoomTheOldFileStays) {
    put("target", "old");
    put("from", std::string(200'000, 'n'));
    EXPECT_EQ(Child([&] {
                  std::signal(SIGXFSZ, SIG_IGN);
                  const rlimit limit{100'000, 100'000};
                  return setrlimit(RLIMIT_FSIZE, &limit) == 0 ? static_cast<int>(copy("from", "target")) : -1;
              }).wait(),
              static_cast<int>(ERROR_DISK_FULL));
    EXPECT_EQ(get("target"), "old");
    EXPECT_THAT(partials(), IsEmpty());
}

TEST_F(FileReplace, AReplacementTakesPlaceModeAndOwner) {
    fs::create_directory(at("dir"));
    for (const fs::path& replacement : {at("replacement"), at("dir/replacement"), fileInMemory()}) {
        if (replacement.empty())
            continue;
        SCOPED_TRACE(replacement);
        put("target", "old", 0606);
        if (geteuid() == 0) {
            ASSERT_EQ(chown(at("target").c_str(), kUser, kGroup), 0);
        }
        std::ofstream(replacement) << "new";
        fs::permissions(replacement, fs::perms(0600));
        // Each call failing: the target is the old one with the replacement beside, or the new one.
        for (const char* call : {"open", "fstat", "stat", "readlink", "fchmod", "fsync", "rename", "pread", "write"})
            for (int nth = 1; nth <= 7; ++nth) {
                ASSERT_TRUE(WdTestFailCall(call, nth, EIO));
                const DWORD error = replace("target", replacement);
                WdTestFailCall(call, 0, 0);
                EXPECT_TRUE(error == ERROR_SUCCESS || error == ERROR_REGISTRY_IO_FAILED) << call << nth << error;
                const bool replaced = get("target") == "new";
                EXPECT_TRUE(replaced || (get("target") == "old" && fs::exists(replacement))) << call << nth;
                EXPECT_EQ(replaced, error == ERROR_SUCCESS) << call << nth;
                EXPECT_TRUE(!fs::exists(replacement) || error != ERROR_SUCCESS) << call << nth;
                EXPECT_THAT(partials(), IsEmpty()) << call << nth;
                std::ofstream(replacement) << "new";
                std::ofstream(at("target")) << "old";
            }
        EXPECT_EQ(replace("target", replacement), ERROR_SUCCESS);
        EXPECT_EQ(get("target"), "new");
        EXPECT_FALSE(fs::exists(replacement));
        EXPECT_EQ(statusOf(at("target")).st_mode & 07777, 0606u);
        if (geteuid() == 0) {
            EXPECT_EQ(statusOf(at("target")).st_uid, kUser);
            EXPECT_EQ(statusOf(at("target")).st_gid, kGroup);
        }
    }
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
        uid_t ownerAfter;
    } cases[] = {
        {"read-only", 0755, kUser, kUser, 0444, ERROR_ACCESS_DENIED, kUser},
        {"another's", 0755, 0, 0, 0644, ERROR_ACCESS_DENIED, 0},
        {"closed folder", 0555, kUser, kUser, 0644, ERROR_ACCESS_DENIED, kUser},
        {"unreadable folder", 0300, kUser, kUser, 0644, ERROR_ACCESS_DENIED, kUser},
        {"a group's of ours", 0755, 0, kGroup, 0664, ERROR_SUCCESS, kUser},
        {"a group's of others", 0755, 0, 0, 0666, ERROR_ACCESS_DENIED, 0},
        // In a home with a group: what another member left, however he left it.
        {"home's group", 0755, 0, kGroup, 0600, ERROR_SUCCESS, kUser},
        {"no group of ours", 0755, 0, 0, 0600, ERROR_SUCCESS, kUser},
        {"read-only in it", 0755, kUser, kUser, 0444, ERROR_ACCESS_DENIED, kUser},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        if (c.name == std::string_view("home's group")) {
            giveHomeToGroup();
            fs::permissions(folder, fs::perms(0755));
        }
        const std::string name = std::string(c.name) + "/target";
        put(name, "old");
        put(std::string(c.name) + "/replacement", "new");
        ASSERT_EQ(chown(at(name).c_str(), c.owner, c.group), 0);
        fs::permissions(at(name), fs::perms(c.mode));
        ASSERT_EQ(chown(at(c.name).c_str(), kUser, kUser), 0);
        fs::permissions(at(c.name), fs::perms(c.folderMode));
        const auto replaces = [&](const std::function<DWORD()>& act) {
            return Child([&] {
                       const gid_t groups[] = {kGroup};
                       if (setgroups(1, groups) != 0 || setgid(kUser) != 0 || setuid(kUser) != 0)
                           return 100;
                       return static_cast<int>(act());
                   })
                .wait();
        };
        EXPECT_EQ(replaces([&] { return copy("from", name); }), static_cast<int>(c.error));
        EXPECT_EQ(get(name), c.error == ERROR_SUCCESS ? "new content" : "old");
        if (c.error != ERROR_SUCCESS) {
            EXPECT_EQ(replaces([&] { return replace(name, at(c.name) / "replacement"); }), static_cast<int>(c.error));
            EXPECT_EQ(get(name), "old");
        }
        const struct stat status = statusOf(at(name));
        EXPECT_EQ(status.st_uid, c.ownerAfter);
        EXPECT_EQ(status.st_gid, c.error == ERROR_SUCCESS ? kGroup : c.group);
        EXPECT_EQ(status.st_mode & 07777, c.mode);
        EXPECT_EQ(std::distance(fs::directory_iterator(at(c.name)), {}), 2) << "something was left";
    }
}

// Where others may write, they could lead the administrator to any file.
TEST_F(FileReplace, ALinkThatAnotherUserLaidIsNotFollowed) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only the administrator can be another user";
    put("victim", "old");
    fs::create_symlink(at("victim"), at("link"));
    for (const uid_t owner : {uid_t{0}, uid_t{kUser}})
        for (const unsigned mode : {0755u, 0775u}) {
            put("victim", "old");
            ASSERT_EQ(lchown(at("link").c_str(), owner, owner), 0);
            fs::permissions(folder, fs::perms(mode));
            const bool isFollowed = owner == 0 || mode == 0755;
            EXPECT_EQ(copy("from", "link"), DWORD{isFollowed ? ERROR_SUCCESS : ERROR_ACCESS_DENIED});
            EXPECT_EQ(get("victim"), isFollowed ? "new content" : "old") << owner << ' ' << mode;
            HANDLE file = CreateFileA(at("link").c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
            EXPECT_EQ(file != INVALID_HANDLE_VALUE, isFollowed);
            CloseHandle(file);
        }
}

// Threads of one process are as much in each other's way as processes are.
TEST_F(FileReplace, ThreadsReplaceOneFileAndReadersSeeItWhole) {
    constexpr unsigned kWriters = 4;
    for (unsigned i = 0; i < kWriters; ++i)
        put("from" + std::to_string(i), std::string(70'000 + i, static_cast<char>('a' + i)));
    put("target", std::string(70'000, 'a'));
    std::atomic<bool> done{false};
    std::thread reader([&] {
        std::string buffer(80'000, '\0');
        while (!done) {
            const Handle file = open(at("target"), GENERIC_READ, OPEN_EXISTING, FILE_SHARE_READ);
            DWORD size = 0;
            ASSERT_TRUE(ReadFile(file.get(), buffer.data(), 80'000, &size, nullptr)) << GetLastError();
            ASSERT_EQ(buffer.find_first_not_of(buffer[0]), size);
            ASSERT_EQ(size, 70'000u + static_cast<unsigned>(buffer[0] - 'a'));
            buffer.assign(80'000, '\0');
        }
    });
    std::vector<std::thread> writers;
    for (unsigned i = 0; i < kWriters; ++i)
        writers.emplace_back([&, i] {
            for (int round = 0; round < 15; ++round)
                EXPECT_EQ(copy("from" + std::to_string(i), "target"), ERROR_SUCCESS);
        });
    for (std::thread& writer : writers)
        writer.join();
    done = true;
    reader.join();
    EXPECT_THAT(partials(), IsEmpty());
}

} // namespace
