// The lock between processes, as the exports hold it: a writer keeps out all that take it, a reader lets readers past,
// and a library that can't have the lock answers nothing. Arguments are all zero here; what each export says to them is
// its own tests' business.
#include "LoadedLibrary.h"
#include "RWLock.h"
#include "TestHome.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <platform/testing.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace {

using testing::UnorderedElementsAreArray;

using Names = std::vector<std::string>;

const Names kUnlocked{
    "WdltReadConfig",
    "WdltWriteConfig",
    "WdltReadConfigEx",
    "WdltWriteConfigEx",
    "WdltDRSIsEnabled",
    "WdltDRSReadConfig",
    "WdltIsDRSWhiteListEnabled",
    "WdltGetAllDRSWhiteListItem",
    "WdltHfeIsEnabled",
    "WdltHfeReadConfig",
    "WdltHfeIsEnablePluginEvent",
    "WdltPluginScanGetEnableFlag",
    "WdltPluginManagerReadConfig",
    "WdltIEPlugInIsEnabled",
    "WdltFirefoxExtensionIsEnabled",
    "WdltChromeExtensionIsEnabled",
    "WdltSalIsEnabled",
    "WdltSalReadConfig",
};
const Names kReading{
    "WdltPvsIsEnabled",        "WdltPvsReadConfig",         "WdltSvsIsEnabled",
    "WdltSvsReadConfig",       "WdltWmvsIsEnabled",         "WdltWmvsReadConfig",
    "WdltSpyReadRecordList",   "WdltUrlfIsEnabled",         "WdltUrlfReadConfig",
    "WdltUrlfReadRecordList",  "WdltUrlfReadCategoryGroup", "WdltUrlfReadCategory",
    "WdltUrlfReadProxy",       "WdltUrlfIsRecordExists",    "WdltUrlfSetExtraHeader",
    "WdltUrlfReadRSInfo",      "WdltUrlfReadUUC",           "WdltUrlfEnableBackupLKQRetry",
    "WdltUrlfSetSocketFamily", "WdltUrlfGetSocketFamily",   "WdltUrlfSetQXNGuid",
    "WdltUrlhReadRecordList",  "WdltHosfIsEnabled",         "WdltHosfReadConfig",
    "WdltHosfReadRecordList",  "WdltPdpIsEnabled",          "WdltPdpIsProtocolEnabled",
    "WdltPdpReadItemList",     "WdltPdpReadExItemList",     "WdltMahReadRecordList",
    "WdltAspmIsEnabled",       "WdltAspmReadConfig",        "WdltAspmReadRecordList",
};
const Names kWriting{
    "WdltPvsEnable",
    "WdltPvsWriteConfig",
    "WdltSvsEnable",
    "WdltSvsWriteConfig",
    "WdltWmvsEnable",
    "WdltWmvsWriteConfig",
    "WdltHfsEnable",
    "WdltHfsIsEnabled",
    "WdltHfsReadConfig",
    "WdltHfsWriteConfig",
    "WdltHfsVirusReadConfig",
    "WdltHfsVirusWriteConfig",
    "WdltSpyWriteRecordList",
    "WdltUrlfEnable",
    "WdltUrlfWriteConfig",
    "WdltUrlfWriteRecordList",
    "WdltUrlfWriteProxy",
    "WdltUrlfWriteRSInfo",
    "WdltUrlfWriteUUC",
    "WdltUrlfIsBackupLKQRetryEnabled",
    "WdltHosfEnable",
    "WdltHosfWriteConfig",
    "WdltHosfWriteRecordList",
    "WdltDRSEnable",
    "WdltDRSWriteConfig",
    "WdltEnableDRSWhiteList",
    "WdltAddDRSWhiteListItem",
    "WdltDeleteDRSWhiteListItem",
    "WdltPdpEnable",
    "WdltPdpProtocolEnable",
    "WdltPdpWriteItemList",
    "WdltPdpWriteExItemList",
    "WdltPdpVerifyItems",
    "WdltAspmEnable",
    "WdltAspmWriteConfig",
    "WdltAspmWriteRecordList",
    "WdltHfeEnable",
    "WdltHfeWriteConfig",
    "WdltHfeEnablePluginEvent",
    "WdltHttpsReadConfig",
    "WdltHttpsWriteConfig",
    "WdltHttpsScanEnable",
    "WdltHttpsScanIsEnabled",
    "WdltPluginScanSetEnableFlag",
    "WdltPluginManagerWriteConfig",
    "WdltIEPlugInEnable",
    "WdltFirefoxExtensionEnable",
    "WdltChromeExtensionEnable",
    "WdltSalEnable",
    "WdltSalWriteConfig",
    "WdltPluginReadConfig",
    "WdltPluginWriteConfig",
};

Names operator+(Names left, const Names& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

#if defined(__clang__)
__attribute__((no_sanitize("function"))) // on purpose: one type for all exports
#endif
std::int32_t
callWithNothing(const LoadedLibrary& library, const std::string& name) {
    using AnyExport =
        std::int32_t (*)(std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t);
    return reinterpret_cast<AnyExport>(library.symbol(name.c_str()))(0, 0, 0, 0, 0, 0);
}

// Every export on a thread of its own.
class Calls {
  public:
    explicit Calls(const LoadedLibrary& library) : m_done(m_names.size()) {
        for (std::size_t i = 0; i < m_names.size(); ++i)
            m_threads.emplace_back([this, &library, i] {
                callWithNothing(library, m_names[i]);
                m_done[i] = true;
                ++m_count;
            });
    }
    Calls(const Calls&) = delete;
    Calls& operator=(const Calls&) = delete;

    // What has come back once `expected` have, and a little later.
    Names awaitOnly(std::size_t expected) const {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (m_count < expected && std::chrono::steady_clock::now() < end)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        std::this_thread::sleep_for(std::chrono::milliseconds(100)); // for those that should be held back
        Names names;
        for (std::size_t i = 0; i < m_names.size(); ++i)
            if (m_done[i])
                names.push_back(m_names[i]);
        return names;
    }
    void join() {
        for (auto& thread : m_threads)
            thread.join();
    }

  private:
    const Names m_names = kUnlocked + kReading + kWriting;
    std::vector<std::atomic<bool>> m_done;
    std::atomic<std::size_t> m_count{0};
    std::vector<std::thread> m_threads;
};

// Another lock object of the same name, as another process has one.
TEST(ExportLock, AWriterKeepsOutAllThatTakeIt) {
    const LoadedLibrary library;
    CWdRWLockEx lock;
    ASSERT_TRUE(lock.Initialize("wdlt_config_rw"));
    lock.LockWrite();
    Calls calls(library);
    const Names done = calls.awaitOnly(kUnlocked.size());
    lock.UnlockWrite();
    calls.join();
    EXPECT_THAT(done, UnorderedElementsAreArray(kUnlocked));
}

TEST(ExportLock, AReaderLetsReadersPast) {
    const LoadedLibrary library;
    CWdRWLockEx lock;
    ASSERT_TRUE(lock.Initialize("wdlt_config_rw"));
    lock.LockRead();
    Calls calls(library);
    const Names expected = kUnlocked + kReading;
    const Names done = calls.awaitOnly(expected.size());
    lock.UnlockRead();
    calls.join();
    EXPECT_THAT(done, UnorderedElementsAreArray(expected));
}

TEST(ExportLock, WithoutItEveryExportRefusesUntilItCanBeHad) {
    const std::filesystem::path file = TestHome::instance().write("file", "no directory");
    setenv("WARDLET_HOME", (file / "home").c_str(), 1);
    WdTestRereadEnvironment();
    const LoadedLibrary library;
    for (const std::string& name : kUnlocked + kReading + kWriting)
        EXPECT_EQ(callWithNothing(library, name), name.find("Is") != name.npos ? 0 : -1) << name;

    std::filesystem::remove(file);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (callWithNothing(library, "WdltUrlhReadRecordList") != 0 && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(callWithNothing(library, "WdltUrlhReadRecordList"), 0);
}

} // namespace
