// Processes that die while they write a list of anti-spam or the address cache, at each system call: the file is the
// old one or the new one, whole; who comes next gets on, and a spam list is never emptied for want of a look at it.
#include "AntiSpamList.h"
#include "Child.h"
#include "ConfigManager.h"
#include "TestFiles.h"
#include "TimeScale.h"
#include "Tree.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <platform/testing.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace {

constexpr int kKilled = Child::kSignal + SIGKILL;
constexpr const char* kCalls[] = {"open",   "openat",    "close",  "write",  "read",      "pread", "lseek",
                                  "fsync",  "ftruncate", "stat",   "lstat",  "fstat",     "flock", "fchmod",
                                  "rename", "readlink",  "unlink", "linkat", "fcntl_lock"};

WdpeAspmEntry entryOf(const std::string& text) {
    WdpeAspmEntry entry{};
    text.copy(entry.szEntry, sizeof entry.szEntry - 1);
    return entry;
}

class MailKill : public TestFiles {
  protected:
    static void SetUpTestSuite() { WdTestRereadEnvironment(); }

    // `write` in a child that dies at the n-th of each call, `check` after each; `died` tells whether it did.
    static void dieEverywhere(const std::function<bool()>& write, const std::function<void()>& before,
                              const std::function<void(bool died)>& check) {
        int deaths = 0;
        for (const char* const call : kCalls)
            for (int nth = 1;; ++nth) {
                SCOPED_TRACE(testing::Message() << call << ' ' << nth);
                before();
                const int status = Child([&] {
                                       WdTestFailCall(call, nth, 0);
                                       return write() ? 0 : 1;
                                   }).wait();
                const bool died = status == kKilled;
                EXPECT_TRUE(died || status == 0) << status;
                check(died);
                deaths += died ? 1 : 0;
                if (!died || HasFailure())
                    break;
            }
        std::printf("%d deaths\n", deaths);
        EXPECT_GT(deaths, 20);
    }

    const TimeScale asItIs{"1"};
};

TEST_F(MailKill, ASpamListIsTheOldOneOrTheNewOne) {
    const std::string oldText = "old\r\nlist, edited by hand";
    const std::string newText = "new\nlist\n";
    const std::vector<WdpeAspmEntry> entries{entryOf("new"), entryOf("list")};
    const std::string path = at("list.txt").string();
    const Handle mutex = makeMutex("Global\\WDPE_AspmList_Access_Mutex"); // outlives whoever dies with it
    dieEverywhere(
        [&] { return CAntiSpamList().WriteList(path.c_str(), entries.data(), 2) == 1; },
        [&] { put("list.txt", oldText); },
        [&](bool died) {
            EXPECT_TRUE(get("list.txt") == newText || (died && get("list.txt") == oldText)) << get("list.txt");
            EXPECT_LE(partials().size(), died ? 1u : 0u);
            std::vector<WdpeAspmEntry> read(2);
            int count = 0;
            // Found abandoned once at most; it isn't taken for an empty list.
            auto state = CAntiSpamList().Load(path.c_str(), read.data(), 2, count);
            EXPECT_TRUE(state == CAntiSpamList::State::Read || (died && state == CAntiSpamList::State::Unreadable));
            state = CAntiSpamList().Load(path.c_str(), read.data(), 2, count);
            EXPECT_EQ(state, CAntiSpamList::State::Read);
            EXPECT_EQ(count, 2);
            EXPECT_EQ(CAntiSpamList().WriteList(path.c_str(), entries.data(), 2), 1);
            EXPECT_TRUE(partials().empty());
        });
}

TEST_F(MailKill, TheAddressCacheIsTheOldOneOrTheNewOne) {
    std::filesystem::create_directory(at("temp"));
    tree::setText("", "InstallPath", folder.string() + "/");
    tree::setText("", "TempPath", at("temp").string() + "/");
    tree::setText("Scan\\Common\\MailManager\\config", "AddressCacheFile", "cache.dat");
    const auto write = [](std::uint32_t count) {
        std::vector<char> buffer(sizeof count + count * sizeof(MailAddressRecord), static_cast<char>('a' + count));
        std::memcpy(buffer.data(), &count, sizeof count);
        return CConfigManager().WriteConfig(WDLT_PROTOCOL_COMMON, WDLT_SCAN_MAIL_MANAGER, WDLT_INPUT_NONE,
                                            WDLT_CONFIG_MAIL_ADDRESS_CACHE, buffer.data(), buffer.size()) == WDLT_OK;
    };
    ASSERT_TRUE(write(3));
    const std::string newFile = get("cache.dat");
    ASSERT_TRUE(write(2));
    const std::string oldFile = get("cache.dat");
    const auto temporaryFiles = [&] { return std::distance(std::filesystem::directory_iterator(at("temp")), {}); };
    dieEverywhere([&] { return write(3); }, [&] { put("cache.dat", oldFile); },
                  [&](bool died) {
                      EXPECT_TRUE(get("cache.dat") == newFile || (died && get("cache.dat") == oldFile));
                      EXPECT_LE(temporaryFiles(), died ? 1 : 0);
                      EXPECT_TRUE(write(3)); // whatever the dead one held
                      EXPECT_EQ(get("cache.dat"), newFile);
                      EXPECT_TRUE(partials().empty() && temporaryFiles() == 0);
                  });
}

} // namespace
