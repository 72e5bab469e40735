// Files by their handles: what opens and what doesn't, sharing, positions, temporary names, attributes.
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
constexpr DWORD kUntouched = 77; // last error of before a call

class Files : public TestFiles {
  protected:
    static DWORD openError(const fs::path& name, DWORD access, DWORD disposition = OPEN_EXISTING,
                           DWORD share = kShareAll) {
        return errorOf(open(name, access, disposition, share));
    }
    static std::string temporary(const std::string& folder, const char* prefix, UINT unique = 0) {
        std::array<char, MAX_PATH> buffer{};
        return GetTempFileNameA(folder.c_str(), prefix, unique, buffer.data()) != 0 ? buffer.data() : "";
    }
};

TEST_F(Files, WhatIsThereDecidesWithTheDisposition) {
    const std::string none = "no file";
    struct Outcome {
        DWORD error; // of the call, or what a success leaves
        std::string content;
    };
    const struct {
        DWORD disposition;
        Outcome ofNone;
        Outcome ofOld;
    } rows[] = {
        {CREATE_NEW, {ERROR_SUCCESS, ""}, {ERROR_FILE_EXISTS, "old"}},
        {CREATE_ALWAYS, {ERROR_SUCCESS, ""}, {ERROR_ALREADY_EXISTS, ""}},
        {OPEN_EXISTING, {ERROR_FILE_NOT_FOUND, none}, {ERROR_SUCCESS, "old"}},
        {OPEN_ALWAYS, {ERROR_SUCCESS, ""}, {ERROR_ALREADY_EXISTS, "old"}},
        {TRUNCATE_EXISTING, {ERROR_FILE_NOT_FOUND, none}, {ERROR_SUCCESS, ""}},
        {0, {ERROR_INVALID_PARAMETER, none}, {ERROR_INVALID_PARAMETER, "old"}},
        {6, {ERROR_INVALID_PARAMETER, none}, {ERROR_INVALID_PARAMETER, "old"}},
    };
    fs::create_symlink("file", at("link"));
    for (const auto& row : rows)
        for (const bool isThere : {false, true})
            for (const std::string name : {"file", "link"}) {
                SCOPED_TRACE(testing::Message() << row.disposition << (isThere ? " there " : " not there ") << name);
                fs::remove(at("file"));
                if (isThere)
                    put("file", "old");
                Outcome expected = isThere ? row.ofOld : row.ofNone;
                if (row.disposition == CREATE_NEW && name == "link") // which is there itself
                    expected = {ERROR_FILE_EXISTS, isThere ? "old" : none};
                SetLastError(kUntouched);
                const Handle handle = open(at(name), kBoth, row.disposition);
                EXPECT_EQ(GetLastError(), expected.error);
                EXPECT_EQ(handle != nullptr, expected.error == ERROR_SUCCESS || expected.error == ERROR_ALREADY_EXISTS);
                EXPECT_EQ(fs::exists(at("file")) ? get("file") : none, expected.content);
            }
}

// A pipe must not make the caller wait, nor a device be written to.
TEST_F(Files, OnlyFilesOpenAndOnlyByWholeRequests) {
    fs::create_directory(at("folder"));
    ASSERT_EQ(mkfifo(at("pipe").c_str(), 0600), 0);
    fs::create_symlink("loop", at("loop"));
    const fs::path file = put("file", "old");
    const auto before = openDescriptors();
    for (const DWORD access : {GENERIC_READ, GENERIC_WRITE, kBoth})
        for (const DWORD disposition : {CREATE_ALWAYS, OPEN_EXISTING, OPEN_ALWAYS}) {
            for (const auto& name : {at("folder"), at("pipe"), at("loop"), fs::path("/dev/null")})
                EXPECT_EQ(openError(name, access, disposition), ERROR_ACCESS_DENIED) << name << access << disposition;
            for (const auto& name : {at("none") / "file", file / "file"})
                EXPECT_EQ(openError(name, access, disposition), ERROR_PATH_NOT_FOUND) << name;
        }
    EXPECT_EQ(openError(std::string(300, 'n'), GENERIC_READ, OPEN_ALWAYS), ERROR_FILENAME_EXCED_RANGE);
    EXPECT_EQ(openError(file, 0), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(Files, Attributes) {
    fs::create_directory(at("folder"));
    put("file", "");
    put("read-only", "", 0466);
    fs::create_symlink("none", at("dangling"));
    const std::pair<const char*, DWORD> rows[] = {
        // attributes, or the error
        {"folder", FILE_ATTRIBUTE_DIRECTORY},   {"file", FILE_ATTRIBUTE_NORMAL},
        {"read-only", FILE_ATTRIBUTE_READONLY}, {"dangling", ERROR_FILE_NOT_FOUND},
        {"none/file", ERROR_PATH_NOT_FOUND},    {"file/file", ERROR_PATH_NOT_FOUND},
    };
    for (const auto& [name, expected] : rows) {
        const DWORD attributes = GetFileAttributesA(at(name).c_str());
        EXPECT_EQ(attributes == INVALID_FILE_ATTRIBUTES ? GetLastError() : attributes, expected) << name;
    }
}

// A program that a caller starts has none of the layer's files.
TEST_F(Files, NothingOutlivesAnExec) {
    const auto descriptors = [] {
        std::vector<int> numbers;
        for (const auto& entry : fs::directory_iterator("/proc/self/fd"))
            numbers.push_back(std::stoi(entry.path().filename()));
        std::erase_if(numbers, [](int number) { return fcntl(number, F_GETFD) < 0; }); // the walk's own
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
    // A child of a fork has the descriptor too, and neither takes the lock from its parent nor keeps it.
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
    for (const HANDLE handle : {HANDLE{nullptr}, stale, event.get(), reads.get(), writes.get()}) {
        const DWORD error =
            handle == reads.get() || handle == writes.get() ? ERROR_ACCESS_DENIED : ERROR_INVALID_HANDLE;
        char buffer[8] = {};
        DWORD done = 99;
        if (handle != reads.get()) {
            EXPECT_EQ(errorOf(ReadFile(handle, buffer, 1, &done, nullptr)), error);
        }
        if (handle != writes.get()) {
            EXPECT_EQ(errorOf(WriteFile(handle, "x", 1, &done, nullptr)), error);
        }
        EXPECT_EQ(done, 0u);
        EXPECT_EQ(SetFilePointer(handle, 0, nullptr, FILE_BEGIN), error == ERROR_ACCESS_DENIED ? 0 : ~0u);
    }
    EXPECT_EQ(waitFor(reads), WAIT_FAILED);
    EXPECT_EQ(get("file"), "content");
}

TEST_F(Files, ReadsWritesAndPositions) {
    const fs::path name = put("file", "0123456789");
    const Handle file = open(name, kBoth);
    constexpr LONG kNone = 0x55; // no high half given
    const struct {
        LONG distance;
        LONG high;
        DWORD method;
        std::int64_t position; // or minus the error
    } moves[] = {
        {4, kNone, FILE_BEGIN, 4},
        {3, kNone, FILE_CURRENT, 7},
        {-8, kNone, FILE_CURRENT, -std::int64_t{ERROR_NEGATIVE_SEEK}},
        {0, kNone, 3, -std::int64_t{ERROR_INVALID_PARAMETER}},
        {-2, kNone, FILE_CURRENT, 5}, // no failure moved it
        {-1, -1, FILE_END, 9},
        {-1, 0, FILE_BEGIN, 0xFFFFFFFF}, // looks like the failure
        {2, kNone, FILE_CURRENT, 0x1'0000'0001},
        {-2, -2, FILE_CURRENT, -std::int64_t{ERROR_NEGATIVE_SEEK}},
        {-1, 0x7FFFFFFF, FILE_CURRENT, -std::int64_t{ERROR_INVALID_PARAMETER}}, // farther than there are numbers
        {8, kNone, FILE_BEGIN, 8},
    };
    for (const auto& m : moves) {
        SCOPED_TRACE(testing::Message() << m.distance << ' ' << m.high << ' ' << m.method);
        SetLastError(kUntouched);
        LONG high = m.high;
        const DWORD low = SetFilePointer(file.get(), m.distance, m.high == kNone ? nullptr : &high, m.method);
        const DWORD error = m.position < 0 ? DWORD(-m.position) : low == ~0u ? ERROR_SUCCESS : kUntouched;
        EXPECT_EQ(low, m.position < 0 ? ~0u : DWORD(m.position & 0xFFFFFFFF));
        EXPECT_EQ(GetLastError(), error);
        EXPECT_EQ(high, m.position < 0 || m.high == kNone ? m.high : static_cast<LONG>(m.position >> 32));
    }
    char buffer[16] = {};
    DWORD done = 99;
    for (const char* rest : {"89", ""}) {
        EXPECT_TRUE(ReadFile(file.get(), buffer, sizeof buffer, &done, nullptr));
        EXPECT_EQ(std::string(buffer, done), rest);
    }
    EXPECT_TRUE(WriteFile(file.get(), "ab", 2, &done, nullptr));
    EXPECT_EQ(done, 2u);
    SetFilePointer(file.get(), -11, nullptr, FILE_CURRENT);
    EXPECT_TRUE(WriteFile(file.get(), "X", 1, nullptr, nullptr));
    EXPECT_EQ(get("file"), "0X23456789ab");
}

TEST_F(Files, FailingSystemCallsAreTold) {
    const Handle file = open(put("file", "old"), kBoth);
    char buffer[4] = {};
    DWORD done = 0;
    const auto opens = [&] { return openError(at("file"), kBoth, CREATE_ALWAYS); };
    const auto reads = [&] { return errorOf(ReadFile(file.get(), buffer, 3, &done, nullptr)); };
    const auto writes = [&] { return errorOf(WriteFile(file.get(), "new", 3, &done, nullptr)); };
    const std::pair<const char*, std::function<DWORD()>> rows[] = {
        {"fstat", opens}, {"flock", opens}, {"ftruncate", opens}, {"read", reads}, {"write", writes}};
    const auto before = openDescriptors();
    for (const auto& [call, act] : rows) {
        ASSERT_TRUE(WdTestFailCall(call, 1, EIO));
        EXPECT_EQ(act(), ERROR_REGISTRY_IO_FAILED) << call;
        EXPECT_EQ(get("file"), "old") << call;
        EXPECT_EQ(openDescriptors(), before) << call;
    }
    ASSERT_TRUE(WdTestFailCall("read", 1, EINTR) && WdTestFailCall("write", 1, EINTR));
    EXPECT_EQ(reads(), ERROR_SUCCESS);
    EXPECT_STREQ(buffer, "old");
    EXPECT_EQ(writes(), ERROR_SUCCESS);
    EXPECT_EQ(get("file"), "oldnew");
}

TEST_F(Files, EachCallKnowsTheDrives) {
    const TestHome& home = TestHome::instance();
    EXPECT_TRUE(WdMakeFolder("C:\\dir\\below\\"));
    home.write("drive_c/dir/file", "on the drive");
    EXPECT_EQ(errorOf(WdMakeFolder("C:\\dir\\file")), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(openError("C:\\dir\\file", GENERIC_READ), ERROR_SUCCESS);
    EXPECT_EQ(GetFileAttributesA("C:\\dir\\below"), DWORD{FILE_ATTRIBUTE_DIRECTORY});
    EXPECT_TRUE(CopyFileA("C:\\dir\\file", "C:\\dir\\copy", FALSE));
    EXPECT_TRUE(WdReplaceContent("C:\\dir\\more", "content", 7));
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
    for (const std::string given : {"C:\\t", "C:\\t\\", "C:/t/"}) {
        const std::string name = temporary(given, "urlong");
        const std::string start = given + (given == "C:\\t" ? "\\url" : "url");
        ASSERT_TRUE(name.starts_with(start) && name.ends_with(".tmp")) << name;
        const std::string number = name.substr(start.size(), 8);
        EXPECT_EQ(number.find_first_not_of("0123456789ABCDEF"), std::string::npos) << name;
        EXPECT_EQ(statusOf(made / ("url" + number + ".tmp")).st_mode, S_IFREG | 0600u);
        EXPECT_TRUE(DeleteFileA(name.c_str())) << "the name leads back to the file";
    }
    EXPECT_EQ(temporary("C:\\t", "e", 0xAB), "C:\\t\\eAB.tmp");
    EXPECT_EQ(temporary(std::string(MAX_PATH - 10, 'n'), "url", 0xA).size(), MAX_PATH - 1u);
    EXPECT_TRUE(fs::is_empty(made)) << "a given number makes no file";

    const struct {
        std::string folder;
        UINT unique;
        DWORD error;
        int link; // how that call fails
    } rows[] = {
        {"C:\\none", 0, ERROR_PATH_NOT_FOUND, 0},
        {"", 0, ERROR_PATH_NOT_FOUND, 0}, // not the working directory
        {put("file", "").string(), 0, ERROR_PATH_NOT_FOUND, 0},
        {std::string(MAX_PATH - 9, 'n'), 0xA, ERROR_FILENAME_EXCED_RANGE, 0}, // "\urlA.tmp" makes it MAX_PATH
        {"C:\\t", 0, ERROR_DISK_FULL, ENOSPC},
        {"C:\\t", 0, ERROR_SUCCESS, EEXIST}, // a name that is taken is passed over
    };
    for (const auto& row : rows) {
        ASSERT_TRUE(WdTestFailCall("linkat", row.link != 0 ? 1 : 0, row.link));
        EXPECT_EQ(errorOf(!temporary(row.folder, "url", row.unique).empty()), row.error) << row.folder.substr(0, 20);
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(made), {}), 1);

    // The last byte of this folder's name in its code page is that of a backslash. In a child: it changes the home.
    fs::create_directories(TestHome::instance().path() / "drive_c/\xE3\x82\xBD");
    EXPECT_EQ(Child([] {
                  setenv("WARDLET_ACP", "932", 1);
                  WdTestRereadEnvironment();
                  return temporary("C:\\\x83\\", "url").substr(0, 9) == "C:\\\x83\\\\url" ? 0 : 1;
              }).wait(),
              0);
}

// Held from its making to its end, in use or not, by its maker alone: not by a child that outlives him.
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
    maker.kill();
    const auto before = openDescriptors();
    const std::string own = temporary(folder.string(), "urlong");
    EXPECT_EQ(files(), 7) << "the dead one's is there yet";
    EXPECT_EQ(replace("kept", own), ERROR_SUCCESS);
    EXPECT_EQ(openDescriptors(), before) << "held no longer";
    EXPECT_TRUE(open(at("kept"), GENERIC_READ, OPEN_EXISTING, 0)) << GetLastError();
    done.closeSender();
}

// Without a group of the home what is made is its maker's alone, with one it is the group's, whatever the mask is.
TEST_F(Files, WhatIsMadeBelongsToWhomTheHomeDoes) {
    umask(0);
    put("wide", "x", 0666);
    put("narrow", "x", 0600);
    for (const bool group : {false, true}) {
        if (group) {
            giveHomeToGroup();
            ASSERT_EQ(chmod(folder.c_str(), 0777), 0); // one that hands nothing on
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
}

} // namespace
