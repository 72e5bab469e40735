// File handles: what opens and what doesn't, sharing, positions, temporary names, attributes.
#include <Child.h>
#include <TestFiles.h>
#include <TestKey.h>

#include <platform/file_content.h>

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <fcntl.h>

namespace {

namespace fs = std::filesystem;

constexpr DWORD kBoth = GENERIC_READ | GENERIC_WRITE;
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE;
constexpr DWORD kUntouched = 77; // the last error before a call

class Files : public TestFiles {
  protected:
    static DWORD openError(const fs::path& name, DWORD access, DWORD disposition = OPEN_EXISTING,
                           DWORD share = kShareAll) {
        return errorOf(open(name, access, disposition, share));
    }
    static std::string temporary(const std::string& folder, const char* prefix) {
        std::array<char, MAX_PATH> buffer{};
        return GetTempFileNameA(folder.c_str(), prefix, 0, buffer.data()) != 0 ? buffer.data() : "";
    }
};

TEST_F(Files, WhatIsThereDecidesWithTheDisposition) {
    const struct {
        DWORD disposition;
        const char* name;
        const char* old; // old content; null: no file
        DWORD error;     // the last error, also after a success
        const char* content;
    } rows[] = {
        {CREATE_ALWAYS, "file", nullptr, ERROR_SUCCESS, ""},
        {CREATE_ALWAYS, "link", nullptr, ERROR_SUCCESS, ""},
        {CREATE_ALWAYS, "file", "old", ERROR_ALREADY_EXISTS, ""},
        {CREATE_ALWAYS, "link", "old", ERROR_ALREADY_EXISTS, ""},
        {OPEN_EXISTING, "file", nullptr, ERROR_FILE_NOT_FOUND, nullptr},
        {OPEN_EXISTING, "link", "old", ERROR_SUCCESS, "old"},
    };
    fs::create_symlink("file", at("link"));
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.disposition << row.name << (row.old == nullptr ? "" : " there"));
        fs::remove(at("file"));
        if (row.old != nullptr)
            put("file", row.old);
        SetLastError(kUntouched);
        const Handle handle = open(at(row.name), kBoth, row.disposition);
        EXPECT_EQ(GetLastError(), row.error);
        EXPECT_EQ(handle != nullptr, row.error == ERROR_SUCCESS || row.error == ERROR_ALREADY_EXISTS);
        EXPECT_TRUE(row.content == nullptr ? !fs::exists(at("file")) : get("file") == row.content);
    }
}

TEST_F(Files, TheRightsThatAreAskedForArePossessed) {
    const struct {
        DWORD access;
        DWORD disposition;
        const char* reads; // null: refused
        const char* content;
    } rows[] = {
        {0, OPEN_EXISTING, nullptr, "old"},
        {GENERIC_READ, CREATE_ALWAYS, "", ""}, // emptied by one who may not write to it then
        {FILE_READ_DATA, OPEN_EXISTING, "o", "old"},
        {FILE_WRITE_DATA, OPEN_EXISTING, nullptr, "xld"},
        {FILE_APPEND_DATA, OPEN_EXISTING, nullptr, "oldx"},
        {FILE_READ_DATA | FILE_WRITE_DATA, OPEN_EXISTING, "o", "oxd"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.access);
        const Handle file = open(put("file", "old"), row.access, row.disposition);
        char byte = 0;
        DWORD done = 0;
        EXPECT_EQ(errorOf(ReadFile(file.get(), &byte, 1, &done, nullptr)), row.reads ? 0 : ERROR_ACCESS_DENIED);
        EXPECT_EQ(std::string(&byte, done), row.reads ? row.reads : "");
        WriteFile(file.get(), "x", 1, &done, nullptr);
        EXPECT_EQ(get("file"), row.content);
    }
}

TEST_F(Files, OnlyFilesOpen) {
    fs::create_directory(at("folder"));
    ASSERT_EQ(mkfifo(at("pipe").c_str(), 0600), 0);
    fs::create_symlink("loop", at("loop"));
    const fs::path file = put("file", "old");
    const auto before = openDescriptors();
    for (const DWORD access : {GENERIC_READ, GENERIC_WRITE})
        for (const DWORD disposition : {CREATE_ALWAYS, OPEN_EXISTING}) {
            for (const auto& name : {at("folder"), at("pipe"), at("loop"), fs::path("/dev/null")})
                EXPECT_EQ(openError(name, access, disposition), ERROR_ACCESS_DENIED) << name << access << disposition;
            EXPECT_EQ(openError(file / "file", access, disposition), ERROR_PATH_NOT_FOUND);
        }
    EXPECT_EQ(openDescriptors(), before);
    for (const char* const none : {static_cast<const char*>(nullptr), ""}) {
        EXPECT_EQ(CreateFileA(none, GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr), INVALID_HANDLE_VALUE);
        EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
        EXPECT_EQ(errorOf(CopyFileA(none, "to", FALSE)), ERROR_PATH_NOT_FOUND);
        EXPECT_EQ(errorOf(DeleteFileA(none)), ERROR_PATH_NOT_FOUND);
        EXPECT_EQ(errorOf(GetFileAttributesA(none) != INVALID_FILE_ATTRIBUTES), ERROR_PATH_NOT_FOUND);
    }
    CreateFileA(file.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    EXPECT_EQ(GetLastError(), ERROR_NOT_SUPPORTED);
    EXPECT_EQ(openError(file, GENERIC_READ, TRUNCATE_EXISTING), ERROR_INVALID_PARAMETER);
    fs::permissions(file, fs::perms(0444));
    EXPECT_EQ(errorOf(DeleteFileA(file.c_str())), geteuid() != 0 ? ERROR_ACCESS_DENIED : 0) << "marked read-only";
}

// A program started by the caller inherits none of the layer's files.
TEST_F(Files, NothingOutlivesAnExec) {
    const auto descriptors = [] {
        std::vector<int> numbers;
        for (const auto& entry : fs::directory_iterator("/proc/self/fd"))
            numbers.push_back(std::stoi(entry.path().filename()));
        std::erase_if(numbers, [](int number) { return fcntl(number, F_GETFD) < 0; }); // the iterator's own
        return numbers;
    };
    const std::vector<int> inherited = descriptors();
    const Handle file = open(at("file"), kBoth, CREATE_NEW);
    const std::string held = temporary(folder.string(), "url");
    const TestKey key = TestKey::create("Key");
    const Handle mutex = makeMutex("m");
    const std::vector<int> now = descriptors();
    EXPECT_GT(now.size(), inherited.size() + 5);
    for (const int descriptor : now)
        EXPECT_TRUE(std::count(inherited.begin(), inherited.end(), descriptor) != 0 ||
                    (fcntl(descriptor, F_GETFD) & FD_CLOEXEC) != 0)
            << fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor));
}

TEST_F(Files, SharingKeepsOthersOutUntilTheHandleOrItsProcessIsGone) {
    const fs::path file = put("file", "old");
    constexpr DWORD kModes[] = {0, FILE_SHARE_READ, FILE_SHARE_WRITE, kShareAll};
    for (const DWORD first : kModes)
        for (const DWORD second : kModes) {
            const Handle held = open(file, GENERIC_READ, OPEN_EXISTING, first);
            const DWORD expected = first != 0 && second != 0 ? ERROR_SUCCESS : ERROR_SHARING_VIOLATION;
            EXPECT_EQ(openError(file, kBoth, OPEN_ALWAYS, second), expected) << first << ' ' << second;
        }
    const Pipe ready;
    Child holder([&]() -> int {
        const Handle held = open(file, kBoth, OPEN_EXISTING, 0);
        ready.signal();
        return held ? pause() : 1;
    });
    ASSERT_TRUE(ready.await());
    for (const DWORD disposition : {CREATE_ALWAYS, TRUNCATE_EXISTING})
        EXPECT_EQ(openError(file, kBoth, disposition), ERROR_SHARING_VIOLATION);
    EXPECT_EQ(get("file"), "old") << "emptied under its holder";
    holder.kill();
    // A forked child has the descriptor too, but neither takes the lock from its parent nor keeps it alive.
    Handle held = open(file, kBoth, OPEN_EXISTING, 0);
    ASSERT_TRUE(held);
    const Child child([&] {
        held.reset();
        ready.signal();
        return pause();
    });
    const Child idle([] { return pause(); });
    ASSERT_TRUE(ready.await());
    EXPECT_EQ(openError(file, GENERIC_READ), ERROR_SHARING_VIOLATION);
    held.reset();
    EXPECT_EQ(openError(file, kBoth, OPEN_EXISTING, 0), ERROR_SUCCESS);
}

TEST_F(Files, HandlesAreCheckedAtEachUse) {
    const fs::path name = put("file", "content");
    const Handle reads = open(name, GENERIC_READ);
    const Handle writes = open(name, GENERIC_WRITE);
    const Handle event = makeEvent(nullptr, true, true);
    const HANDLE stale = open(name, kBoth).release();
    EXPECT_TRUE(CloseHandle(stale));
    char buffer[8] = {};
    DWORD done = 99;
    EXPECT_EQ(errorOf(ReadFile(writes.get(), buffer, 1, &done, nullptr)), ERROR_ACCESS_DENIED);
    EXPECT_EQ(errorOf(WriteFile(reads.get(), "x", 1, &done, nullptr)), ERROR_ACCESS_DENIED);
    for (const HANDLE handle : {HANDLE{nullptr}, stale, event.get()}) {
        EXPECT_EQ(errorOf(ReadFile(handle, buffer, 1, &done, nullptr)), ERROR_INVALID_HANDLE);
        EXPECT_EQ(errorOf(WriteFile(handle, "x", 1, &done, nullptr)), ERROR_INVALID_HANDLE);
        EXPECT_EQ(SetFilePointer(handle, 0, nullptr, FILE_BEGIN), INVALID_SET_FILE_POINTER);
    }
    EXPECT_EQ(errorOf(ReadFile(reads.get(), nullptr, 1, &done, nullptr)), ERROR_NOACCESS);
    EXPECT_EQ(errorOf(WriteFile(writes.get(), nullptr, 1, &done, nullptr)), ERROR_INVALID_USER_BUFFER);
    EXPECT_EQ(done, 0u);
    EXPECT_EQ(waitFor(reads, INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(get("file"), "content");
}

TEST_F(Files, ReadsWritesAndPositions) {
    const Handle file = open(put("file", "0123456789"), kBoth);
    const struct {
        LONG distance;
        LONG high;
        DWORD method;
        std::int64_t position; // or the negated error
    } moves[] = {
        {4, 0, FILE_BEGIN, 4},
        {-8, -1, FILE_CURRENT, -std::int64_t{ERROR_NEGATIVE_SEEK}},
        {1, 0, FILE_CURRENT, 5}, // the failures haven't moved it
        {0, 0, FILE_END, 10},
        {-1, 0, FILE_BEGIN, 0xFFFFFFFF},                                        // looks like INVALID_SET_FILE_POINTER
        {-1, 0x7FFFFFFF, FILE_CURRENT, -std::int64_t{ERROR_INVALID_PARAMETER}}, // out of range
        {8, 0, FILE_BEGIN, 8},
    };
    for (const auto& m : moves) {
        SCOPED_TRACE(testing::Message() << m.distance << ' ' << m.high << ' ' << m.method);
        SetLastError(kUntouched);
        LONG high = m.high;
        const DWORD low = SetFilePointer(file.get(), m.distance, &high, m.method);
        const DWORD error = m.position < 0 ? DWORD(-m.position) : low == ~0u ? ERROR_SUCCESS : kUntouched;
        EXPECT_EQ(low, m.position < 0 ? ~0u : DWORD(m.position & 0xFFFFFFFF));
        EXPECT_EQ(GetLastError(), error);
        EXPECT_EQ(high, m.position < 0 ? m.high : static_cast<LONG>(m.position >> 32));
    }
    char buffer[16] = {};
    DWORD done = 99;
    for (const char* rest : {"89", ""}) {
        EXPECT_TRUE(ReadFile(file.get(), buffer, sizeof buffer, &done, nullptr));
        EXPECT_EQ(std::string(buffer, done), rest);
    }
    EXPECT_TRUE(WriteFile(file.get(), "ab", 2, &done, nullptr));
    EXPECT_EQ(done, 2u);
    EXPECT_EQ(get("file"), "0123456789ab");
}

TEST_F(Files, EachCallKnowsTheDrives) {
    const TestHome& home = TestHome::instance();
    const std::string onDrive = home.path() / "drive_c/dir";
    EXPECT_TRUE(WdMakeFolder((onDrive + "/below/").c_str())); // which takes a path, as does the next one
    home.write("drive_c/dir/file", "on the drive");
    EXPECT_EQ(errorOf(WdMakeFolder((onDrive + "/file").c_str())), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(openError("C:\\dir\\file", GENERIC_READ), ERROR_SUCCESS);
    EXPECT_EQ(GetFileAttributesA("C:\\dir\\below"), DWORD{FILE_ATTRIBUTE_DIRECTORY});
    EXPECT_EQ(GetFileAttributesA("C:\\dir\\file"), DWORD{FILE_ATTRIBUTE_NORMAL});
    EXPECT_EQ(errorOf(GetFileAttributesA("C:\\dir\\none") != INVALID_FILE_ATTRIBUTES), ERROR_FILE_NOT_FOUND);
    EXPECT_TRUE(CopyFileA("C:\\dir\\file", "C:\\dir\\copy", FALSE));
    EXPECT_TRUE(WdReplaceContent((onDrive + "/more").c_str(), "content", 7));
    EXPECT_TRUE(ReplaceFileA("C:\\dir\\copy", "C:\\dir\\more", nullptr, 0, nullptr, nullptr));
    EXPECT_EQ(home.read("drive_c/dir/copy"), "content");
    EXPECT_TRUE(DeleteFileA("C:\\dir\\file"));
    EXPECT_EQ(errorOf(DeleteFileA("C:\\dir\\file")), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(errorOf(DeleteFileA("C:\\dir")), ERROR_ACCESS_DENIED);
}

TEST_F(Files, TemporaryNames) {
    umask(0);
    const fs::path made = TestHome::instance().path() / "drive_c/t";
    fs::create_directories(made);
    for (const std::string given : {"C:\\t", "C:/t/"}) {
        const std::string name = temporary(given, "urlong");
        const std::string start = given + (given == "C:\\t" ? "\\url" : "url");
        ASSERT_TRUE(name.starts_with(start) && name.ends_with(".tmp")) << name;
        const std::string number = name.substr(start.size(), 8);
        EXPECT_EQ(number.find_first_not_of("0123456789ABCDEF"), std::string::npos) << name;
        EXPECT_EQ(statusOf(made / ("url" + number + ".tmp")).st_mode, S_IFREG | 0600u);
        EXPECT_TRUE(DeleteFileA(name.c_str())) << "the name leads back to the file";
    }
    const struct {
        std::string folder;
        DWORD error;
        int link; // the error of linkat; 0: succeeds
    } rows[] = {
        {"C:\\none", ERROR_DIRECTORY, 0},
        {"", ERROR_DIRECTORY, 0}, // not the working directory
        {std::string(MAX_PATH - 9, 'n'), ERROR_FILENAME_EXCED_RANGE, 0},
        {"C:\\t", ERROR_SUCCESS, EEXIST}, // a name that is taken is skipped
    };
    for (const auto& row : rows) {
        ASSERT_TRUE(WdTestFailCall("linkat", row.link != 0 ? 1 : 0, row.link));
        EXPECT_EQ(errorOf(!temporary(row.folder, "url").empty()), row.error) << row.folder.substr(0, 20);
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(made), {}), 1);
    std::array<char, MAX_PATH> formed{};
    EXPECT_EQ(GetTempFileNameA("C:\\t", "url", 0x12345, formed.data()), 0x2345u);
    EXPECT_STREQ(formed.data(), "C:\\t\\url2345.tmp");

    // In code page 932 the last byte of this folder's name is that of a backslash. In a child, since it changes the
    // home.
    fs::create_directories(TestHome::instance().path() / "drive_c/\xE3\x82\xBD");
    EXPECT_EQ(Child([] {
                  setenv("WARDLET_ACP", "932", 1);
                  WdTestRereadEnvironment();
                  return temporary("C:\\\x83\\", "url").substr(0, 9) == "C:\\\x83\\\\url" ? 0 : 1;
              }).wait(),
              0);
}

// The creator holds the file from creation to its own end, in use or not; a child that outlives it doesn't.
TEST_F(Files, ATemporaryFileOfADeadProcessIsRemovedByTheNext) {
    for (const char* others : {"url0000000.tmp", "url0000000G.tmp", "url00000000", "adr00000000.tmp", "kept"})
        put(others, "");
    const auto files = [&] { return std::distance(fs::directory_iterator(folder), {}); };
    Pipe done;
    const Pipe made;
    Child maker([&] {
        const std::string name = temporary(folder.string(), "url");
        done.closeSender();
        if (fork() == 0) {
            made.signal();
            done.await();
            _exit(0);
        }
        CloseHandle(open(name, kBoth, CREATE_ALWAYS, 0).release());
        made.signal();
        return pause();
    });
    ASSERT_TRUE(made.await() && made.await());
    EXPECT_NE(temporary(folder.string(), "url"), "");
    EXPECT_EQ(files(), 7) << "one that lives was robbed";
    // A look at files that are held must not take the lock by which their makers open them.
    EXPECT_EQ(Child([&] {
                  WdTestFailCall("flock", 1, 0);
                  return DeleteFileA(temporary(folder.string(), "url").c_str()) != FALSE ? 0 : 1;
              }).wait(),
              0);
    maker.kill();
    const auto before = openDescriptors();
    const std::string own = temporary(folder.string(), "urlong");
    EXPECT_EQ(files(), 7) << "the dead one's is there yet";
    EXPECT_EQ(replace("kept", own), ERROR_SUCCESS);
    EXPECT_EQ(openDescriptors(), before) << "held no longer";
    EXPECT_TRUE(open(at("kept"), GENERIC_READ, OPEN_EXISTING, 0)) << GetLastError();
    done.closeSender();
}

// In a home without a group new files are private to their creator, with one they belong to the group, whatever the
// umask.
TEST_F(Files, WhatIsMadeBelongsToWhomTheHomeDoes) {
    umask(0);
    put("wide", "x", 0666);
    put("narrow", "x", 0600);
    for (const bool group : {false, true}) {
        if (group) {
            giveHomeToGroup();
            ASSERT_EQ(chmod(folder.c_str(), 0777), 0); // without setgid, so nothing inherits the group
            umask(077);
        }
        open(at("new"), kBoth, CREATE_NEW);
        const std::string temp = temporary(folder.string(), "url");
        EXPECT_EQ(copy("wide", "copy") + copy("narrow", "narrow copy"), 0u);
        EXPECT_TRUE(WdReplaceContent(at("content").c_str(), "x", 1) && WdMakeFolder(at("a/b").c_str()));
        const struct {
            std::string name;
            unsigned alone;
            unsigned shared;
        } made[] = {
            {"new", 0600, 0660},     {"copy", 0600, 0660}, {"narrow copy", 0600, 0600},
            {"content", 0600, 0660}, {"a", 0700, 02770},   {temp.substr(temp.rfind('\\') + 1), 0600, 0660},
        };
        for (const auto& row : made) {
            const struct stat status = statusOf(at(row.name));
            EXPECT_EQ(status.st_mode & 07777, group ? row.shared : row.alone) << row.name;
            EXPECT_TRUE(!group || row.shared == row.alone || geteuid() != 0 || status.st_gid == kHomeGroup) << row.name;
            fs::remove_all(at(row.name));
        }
    }
    WdTestFailCall("fchown", 1, EIO);
    EXPECT_FALSE(open(at("new"), kBoth, CREATE_NEW));
    EXPECT_FALSE(fs::exists(at("new"))) << "whom it doesn't belong to would find it";
}

} // namespace
