#include "WdCommon/DebugLog.h"
#include "Child.h"
#include "LogFile.h"
#include "Sanitizers.h"
#include "TestHome.h"

#include <platform/testing.h>
#include <platform/win32.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <limits>
#include <regex>
#include <set>
#include <string>
#include <sys/file.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using testing::ElementsAre;

const WdCommon::Storage::Key kHomeKey(WdCommon::Storage::kIniFile, "", "Wardlet.ini");

bool logAt(DWORD level) {
    return wdlt::Trace("dir/file.cpp", 1, level, "text");
}

TEST(DebugLog, ALineToTheLetter) {
    const LogFile log;
    EXPECT_TRUE(wdlt::Trace("..\\a\\b.c", 7, wdlt::kLogError, "abc"));
    EXPECT_TRUE(wdlt::TraceW(u"..\\a/b.c", 4000000000u, wdlt::kLogEntry, u"abc"));
    EXPECT_TRUE(wdlt::Trace("b.c", 0, 16 | 256, "%s", std::string("x - y")));
    SYSTEMTIME now{};
    GetLocalTime(&now);
    std::array<char, 40> ids{};
    std::snprintf(ids.data(), ids.size(), "%04x:%04x", GetCurrentProcessId(), GetCurrentThreadId());
    const std::string head =
        "\\d\\d/(0\\d|1[012])/" + std::to_string(now.wYear) + " \\d\\d:\\d\\d:\\d\\d\\.\\d{3} " + ids.data();
    EXPECT_TRUE(std::regex_match(TestHome::instance().read("log/test.log"),
                                 std::regex(head + " !!! <Test> abc - b\\.c\\(7\\)\r\n" + head +
                                            " \\.w\\. <Test> abc - b\\.c\\(4000000000\\)\r\n" + head +
                                            " \\?\\?\\? <Test> x - y - b\\.c\\(0\\)\r\n")));
    EXPECT_THAT(log.messages(), ElementsAre("!!! abc", ".w. abc", "??? x - y"));
}

TEST(DebugLog, OffUnlessStartedAndEnabled) {
    EXPECT_FALSE(logAt(256));
    EXPECT_FALSE(wdlt::stopLog());
    // Without settings the log starts, but logs nothing.
    std::filesystem::remove(TestHome::instance().path() / "Wardlet.ini");
    std::filesystem::remove_all(TestHome::instance().path() / "log");
    EXPECT_TRUE(wdlt::startLog("Test", kHomeKey));
    EXPECT_TRUE(logAt(256));
    EXPECT_FALSE(wdlt::isLogged(wdlt::kLogError));
    EXPECT_TRUE(wdlt::stopLog());
    EXPECT_FALSE(std::filesystem::exists(TestHome::instance().path() / "log")); // nothing logged, so no folder

    LogFile::writeSettings(256);
    const WdCommon::Storage::Key refused[] = {
        {2, "", "Wardlet.ini"}, // no such kind
        // A folder without the trace library: the log stays off, though the settings want it.
        {WdCommon::Storage::kIniFile, TestHome::instance().path().c_str(), "Wardlet.ini"},
    };
    for (const auto& key : refused)
        EXPECT_FALSE(wdlt::startLog("Test", key) || logAt(256) || wdlt::isLogged(wdlt::kLogError));
    EXPECT_TRUE(wdlt::startLog("Test", kHomeKey) && logAt(256) && wdlt::stopLog());
    EXPECT_FALSE(wdlt::stopLog() || logAt(256));
    EXPECT_EQ(LogFile::fileLines().size(), 1u);
}

TEST(DebugLog, ASecondStartReadsTheSettingsAgain) {
    const LogFile log(256);
    EXPECT_FALSE(logAt(16));
    int looked = 0; // evaluations of the arguments of a line that isn't logged
    WDLOG_TRACE("%d", ++looked);
    EXPECT_EQ(looked, 0);
    LogFile::writeSettings(16, "LogFile=other\n");
    // Another tag, but the same trace library: a second instance would write to the other file.
    EXPECT_TRUE(wdlt::startLog("Again", kHomeKey));
    EXPECT_TRUE(logAt(16));
    EXPECT_FALSE(logAt(256));
    TestHome::instance().write("Wardlet.ini", "");
    EXPECT_TRUE(wdlt::startLog("Again", kHomeKey));
    EXPECT_TRUE(logAt(256)); // still started, but no longer enabled
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_TRUE(log.contains("@@@ <Again> text"));
}

TEST(DebugLog, FormatsAsTheSystemDoes) {
    const LogFile log;
    WDLOG_ERROR("%d %d %u %x %08X %02d|%5d %%", -1, std::int64_t{7} == 7, 0xFFFFFFFFu, -1, 0xABCu, 5, 42);
    WDLOG_ERROR("%ld %lu %08lx", static_cast<long>(0x80004005u), static_cast<unsigned long>(-1),
                static_cast<unsigned long>(-1));
    WDLOG_ERROR("%ws|%ws|%s", u"w\u00EF\u20AC", std::u16string(u"de"), static_cast<const char*>(nullptr));
    WDLOG_ERROR("%p", reinterpret_cast<void*>(std::uintptr_t{0xABC}));
    WDLOGW(wdlt::kLogError, u"%s %hs \u00E4 %d%%", u"wide", "\xC3\xB6", 5);
    EXPECT_THAT(log.messages(),
                ElementsAre("!!! -1 1 4294967295 ffffffff 00000ABC 05|   42 %", "!!! -2147467259 4294967295 ffffffff",
                            "!!! w\xC3\xAF\xE2\x82\xAC|de|(null)", "!!! 0000000000000ABC",
                            "!!! wide \xC3\xB6 \xC3\xA4 5%"));
}

TEST(DebugLog, MessagesEndAt4095Characters) {
    const LogFile log;
    const auto text = [](std::size_t size) { return std::string(size, 'x'); };
    for (const std::size_t size : {256u, 4095u, 4096u})
        WDLOG_ERROR("%s", text(size));
    WDLOG_ERROR("%s%2d", text(4094), 1);
    WDLOG_ERROR("%s%2d", text(4093), 1);
    WDLOGW(wdlt::kLogError, u"%s", std::u16string(5000, u'x'));
    EXPECT_THAT(log.messages(), ElementsAre("!!! " + text(256), "!!! " + text(4095), "!!! ", "!!! ",
                                            "!!! " + text(4093) + " 1", "!!! "));
}

TEST(DebugLog, ALineLeavesTheLastErrorAlone) {
    const LogFile log;
    SetLastError(1234);
    ASSERT_TRUE(WdTestFailCall("readlink", 1, 2)); // a failure while logging
    WDLOG_ERROR("error %d", GetLastError());
    EXPECT_EQ(GetLastError(), 1234u);
    EXPECT_TRUE(log.contains("error 1234"));
    ASSERT_TRUE(WdTestFailCall("readlink", 0, 0));
}

// Lines that differ, and are long enough for the file to be rotated in the middle.
constexpr int kWriters = 4;
constexpr int kLinesEach = 700;
constexpr unsigned kLine = 99;

std::string messageOf(int writer, int number) {
    return std::to_string(writer) + "/" + std::to_string(number) + std::string(3000, static_cast<char>('a' + writer));
}

void writeMany(int writer) {
    for (int i = 0; i < kLinesEach; ++i)
        wdlt::Trace("DebugLogTest.cpp", kLine, wdlt::kLogError, "%s", messageOf(writer, i));
}

// Checks that the file and its predecessors contain each written line exactly once, and whole.
void expectAllLines() {
    std::multiset<std::string> found;
    std::multiset<std::string> written;
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(TestHome::instance().path() / "log")) {
        ++files;
        // A process that finds another one rotating the file goes on writing to the full file.
        EXPECT_LE(entry.file_size(), std::uintmax_t{6} << 20) << entry.path();
        std::ifstream file(entry.path(), std::ios::binary);
        for (std::string line; std::getline(file, line);)
            found.insert(line.substr(line.find("<Test> ")));
    }
    EXPECT_TRUE(files == 2 || files == 3) << files; // 8.5 MB in files of 4 MiB or little more
    const std::string tail = " - DebugLogTest.cpp(" + std::to_string(kLine) + ")\r";
    for (int writer = 0; writer < kWriters; ++writer)
        for (int i = 0; i < kLinesEach; ++i)
            written.insert("<Test> " + messageOf(writer, i) + tail);
    EXPECT_TRUE(found == written);
}

TEST(DebugLog, WhoeverLocksTheFileKeepsItFromItsRotationAlone) {
    const LogFile log;
    WDLOG_ERROR("first");
    const auto file = TestHome::instance().path() / "log/test.log";
    EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms(0600));
    std::filesystem::resize_file(file, 4 << 20);
    const int holder = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(holder, LOCK_SH), 0);
    alarm(60); // ends the test if the call waits
    WDLOG_ERROR("into the full file");
    alarm(0);
    EXPECT_GT(std::filesystem::file_size(file), 4u << 20);
    close(holder);
    WDLOG_ERROR("rotated");
    EXPECT_EQ(log.messages(), std::vector<std::string>{"!!! rotated"});
}

// Writers are two children that are forked while a thread is logging and use the inherited log, one that starts its
// own, and the parent. Under sanitizers they are threads, since a sanitizer's allocator locks don't survive such a
// fork.
TEST(DebugLog, ProcessesShareOneFileThroughItsRotation) {
    const LogFile log;
    std::vector<std::thread> threads;
    threads.emplace_back(writeMany, 0);
    std::deque<Child> children;
    for (int writer = 1; writer < kWriters; ++writer) {
        if (kIsSanitized) {
            threads.emplace_back(writeMany, writer);
            continue;
        }
        children.emplace_back([writer] {
            alarm(60); // ends a child that waits for a thread it doesn't have
            if (writer == 3) {
                wdlt::stopLog();
                wdlt::startLog("Test", kHomeKey);
            }
            writeMany(writer);
            return 0;
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (Child& child : children)
        EXPECT_EQ(child.wait(), 0);
    expectAllLines();
}

TEST(TraceLibrary, WhereTheFileLies) {
    const TestHome& home = TestHome::instance();
    const std::string absolute = (home.path() / "made/for/it").string();
    const struct {
        const char* folder;
        const char* more;
        const char* file; // relative to the home; null: the log must not start
    } cases[] = {
        {"C:\\Logs\\x", "", "drive_c/Logs/x/qxcTest.log"},
        {"", "LogFile=f\nLogExtension=\n", "log/qxcf"},
        {absolute.c_str(), "LogPrefix=\nLogExtension=txt\n", "made/for/it/Test.txt"},
        {"C:\\..\\x", "", nullptr},
        {"C:\\Logs", "LogFile=..\\x\n", nullptr},
    };
    for (const auto& c : cases) {
        std::string text;
        for (const char* section : {"ServiceSession", "InteractiveSession"})
            text += std::string("[") + section + "]\nEnable=1\nLogFolder=" + c.folder + "\n" + c.more;
        home.write("Wardlet.ini", text);
        EXPECT_EQ(wdlt::startLog("Test", kHomeKey), c.file != nullptr) << c.folder;
        EXPECT_EQ(logAt(256), c.file != nullptr) << c.folder;
        wdlt::stopLog();
        if (c.file != nullptr) {
            EXPECT_NE(home.read(c.file).find("!!! <Test> text"), std::string::npos) << c.file;
        }
    }
}

TEST(TraceLibrary, WithoutAHomeTheFileIsTheUsersOwnAmongTemporaries) {
    const TestHome& home = TestHome::instance();
    home.write("Wardlet.ini", "[ServiceSession]\nEnable=1\nDebugger=1\nRobust=1\n"
                              "[InteractiveSession]\nEnable=1\nDebugger=1\nRobust=1\n");
    home.write("tmp/other", "");
    ASSERT_EQ(GetPrivateProfileIntA("ServiceSession", "Enable", 0, "Wardlet.ini"), 1u); // makes the layer find its home
    unsetenv("WARDLET_HOME");
    setenv("TMPDIR", (home.path() / "tmp").c_str(), 1);
    const auto lineIsWritten = [] {
        EXPECT_TRUE(wdlt::startLog("Test", kHomeKey));
        const bool written = logAt(256);
        wdlt::stopLog();
        return written;
    };
    testing::internal::CaptureStderr();
    EXPECT_TRUE(lineIsWritten());
    const std::string shown = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(shown.ends_with("!!! <Test> text - file.cpp(1)\r\n")) << shown;
    EXPECT_EQ(home.read("tmp/qxcTest.log"), shown);
    // A symbolic link in the file's place isn't followed.
    const auto file = home.path() / "tmp/qxcTest.log";
    std::filesystem::remove(file);
    std::filesystem::create_symlink(home.path() / "tmp/other", file);
    EXPECT_FALSE(lineIsWritten());
    std::filesystem::remove(file);
    std::filesystem::create_hard_link(home.path() / "tmp/other", file);
    EXPECT_FALSE(lineIsWritten());
    EXPECT_EQ(home.read("tmp/other"), "");
    setenv("WARDLET_HOME", home.path().c_str(), 1);
    unsetenv("TMPDIR");
}

TEST(TraceLibrary, ARemovedFileIsMadeAgain) {
    const LogFile log;
    const auto folder = TestHome::instance().path() / "log";
    EXPECT_TRUE(logAt(256));
    for (const auto& gone : {folder / "test.log", folder}) {
        std::filesystem::remove_all(gone);
        EXPECT_TRUE(logAt(256));
        EXPECT_EQ(log.lines().size(), 1u);
    }
    std::filesystem::remove_all(folder);
    TestHome::instance().write("log", "no folder");
    EXPECT_FALSE(logAt(256)); // the line is lost, but the log goes on
    std::filesystem::remove(folder);
    EXPECT_TRUE(logAt(256));
    EXPECT_EQ(log.lines().size(), 1u);
}

} // namespace
