// The registry when the system doesn't help: failing system calls, damaged or missing files, no right to write, a map
// that must grow or has been grown elsewhere, fork.
#include <ExhaustedMemory.h>
#include <TestHome.h>
#include <TestKey.h>

#include <gtest/gtest.h>

#include <platform/registry_batch.h>
#include <platform/testing.h>
#include <platform/win32.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

// Runs something in a process of its own and gives its exit status; a signal is 1000 and its number.
int inChild(const std::function<int()>& body) {
    const pid_t child = fork();
    if (child == 0)
        _exit(body());
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

// A home that no process has open yet.
class RegistryFault : public testing::Test {
  protected:
    RegistryFault() : m_home(TestHome::instance().path() / "fault") { useHome(m_home); }
    ~RegistryFault() override { fs::remove_all(m_home); }

    static void useHome(const fs::path& home) {
        setenv("WARDLET_HOME", home.c_str(), 1);
        WdTestRereadEnvironment();
    }
    fs::path registry(const char* file = "") const { return m_home / "registry" / file; }
    // A registry with one key in it, left by a process that has ended.
    void makeRegistry() const {
        ASSERT_EQ(inChild([] { return TestKey::create("Key").set("v", 1) == 0 ? 0 : 1; }), 0);
    }
    static LONG openError(const char* path) {
        HKEY handle = nullptr;
        const LONG error = RegOpenKeyExA(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &handle);
        if (error == 0)
            RegCloseKey(handle);
        return error;
    }

    fs::path m_home;
};

TEST_F(RegistryFault, EachFailingStepOfTheFirstOpeningIsToldAndTheNextCallGoesOn) {
    const char* calls[] = {"open",  "stat",  "fcntl_lock", "ftruncate", "pwrite", "pread", "fallocate",
                           "mkdir", "chmod", "fchmod",     "rename",    "unlink", "write", "fcntl_setfd"};
    for (const char* call : calls)
        for (int nth = 1; nth <= 3; ++nth) {
            const int status = inChild([&] {
                if (WdTestFailCall(call, nth, ENOSPC) == FALSE)
                    return 3;
                const TestKey key = TestKey::create("A\\B");
                if (!key && GetLastError() != ERROR_DISK_FULL)
                    return static_cast<int>(GetLastError() % 100);
                return TestKey::create("A\\B").set("v", 1) == 0 ? 0 : 1;
            });
            EXPECT_EQ(status, 0) << call << ' ' << nth;
            EXPECT_EQ(inChild([] { return TestKey::open("A\\B").number("v") == 1u ? 0 : 1; }), 0) << call << ' ' << nth;
            fs::remove_all(m_home);
        }
}

TEST_F(RegistryFault, DyingAtEachStepOfTheFirstOpeningLeavesAHomeForTheNext) {
    const char* calls[] = {"open",  "fcntl_lock", "ftruncate", "pwrite", "pread",  "fallocate",
                           "mkdir", "chmod",      "fchmod",    "rename", "unlink", "write"};
    for (const char* call : calls)
        for (int nth = 1; nth <= 4; ++nth) {
            inChild([&] {
                WdTestFailCall(call, nth, 0);
                TestKey::create("A\\B");
                return 0;
            });
            EXPECT_EQ(inChild([] { return TestKey::create("A\\B").set("v", 1) == 0 ? 0 : 1; }), 0)
                << call << ' ' << nth;
            EXPECT_FALSE(fs::exists(registry("data.new")));
            fs::remove_all(m_home);
        }
}

// Whether each key below `key` that is listed can be opened.
bool listsWhatIsThere(const TestKey& key) {
    char name[256];
    for (DWORD index = 0, length = sizeof name;; ++index, length = sizeof name) {
        const LONG error = RegEnumKeyExA(key.get(), index, name, &length, nullptr, nullptr, nullptr, nullptr);
        if (error != 0)
            return error == static_cast<LONG>(ERROR_NO_MORE_ITEMS);
        const TestKey below = TestKey::open(name, KEY_READ, key.get());
        if (!below || !listsWhatIsThere(below))
            return false;
    }
}

// Each kind of change, in batches and alone; 0, or the first error.
LONG writeAndDelete() {
    const auto failed = [] { return static_cast<LONG>(GetLastError()); };
    {
        RegistryBatch batch;
        const TestKey deep = TestKey::create("A\\Deep\\Key");
        const TestKey flat = TestKey::create("B");
        if (!deep || !flat || deep.set("v", 1) != 0 || flat.set("v", 1) != 0 || batch.end() != 0)
            return failed();
    }
    const TestKey flat = TestKey::open("B", KEY_ALL_ACCESS);
    if (!flat || flat.set("w", 2) != 0 || RegDeleteValueA(flat.get(), "w") != 0)
        return failed();
    RegistryBatch batch(WD_BATCH_ALL_OR_NOTHING);
    RegDeleteValueA(flat.get(), "v");
    RegDeleteKeyA(HKEY_LOCAL_MACHINE, "A\\Deep\\Key");
    return batch.end();
}

// From the first call of a process on. The process that met it lives on, and holds nothing that another one waits for.
TEST_F(RegistryFault, WhereverMemoryRunsOutTheCallFailsAndNothingIsHalf) {
    if (!ExhaustedMemory::kIsPossible)
        GTEST_SKIP() << "the sanitizer's operator new can't be replaced";
    constexpr int kNotMet = 77;
    int status = 0;
    int nth = 0;
    for (; status == 0; ++nth) {
        status = inChild([&] {
            LONG result = 0;
            bool met = false;
            {
                const ExhaustedMemory exhausted(nth);
                result = writeAndDelete();
                met = ExhaustedMemory::wasMet();
            }
            if (!met)
                return result == 0 ? kNotMet : 2;
            if (result != 0 && result != static_cast<LONG>(ERROR_NOT_ENOUGH_MEMORY))
                return 3;
            return inChild([] {
                alarm(10);
                return writeAndDelete() == 0 && listsWhatIsThere(TestKey::open("")) ? 0 : 1;
            });
        });
        fs::remove_all(m_home);
    }
    EXPECT_EQ(status, kNotMet) << nth;
}

TEST_F(RegistryFault, WithoutThePageThatForksWipeChildrenAreNoticedToo) {
    EXPECT_EQ(inChild([] {
                  WdTestFailCall("madvise", 1, EINVAL);
                  const TestKey key = TestKey::create("Key");
                  if (key.set("v", 1) != 0)
                      return 1;
                  return inChild([&] { return key.number("v") == 1u && key.set("v", 2) == 0 ? 0 : 2; });
              }),
              0);
    EXPECT_EQ(TestKey::open("Key").number("v"), 2u);
}

// The descriptor that the engine writes a commit's last page through: an error there leaves its environment unusable.
int commitDescriptor(const fs::path& data) {
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        const int file = std::stoi(entry.path().filename());
        if (fs::read_symlink(entry.path(), gone) == data && (fcntl(file, F_GETFL) & O_DSYNC) != 0)
            return file;
    }
    return -1;
}

TEST_F(RegistryFault, AfterAFatalErrorTheDatabaseIsOpenedAgain) {
    setenv("WARDLET_DURABILITY", "disk", 1);
    useHome(m_home);
    const TestKey key = TestKey::create("Key");
    ASSERT_EQ(key.set("v", 1), 0);
    for (DWORD round = 1; round <= 3; ++round) {
        const int descriptor = commitDescriptor(registry("data.mdb"));
        ASSERT_GE(descriptor, 0);
        const int unwritable = open("/dev/null", O_RDONLY | O_CLOEXEC);
        ASSERT_EQ(dup2(unwritable, descriptor), descriptor);
        close(unwritable);
        EXPECT_EQ(key.set("v", 100), static_cast<LONG>(ERROR_REGISTRY_IO_FAILED)) << "told, not tried again";
        EXPECT_EQ(key.number("v"), round);
        if (round % 2 == 0) {
            RegistryBatch batch;
            EXPECT_EQ(key.set("v", round + 1), 0);
            EXPECT_EQ(batch.end(), 0);
        } else {
            EXPECT_EQ(key.set("v", round + 1), 0);
        }
        EXPECT_EQ(inChild([&] { return key.number("v") == round + 1 ? 0 : 1; }), 0);
    }
    setenv("WARDLET_DURABILITY", "process", 1);
}

TEST_F(RegistryFault, ADamagedDataFileIsAnErrorAndStaysAsItIs) {
    makeRegistry();
    const auto size = fs::file_size(registry("data.mdb"));
    const struct {
        const char* what;
        std::function<void()> damage;
    } cases[] = {
        {"empty", [&] { fs::resize_file(registry("data.mdb"), 0); }},
        {"half a head", [&] { fs::resize_file(registry("data.mdb"), 100); }},
        {"one head page", [&] { fs::resize_file(registry("data.mdb"), 4096); }},
        {"zeros", [&] { std::ofstream(registry("data.mdb"), std::ios::binary) << std::string(size, '\0'); }},
        {"other text", [&] { std::ofstream(registry("data.mdb"), std::ios::binary) << std::string(size, 'x'); }},
        {"cut behind its heads", [&] { fs::resize_file(registry("data.mdb"), 8192); }},
    };
    for (const auto& c : cases) {
        const fs::path saved = registry("saved");
        fs::copy_file(registry("data.mdb"), saved);
        c.damage();
        const int status = inChild([] {
            const LONG error = openError("Key");
            const bool told =
                error == static_cast<LONG>(ERROR_BADDB) || error == static_cast<LONG>(ERROR_REGISTRY_CORRUPT);
            return told && !TestKey::create("New") ? 0 : 1;
        });
        EXPECT_EQ(status, 0) << c.what;
        EXPECT_EQ(inChild([] { return TestKey::open("Key") ? 1 : 0; }), 0)
            << c.what << ": nothing was made in its place";
        fs::remove(registry("data.mdb"));
        fs::rename(saved, registry("data.mdb"));
        EXPECT_EQ(inChild([] { return openError("Key"); }), 0) << c.what;
    }
}

// As a copy over the file does it: shorter for a moment, then with its content again.
TEST_F(RegistryFault, ADataFileMadeShorterFailsTheCallAndLaterOnesLookAnew) {
    constexpr auto kBad = static_cast<LONG>(ERROR_BADDB);
    const TestKey key = TestKey::create("Key");
    ASSERT_EQ(key.set("v", 1), 0);
    ASSERT_EQ(key.setBytes("large", std::string(1 << 16, 'x')), 0);
    const auto whole = fs::file_size(registry("data.mdb"));
    for (const std::uintmax_t length : {std::uintmax_t{0}, std::uintmax_t{4096}, std::uintmax_t{8192}, whole / 2})
        for (const char* call : {"read", "write", "batch"}) {
            const std::string content = TestHome::instance().read("fault/registry/data.mdb");
            const int status = inChild([&] {
                if (key.number("v") != 1u)
                    return 1;
                RegistryBatch batch(WD_BATCH_ALL_OR_NOTHING);
                if (*call == 'b' ? key.set("w", 2) != 0 : batch.end() != 0)
                    return 2;
                fs::resize_file(registry("data.mdb"), length);
                const LONG error = *call == 'r' ? (key.bytes("large"), static_cast<LONG>(GetLastError()))
                                                : key.setBytes("large", std::string(1 << 17, 'y'));
                const LONG ended = *call == 'b' ? batch.end() : error;
                std::ofstream(registry("data.mdb"), std::ios::binary) << content;
                if (ended != kBad)
                    return 3;
                return key.number("v") == 1u && key.set("w", 3) == 0 && key.bytes("large")->size() == 1 << 16 ? 0 : 4;
            });
            EXPECT_EQ(status, 0) << call << ' ' << length;
        }
}

// Something printed into it, say. Its users go on; a new one is told what is wrong, and the next first one mends it.
TEST_F(RegistryFault, ANamespaceFileWithOtherContentIsToldAsThat) {
    ASSERT_EQ(TestKey::create("Key").set("v", 1), 0);
    for (const std::string& content : {""s, "4:5"s, "other text\n"s, std::string(5000, '7')}) {
        std::ofstream(registry("namespace"), std::ios::binary) << content;
        EXPECT_EQ(inChild([] { return openError("Key") == static_cast<LONG>(ERROR_INVALID_DATA) ? 0 : 1; }), 0)
            << content.size();
    }
    EXPECT_EQ(TestKey::open("Key").number("v"), 1u);
}

// A data file that disappears under running users is not made anew beside them.
TEST_F(RegistryFault, ARemovedDataFileIsNotReplacedWhileOthersUseIt) {
    ASSERT_EQ(TestKey::create("Key").set("v", 1), 0);
    fs::remove(registry("data.mdb"));
    EXPECT_EQ(inChild([] { return openError("Key") == static_cast<LONG>(ERROR_BADDB) ? 0 : 1; }), 0);
    EXPECT_FALSE(fs::exists(registry("data.mdb")));
}

TEST_F(RegistryFault, AMalformedRecordIsToldAndTheRestGoesOn) {
    // The record of "Odd" is found by its value's text in the data file and spoilt there, past the engine.
    ASSERT_EQ(inChild([] {
                  return TestKey::create("Odd").setBytes("v", "marker of this test") == 0 &&
                                 TestKey::create("Even").set("v", 2) == 0
                             ? 0
                             : 1;
              }),
              0);
    std::string bytes = TestHome::instance().read("fault/registry/data.mdb");
    std::size_t found = 0;
    for (auto at = bytes.find("marker of this test"); at != std::string::npos;
         at = bytes.find("marker of this test", at + 1)) {
        const auto record = bytes.rfind("WRK1", at);
        ASSERT_NE(record, std::string::npos);
        bytes[record + 16] = '\x7f'; // the number of values
        ++found;
    }
    ASSERT_GT(found, 0u);
    std::ofstream(registry("data.mdb"), std::ios::binary) << bytes;
    constexpr auto kCorrupt = static_cast<LONG>(ERROR_REGISTRY_CORRUPT);
    EXPECT_EQ(openError("Odd"), kCorrupt);
    EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, "Odd"), kCorrupt);
    EXPECT_EQ(TestKey::open("Even").number("v"), 2u);
    EXPECT_EQ(TestKey::create("Another").set("v", 3), 0);
}

TEST_F(RegistryFault, StrangersGetErrorFive) {
    if (geteuid() != 0)
        GTEST_SKIP() << "needs to become somebody else";
    makeRegistry();
    fs::permissions(m_home.parent_path(), fs::perms::owner_all | fs::perms::others_exec | fs::perms::group_exec);
    EXPECT_EQ(inChild([] {
                  if (setgid(65534) != 0 || setuid(65534) != 0)
                      return 2;
                  const bool denied = openError("Key") == static_cast<LONG>(ERROR_ACCESS_DENIED);
                  return denied && !TestKey::create("Key") && GetLastError() == ERROR_ACCESS_DENIED ? 0 : 1;
              }),
              0);
}

TEST_F(RegistryFault, AFullDiskIs112AndLosesNothing) {
    const TestKey key = TestKey::create("Key");
    ASSERT_EQ(key.set("v", 1), 0);
    const int status = inChild([&] {
        // The file must not grow any further: what a full disk does, for this process alone.
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{fs::file_size(registry("data.mdb")), RLIM_INFINITY};
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0)
            return 2;
        const LONG error = key.setBytes("large", std::string(1 << 19, 'x'));
        if (error != static_cast<LONG>(ERROR_DISK_FULL))
            return 3;
        return key.number("v") == 1u && !key.bytes("large") ? 0 : 4;
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(key.setBytes("large", std::string(1 << 19, 'x')), 0);
    EXPECT_EQ(key.number("v"), 1u);
}

std::string big(int number) {
    return std::string("big").append(std::to_string(number));
}

TEST_F(RegistryFault, AMapGrownByOneProcessIsFollowedByTheOthers) {
    const TestKey key = TestKey::create("Key");
    ASSERT_EQ(key.set("v", 1), 0);
    int start[2];
    ASSERT_EQ(pipe(start), 0);
    const pid_t grower = fork(); // before there are threads, which sanitizers want
    if (grower == 0) {
        char byte = 0;
        bool good = read(start[0], &byte, 1) == 1;
        for (int i = 0; i < 40; ++i)
            good = good && TestKey::create(big(i).c_str()).setBytes("v", std::string(1 << 20, 'x')) == 0;
        _exit(good ? 0 : 1);
    }
    std::atomic<bool> stop{false};
    std::atomic<int> wrong{0};
    std::thread reader([&] { // reads while this process takes over the larger map
        while (!stop)
            wrong += key.number("v") == 1u ? 0 : 1;
    });
    EXPECT_EQ(write(start[1], "", 1), 1);
    int status = -1;
    waitpid(grower, &status, 0);
    EXPECT_EQ(status, 0);
    close(start[0]);
    close(start[1]);
    EXPECT_EQ(TestKey::open(big(39).c_str()).bytes("v"), std::string(1 << 20, 'x'));
    EXPECT_EQ(key.set("w", 2), 0);
    stop = true;
    reader.join();
    EXPECT_EQ(wrong, 0);
}

TEST_F(RegistryFault, AChildOfAForkGoesOnWithItsParentsKeys) {
    const TestKey key = TestKey::create("Key");
    ASSERT_EQ(key.set("v", 1), 0);
    EXPECT_EQ(inChild([&] {
                  if (key.number("v") != 1u || key.set("v", 2) != 0)
                      return 1;
                  return inChild([&] { return key.number("v") == 2u && key.set("w", 3) == 0 ? 0 : 2; });
              }),
              0);
    EXPECT_EQ(key.number("v"), 2u);
    EXPECT_EQ(key.number("w"), 3u);
    EXPECT_EQ(key.set("v", 4), 0) << "the parent's own environment is untouched";
}

TEST_F(RegistryFault, HomesAreApartAndAKeyStaysWithItsOwn) {
    const TestKey here = TestKey::create("Key");
    ASSERT_EQ(here.set("v", 1), 0);
    useHome(m_home / "nested");
    EXPECT_EQ(openError("Key"), static_cast<LONG>(ERROR_FILE_NOT_FOUND));
    const TestKey there = TestKey::create("Key");
    ASSERT_EQ(there.set("v", 2), 0);
    EXPECT_EQ(here.number("v"), 1u);
    fs::create_directory_symlink(m_home, TestHome::instance().path() / "alias");
    useHome(TestHome::instance().path() / "alias"); // another name of the first home: one environment serves both
    EXPECT_EQ(TestKey::open("Key", KEY_ALL_ACCESS).set("v", 3), 0);
    EXPECT_EQ(here.number("v"), 3u);
}

TEST_F(RegistryFault, FilesOfAHomeWithAGroupAreTheGroups) {
    fs::create_directory(m_home);
    ASSERT_EQ(chmod(m_home.c_str(), 02755), 0);
    const mode_t mask = umask(077);
    makeRegistry();
    umask(mask);
    for (const char* file : {"data.mdb", "lock.mdb", "namespace"}) {
        struct stat status {};
        ASSERT_EQ(stat(registry(file).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0660u) << file;
    }
}

TEST_F(RegistryFault, TheLockFileHasItsSpaceBeforeItIsMapped) {
    makeRegistry();
    struct stat status {};
    ASSERT_EQ(stat(registry("lock.mdb").c_str(), &status), 0);
    EXPECT_GE(status.st_size, 2048 * 64);
    EXPECT_GE(status.st_blocks * 512, status.st_size);
}

} // namespace
