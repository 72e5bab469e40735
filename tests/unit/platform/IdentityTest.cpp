// Who and where this process is.
#include <TestObject.h>

#include <platform/testing.h>
#include <platform/win32.h>

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
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
    EXPECT_EQ(GetSystemDirectoryA(buffer.data(), 19), 20u);
    OSVERSIONINFOA info{};
    info.dwOSVersionInfoSize = sizeof info;
    ASSERT_TRUE(GetVersionExA(&info));
    EXPECT_EQ(info.dwPlatformId, VER_PLATFORM_WIN32_NT);
    EXPECT_EQ(info.dwMajorVersion, 10u);
}

TEST(Identity, VolumeSerialBelongsToTheMachine) {
    const DWORD machine = serial();
    EXPECT_EQ(serial(), machine);
    std::ifstream id("/etc/machine-id");
    std::string text;
    const bool hasNumber = std::getline(id, text) && text.size() == 32;
    ASSERT_TRUE(WdTestFailCall("open", 1, ENOENT));
    EXPECT_EQ(serial() != machine, hasNumber) << "the root file system stands in for the machine's number";
}

TEST(Identity, SessionIsTheLoginSessionOrZero) {
    DWORD expected = 0xFFFFFFFF;
    std::ifstream("/proc/self/sessionid") >> expected;
    DWORD session = 77;
    ASSERT_TRUE(ProcessIdToSessionId(GetCurrentProcessId(), &session));
    EXPECT_EQ(session, expected == 0xFFFFFFFF ? 0 : expected);
}

TEST(Identity, LocalSystemIsTheSuperuser) {
    std::array<BYTE, SECURITY_MAX_SID_SIZE> sid{};
    DWORD size = 12;
    ASSERT_TRUE(CreateWellKnownSid(WinLocalSystemSid, nullptr, sid.data(), &size));
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
    EXPECT_TRUE(before <= told && told <= after) << told;
    EXPECT_EQ(local.wDayOfWeek, broken.tm_wday);
}

} // namespace
