// Kernel objects when the system fails: each system call failing in turn, and files under objects' names that aren't
// objects of this layout, held by somebody or by nobody.
#include <Child.h>
#include <TestObject.h>

#include <gtest/gtest.h>

#include <platform/robust.h>
#include <platform/testing.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

class KernelObjectFault : public testing::Test {
  protected:
    KernelObjectFault() {
        useFreshHome();
        makeMutex("other").reset(); // creates the home, so that only an object's own steps fail
    }
};

// The header of an object's file.
struct Header {
    std::uint32_t magic;
    std::uint16_t version;
    std::uint16_t kind;
    std::uint32_t parameter;
    std::uint32_t reserved;
    std::uint64_t bytes;
};
static_assert(sizeof(Header) == 24);

constexpr std::uint32_t kMagic = 0x4F4B4457;
constexpr std::uint16_t kMutex = 1;
constexpr std::uint16_t kMapping = 4;
constexpr Header kGood{kMagic, 1, kMapping, 0, 0, 5000};
constexpr std::size_t kSize = std::size_t{3} * 4096;

// A file under an object's name, as if made by another process. While it is held, the object exists.
class ForeignFile {
  public:
    ForeignFile(const std::string& name, const Header& header, std::size_t size, bool isHeld)
        : m_file(open((objectsFolder() / name).c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600)) {
        std::string content(size, '\xA5');
        std::memcpy(content.data(), &header, std::min(size, sizeof header));
        EXPECT_EQ(write(m_file, content.data(), size), static_cast<ssize_t>(size));
        struct flock lock {};
        lock.l_type = F_RDLCK;
        lock.l_len = 1;
        EXPECT_TRUE(!isHeld || fcntl(m_file, F_OFD_SETLK, &lock) == 0);
    }
    ~ForeignFile() { close(m_file); }
    ForeignFile(const ForeignFile&) = delete;
    ForeignFile& operator=(const ForeignFile&) = delete;

  private:
    int m_file;
};

TEST_F(KernelObjectFault, EachFailingStepIsToldAndTheNextTryGoesOn) {
    for (const bool joins : {false, true}) {
        int failed = 0;
        for (const char* call : {"openat", "fcntl_lock", "fstat", "fchmod", "ftruncate", "fallocate", "mmap"})
            for (int nth = 1, made = 0; made == 0; ++nth) {
                SCOPED_TRACE(testing::Message() << call << ' ' << nth << (joins ? " of joining" : " of creating"));
                useFreshHome();
                makeMutex("other").reset();
                const ForeignFile held(joins ? "m" : "another", kGood, kSize, true);
                ASSERT_TRUE(WdTestFailCall(call, nth, EIO));
                made = makeMapping("m", 5000) ? 1 : 0;
                EXPECT_TRUE(made == 1 || GetLastError() == ERROR_REGISTRY_IO_FAILED);
                failed += 1 - made;
                WdTestFailCall(call, 0, 0);
                EXPECT_TRUE(makeMapping("m", 5000));
                EXPECT_EQ(GetLastError(), joins ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
            }
        EXPECT_GE(failed, 5);
    }
}

TEST_F(KernelObjectFault, AWaitThatTheSystemRefusesFails) {
    const Handle event = makeEvent("e", false, false);
    ASSERT_TRUE(WdTestFailCall("futex_wait", 1, ENOSYS));
    EXPECT_EQ(errorOf(waitFor(event, 1) != WAIT_FAILED), ERROR_REGISTRY_IO_FAILED);
    ASSERT_TRUE(WdTestFailCall("futex_wait", 1, EAGAIN));
    EXPECT_EQ(waitFor(event, 1), WAIT_TIMEOUT);
}

TEST_F(KernelObjectFault, FilesOfOthersAreJoinedRefusedOrLaidDownAfresh) {
    constexpr DWORD kBytes = 5000;
    const struct {
        const char* what;
        Header header;
        std::size_t size;
        bool isHeld;
        DWORD error;
    } rows[] = {
        {"whole, held", kGood, kSize, true, ERROR_ALREADY_EXISTS},
        {"whole, held by nobody", kGood, kSize, false, 0},
        {"newer, held", {kMagic, 2, kMapping, 0, 0, 5000}, kSize, true, ERROR_INVALID_DATA},
        {"another kind, held", {kMagic, 1, kMutex, 0, 0, 5000}, kSize, true, ERROR_INVALID_HANDLE},
        {"too few bytes", {kMagic, 1, kMapping, 0, 0, 4999}, kSize, true, ERROR_ACCESS_DENIED},
        {"more bytes than there are", {kMagic, 1, kMapping, 0, 0, ~0ull}, 2 * 4096, true, ERROR_ACCESS_DENIED},
        {"another magic, held", {kMagic + 1, 1, kMapping, 0, 0, 5000}, kSize, true, ERROR_INVALID_DATA},
        {"garbage, longer, held by nobody", {1, 2, 3, 4, 5, 6}, 100 * 4096, false, 0},
        {"empty, held by nobody", {}, 0, false, 0},
        {"empty, held", {}, 0, true, ERROR_INVALID_DATA}, // after trying for a second
    };
    for (const auto& row : rows) {
        if (!row.isHeld) {
            const ForeignFile file("map", row.header, row.size, false);
            EXPECT_EQ(errorOf(Handle(OpenFileMappingA(FILE_MAP_READ, FALSE, "map"))), ERROR_FILE_NOT_FOUND);
        }
        fs::remove(objectsFolder() / "map");
        const ForeignFile file("map", row.header, row.size, row.isHeld);
        const Handle mapping = makeMapping("map", kBytes);
        EXPECT_EQ(GetLastError(), row.error) << row.what;
        EXPECT_EQ(mapping != nullptr, row.error == 0 || row.error == ERROR_ALREADY_EXISTS) << row.what;
        if (const View<char> view = viewOf<char>(mapping, kBytes)) {
            EXPECT_EQ(std::string(view.get(), kBytes), std::string(kBytes, row.error == 0 ? '\0' : '\xA5')) << row.what;
        }
    }
}

// A link, pipe or directory under an object's name is never written to, followed or waited for.
TEST_F(KernelObjectFault, WhatIsNoFileOfItsOwnIsRefused) {
    const fs::path victim = TestHome::instance().write("victim", std::string(5000, 'v'));
    const fs::path name = objectsFolder() / "m";
    const struct {
        const char* what;
        std::function<void()> make;
    } rows[] = {
        {"a symbolic link", [&] { fs::create_symlink(victim, name); }},
        {"a hard link", [&] { fs::create_hard_link(victim, name); }},
        {"a pipe", [&] { ASSERT_EQ(mkfifo(name.c_str(), 0666), 0); }},
        {"a directory", [&] { fs::create_directory(name); }},
    };
    for (const auto& row : rows) {
        row.make();
        EXPECT_EQ(errorOf(makeMapping("m", 100)), ERROR_ACCESS_DENIED) << row.what;
        EXPECT_TRUE(fs::is_symlink(name) || fs::exists(name)) << row.what << " isn't ours to remove";
        EXPECT_EQ(TestHome::instance().read("victim"), std::string(5000, 'v')) << row.what;
        fs::remove(name);
        EXPECT_NE(makeMapping("m", 100), nullptr) << row.what;
        fs::remove(name);
    }
}

// Objects that are too large to be cached end at once. Another process's file of the same name must not be removed, and
// a child that ran no fork handlers keeps no lock.
TEST_F(KernelObjectFault, TheEndOfAnObjectIsItsOwn) {
    constexpr DWORD kLarge = 3u << 20;
    const fs::path name = objectsFolder() / "map";
    Handle mapping = makeMapping("map", kLarge);
    fs::rename(name, objectsFolder() / "away");
    std::ofstream(name) << "another's";
    mapping.reset();
    EXPECT_TRUE(fs::exists(name));
    fs::remove(name);

    Everybody everybody; // makes the file stay for the next object
    mapping = makeMapping("map", kLarge, everybody.get());
    const pid_t child = _Fork();
    if (child == 0) {
        pause();
        _exit(0);
    }
    mapping.reset();
    mapping = makeMapping("map", kLarge, everybody.get());
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS) << "nobody had it any more";
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

// A process counts as dead even if a clone that ran no fork handlers still has its lock.
TEST_F(KernelObjectFault, AProcessIsOverBeforeItsParentHearsOfIt) {
    const Shared<WD_TAG> tag;
    const Shared<pid_t> copy;
    const pid_t process = fork();
    if (process == 0) {
        *tag = WdOwnTag(WD_ROLE_NONE);
        const pid_t made = _Fork();
        if (made == 0)
            _exit(pause());
        *copy = made;
        _exit(0);
    }
    siginfo_t ended{};
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(process), &ended, WEXITED | WNOWAIT), 0);
    EXPECT_FALSE(WdTagIsAlive(*tag));
    kill(*copy, SIGKILL);
    EXPECT_EQ(waitpid(process, nullptr, 0), process);
}

} // namespace
