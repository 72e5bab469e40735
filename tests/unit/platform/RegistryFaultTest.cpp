// The registry when the system doesn't help: failing system calls, damaged or missing files, no right to write, a map
// that must grow or has been grown elsewhere, fork.
#include <TestFiles.h>
#include <TestKey.h>

#include <gtest/gtest.h>

#include <platform/registry_batch.h>
#include <platform/testing.h>
#include <platform/win32.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

constexpr LONG kBad = ERROR_BADDB;
constexpr LONG kCorrupt = ERROR_REGISTRY_CORRUPT;

// Runs something in a process of its own and gives its exit status.
int inChild(const std::function<int()>& body) {
    return Child(body).wait();
}

void putBytes(const fs::path& file, const std::string& bytes) {
    std::ofstream(file, std::ios::binary) << bytes;
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
    void syncWrites(bool syncs = true) const {
        setenv("WARDLET_DURABILITY", syncs ? "disk" : "process", 1);
        useHome(m_home);
    }
    fs::path registry(const char* file = "") const { return m_home / "registry" / file; }
    static std::string data() { return TestHome::instance().read("fault/registry/data.mdb"); }
    // A registry with one key in it, left by a process that has ended.
    void makeRegistry() const {
        ASSERT_EQ(inChild([] { return TestKey::create("Key").set("v", 1) == 0 ? 0 : 1; }), 0);
    }
    static LONG openError(const char* path) {
        HKEY handle = nullptr;
        const LONG error = RegOpenKeyExA(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &handle);
        TestKey{handle};
        return error;
    }

    fs::path m_home;
};

// Each step of making a home fails once, and is once the last one of its process: the next one finishes the home.
TEST_F(RegistryFault, AnyFailingOrLastStepOfTheFirstUseLeavesAHomeForTheNext) {
    const char* calls[] = {"mkdir",      "open",   "openat", "stat",      "fstat",      "flock",
                           "fcntl_lock", "fchmod", "chmod",  "write",     "pwrite",     "fallocate",
                           "fsync",      "rename", "unlink", "ftruncate", "fcntl_setfd"};
    const auto use = [] {
        const bool done = TestKey::create("A\\B") && makeMutex("m");
        return static_cast<int>(errorOf(done));
    };
    for (const std::string_view call : calls) {
        int told = 0;
        syncWrites(call == "fsync");
        for (const int error : {ENOSPC, 0})
            for (int nth = 1; nth <= 4; ++nth) {
                SCOPED_TRACE(testing::Message() << call << ' ' << nth << ' ' << error);
                const int status = inChild([&] {
                    EXPECT_TRUE(WdTestFailCall(call.data(), nth, error));
                    const int first = use();
                    return first != 0 && use() != 0 ? 1 : first; // nor is one failure the process's end
                });
                told += status == ERROR_DISK_FULL ? 1 : 0;
                const bool ended = status == Child::kSignal + SIGKILL && error == 0;
                // Locks that can't be asked for look like a process table in use.
                const bool byLocks = call == "fcntl_lock" && status == ERROR_INVALID_DATA;
                EXPECT_TRUE(status == 0 || status == ERROR_DISK_FULL || ended || byLocks) << status;
                EXPECT_EQ(inChild(use), 0);
                EXPECT_EQ(std::distance(fs::directory_iterator(m_home), {}), 3) << "settings, registry and objects";
                EXPECT_FALSE(fs::exists(registry("data.new")));
                fs::remove_all(m_home);
            }
        EXPECT_TRUE(call != "fsync" || told == 3) << "the settings, the home and the registry's folder: " << told;
    }
}

// A child tells itself from its parent by a page that a fork wipes, or by its number where there is none.
TEST_F(RegistryFault, AChildOfAForkGoesOnWithItsParentsKeys) {
    for (const int isMissing : {0, 1}) {
        const auto parent = [&] {
            WdTestFailCall("madvise", isMissing, EINVAL);
            const TestKey key = TestKey::create("Key");
            const auto child = [&] { return key.number("v") == 1u && key.set("v", 2) == 0 ? 0 : 1; };
            return key.set("v", 1) == 0 && inChild(child) == 0 && key.number("v") == 2u && key.set("w", 3) == 0 ? 0 : 1;
        };
        EXPECT_EQ(inChild(parent), 0);
    }
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
    syncWrites();
    const TestKey key = TestKey::create("Key");
    ASSERT_EQ(key.set("v", 1), 0);
    for (DWORD round = 1; round <= 3; ++round) {
        const int descriptor = commitDescriptor(registry("data.mdb"));
        ASSERT_GE(descriptor, 0);
        const int unwritable = open("/dev/null", O_RDONLY | O_CLOEXEC);
        ASSERT_EQ(dup2(unwritable, descriptor), descriptor);
        close(unwritable);
        EXPECT_EQ(key.set("v", 100), LONG{ERROR_REGISTRY_IO_FAILED}) << "told, not tried again";
        EXPECT_EQ(key.number("v"), round);
        if (round == 2)
            WdRegBeginBatch(WD_BATCH_KEEP_WRITTEN);
        EXPECT_EQ(key.set("v", round + 1), 0);
        EXPECT_EQ(WdRegEndBatch(), 0);
        EXPECT_EQ(inChild([&] { return key.number("v") == round + 1 ? 0 : 1; }), 0);
    }
}

TEST_F(RegistryFault, ADamagedDataFileIsAnErrorAndStaysAsItIs) {
    makeRegistry();
    const std::string whole = data();
    for (const std::string& damaged : {""s, whole.substr(0, 100), whole.substr(0, 4096), whole.substr(0, 8192),
                                       std::string(whole.size(), '\0'), std::string(whole.size(), 'x')}) {
        putBytes(registry("data.mdb"), damaged);
        for (int process = 0; process < 2; ++process) // the first one makes nothing in its place
            EXPECT_EQ(inChild([] {
                          const LONG error = openError("Key");
                          return (error == kBad || error == kCorrupt) && !TestKey::create("New") ? 0 : 1;
                      }),
                      0)
                << damaged.size();
        putBytes(registry("data.mdb"), whole);
        EXPECT_EQ(inChild([] { return static_cast<int>(openError("Key")); }), 0) << damaged.size();
    }
}

// As a copy over the file does it: shorter for a moment, then with its content again.
TEST_F(RegistryFault, ADataFileMadeShorterFailsTheCallAndLaterOnesLookAnew) {
    const TestKey key = TestKey::create("Key");
    ASSERT_EQ(key.set("v", 1), 0);
    ASSERT_EQ(key.setBytes("large", std::string(1 << 16, 'x')), 0);
    const auto whole = fs::file_size(registry("data.mdb"));
    for (const std::uintmax_t length : {std::uintmax_t{0}, std::uintmax_t{4096}, std::uintmax_t{8192}, whole / 2})
        for (const std::string_view call : {"read", "write", "batch"}) {
            const std::string content = data();
            const int status = inChild([&] {
                if (key.number("v") != 1u)
                    return 1;
                RegistryBatch batch(WD_BATCH_ALL_OR_NOTHING);
                if ((call == "batch" ? key.set("w", 2) : batch.end()) != 0)
                    return 2;
                fs::resize_file(registry("data.mdb"), length);
                const LONG error = call == "read" ? (key.bytes("large"), static_cast<LONG>(GetLastError()))
                                                  : key.setBytes("large", std::string(1 << 17, 'y'));
                const LONG ended = call == "batch" ? batch.end() : error;
                putBytes(registry("data.mdb"), content);
                if (ended != kBad)
                    return 3;
                return key.number("v") == 1u && key.set("w", 3) == 0 && key.bytes("large")->size() == 1 << 16 ? 0 : 4;
            });
            EXPECT_EQ(status, 0) << call << ' ' << length;
        }
}

// What something else did to the files: its users go on, a new one is told what is wrong.
TEST_F(RegistryFault, FilesThatAreChangedWhileOthersUseThem) {
    ASSERT_EQ(TestKey::create("Key").set("v", 1), 0);
    for (const std::string& content : {""s, "4:5"s, "other text\n"s, std::string(5000, '7')}) {
        putBytes(registry("namespace"), content);
        EXPECT_EQ(inChild([] { return static_cast<int>(openError("Key")); }), ERROR_INVALID_DATA) << content.size();
    }
    EXPECT_EQ(TestKey::open("Key").number("v"), 1u);
}

// A data file that disappears under running users is not made anew beside them.
TEST_F(RegistryFault, ARemovedDataFileIsNotReplacedWhileOthersUseIt) {
    ASSERT_EQ(TestKey::create("Key").set("v", 1), 0);
    fs::remove(registry("data.mdb"));
    EXPECT_EQ(inChild([] { return openError("Key") == kBad ? 0 : 1; }), 0);
    EXPECT_FALSE(fs::exists(registry("data.mdb")));
}

// The record of "Odd" is found by its value's text in the data file and spoilt there, past the engine.
TEST_F(RegistryFault, AMalformedRecordIsToldAndTheRestGoesOn) {
    const std::string marker = "marker of this test";
    ASSERT_EQ(inChild([&] { return TestKey::create("Odd").setBytes("v", marker) == 0 ? 0 : 1; }), 0);
    makeRegistry();
    std::string bytes = data();
    ASSERT_NE(bytes.find(marker), std::string::npos);
    for (auto at = bytes.find(marker); at != std::string::npos; at = bytes.find(marker, at + 1))
        bytes.at(bytes.rfind("WRK1", at) + 16) = '\x7f'; // the number of values
    putBytes(registry("data.mdb"), bytes);
    EXPECT_EQ(openError("Odd"), kCorrupt);
    EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, "Odd"), kCorrupt);
    EXPECT_EQ(TestKey::open("Key").number("v"), 1u);
    EXPECT_EQ(TestKey::create("Another").set("v", 3), 0);
}

// The file must not grow any further: what a full disk does, for one process alone.
TEST_F(RegistryFault, AFullDiskIsToldAndLosesNothing) {
    const TestKey key = TestKey::create("Key");
    ASSERT_EQ(key.set("v", 1), 0);
    const auto fill = [&] { return key.setBytes("large", std::string(1 << 19, 'x')); };
    const int status = inChild([&] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{fs::file_size(registry("data.mdb")), RLIM_INFINITY};
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0)
            return 1;
        return fill() == LONG{ERROR_DISK_FULL} && key.number("v") == 1u && !key.bytes("large") ? 0 : 2;
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(fill(), 0);
    EXPECT_EQ(key.number("v"), 1u);
}

TEST_F(RegistryFault, AMapGrownByOneProcessIsFollowedByTheOthers) {
    const auto big = [](int number) { return "big" + std::to_string(number); };
    const TestKey key = TestKey::create("Key");
    ASSERT_EQ(key.set("v", 1), 0);
    const Pipe start;
    Child grower([&] { // before there are threads, which sanitizers want
        bool good = start.await();
        for (int i = 0; i < 40; ++i)
            good = good && TestKey::create(big(i).c_str()).setBytes("v", std::string(1 << 20, 'x')) == 0;
        return good ? 0 : 1;
    });
    std::atomic<bool> stop{false};
    std::thread reader([&] { // reads while this process takes over the larger map
        while (!stop)
            EXPECT_EQ(key.number("v"), 1u);
    });
    start.signal();
    EXPECT_EQ(grower.wait(), 0);
    EXPECT_EQ(TestKey::open(big(39).c_str()).bytes("v"), std::string(1 << 20, 'x'));
    EXPECT_EQ(key.set("w", 2), 0);
    stop = true;
    reader.join();
}

TEST_F(RegistryFault, HomesAreApartAndAKeyStaysWithItsOwn) {
    const TestKey here = TestKey::create("Key");
    ASSERT_EQ(here.set("v", 1), 0);
    useHome(m_home / "nested");
    EXPECT_EQ(openError("Key"), LONG{ERROR_FILE_NOT_FOUND});
    ASSERT_EQ(TestKey::create("Key").set("v", 2), 0);
    EXPECT_EQ(here.number("v"), 1u);
    fs::create_directory_symlink(m_home, TestHome::instance().path() / "alias");
    useHome(TestHome::instance().path() / "alias"); // another name of the first home: one environment serves both
    EXPECT_EQ(TestKey::open("Key", KEY_ALL_ACCESS).set("v", 3), 0);
    EXPECT_EQ(here.number("v"), 3u);
}

TEST_F(RegistryFault, FilesHaveTheirSpaceAndAreTheGroupsWhereThereIsOne) {
    fs::create_directory(m_home);
    ASSERT_EQ(chmod(m_home.c_str(), 02755), 0);
    umask(077);
    makeRegistry();
    for (const char* file : {"data.mdb", "lock.mdb", "namespace"})
        EXPECT_EQ(statusOf(registry(file)).st_mode & 07777, 0660u) << file;
    const struct stat status = statusOf(registry("lock.mdb")); // which the engine maps
    EXPECT_GE(status.st_size, 2048 * 64);
    EXPECT_GE(status.st_blocks * 512, status.st_size);
}

} // namespace
