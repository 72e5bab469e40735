#include <platform/testing.h>
#include <platform/win32.h>

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

namespace {

DWORD serial() {
    DWORD number = 0;
    EXPECT_TRUE(GetVolumeInformationA("C:\\", nullptr, 0, &number, nullptr, nullptr, nullptr, 0));
    return number;
}

TEST(Identity, SystemDirectoryAndTheSizeItNeeds) {
    std::array<char, 32> buffer{};
    EXPECT_EQ(GetSystemDirectoryA(buffer.data(), 20), 19u);
    EXPECT_STREQ(buffer.data(), "C:\\Windows\\System32");
    buffer[0] = '?';
    EXPECT_EQ(GetSystemDirectoryA(buffer.data(), 19), 20u);
    EXPECT_EQ(buffer[0], '?');
    EXPECT_EQ(GetSystemDirectoryA(nullptr, 0), 20u);
}

TEST(Identity, VolumeSerialBelongsToTheMachine) {
    const DWORD machine = serial();
    EXPECT_EQ(serial(), machine);
    std::array<char, 4> name{"abc"};
    DWORD length = 0;
    DWORD flags = 1;
    EXPECT_TRUE(GetVolumeInformationA("C:\\", name.data(), 4, nullptr, &length, &flags, nullptr, 0));
    EXPECT_STREQ(name.data(), "");
    EXPECT_EQ(length, 255u);
    EXPECT_EQ(flags, 0u);

    // Without the machine's number the root file system stands in for it, and the result is another.
    ASSERT_TRUE(WdTestFailCall("open", 1, ENOENT));
    const DWORD fileSystem = serial();
    std::ifstream id("/etc/machine-id");
    std::string text;
    if (std::getline(id, text) && text.size() == 32) {
        EXPECT_NE(fileSystem, machine);
    } else {
        EXPECT_EQ(fileSystem, machine);
    }
    ASSERT_TRUE(WdTestFailCall("open", 1, ENOENT));
    ASSERT_TRUE(WdTestFailCall("statvfs", 1, EACCES));
    DWORD number = 77;
    EXPECT_FALSE(GetVolumeInformationA("C:\\", nullptr, 0, &number, nullptr, nullptr, nullptr, 0));
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    EXPECT_EQ(number, 77u);
}

TEST(Identity, Version) {
    OSVERSIONINFOA info{};
    info.dwOSVersionInfoSize = sizeof info;
    ASSERT_TRUE(GetVersionExA(&info));
    EXPECT_EQ(info.dwPlatformId, VER_PLATFORM_WIN32_NT);
    EXPECT_EQ(info.dwMajorVersion, 10u);
    EXPECT_EQ(info.dwMinorVersion, 0u);
    info.dwOSVersionInfoSize = 20;
    EXPECT_FALSE(GetVersionExA(&info));
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
}

TEST(Identity, SessionIsTheLoginSessionOrZero) {
    DWORD expected = 0xFFFFFFFF;
    std::ifstream("/proc/self/sessionid") >> expected;
    DWORD session = 77;
    ASSERT_TRUE(ProcessIdToSessionId(GetCurrentProcessId(), &session));
    EXPECT_EQ(session, expected == 0xFFFFFFFF ? 0 : expected);
    ASSERT_TRUE(ProcessIdToSessionId(static_cast<DWORD>(getppid()), &session));
    EXPECT_FALSE(ProcessIdToSessionId(0, &session));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_FALSE(ProcessIdToSessionId(GetCurrentProcessId(), nullptr));
}

TEST(Identity, LocalSystemIsTheSuperuser) {
    std::array<BYTE, SECURITY_MAX_SID_SIZE> sid{};
    DWORD size = 11;
    EXPECT_FALSE(CreateWellKnownSid(WinLocalSystemSid, nullptr, sid.data(), &size));
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(size, 12u);
    ASSERT_TRUE(CreateWellKnownSid(WinLocalSystemSid, nullptr, sid.data(), &size));
    const std::array<BYTE, 12> expected{1, 1, 0, 0, 0, 0, 0, 5, 18, 0, 0, 0};
    EXPECT_EQ(std::memcmp(sid.data(), expected.data(), expected.size()), 0);

    BOOL isMember = FALSE;
    ASSERT_TRUE(CheckTokenMembership(nullptr, sid.data(), &isMember));
    EXPECT_EQ(isMember != FALSE, geteuid() == 0);
    sid[8] = 11;
    ASSERT_TRUE(CheckTokenMembership(nullptr, sid.data(), &isMember));
    EXPECT_FALSE(isMember);
    EXPECT_FALSE(CheckTokenMembership(&size, sid.data(), &isMember));
}

TEST(Identity, LocalTimeFollowsTheTimeZone) {
    setenv("TZ", "UTC0", 1);
    tzset();
    SYSTEMTIME utc{};
    const time_t before = time(nullptr);
    GetLocalTime(&utc);
    const time_t after = time(nullptr);
    tm broken{};
    broken.tm_year = utc.wYear - 1900;
    broken.tm_mon = utc.wMonth - 1;
    broken.tm_mday = utc.wDay;
    broken.tm_hour = utc.wHour;
    broken.tm_min = utc.wMinute;
    broken.tm_sec = utc.wSecond;
    const time_t told = timegm(&broken);
    EXPECT_GE(told, before);
    EXPECT_LE(told, after);
    EXPECT_EQ(utc.wDayOfWeek, broken.tm_wday);
    EXPECT_LT(utc.wMilliseconds, 1000);

    setenv("TZ", "AHEAD-5:30", 1);
    tzset();
    SYSTEMTIME local{};
    GetLocalTime(&local);
    const int minutes = (local.wHour * 60 + local.wMinute) - (utc.wHour * 60 + utc.wMinute);
    const int ahead = (minutes + 24 * 60) % (24 * 60);
    EXPECT_TRUE(ahead == 330 || ahead == 331) << ahead;
}

} // namespace
