// Who and where this process is.
#include <TestObject.h>

#include <platform/testing.h>
#include <platform/win32.h>

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <time.h>
#include <unistd.h>

namespace {

DWORD serial() {
    DWORD number = 0;
    EXPECT_TRUE(GetVolumeInformationA("C:\\", nullptr, 0, &number, nullptr, nullptr, nullptr, 0));
    return number;
}

TEST(Identity, SystemDirectoryAndVersion) {
    std::array<char, 32> buffer{};
    EXPECT_EQ(GetSystemDirectoryA(buffer.data(), 20), 19u);
    EXPECT_STREQ(buffer.data(), "C:\\Windows\\System32");
    buffer[0] = '?';
    EXPECT_EQ(GetSystemDirectoryA(buffer.data(), 19), 20u);
    EXPECT_EQ(buffer[0], '?');
    OSVERSIONINFOA info{};
    info.dwOSVersionInfoSize = sizeof info;
    ASSERT_TRUE(GetVersionExA(&info));
    EXPECT_EQ(info.dwPlatformId, VER_PLATFORM_WIN32_NT);
    EXPECT_EQ(info.dwMajorVersion, 10u);
    info.dwOSVersionInfoSize = 20;
    EXPECT_EQ(errorOf(GetVersionExA(&info)), ERROR_INSUFFICIENT_BUFFER);
}

// Without the machine's number the root file system stands in for it, and the result is another.
TEST(Identity, VolumeSerialBelongsToTheMachine) {
    const DWORD machine = serial();
    EXPECT_EQ(serial(), machine);
    std::ifstream id("/etc/machine-id");
    std::string text;
    const bool hasNumber = std::getline(id, text) && text.size() == 32;
    ASSERT_TRUE(WdTestFailCall("open", 1, ENOENT));
    EXPECT_EQ(serial() != machine, hasNumber);
    ASSERT_TRUE(WdTestFailCall("open", 1, ENOENT) && WdTestFailCall("statvfs", 1, EACCES));
    DWORD number = 77;
    EXPECT_EQ(errorOf(GetVolumeInformationA("C:\\", nullptr, 0, &number, nullptr, nullptr, nullptr, 0)),
              ERROR_ACCESS_DENIED);
    EXPECT_EQ(number, 77u);
}

TEST(Identity, SessionIsTheLoginSessionOrZero) {
    DWORD expected = 0xFFFFFFFF;
    std::ifstream("/proc/self/sessionid") >> expected;
    DWORD session = 77;
    ASSERT_TRUE(ProcessIdToSessionId(GetCurrentProcessId(), &session));
    EXPECT_EQ(session, expected == 0xFFFFFFFF ? 0 : expected);
    ASSERT_TRUE(ProcessIdToSessionId(static_cast<DWORD>(getppid()), &session));
    EXPECT_EQ(errorOf(ProcessIdToSessionId(0, &session)), ERROR_INVALID_PARAMETER);
}

TEST(Identity, LocalSystemIsTheSuperuser) {
    std::array<BYTE, SECURITY_MAX_SID_SIZE> sid{};
    DWORD size = 11;
    EXPECT_EQ(errorOf(CreateWellKnownSid(WinLocalSystemSid, nullptr, sid.data(), &size)), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(size, 12u);
    ASSERT_TRUE(CreateWellKnownSid(WinLocalSystemSid, nullptr, sid.data(), &size));
    const std::array<BYTE, 12> expected{1, 1, 0, 0, 0, 0, 0, 5, 18, 0, 0, 0};
    EXPECT_EQ(std::memcmp(sid.data(), expected.data(), expected.size()), 0);
    for (const BYTE last : {BYTE{18}, BYTE{11}}) {
        sid[8] = last;
        BOOL isMember = FALSE;
        ASSERT_TRUE(CheckTokenMembership(nullptr, sid.data(), &isMember));
        EXPECT_EQ(isMember != FALSE, last == 18 && geteuid() == 0);
    }
}

TEST(Identity, LocalTimeFollowsTheTimeZone) {
    setenv("TZ", "AHEAD-5:30", 1);
    tzset();
    const auto now = [] { return std::chrono::system_clock::to_time_t(std::chrono::system_clock::now()); };
    SYSTEMTIME local{};
    const time_t before = now();
    GetLocalTime(&local);
    const time_t after = now();
    tm broken{};
    broken.tm_year = local.wYear - 1900;
    broken.tm_mon = local.wMonth - 1;
    broken.tm_mday = local.wDay;
    broken.tm_hour = local.wHour;
    broken.tm_min = local.wMinute;
    broken.tm_sec = local.wSecond;
    const time_t told = timegm(&broken) - 330 * 60;
    EXPECT_GE(told, before);
    EXPECT_LE(told, after);
    EXPECT_EQ(local.wDayOfWeek, broken.tm_wday);
    EXPECT_LT(local.wMilliseconds, 1000);
}

} // namespace
