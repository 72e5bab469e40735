// The registry when the system fails: a failing engine, damaged, changed or missing files, a map that has been grown by
// another process.
#include <TestFiles.h>
#include <TestKey.h>

#include <gtest/gtest.h>

#include <platform/registry_batch.h>
#include <platform/registry_state.h>
#include <platform/testing.h>
#include <platform/win32.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

constexpr LONG kBad = ERROR_BADDB;
constexpr LONG kCorrupt = ERROR_REGISTRY_CORRUPT;

// Runs `body` in a process of its own and returns its exit status.
int inChild(const std::function<int()>& body) {
    return Child(body).wait();
}

void putBytes(const fs::path& file, const std::string& bytes) {
    std::ofstream(file, std::ios::binary) << bytes;
}

// A home that no process has opened yet.
class RegistryFault : public testing::Test {
  protected:
    RegistryFault() : m_home(TestHome::instance().path() / "fault") {
        setenv("WARDLET_HOME", m_home.c_str(), 1);
        WdTestRereadEnvironment();
    }
    ~RegistryFault() override { fs::remove_all(m_home); }

    fs::path registry(const char* file = "") const { return m_home / "registry" / file; }
    static std::string data() { return TestHome::instance().read("fault/registry/data.mdb"); }
    // Creates a registry with one key, in a process that has ended.
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

TEST_F(RegistryFault, WithoutAPageThatForksWipeAChildOpensItsOwnRegistryToo) {
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

// The descriptor to which the engine writes a commit's last page: an error there makes its environment unusable.
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
    WdTestRereadEnvironment();
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
        for (int process = 0; process < 2; ++process) // the first one must not replace it
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

// As when the file is overwritten by a copy: truncated for a moment, then with its content again.
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

// The older of the engine's two heads gets the number of the next commit, as when a writer is killed after its last
// write.
void leaveCommitUnfinished(const fs::path& data) {
    constexpr std::size_t kNumberAt = 144;
    constexpr std::size_t kPage = 4096;
    std::fstream file(data, std::ios::binary | std::ios::in | std::ios::out);
    std::array<std::uint64_t, 2> numbers{};
    for (std::size_t head = 0; head < numbers.size(); ++head)
        file.seekg(static_cast<std::streamoff>(kNumberAt + head * kPage))
            .read(reinterpret_cast<char*>(&numbers[head]), sizeof numbers[head]);
    const std::size_t older = numbers[0] < numbers[1] ? 0 : 1;
    const std::uint64_t next = numbers[1 - older] + 1;
    file.seekp(static_cast<std::streamoff>(kNumberAt + older * kPage))
        .write(reinterpret_cast<const char*>(&next), sizeof next);
}

TEST_F(RegistryFault, AStateIsProvedAsLongAsReadsSeeIt) {
    WdRegistryState state{};
    EXPECT_FALSE(WdGetRegistryState(&state)) << "nothing is opened for it";
    EXPECT_FALSE(WdIsRegistryState(&state));
    const TestKey key = TestKey::create("Key");
    const struct {
        const char* what;
        std::function<void()> happens;
        bool isStill;
    } rows[] = {
        {"a read", [&] { key.number("v"); }, true},
        {"another process's write", [&] { EXPECT_EQ(inChild([&] { return key.set("v", 1); }), 0); }, false},
        {"a batch that is abandoned",
         [&] {
             RegistryBatch batch;
             EXPECT_EQ(key.set("v", 2), 0);
             EXPECT_FALSE(WdIsRegistryState(&state) || WdGetRegistryState(&state)) << "inside";
             batch.abandon();
         },
         true},
        {"a commit that wasn't finished", [&] { leaveCommitUnfinished(registry("data.mdb")); }, true},
        {"the one after it", [&] { EXPECT_EQ(key.set("v", 3), 0); }, false},
        {"a copy of the same put over it",
         [&] {
             const std::string content = data();
             fs::resize_file(registry("data.mdb"), 0);
             EXPECT_EQ(key.number("v"), std::nullopt);
             putBytes(registry("data.mdb"), content);
             EXPECT_EQ(key.number("v"), 3u);
         },
         false},
        {"another home",
         [&] {
             setenv("WARDLET_HOME", (m_home / "other").c_str(), 1);
             WdTestRereadEnvironment();
             EXPECT_EQ(TestKey::create("Key").set("v", 3), 0);
         },
         false},
    };
    for (const auto& row : rows) {
        ASSERT_TRUE(WdGetRegistryState(&state)) << row.what;
        row.happens();
        EXPECT_EQ(WdIsRegistryState(&state) != FALSE, row.isStill) << row.what;
        EXPECT_EQ(inChild([&] { return key.number("v") && WdIsRegistryState(&state) ? 1 : 0; }), 0) << "a parent's";
    }
}

// As daemons do. The numbers belong to the program by then, whatever it opens under them.
TEST_F(RegistryFault, AfterAllDescriptorsAreClosedNothingOfTheProgramIsTouched) {
    makeRegistry();
    const std::string content(1 << 20, 'o'); // longer than the registry's data
    const std::string own = TestHome::instance().write("own", content);
    EXPECT_EQ(inChild([&] {
                  if (!TestKey::create("A"))
                      return 1;
                  closefrom(3);
                  std::vector<int> files;
                  while (files.size() < 20)
                      files.push_back(open(own.c_str(), O_RDWR | O_CLOEXEC));
                  if (TestKey::create("B"))
                      return 2;
                  if (!TestKey::create("B") || openError("A") != 0)
                      return 3;
                  return std::ranges::all_of(files, [](int file) { return close(file) == 0; }) ? 0 : 4;
              }),
              0);
    EXPECT_TRUE(TestHome::instance().read("own") == content);
    EXPECT_EQ(inChild([] { return static_cast<int>(openError("B")); }), 0);
}

// When something else changes or removes the files, processes that use them go on; a new one gets an error and must not
// replace them.
TEST_F(RegistryFault, FilesThatAreChangedOrRemovedWhileOthersUseThem) {
    ASSERT_EQ(TestKey::create("Key").set("v", 1), 0);
    const std::string whole = TestHome::instance().read("fault/registry/namespace");
    const auto isToldToANewOne = [](LONG error) {
        return inChild([error] { return openError("Key") == error ? 0 : 1; }) == 0;
    };
    for (const std::string& content : {""s, "4:5"s, "other text\n"s, std::string(5000, '7')}) {
        putBytes(registry("namespace"), content);
        EXPECT_TRUE(isToldToANewOne(ERROR_INVALID_DATA)) << content.size();
    }
    EXPECT_EQ(TestKey::open("Key").number("v"), 1u);
    putBytes(registry("namespace"), whole);
    fs::remove(registry("data.mdb"));
    EXPECT_TRUE(isToldToANewOne(kBad));
    EXPECT_FALSE(fs::exists(registry("data.mdb")));
}

// The record of "Odd" is found in the data file by its value's text, and damaged there without the engine.
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

TEST_F(RegistryFault, AMapGrownByOneProcessIsFollowedByTheOthers) {
    const auto big = [](int number) { return "big" + std::to_string(number); };
    const TestKey key = TestKey::create("Key");
    ASSERT_EQ(key.set("v", 1), 0);
    const Pipe start;
    Child grower([&] { // forked before there are threads, as sanitizers require
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

TEST_F(RegistryFault, FilesHaveTheirSpaceAndAreTheGroupsWhereThereIsOne) {
    fs::create_directory(m_home);
    ASSERT_EQ(chmod(m_home.c_str(), 02755), 0);
    umask(077);
    makeRegistry();
    for (const char* file : {"data.mdb", "lock.mdb", "namespace"})
        EXPECT_EQ(statusOf(registry(file)).st_mode & 07777, 0660u) << file;
    const struct stat status = statusOf(registry("lock.mdb")); // mapped by the engine
    EXPECT_GE(status.st_size, 2048 * 64);
    EXPECT_GE(status.st_blocks * 512, status.st_size);
}

} // namespace
