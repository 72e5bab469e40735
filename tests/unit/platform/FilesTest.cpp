// Files by their handles: what opens and what doesn't, sharing, positions, temporary names, attributes.
#include <Child.h>
#include <TestFiles.h>

#include <platform/file_content.h>

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace {

namespace fs = std::filesystem;

constexpr DWORD kBoth = GENERIC_READ | GENERIC_WRITE;
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE;

class Files : public TestFiles {
  protected:
    static DWORD openError(const fs::path& name, DWORD access, DWORD disposition = OPEN_EXISTING,
                           DWORD share = kShareAll) {
        return open(name, access, disposition, share) ? ERROR_SUCCESS : GetLastError();
    }
};

TEST_F(Files, WhatIsThereDecidesWithTheDisposition) {
    const struct {
        DWORD disposition;
        bool there;
        DWORD error; // of the call, or what a success leaves
        bool opens;
        const char* content;
    } cases[] = {
        {CREATE_NEW, false, ERROR_SUCCESS, true, ""},
        {CREATE_NEW, true, ERROR_FILE_EXISTS, false, "old"},
        {CREATE_ALWAYS, false, ERROR_SUCCESS, true, ""},
        {CREATE_ALWAYS, true, ERROR_ALREADY_EXISTS, true, ""},
        {OPEN_EXISTING, false, ERROR_FILE_NOT_FOUND, false, nullptr},
        {OPEN_EXISTING, true, ERROR_SUCCESS, true, "old"},
        {OPEN_ALWAYS, false, ERROR_SUCCESS, true, ""},
        {OPEN_ALWAYS, true, ERROR_ALREADY_EXISTS, true, "old"},
        {TRUNCATE_EXISTING, false, ERROR_FILE_NOT_FOUND, false, nullptr},
        {TRUNCATE_EXISTING, true, ERROR_SUCCESS, true, ""},
        {0, true, ERROR_INVALID_PARAMETER, false, "old"},
        {6, true, ERROR_INVALID_PARAMETER, false, "old"},
        {0xFFFFFFFF, false, ERROR_INVALID_PARAMETER, false, nullptr},
    };
    umask(027);
    for (const auto& c : cases)
        for (const bool link : {false, true}) {
            SCOPED_TRACE(testing::Message() << c.disposition << (c.there ? " there" : "") << (link ? " link" : ""));
            const fs::path file = at("file");
            const fs::path name = link ? at("link") : file;
            fs::remove(file);
            fs::remove(at("link"));
            if (c.there)
                put("file", "old");
            if (link)
                fs::create_symlink("file", name);
            const bool refused = link && c.disposition == CREATE_NEW; // the link itself is there
            SetLastError(77);
            const Handle handle = open(name, kBoth, c.disposition);
            EXPECT_EQ(GetLastError(), refused ? ERROR_FILE_EXISTS : c.error);
            EXPECT_EQ(handle != nullptr, c.opens && !refused);
            EXPECT_EQ(fs::exists(file), c.content != nullptr && (c.there || !refused));
            if (fs::exists(file)) {
                EXPECT_EQ(get("file"), c.content);
            }
            if (handle != nullptr && !c.there) {
                EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
            }
        }
}

// A pipe must not make the caller wait, nor a device be written to.
TEST_F(Files, OnlyFilesOpenAndOnlyByWholeRequests) {
    fs::create_directory(at("folder"));
    ASSERT_EQ(mkfifo(at("pipe").c_str(), 0600), 0);
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{AF_UNIX, {}};
    at("socket").native().copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    close(listener);
    fs::create_symlink("loop", at("loop"));
    const fs::path file = put("file", "old");
    const auto before = openDescriptors();
    for (const DWORD access : {GENERIC_READ, GENERIC_WRITE, kBoth})
        for (const DWORD disposition : {CREATE_ALWAYS, OPEN_EXISTING, OPEN_ALWAYS}) {
            for (const auto& name : {at("folder"), at("pipe"), at("socket"), at("loop"), fs::path("/dev/null")})
                EXPECT_EQ(openError(name, access, disposition), ERROR_ACCESS_DENIED) << name << access << disposition;
            EXPECT_EQ(openError(at("none") / "file", access, disposition), ERROR_PATH_NOT_FOUND);
            EXPECT_EQ(openError(file / "file", access, disposition), ERROR_PATH_NOT_FOUND);
        }
    EXPECT_EQ(openError(std::string(300, 'n'), GENERIC_READ, OPEN_ALWAYS), ERROR_FILENAME_EXCED_RANGE);
    EXPECT_EQ(openError(file, 0), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(CreateFileA(nullptr, GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(Files, SharingKeepsOthersOutUntilTheHandleOrItsProcessIsGone) {
    const fs::path file = put("file", "old");
    constexpr DWORD kModes[] = {0, FILE_SHARE_READ, FILE_SHARE_WRITE, kShareAll};
    for (const DWORD first : kModes)
        for (const DWORD second : kModes) {
            const Handle held = open(file, GENERIC_READ, OPEN_EXISTING, first);
            ASSERT_TRUE(held);
            const DWORD expected = first != 0 && second != 0 ? ERROR_SUCCESS : ERROR_SHARING_VIOLATION;
            EXPECT_EQ(openError(file, GENERIC_READ, OPEN_EXISTING, second), expected) << first << ' ' << second;
            const auto elsewhere = [&] { return static_cast<int>(openError(file, kBoth, OPEN_ALWAYS, second)); };
            EXPECT_EQ(Child(elsewhere).wait(), static_cast<int>(expected)) << first << ' ' << second;
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
    Child child([&] {
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
    Handle file = open(name, kBoth);
    const Handle event = makeEvent(nullptr, true, true);
    Handle closed = open(name, kBoth);
    const HANDLE stale = closed.get();
    closed.reset();
    char buffer[8] = {};
    DWORD done = 99;
    for (const HANDLE wrong : {HANDLE{nullptr}, INVALID_HANDLE_VALUE, stale, event.get(), HANDLE{buffer}}) {
        const auto refuses = [&](bool failed) { return failed && GetLastError() == ERROR_INVALID_HANDLE; };
        SetLastError(0);
        EXPECT_TRUE(refuses(!ReadFile(wrong, buffer, 1, &done, nullptr)));
        SetLastError(0);
        EXPECT_TRUE(refuses(!WriteFile(wrong, "x", 1, &done, nullptr)));
        SetLastError(0);
        EXPECT_TRUE(refuses(SetFilePointer(wrong, 0, nullptr, FILE_BEGIN) == INVALID_SET_FILE_POINTER));
        EXPECT_EQ(done, 0u);
        SetLastError(0);
        if (wrong != event.get()) {
            EXPECT_TRUE(refuses(!CloseHandle(wrong)));
        }
    }
    EXPECT_EQ(WaitForSingleObject(file.get(), 0), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_FALSE(SetEvent(file.get()) || ReleaseMutex(file.get()) || ReleaseSemaphore(file.get(), 1, nullptr));
    EXPECT_EQ(MapViewOfFile(file.get(), FILE_MAP_READ, 0, 0, 0), nullptr);
    EXPECT_EQ(WaitForSingleObject(event.get(), 0), WAIT_OBJECT_0);

    const Handle reads = open(name, GENERIC_READ);
    const Handle writes = open(name, GENERIC_WRITE);
    EXPECT_FALSE(WriteFile(reads.get(), "x", 1, &done, nullptr));
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    SetLastError(0);
    EXPECT_FALSE(ReadFile(writes.get(), buffer, 1, &done, nullptr));
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    int overlapped = 0;
    EXPECT_FALSE(ReadFile(file.get(), nullptr, 1, &done, nullptr));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_FALSE(WriteFile(file.get(), nullptr, 1, &done, nullptr));
    EXPECT_FALSE(ReadFile(file.get(), buffer, 1, &done, &overlapped) ||
                 WriteFile(file.get(), "x", 1, &done, &overlapped));
    EXPECT_TRUE(ReadFile(file.get(), nullptr, 0, nullptr, nullptr));
    EXPECT_EQ(get("file"), "content");
    const auto before = openDescriptors();
    EXPECT_TRUE(CloseHandle(file.release()));
    EXPECT_EQ(openDescriptors(), before - 1);
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
        {-2, kNone, FILE_CURRENT, 5},
        {-6, kNone, FILE_CURRENT, -std::int64_t{ERROR_NEGATIVE_SEEK}},
        {-1, kNone, FILE_BEGIN, -std::int64_t{ERROR_NEGATIVE_SEEK}},
        {0, kNone, 3, -std::int64_t{ERROR_INVALID_PARAMETER}},
        {0, kNone, FILE_CURRENT, 5}, // no failure moved it
        {-1, -1, FILE_END, 9},
        {-1, 0, FILE_BEGIN, 0xFFFFFFFF}, // looks like the failure
        {2, kNone, FILE_CURRENT, 0x1'0000'0001},
        {5, 1, FILE_BEGIN, 0x1'0000'0005},
        {-6, -2, FILE_CURRENT, -std::int64_t{ERROR_NEGATIVE_SEEK}},
        {-1, 0x7FFFFFFF, FILE_CURRENT, -std::int64_t{ERROR_INVALID_PARAMETER}}, // farther than there are numbers
        {8, kNone, FILE_BEGIN, 8},
    };
    for (const auto& m : moves) {
        SetLastError(77);
        LONG high = m.high;
        const DWORD low = SetFilePointer(file.get(), m.distance, m.high == kNone ? nullptr : &high, m.method);
        SCOPED_TRACE(testing::Message() << m.distance << ' ' << m.high << ' ' << m.method);
        EXPECT_EQ(low, m.position < 0 ? INVALID_SET_FILE_POINTER : static_cast<DWORD>(m.position & 0xFFFFFFFF));
        const bool looksFailed = low == INVALID_SET_FILE_POINTER;
        const DWORD error = m.position < 0 ? static_cast<DWORD>(-m.position) : looksFailed ? ERROR_SUCCESS : 77;
        EXPECT_EQ(GetLastError(), error);
        if (m.high != kNone) {
            EXPECT_EQ(high, m.position < 0 ? m.high : static_cast<LONG>(m.position >> 32));
        }
    }
    char buffer[16] = {};
    DWORD done = 99;
    EXPECT_TRUE(ReadFile(file.get(), buffer, sizeof buffer, &done, nullptr));
    EXPECT_EQ(std::string(buffer, done), "89");
    EXPECT_TRUE(ReadFile(file.get(), buffer, sizeof buffer, &done, nullptr));
    EXPECT_EQ(done, 0u);
    EXPECT_TRUE(WriteFile(file.get(), "ab", 2, &done, nullptr));
    EXPECT_EQ(done, 2u);
    SetFilePointer(file.get(), -11, nullptr, FILE_CURRENT);
    EXPECT_TRUE(WriteFile(file.get(), "X", 1, nullptr, nullptr));
    EXPECT_EQ(get("file"), "0X23456789ab");
}

TEST_F(Files, FailingSystemCallsAreTold) {
    const fs::path name = put("file", "old");
    const Handle file = open(name, kBoth);
    const auto opens = [&] { return openError(name, kBoth, CREATE_ALWAYS); };
    char buffer[4] = {};
    DWORD done = 0;
    const auto reads = [&] { return ReadFile(file.get(), buffer, 3, &done, nullptr) ? ERROR_SUCCESS : GetLastError(); };
    const auto writes = [&] {
        return WriteFile(file.get(), "new", 3, &done, nullptr) ? ERROR_SUCCESS : GetLastError();
    };
    const struct {
        const char* call;
        int error;
        std::function<DWORD()> act;
        DWORD expected;
    } cases[] = {
        {"open", EMFILE, opens, ERROR_NOT_ENOUGH_MEMORY},
        {"fstat", EIO, opens, ERROR_REGISTRY_IO_FAILED},
        {"flock", EAGAIN, opens, ERROR_SHARING_VIOLATION},
        {"flock", EIO, opens, ERROR_REGISTRY_IO_FAILED},
        {"ftruncate", EIO, opens, ERROR_REGISTRY_IO_FAILED},
        {"read", EIO, reads, ERROR_REGISTRY_IO_FAILED},
        {"read", EINTR, reads, ERROR_SUCCESS},
        {"write", ENOSPC, writes, ERROR_DISK_FULL},
        {"write", EINTR, writes, ERROR_SUCCESS},
    };
    const auto before = openDescriptors();
    for (const auto& c : cases) {
        SetFilePointer(file.get(), 0, nullptr, FILE_BEGIN);
        EXPECT_EQ(get("file"), "old") << c.call;
        ASSERT_TRUE(WdTestFailCall(c.call, 1, c.error));
        EXPECT_EQ(c.act(), c.expected) << c.call << ' ' << c.error;
        EXPECT_EQ(openDescriptors(), before) << c.call;
    }
    EXPECT_EQ(get("file"), "new");
}

TEST_F(Files, DrivesAreFoldersOfTheHome) {
    TestHome::instance().write("drive_c/dir/file", "on the drive");
    TestHome::instance().write("file", "in the home");
    const fs::path plain = TestHome::instance().path();
    const struct {
        std::string name;
        const char* content; // null: not found
    } cases[] = {
        {"C:\\dir\\file", "on the drive"}, {"c:/dir\\.\\file", "on the drive"},
        {"C:dir\\file", "on the drive"},   {"C:\\..\\..\\dir\\file", "on the drive"},
        {"C:\\..\\file", nullptr},         {plain.string() + "\\drive_c\\..\\file", "in the home"},
    };
    for (const auto& c : cases) {
        const Handle file = open(c.name, GENERIC_READ);
        ASSERT_EQ(file != nullptr, c.content != nullptr) << c.name;
        std::array<char, 32> buffer{};
        DWORD done = 0;
        if (file != nullptr && ReadFile(file.get(), buffer.data(), buffer.size(), &done, nullptr) != FALSE) {
            EXPECT_EQ(std::string(buffer.data(), done), c.content) << c.name;
        }
    }
    EXPECT_EQ(openError("D:\\file", kBoth, CREATE_ALWAYS), ERROR_PATH_NOT_FOUND);
    EXPECT_TRUE(CopyFileA("C:\\dir\\file", "C:\\dir\\copy", FALSE));
    EXPECT_TRUE(DeleteFileA("C:\\dir\\file"));
    EXPECT_FALSE(DeleteFileA("C:\\dir\\file"));
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    EXPECT_FALSE(DeleteFileA("C:\\dir"));
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    EXPECT_EQ(TestHome::instance().read("drive_c/dir/copy"), "on the drive");
}

TEST_F(Files, AFolderIsMadeWithThoseAboveIt) {
    put("file", "");
    for (const std::string& name :
         {at("a\\b/c").string(), at("a/b/c/").string(), std::string("E:\\x\\y\\"), at(".").string()})
        EXPECT_TRUE(WdMakeFolder(name.c_str())) << name;
    EXPECT_TRUE(fs::is_directory(at("a/b/c")));
    EXPECT_TRUE(fs::is_directory(TestHome::instance().path() / "drive_e/x/y"));
    for (const char* name : {"file", "file/below"}) {
        EXPECT_FALSE(WdMakeFolder(at(name).c_str())) << name;
        EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND) << name;
    }
    EXPECT_FALSE(WdMakeFolder(nullptr));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

std::string temporary(const std::string& folder, const char* prefix, UINT unique = 0) {
    std::array<char, MAX_PATH> buffer{};
    return GetTempFileNameA(folder.c_str(), prefix, unique, buffer.data()) != 0 ? buffer.data() : "";
}

TEST_F(Files, TemporaryNames) {
    umask(0);
    const fs::path made = TestHome::instance().path() / "drive_c/t";
    fs::create_directories(made);
    const std::string system = made.string();
    for (const auto& [given, start] : {std::pair<std::string, std::string>{"C:\\t", "C:\\t\\url"},
                                       {"C:\\t\\", "C:\\t\\url"},
                                       {"C:/t/", "C:/t/url"},
                                       {system, system + "\\url"},
                                       {system + "/", system + "/url"}}) {
        const std::string name = temporary(given, "urlong");
        ASSERT_EQ(name.substr(0, start.size()), start);
        const std::string rest = name.substr(start.size());
        EXPECT_EQ(rest.find_first_not_of("0123456789ABCDEF"), rest.find(".tmp")) << rest;
        const fs::path file = made / ("url" + rest);
        EXPECT_TRUE(fs::is_regular_file(file) && fs::is_empty(file)) << name;
        EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
        EXPECT_TRUE(DeleteFileA(name.c_str())) << "the name leads back to the file";
    }
    EXPECT_EQ(temporary("C:\\t", "e", 0xAB), "C:\\t\\eAB.tmp");
    EXPECT_EQ(temporary("D:\\none", "", 7), "D:\\none\\7.tmp");
    EXPECT_TRUE(fs::is_empty(made)) << "a given number makes no file";

    const struct {
        std::string folder;
        UINT unique;
        DWORD error;
    } refused[] = {
        {"C:\\none", 0, ERROR_PATH_NOT_FOUND},
        {"", 0, ERROR_PATH_NOT_FOUND}, // not the working directory
        {put("file", "").string(), 0, ERROR_PATH_NOT_FOUND},
        {std::string(MAX_PATH - 9, 'n'), 0xA, ERROR_FILENAME_EXCED_RANGE}, // "\urlA.tmp" makes it MAX_PATH
        {std::string(100'000, 'n'), 0, ERROR_FILENAME_EXCED_RANGE},
    };
    for (const auto& r : refused) {
        EXPECT_EQ(temporary(r.folder, "url", r.unique), "");
        EXPECT_EQ(GetLastError(), r.error) << r.folder.substr(0, 20);
    }
    EXPECT_EQ(temporary(std::string(MAX_PATH - 10, 'n'), "url", 0xA).size(), MAX_PATH - 1u);

    // A name that is taken, by a link too, is passed over.
    ASSERT_TRUE(WdTestFailCall("linkat", 1, EEXIST));
    EXPECT_NE(temporary("C:\\t", "url"), "");
    ASSERT_TRUE(WdTestFailCall("linkat", 1, ENOSPC));
    EXPECT_EQ(temporary("C:\\t", "url"), "");
    EXPECT_EQ(GetLastError(), ERROR_DISK_FULL);
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
    const std::string own = temporary(folder.string(), "urlong");
    EXPECT_EQ(files(), 7) << "the dead one's is there yet";
    EXPECT_EQ(replace("kept", own), ERROR_SUCCESS);
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
        const std::string made[] = {
            "new", "copy", "narrow copy", "content", "a/b", "a", temp.substr(temp.rfind('\\') + 1)};
        EXPECT_EQ(copy("wide", "copy") + copy("narrow", "narrow copy"), 0u);
        EXPECT_TRUE(WdReplaceContent(at("content").c_str(), "x", 1) && WdMakeFolder(at("a/b").c_str()));
        for (const std::string& name : made) {
            const struct stat status = statusOf(at(name));
            const bool shared = group && name != "narrow copy";
            EXPECT_EQ(status.st_mode & 07777, (shared ? 0660u : 0600u) | (name[0] != 'a' ? 0
                                                                          : group        ? 02110
                                                                                         : 0100))
                << name;
            EXPECT_TRUE(!shared || geteuid() != 0 || status.st_gid == kHomeGroup) << name;
            fs::remove_all(at(name));
        }
    }
}

TEST_F(Files, Attributes) {
    fs::create_directory(at("folder"));
    put("file", "");
    put("read-only", "", 0466);
    fs::create_symlink("none", at("dangling"));
    const struct {
        const char* name;
        DWORD attributes;
        DWORD error;
    } cases[] = {
        {"folder", FILE_ATTRIBUTE_DIRECTORY, 77},
        {"file", FILE_ATTRIBUTE_NORMAL, 77},
        {"read-only", FILE_ATTRIBUTE_READONLY, 77},
        {"none", INVALID_FILE_ATTRIBUTES, ERROR_FILE_NOT_FOUND},
        {"dangling", INVALID_FILE_ATTRIBUTES, ERROR_FILE_NOT_FOUND},
        {"none/file", INVALID_FILE_ATTRIBUTES, ERROR_PATH_NOT_FOUND},
        {"file/file", INVALID_FILE_ATTRIBUTES, ERROR_PATH_NOT_FOUND},
    };
    for (const auto& c : cases) {
        SetLastError(77);
        EXPECT_EQ(GetFileAttributesA(at(c.name).c_str()), c.attributes) << c.name;
        EXPECT_EQ(GetLastError(), c.error) << c.name;
    }
    EXPECT_EQ(GetFileAttributesA(nullptr), INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST_F(Files, ModesKeepStrangersOut) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only the administrator can be a stranger";
    const fs::path secret = put("secret", "old", 0600);
    fs::create_directory(at("closed"));
    fs::permissions(at("closed"), fs::perms(0700));
    const fs::path shown = put("shown", "old", 0444);
    EXPECT_EQ(Child([&] {
                  if (!becomeUser(kOneUser, kOneUser))
                      return 100;
                  const auto denied = [](DWORD error) { return error == ERROR_ACCESS_DENIED; };
                  if (!denied(openError(secret, GENERIC_READ)) || !denied(openError(secret, kBoth, CREATE_ALWAYS)))
                      return 1;
                  if (!denied(openError(shown, GENERIC_WRITE)) || openError(shown, GENERIC_READ) != 0)
                      return 2;
                  if (!denied(openError(at("new"), kBoth, CREATE_NEW)) ||
                      !denied(openError(at("closed/new"), kBoth, OPEN_ALWAYS)))
                      return 3;
                  SetLastError(0);
                  if (temporary(folder.string(), "url") != "" || !denied(GetLastError()))
                      return 4;
                  return DeleteFileA(shown.c_str()) == FALSE && denied(GetLastError()) ? 0 : 5;
              }).wait(),
              0);
    EXPECT_EQ(get("secret"), "old");
}

} // namespace
