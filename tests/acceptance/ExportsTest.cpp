// The exported interface: header and built library must agree on each export, its status and its lock.
#include "Child.h"
#include "DrsService.h"
#include "FakeService.h"
#include "LoadedLibrary.h"
#include "LockMemory.h"
#include "RWLock.h"
#include "Sanitizers.h"
#include "TestFiles.h"
#include "WebTree.h"

#include <wdltcfg/wdltcfg.h>

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace {

struct Export {
    std::string name;
    char lock; // 'R' waits for a writer of a feature, 'W' for its readers too, '-' for nobody
};

// The exports in the header; that the library has no others is checked against the interface list.
std::vector<Export> exports() {
    std::ostringstream text;
    text << std::ifstream(WDLT_HEADER).rdbuf();
    const std::string header = text.str();
    const std::regex declared(R"(\[([-RW])\] \*/\nWDLTCFG_API int32_t (\w+)\()");
    std::vector<Export> found;
    for (std::sregex_iterator match(header.begin(), header.end(), declared), end; match != end; ++match)
        found.push_back({(*match)[2], *(*match)[1].first});
    EXPECT_EQ(found.size(), 103u);
    return found;
}

// The status of a call with all arguments zero: switches and queries give WDLT_OK, most others need a record.
std::int32_t statusOfZeros(const std::string& name) {
    static const std::map<std::string, std::int32_t> others{
        {"WdltWriteConfig", WDLT_E_GENERAL},          {"WdltWriteConfigEx", WDLT_E_GENERAL},
        {"WdltUrlfWriteRecordList", WDLT_E_REGISTRY}, {"WdltUrlfSetSocketFamily", WDLT_OK},
        {"WdltUrlfGetSocketFamily", WDLT_OK},         {"WdltUrlfSetQXNGuid", WDLT_OK},
        {"WdltUrlhReadRecordList", WDLT_OK},          {"WdltPluginScanGetEnableFlag", WDLT_E_INVALID_ARGUMENT},
        {"WdltDeleteDRSWhiteListItem", WDLT_OK},
    };
    if (const auto other = others.find(name); other != others.end())
        return other->second;
    const bool isSwitch = name.find("Enable") != name.npos || name.find("Is") != name.npos;
    return isSwitch ? WDLT_OK : WDLT_E_INVALID_ARGUMENT;
}

// The four generic functions pass on each argument in its place.
TEST(Exports, AnyAddressCanBeReadAndWritten) {
    const LoadedLibrary library{LoadedLibrary::withLog};
    const auto read = WDLT_CALL(library, WdltReadConfig);
    const auto write = WDLT_CALL(library, WdltWriteConfig);
    const auto readEx = WDLT_CALL(library, WdltReadConfigEx);
    const auto writeEx = WDLT_CALL(library, WdltWriteConfigEx);
    WdchSystemData data{};
    std::uint64_t size = 0;

    EXPECT_EQ(read(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, 0, nullptr, &size), WDLT_E_BUFFER_SIZE);
    EXPECT_EQ(size, sizeof data);
    size = 0;
    EXPECT_EQ(readEx(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, 7, 5, nullptr, &size), WDLT_E_BUFFER_SIZE);
    EXPECT_EQ(size, sizeof data);
    // The log calls the config type input.
    EXPECT_TRUE(library.logged("ReadConfig protocol = 10000, scan = 00000000, input = 00000005"));
    EXPECT_EQ(read(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_HTTP_CLEANER, 0, &data, &size), WDLT_E_GENERAL);
    EXPECT_EQ(write(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_HTTP_CLEANER, 0, &data, sizeof data), WDLT_E_GENERAL);
    EXPECT_EQ(writeEx(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, 7, 6, &data, sizeof data - 1), WDLT_E_GENERAL);
    for (const char* const line :
         {"WriteConfig protocol = 10000, scan = 00000000, input = 00000006",
          "No config helper [protocol=10000, scan=00000020]", "No config helper [protocol=10000, scan=32]"})
        EXPECT_TRUE(library.logged(line)) << line;
}

#if defined(__clang__)
__attribute__((no_sanitize("function"))) // on purpose: one type for all exports
#endif
std::int32_t
callWithZeros(const LoadedLibrary& library, const std::string& name) {
    using AnyExport =
        std::int32_t (*)(std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t);
    return reinterpret_cast<AnyExport>(library.symbol(name.c_str()))(0, 0, 0, 0, 0, 0);
}

// Resources of the process: a call must not leak any.
struct Held {
    std::ptrdiff_t descriptors = openDescriptors();
    std::ptrdiff_t maps = [] {
        std::ifstream lines(kIsSanitized ? "/dev/null" : "/proc/self/maps"); // the sanitizers change the maps
        return std::count(std::istreambuf_iterator<char>(lines), {}, '\n');
    }();
    std::size_t objects = objectFiles().size();
    std::size_t bytes = mallinfo2().uordblks;
    auto operator<=>(const Held&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Held& held) {
    return out << held.descriptors << " descriptors, " << held.maps << " maps, " << held.objects << " objects, "
               << held.bytes << " bytes";
}

// On a tree with the web features.
class EachExport : public testing::Test {
  protected:
    EachExport() { layOutWebTree(); }

    const TimeScale fast{"0.01"};
    LoadedLibrary library;
};

TEST_F(EachExport, GivesItsStatusAndLeavesNothingOpen) {
    const auto answer = [](BYTE*) { return true; };
    const FakeService changes("wdlt_config_change_evt", sizeof(Change), answer);
    const DrsService drs;
    for (const auto& [name, lock] : exports()) {
        const std::int32_t status = statusOfZeros(name);
        EXPECT_EQ(callWithZeros(library, name), status) << name;
        int others = 0;
        const auto growth = [&, &called = name] {
            const Held before;
            for (int call = 0; call < 100; ++call)
                others += callWithZeros(library, called) == status ? 0 : 1;
            return std::pair(before, Held());
        };
        auto [before, after] = growth();
        for (int round = 0; round < 3 && after != before; ++round) // the heap may need some; what leaks does so in each
            std::tie(before, after) = growth();
        EXPECT_EQ(others, 0) << name;
        EXPECT_EQ(after, before) << name;
    }
}

// Takes the lock through another object of the same name, as another process would.
void hold(CWdRWLockEx& lock, bool forWriting) WD_NO_THREAD_SAFETY_ANALYSIS {
    forWriting ? lock.LockWrite() : lock.LockRead();
}
void release(CWdRWLockEx& lock, bool fromWriting) WD_NO_THREAD_SAFETY_ANALYSIS {
    fromWriting ? lock.UnlockWrite() : lock.UnlockRead();
}
TEST_F(EachExport, WaitsBehindWhoItShould) {
    CWdRWLockEx lock;
    ASSERT_TRUE(lock.Initialize("wdlt_config_rw"));
    const LockMemory memory("wdlt_config_rw");
    for (const Export& row : exports())
        for (const bool behindWriter : {true, false}) {
            hold(lock, behindWriter);
            std::atomic<bool> isBack{false};
            const std::jthread caller([&] {
                callWithZeros(library, row.name);
                isBack = true;
            });
            while (!isBack && !memory.hasSleepers())
                std::this_thread::yield();
            EXPECT_EQ(!isBack, row.lock == 'W' || (row.lock == 'R' && behindWriter))
                << row.name << (behindWriter ? " behind a writer" : " behind a reader");
            release(lock, behindWriter);
        }
}

TEST_F(EachExport, ServesAProgramInC) {
    EXPECT_EQ(Child::run({WDLT_CALLER}).wait(), 0);
}

TEST(NoLock, EachExportRefusesUntilItCanBeHad) {
    if (dlopen(WDLT_LIBRARY, RTLD_NOW | RTLD_NOLOAD) != nullptr)
        GTEST_SKIP() << "a case before had it";
    EXPECT_EQ(Child([] {
                  const std::filesystem::path file = TestHome::instance().write("file", "no directory");
                  setenv("WARDLET_HOME", (file / "home").c_str(), 1);
                  WdTestRereadEnvironment();
                  const LoadedLibrary library;
                  for (const auto& [name, lock] : exports())
                      EXPECT_EQ(callWithZeros(library, name), name.find("Is") != name.npos ? 0 : -1) << name;
                  std::filesystem::remove(file);
                  for (int tries = 0; tries < 600 && callWithZeros(library, "WdltUrlhReadRecordList") != 0; ++tries)
                      std::this_thread::sleep_for(std::chrono::milliseconds(50));
                  EXPECT_EQ(callWithZeros(library, "WdltUrlhReadRecordList"), 0);
                  return HasFailure() ? 1 : 0;
              }).wait(),
              0);
}

// Where there is no home, the library attaches at its first call, and all that come at once wait for that.
TEST(NoLock, FirstCallsAtOnceAreAllServed) {
    if (dlopen(WDLT_LIBRARY, RTLD_NOW | RTLD_NOLOAD) != nullptr)
        GTEST_SKIP() << "a case before had it";
    EXPECT_EQ(Child([] {
                  const std::filesystem::path home = TestHome::instance().path() / "none";
                  setenv("WARDLET_HOME", home.c_str(), 1);
                  WdTestRereadEnvironment();
                  const LoadedLibrary library;
                  EXPECT_FALSE(std::filesystem::exists(home));
                  std::atomic<int> served{0};
                  std::vector<std::thread> threads;
                  for (int i = 0; i < 8; ++i)
                      threads.emplace_back([&] { served += callWithZeros(library, "WdltUrlhReadRecordList") == 0; });
                  for (std::thread& thread : threads)
                      thread.join();
                  return served.load();
              }).wait(),
              8);
}

} // namespace
