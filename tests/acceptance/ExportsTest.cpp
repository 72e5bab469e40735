// The boundary itself: the header and the built library must agree on names and addresses.
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

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

extern "C" {
const char* statusNameFromC(std::int32_t status);
const char* scanNameFromC(std::uint32_t scan);
const char* charsetNameFromC(std::uint32_t charset);
}

namespace {

using testing::UnorderedElementsAreArray;

std::string readFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw std::runtime_error("can't read " + path.string());
    return {std::istreambuf_iterator<char>(file), {}};
}

// What the header declares; its comments name functions too.
std::vector<std::string> headerNames() {
    const std::regex comment(R"(/\*[^*]*\*+([^/*][^*]*\*+)*/)");
    const std::regex declared(R"((\w+)\s*\([^()]*\)\s*;)");
    const std::string text = std::regex_replace(readFile(WDLT_HEADER), comment, " ");
    std::vector<std::string> names;
    for (std::sregex_iterator match(text.begin(), text.end(), declared), end; match != end; ++match)
        names.push_back((*match)[1]);
    return names;
}

class Exports : public testing::Test {
  protected:
    LoadedLibrary library{LoadedLibrary::withLog};
};

// That there are no others is the interface list's to say.
TEST_F(Exports, NamesAreVersionedAndTwoPairsShareAnAddress) {
    void* const handle = dlopen(WDLT_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
    std::set<void*> addresses;
    for (const std::string& name : headerNames()) {
        void* const address = library.symbol(name.c_str());
        EXPECT_EQ(dlvsym(handle, name.c_str(), "WDLTCFG_1"), address) << name;
        addresses.insert(address);
    }
    dlclose(handle);
    EXPECT_EQ(addresses.size(), 101u);
    EXPECT_EQ(library.symbol("WdltPluginReadConfig"), library.symbol("WdltHttpsReadConfig"));
    EXPECT_EQ(library.symbol("WdltPluginWriteConfig"), library.symbol("WdltHttpsWriteConfig"));
}

// The four generic functions hand each argument on in its place.
TEST_F(Exports, AnyAddressCanBeReadAndWritten) {
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
    EXPECT_EQ(read(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, 0, &data, nullptr), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(read(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_HTTP_CLEANER, 0, &data, &size), WDLT_E_GENERAL);
    EXPECT_EQ(write(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, 0, nullptr, sizeof data), WDLT_E_INVALID_ARGUMENT);
    EXPECT_EQ(write(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_HTTP_CLEANER, 0, &data, sizeof data), WDLT_E_GENERAL);
    EXPECT_EQ(writeEx(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, 7, 6, &data, sizeof data - 1), WDLT_E_GENERAL);
    for (const char* const line :
         {"WriteConfig protocol = 10000, scan = 00000000, input = 00000006", "size is NULL",
          "No config helper [protocol=10000, scan=00000020]", "No config helper [protocol=10000, scan=32]"})
        EXPECT_TRUE(library.logged(line)) << line;
}

// Each export with all its arguments zero: what it gives, and whether it waits behind somebody else's reading or
// writing of a feature.
enum class Lock { None, Read, Write };
using enum Lock;
struct Export {
    const char* name;
    Lock lock;
    std::int32_t zeros;
};
constexpr std::int32_t kOk = WDLT_OK;
constexpr std::int32_t kInvalid = WDLT_E_INVALID_ARGUMENT;
const Export kExports[] = {
    {"WdltReadConfig", None, kInvalid},
    {"WdltWriteConfig", None, WDLT_E_GENERAL},
    {"WdltReadConfigEx", None, kInvalid},
    {"WdltWriteConfigEx", None, WDLT_E_GENERAL},
    {"WdltPvsEnable", Write, kOk},
    {"WdltPvsIsEnabled", Read, kOk},
    {"WdltPvsReadConfig", Read, kInvalid},
    {"WdltPvsWriteConfig", Write, kInvalid},
    {"WdltSvsEnable", Write, kOk},
    {"WdltSvsIsEnabled", Read, kOk},
    {"WdltSvsReadConfig", Read, kInvalid},
    {"WdltSvsWriteConfig", Write, kInvalid},
    {"WdltWmvsEnable", Write, kOk},
    {"WdltWmvsIsEnabled", Read, kOk},
    {"WdltWmvsReadConfig", Read, kInvalid},
    {"WdltWmvsWriteConfig", Write, kInvalid},
    {"WdltHfsEnable", Write, kOk},
    {"WdltHfsIsEnabled", Write, kOk},
    {"WdltHfsReadConfig", Write, kInvalid},
    {"WdltHfsWriteConfig", Write, kInvalid},
    {"WdltHfsVirusReadConfig", Write, kInvalid},
    {"WdltHfsVirusWriteConfig", Write, kInvalid},
    {"WdltSpyReadRecordList", Read, kInvalid},
    {"WdltSpyWriteRecordList", Write, kInvalid},
    {"WdltUrlfEnable", Write, kOk},
    {"WdltUrlfIsEnabled", Read, kOk},
    {"WdltUrlfReadConfig", Read, kInvalid},
    {"WdltUrlfWriteConfig", Write, kInvalid},
    {"WdltUrlfReadRecordList", Read, kInvalid},
    {"WdltUrlfWriteRecordList", Write, WDLT_E_REGISTRY},
    {"WdltUrlfReadCategoryGroup", Read, kInvalid},
    {"WdltUrlfReadCategory", Read, kInvalid},
    {"WdltUrlfReadProxy", Read, kInvalid},
    {"WdltUrlfWriteProxy", Write, kInvalid},
    {"WdltUrlfIsRecordExists", Read, kOk},
    {"WdltUrlfSetExtraHeader", Read, kInvalid},
    {"WdltUrlfReadRSInfo", Read, kInvalid},
    {"WdltUrlfWriteRSInfo", Write, kInvalid},
    {"WdltUrlfReadUUC", Read, kInvalid},
    {"WdltUrlfWriteUUC", Write, kInvalid},
    {"WdltUrlfEnableBackupLKQRetry", Read, kOk},
    {"WdltUrlfIsBackupLKQRetryEnabled", Write, kOk},
    {"WdltUrlfSetSocketFamily", Read, kOk},
    {"WdltUrlfGetSocketFamily", Read, kOk},
    {"WdltUrlfSetQXNGuid", Read, kOk},
    {"WdltUrlhReadRecordList", Read, kOk},
    {"WdltHosfEnable", Write, kOk},
    {"WdltHosfIsEnabled", Read, kOk},
    {"WdltHosfReadConfig", Read, kInvalid},
    {"WdltHosfWriteConfig", Write, kInvalid},
    {"WdltHosfReadRecordList", Read, kInvalid},
    {"WdltHosfWriteRecordList", Write, kInvalid},
    {"WdltMahReadRecordList", Read, kInvalid},
    {"WdltAspmEnable", Write, kOk},
    {"WdltAspmIsEnabled", Read, kOk},
    {"WdltAspmReadConfig", Read, kInvalid},
    {"WdltAspmWriteConfig", Write, kInvalid},
    {"WdltAspmReadRecordList", Read, kInvalid},
    {"WdltAspmWriteRecordList", Write, kInvalid},
    {"WdltHfeEnable", Write, kOk},
    {"WdltHfeIsEnabled", None, kOk},
    {"WdltHfeReadConfig", None, kInvalid},
    {"WdltHfeWriteConfig", Write, kInvalid},
    {"WdltHfeEnablePluginEvent", Write, kOk},
    {"WdltHfeIsEnablePluginEvent", None, kOk},
    {"WdltHttpsReadConfig", Write, kInvalid},
    {"WdltHttpsWriteConfig", Write, kInvalid},
    {"WdltHttpsScanEnable", Write, kOk},
    {"WdltHttpsScanIsEnabled", Write, kOk},
    {"WdltPluginScanSetEnableFlag", Write, kOk},
    {"WdltPluginScanGetEnableFlag", None, kInvalid},
    {"WdltPluginManagerReadConfig", None, kInvalid},
    {"WdltPluginManagerWriteConfig", Write, kInvalid},
    {"WdltIEPlugInEnable", Write, kOk},
    {"WdltIEPlugInIsEnabled", None, kOk},
    {"WdltFirefoxExtensionEnable", Write, kOk},
    {"WdltFirefoxExtensionIsEnabled", None, kOk},
    {"WdltChromeExtensionEnable", Write, kOk},
    {"WdltChromeExtensionIsEnabled", None, kOk},
    {"WdltDRSEnable", Write, kOk},
    {"WdltDRSIsEnabled", None, kOk},
    {"WdltDRSReadConfig", None, kInvalid},
    {"WdltDRSWriteConfig", Write, kInvalid},
    {"WdltEnableDRSWhiteList", Write, kOk},
    {"WdltIsDRSWhiteListEnabled", None, kOk},
    {"WdltAddDRSWhiteListItem", Write, kInvalid},
    {"WdltDeleteDRSWhiteListItem", Write, kOk},
    {"WdltGetAllDRSWhiteListItem", None, kInvalid},
    {"WdltSalEnable", Write, kOk},
    {"WdltSalIsEnabled", None, kOk},
    {"WdltSalReadConfig", None, kInvalid},
    {"WdltSalWriteConfig", Write, kInvalid},
    {"WdltPdpEnable", Write, kOk},
    {"WdltPdpProtocolEnable", Write, kOk},
    {"WdltPdpIsEnabled", Read, kOk},
    {"WdltPdpIsProtocolEnabled", Read, kOk},
    {"WdltPdpReadItemList", Read, kInvalid},
    {"WdltPdpWriteItemList", Write, kInvalid},
    {"WdltPdpReadExItemList", Read, kInvalid},
    {"WdltPdpWriteExItemList", Write, kInvalid},
    {"WdltPdpVerifyItems", Write, kInvalid},
    {"WdltPluginReadConfig", Write, kInvalid},
    {"WdltPluginWriteConfig", Write, kInvalid},
};

#if defined(__clang__)
__attribute__((no_sanitize("function"))) // on purpose: one type for all exports
#endif
std::int32_t
callWithZeros(const LoadedLibrary& library, const char* name) {
    using AnyExport =
        std::int32_t (*)(std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t);
    return reinterpret_cast<AnyExport>(library.symbol(name))(0, 0, 0, 0, 0, 0);
}

// What a process has of the system: a call must leave none of it behind.
struct Held {
    std::ptrdiff_t descriptors = openDescriptors();
    std::ptrdiff_t maps = [] {
        std::ifstream lines(kIsSanitized ? "/dev/null" : "/proc/self/maps"); // the sanitizers map as they like
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

// On a tree with the web features, beside a service that answers everything.
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
    std::vector<std::string> names;
    for (const Export& row : kExports) {
        names.push_back(row.name);
        EXPECT_EQ(callWithZeros(library, row.name), row.zeros) << row.name;
        const Held before;
        int others = 0;
        for (int call = 0; call < 100; ++call)
            others += callWithZeros(library, row.name) == row.zeros ? 0 : 1;
        const Held after;
        EXPECT_EQ(others, 0) << row.name;
        EXPECT_EQ(after, before) << row.name;
    }
    EXPECT_THAT(names, UnorderedElementsAreArray(headerNames()));
}

// Another lock object of the same name, as another process has one.
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
    for (const Export& row : kExports)
        for (const bool behindWriter : {true, false}) {
            hold(lock, behindWriter);
            std::atomic<bool> isBack{false};
            const std::jthread caller([&] {
                callWithZeros(library, row.name);
                isBack = true;
            });
            while (!isBack && !memory.hasSleepers())
                std::this_thread::yield();
            EXPECT_EQ(!isBack, row.lock == Write || (row.lock == Read && behindWriter))
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
                  for (const Export& row : kExports)
                      EXPECT_EQ(callWithZeros(library, row.name), std::strstr(row.name, "Is") != nullptr ? 0 : -1)
                          << row.name;
                  std::filesystem::remove(file);
                  for (int tries = 0; tries < 600 && callWithZeros(library, "WdltUrlhReadRecordList") != 0; ++tries)
                      std::this_thread::sleep_for(std::chrono::milliseconds(50));
                  EXPECT_EQ(callWithZeros(library, "WdltUrlhReadRecordList"), 0);
                  return HasFailure() ? 1 : 0;
              }).wait(),
              0);
}

TEST(Headers, CallersInCSeeTheSameInterface) {
    EXPECT_STREQ(statusNameFromC(WDLT_E_NOT_FOUND), "WDLT_E_NOT_FOUND");
    EXPECT_STREQ(scanNameFromC(0x80000000u), "TestManager");
    EXPECT_STREQ(charsetNameFromC(0x01000000u), "Shift_JIS");
    EXPECT_STREQ(charsetNameFromC(0x40000000u), "");
}

TEST(Headers, StatusCodesAreTheseAndOthersHaveNoName) {
    const std::string unknown = "unknown status";
    std::set<std::int32_t> codes;
    for (std::int32_t code = -10000; code <= 1; ++code) {
        if (wdltStatusName(code) != unknown)
            codes.insert(code);
        EXPECT_EQ(wdltStatusName(code) == unknown, wdltStatusText(code) == unknown) << code;
    }
    EXPECT_THAT(codes, UnorderedElementsAreArray(
                           {0, -1, -2, -3, -4, -5, -6, -7, -8, -9, -10, -13, -14, -16, -26, -34, -38, -9999}));
}

} // namespace
