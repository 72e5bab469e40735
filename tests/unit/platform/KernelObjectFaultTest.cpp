// Kernel objects when the system doesn't help: each system call failing in turn, and files under objects' names that
// are no objects of this layout, held by somebody or by nobody.
#include <TestObject.h>

#include <gtest/gtest.h>

#include <platform/testing.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <memory>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

class KernelObjectFault : public testing::Test {
  protected:
    KernelObjectFault() { useFreshHome(); }
    ~KernelObjectFault() override {
        for (const char* call : kCalls)
            WdTestFailCall(call, 0, 0);
    }

    // All that the objects call.
    static constexpr const char* kCalls[] = {"openat",    "fcntl_lock", "fstat", "fstatat",  "fchmod",
                                             "ftruncate", "fallocate",  "mmap",  "unlinkat", "futex_wait",
                                             "open",      "mkdir",      "chmod", "rename",   "munmap"};
};

// The header of an object's file, as it stands there.
struct Header {
    std::uint32_t magic;
    std::uint16_t version;
    std::uint16_t kind;
    std::uint32_t parameter;
    std::uint32_t reserved;
    std::uint64_t bytes;
};
static_assert(sizeof(Header) == 24);

enum class Hold { Nobody, Reader, Writer };

constexpr std::uint32_t kMagic = 0x4F4B4457;
constexpr std::uint16_t kMutex = 1;
constexpr std::uint16_t kMapping = 4;
constexpr Header kGood{kMagic, 1, kMapping, 0, 0, 5000};
constexpr std::size_t kSize = std::size_t{3} * 4096;

// A file under an object's name that another process made. While it is held, the object exists.
class ForeignFile {
  public:
    ForeignFile(const std::string& name, const Header& header, std::size_t size, Hold hold)
        : m_file(open((objectsFolder() / name).c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600)) {
        std::string content(size, '\xA5');
        std::memcpy(content.data(), &header, std::min(size, sizeof header));
        EXPECT_EQ(write(m_file, content.data(), size), static_cast<ssize_t>(size));
        struct flock lock {};
        lock.l_type = hold == Hold::Writer ? F_WRLCK : F_RDLCK;
        lock.l_len = 1;
        EXPECT_TRUE(hold == Hold::Nobody || fcntl(m_file, F_OFD_SETLK, &lock) == 0);
    }
    ~ForeignFile() { close(m_file); }
    ForeignFile(const ForeignFile&) = delete;
    ForeignFile& operator=(const ForeignFile&) = delete;

  private:
    int m_file;
};

struct Failure {
    const char* call;
    int error;
    DWORD told;
};

TEST_F(KernelObjectFault, EachFailingStepIsToldAndTheNextTryGoesOn) {
    const Failure kFailures[] = {
        {"openat", EACCES, ERROR_ACCESS_DENIED},      {"openat", ENFILE, ERROR_NOT_ENOUGH_MEMORY},
        {"openat", ENOSPC, ERROR_DISK_FULL},          {"fcntl_lock", ENOLCK, ERROR_REGISTRY_IO_FAILED},
        {"fstat", EIO, ERROR_REGISTRY_IO_FAILED},     {"fchmod", EPERM, ERROR_ACCESS_DENIED},
        {"ftruncate", EIO, ERROR_REGISTRY_IO_FAILED}, {"fallocate", ENOSPC, ERROR_DISK_FULL},
        {"fallocate", EDQUOT, ERROR_DISK_FULL},       {"mmap", ENOMEM, ERROR_NOT_ENOUGH_MEMORY},
    };
    Everybody everybody;
    const Handle other = makeMutex("other"); // so that the home is there, and only the object's own steps fail
    const struct {
        const char* name;
        std::function<Handle()> create;
        bool leftover; // a file is there already
        int atLeast;   // steps that can fail, some in several ways
    } kObjects[] = {
        {"fresh", [] { return makeMutex("fresh"); }, false, 9},
        {"everybody's", [&] { return makeEvent("everybody's", true, true, everybody.get()); }, false, 9},
        {"larger", [] { return makeMapping("larger", 100'000); }, true, 9},
    };
    // An open that finds nobody takes away what is kept of a closed object, and what a failure left; but for a file
    // that everybody may use.
    const auto isNobodys = [](const char* name) {
        const bool opened = Handle(OpenMutexA(MUTEX_ALL_ACCESS, FALSE, name)) != nullptr;
        auto files = objectFiles();
        std::erase(files, "everybody's");
        return !opened && GetLastError() == ERROR_FILE_NOT_FOUND && files == std::vector<std::string>{"other"};
    };
    for (const auto& object : kObjects) {
        int failed = 0;
        for (const Failure& failure : kFailures) {
            for (int nth = 1; nth < 10; ++nth) {
                if (object.leftover)
                    std::ofstream(objectsFolder() / object.name) << "left by a creator that died";
                ASSERT_TRUE(WdTestFailCall(failure.call, nth, failure.error));
                Handle made = object.create();
                const DWORD error = GetLastError();
                WdTestFailCall(failure.call, 0, 0);
                const bool last = made != nullptr;
                if (!last) {
                    ++failed;
                    EXPECT_EQ(error, failure.told) << object.name << ' ' << failure.call << ' ' << nth;
                    EXPECT_TRUE(isNobodys(object.name)) << object.name << ' ' << failure.call << ' ' << nth;
                    made = object.create();
                    EXPECT_NE(made, nullptr) << object.name << ' ' << failure.call << ' ' << nth;
                    EXPECT_EQ(GetLastError(), ERROR_SUCCESS) << object.name << ' ' << failure.call << ' ' << nth;
                }
                made.reset();
                EXPECT_TRUE(isNobodys(object.name)) << object.name << ' ' << failure.call << ' ' << nth;
                if (last)
                    break;
            }
        }
        EXPECT_GE(failed, object.atLeast) << object.name;
    }
}

TEST_F(KernelObjectFault, JoiningFailsAsTheSystemDoes) {
    const Failure kFailures[] = {{"openat", EACCES, ERROR_ACCESS_DENIED},
                                 {"fcntl_lock", ENOLCK, ERROR_REGISTRY_IO_FAILED},
                                 {"fstat", EIO, ERROR_REGISTRY_IO_FAILED},
                                 {"mmap", ENOMEM, ERROR_NOT_ENOUGH_MEMORY}};
    for (const Failure& failure : kFailures) {
        useFreshHome();
        makeMutex("other").reset();
        const ForeignFile file("map", kGood, kSize, Hold::Reader);
        int nth = 1;
        for (; nth < 10; ++nth) {
            ASSERT_TRUE(WdTestFailCall(failure.call, nth, failure.error));
            const Handle tried(OpenFileMappingA(FILE_MAP_READ, FALSE, "map"));
            const DWORD error = GetLastError();
            WdTestFailCall(failure.call, 0, 0);
            if (tried)
                break;
            EXPECT_EQ(error, failure.told) << failure.call << ' ' << nth;
        }
        EXPECT_GT(nth, 1) << failure.call;
        EXPECT_LT(nth, 10) << failure.call;
    }
}

TEST_F(KernelObjectFault, TheFirstObjectOfAHomeFailsAndTheNextTryGoesOn) {
    const int kError = ENOSPC;
    int failed = 0;
    for (const char* call : kCalls)
        for (int nth = 1; nth <= 8; ++nth) {
            useFreshHome();
            ASSERT_TRUE(WdTestFailCall(call, nth, kError)) << call;
            const Handle tried = makeMutex("m");
            const DWORD error = GetLastError();
            WdTestFailCall(call, 0, 0);
            if (tried)
                continue;
            ++failed;
            // Locks that can't be asked for look like a process table in use.
            const bool byLocks = std::string_view(call) == "fcntl_lock" && error == ERROR_INVALID_DATA;
            EXPECT_TRUE(error == ERROR_DISK_FULL || byLocks) << error << ' ' << call << ' ' << nth;
            const Handle next = makeMutex("m");
            EXPECT_NE(next, nullptr) << call << ' ' << nth;
            EXPECT_EQ(GetLastError(), ERROR_SUCCESS) << call << ' ' << nth;
        }
    EXPECT_GE(failed, 15);
}

// Whoever waits for the creator of one object keeps nobody from another one.
TEST_F(KernelObjectFault, AForeignLockStopsNobodyElse) {
    makeMutex("other");
    auto creator = std::make_unique<ForeignFile>("slow", Header{}, 4096, Hold::Writer);
    Handle slow;
    std::thread waiting([&] { slow = makeMutex("slow"); });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_NE(makeMutex("another"), nullptr);
    creator.reset();
    waiting.join();
    EXPECT_NE(slow, nullptr) << "waited for longer than a creator is given";
}

// The system may break off a long reservation for a signal; a caller can't be asked to try again.
TEST_F(KernelObjectFault, AnInterruptedReservationGoesOn) {
    makeMutex("other").reset();
    ASSERT_TRUE(WdTestFailCall("fallocate", 1, EINTR));
    EXPECT_NE(makeMapping("m", 1 << 20), nullptr) << GetLastError();
}

TEST_F(KernelObjectFault, AWaitThatTheSystemRefusesFails) {
    const Handle event = makeEvent("e", false, false);
    for (const int error : {ENOSYS, EFAULT}) {
        ASSERT_TRUE(WdTestFailCall("futex_wait", 1, error));
        EXPECT_EQ(waitFor(event, INFINITE), WAIT_FAILED);
        EXPECT_EQ(GetLastError(), ERROR_REGISTRY_IO_FAILED);
    }
    for (const int error : {EINTR, EAGAIN, ETIMEDOUT}) {
        ASSERT_TRUE(WdTestFailCall("futex_wait", 1, error));
        EXPECT_EQ(waitFor(event, 1), WAIT_TIMEOUT);
    }
    SetEvent(event.get());
    EXPECT_EQ(waitFor(event, INFINITE), WAIT_OBJECT_0);
}

TEST_F(KernelObjectFault, NoMemoryForAnObjectWithoutAName) {
    const Handle first = makeMutex(nullptr);
    ASSERT_TRUE(WdTestFailCall("mmap", 1, ENOMEM));
    EXPECT_EQ(makeMutex(nullptr), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_NE(makeMutex(nullptr), nullptr);
}

TEST_F(KernelObjectFault, FilesOfOthersAreJoinedRefusedOrLaidDownAfresh) {
    constexpr DWORD kBytes = 5000;
    const struct {
        const char* what;
        Header header;
        std::size_t size;
        Hold hold;
        DWORD error;
    } kCases[] = {
        {"whole, held", kGood, kSize, Hold::Reader, ERROR_ALREADY_EXISTS},
        {"whole, held by nobody", kGood, kSize, Hold::Nobody, 0},
        {"newer, held", {kMagic, 2, kMapping, 0, 0, 5000}, kSize, Hold::Reader, ERROR_INVALID_DATA},
        {"newer, held by nobody", {kMagic, 2, kMapping, 0, 0, 5000}, kSize, Hold::Nobody, 0},
        {"no kind, held", {kMagic, 1, 77, 0, 0, 5000}, kSize, Hold::Reader, ERROR_INVALID_HANDLE},
        {"another kind, held", {kMagic, 1, kMutex, 0, 0, 5000}, kSize, Hold::Reader, ERROR_INVALID_HANDLE},
        {"too few bytes", {kMagic, 1, kMapping, 0, 0, 4999}, kSize, Hold::Reader, ERROR_ACCESS_DENIED},
        {"more bytes than there are", {kMagic, 1, kMapping, 0, 0, ~0ull}, 2 * 4096, Hold::Reader, ERROR_ACCESS_DENIED},
        {"garbage, held by nobody", {1, 2, 3, 4, 5, 6}, kSize, Hold::Nobody, 0},
        {"longer, held by nobody", {1, 2, 3, 4, 5, 6}, 100 * 4096, Hold::Nobody, 0},
        {"empty, held by nobody", {}, 0, Hold::Nobody, 0},
        {"an odd length, held by nobody", kGood, 17, Hold::Nobody, 0},
        {"empty, held", {}, 0, Hold::Reader, ERROR_INVALID_DATA}, // after a second of tries
    };
    makeMutex("other").reset();
    for (const auto& row : kCases) {
        {
            const ForeignFile file("map", row.header, row.size, row.hold);
            if (row.hold == Hold::Nobody) {
                EXPECT_EQ(Handle(OpenFileMappingA(FILE_MAP_READ, FALSE, "map")), nullptr) << row.what;
                EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND) << row.what;
            }
        }
        fs::remove(objectsFolder() / "map");
        const ForeignFile file("map", row.header, row.size, row.hold);
        const Handle mapping = makeMapping("map", kBytes);
        EXPECT_EQ(GetLastError(), row.error) << row.what;
        EXPECT_EQ(mapping != nullptr, row.error == 0 || row.error == ERROR_ALREADY_EXISTS) << row.what;
        if (mapping) {
            const View<char> view = viewOf<char>(mapping, kBytes);
            ASSERT_NE(view, nullptr) << row.what;
            const char expected = row.error == 0 ? '\0' : '\xA5';
            EXPECT_EQ(std::string(view.get(), kBytes), std::string(kBytes, expected)) << row.what;
        }
        fs::remove(objectsFolder() / "map");
    }
}

// A link or a thing of another kind under an object's name is never written to, followed or waited for.
TEST_F(KernelObjectFault, WhatIsNoFileOfItsOwnIsRefused) {
    makeMutex("other").reset();
    const fs::path victim = TestHome::instance().write("victim", std::string(5000, 'v'));
    const fs::path name = objectsFolder() / "m";
    const struct {
        const char* what;
        std::function<void()> make;
    } kCases[] = {
        {"a symbolic link", [&] { fs::create_symlink(victim, name); }},
        {"a symbolic link to nothing", [&] { fs::create_symlink("nothing", name); }},
        {"a hard link", [&] { fs::create_hard_link(victim, name); }},
        {"a pipe", [&] { ASSERT_EQ(mkfifo(name.c_str(), 0666), 0); }},
        {"a directory", [&] { fs::create_directory(name); }},
        {"a socket",
         [&] {
             struct sockaddr_un address {};
             address.sun_family = AF_UNIX;
             ASSERT_LT(name.string().size(), sizeof address.sun_path);
             std::strcpy(address.sun_path, name.c_str());
             const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
             ASSERT_EQ(bind(socket, reinterpret_cast<struct sockaddr*>(&address), sizeof address), 0);
             close(socket);
         }},
    };
    for (const auto& row : kCases) {
        row.make();
        EXPECT_EQ(makeMapping("m", 100), nullptr) << row.what;
        EXPECT_EQ(GetLastError(),
                  std::string_view(row.what) == "a socket" ? ERROR_REGISTRY_IO_FAILED : ERROR_ACCESS_DENIED)
            << row.what;
        EXPECT_EQ(Handle(OpenFileMappingA(FILE_MAP_READ, FALSE, "m")), nullptr) << row.what;
        EXPECT_TRUE(fs::is_symlink(name) || fs::exists(name)) << row.what << " isn't ours to remove";
        EXPECT_EQ(TestHome::instance().read("victim"), std::string(5000, 'v')) << row.what;
        fs::remove(name);
        EXPECT_NE(makeMapping("m", 100), nullptr) << row.what;
        EXPECT_EQ(GetLastError(), ERROR_SUCCESS) << row.what;
        fs::remove(name);
    }
    EXPECT_FALSE(fs::exists(objectsFolder() / "nothing"));
}

} // namespace
