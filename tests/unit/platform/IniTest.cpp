#include "TestHome.h"

#include <platform/testing.h>
#include <platform/win32.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

constexpr const char* kFile = "test.ini";

std::string text(const char* section, const char* name, const char* file = kFile) {
    std::array<char, 600> buffer{};
    const DWORD length = GetPrivateProfileStringA(section, name, "<none>", buffer.data(), 600, file);
    EXPECT_EQ(std::string_view(buffer.data()).size(), length);
    return {buffer.data(), length};
}

std::vector<std::string> temporaries() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(TestHome::instance().path())) {
        if (entry.path().filename().string().front() == '.')
            names.push_back(entry.path());
    }
    return names;
}

TEST(Ini, Texts) {
    TestHome::instance().write(kFile, "\xEF\xBB\xBF"
                                      "Stray=0\r\n"
                                      "[First]\r\n"
                                      " Name = some text \r\n"
                                      "; Comment=1\n"
                                      "no value here\n"
                                      "[unclosed\n"
                                      "Quoted=\"  kept  \"\n"
                                      "Single='x'\n"
                                      "Half=\"x\n"
                                      "Equals=a=b;c\n"
                                      "Empty=\n"
                                      "Name=second\n"
                                      "[ Second ] behind\n"
                                      "Name=2\n"
                                      "[FIRST]\n"
                                      "Late=too late\n"
                                      "[Last]\n"
                                      "End=no line end");
    const struct {
        const char* section;
        const char* name;
        const char* expected;
    } cases[] = {
        {"first", "NAME", "some text"},  {"First", "Comment", "<none>"}, {"First", "; Comment", "<none>"},
        {"First", "Quoted", "  kept  "}, {"First", "Single", "x"},       {"First", "Half", "\"x"},
        {"First", "Equals", "a=b;c"},    {"First", "Empty", ""},         {"First", "no value here", "<none>"},
        {"Second", "name", "2"},         {"First", "Late", "<none>"},    {"Last", "End", "no line end"},
        {"None", "Name", "<none>"},      {"First", "Stray", "<none>"},   {"", "Stray", "<none>"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(text(c.section, c.name), c.expected) << c.section << ' ' << c.name;
    EXPECT_EQ(text("First", "Name", "missing.ini"), "<none>");
}

TEST(Ini, TextsThatDontFitAreCut) {
    TestHome::instance().write(kFile, "[S]\nName=0123456789\n");
    std::array<char, 16> buffer{};
    EXPECT_EQ(GetPrivateProfileStringA("S", "Name", "", buffer.data(), 11, kFile), 10u);
    EXPECT_STREQ(buffer.data(), "0123456789");
    EXPECT_EQ(GetPrivateProfileStringA("S", "Name", "", buffer.data(), 10, kFile), 9u);
    EXPECT_STREQ(buffer.data(), "012345678");
    EXPECT_EQ(GetPrivateProfileStringA("S", "None", "default text", buffer.data(), 8, kFile), 7u);
    EXPECT_STREQ(buffer.data(), "default");
    EXPECT_EQ(GetPrivateProfileStringA("S", "Name", "", buffer.data(), 1, kFile), 0u);
    EXPECT_EQ(GetPrivateProfileStringA("S", "Name", "", buffer.data(), 0, kFile), 0u);
    EXPECT_EQ(GetPrivateProfileStringA("S", "Name", nullptr, nullptr, 5, kFile), 0u);
}

TEST(Ini, Numbers) {
    const struct {
        const char* written;
        UINT number;
    } cases[] = {
        {"273", 273},   {"-5", 0xFFFFFFFBu}, {"+7", 7}, {"0x111", 273}, {"0XfF", 255},     {"12 monkeys", 12},
        {"\"16\"", 16}, {"text", 0},         {"0x", 0}, {"- 5", 0},     {"4294967296", 0}, {"", 42},
        {"08", 8},      {"--1", 0},
    };
    for (const auto& c : cases) {
        TestHome::instance().write(kFile, std::string("[S]\nN=").append(c.written));
        EXPECT_EQ(GetPrivateProfileIntA("S", "N", 42, kFile), c.number) << c.written;
    }
    EXPECT_EQ(GetPrivateProfileIntA("S", "None", 42, kFile), 42u);
    EXPECT_EQ(GetPrivateProfileIntA("S", "N", -1, "missing.ini"), 0xFFFFFFFFu);
}

TEST(Ini, GarbageIsReadAround) {
    std::string garbage;
    for (int i = 0; i < 4096; ++i)
        garbage += static_cast<char>(i * 7 + i / 256);
    const std::string noise = garbage;
    garbage.append("\n").append(1 << 20, 'x').append("\n[S]\nLong=").append(1 << 20, 'y').append("\nZero=ab");
    garbage.append(1, '\0').append("cd\nName=found\n").append(noise);
    TestHome::instance().write(kFile, garbage);
    EXPECT_EQ(text("S", "Name"), "found");
    EXPECT_EQ(text("S", "Zero"), "ab");
    EXPECT_EQ(text("S", "Long"), std::string(599, 'y'));
    // A change touches its own line only.
    ASSERT_TRUE(WritePrivateProfileStringA("S", "Name", "changed", kFile));
    garbage.replace(garbage.find("found"), 5, "changed");
    EXPECT_EQ(TestHome::instance().read(kFile), garbage);
    // A folder or a pipe in the file's place is no file.
    std::filesystem::create_directory(TestHome::instance().path() / "folder.ini");
    EXPECT_EQ(text("S", "Name", "folder.ini"), "<none>");
    ASSERT_EQ(mkfifo((TestHome::instance().path() / "pipe.ini").c_str(), 0600), 0);
    EXPECT_EQ(text("S", "Name", "pipe.ini"), "<none>");
}

TEST(Ini, WritesKeepAllElse) {
    const struct {
        const char* before;
        const char* section;
        const char* name;
        const char* value;
        const char* after;
    } cases[] = {
        {"", "S", "N", "1", "[S]\nN=1\n"},
        {"[A]\r\nx=1", "S", "N", "1", "[A]\r\nx=1\r\n[S]\r\nN=1\r\n"},
        {"[s]\n; c\n\tn  =  old  \r\nm=2\n", "S", "N", "1", "[s]\n; c\n\tn  =1\r\nm=2\n"},
        {"[S]\nm=2\n\n[T]\nN=9\n", "s", "N", "1", "[S]\nm=2\nN=1\n\n[T]\nN=9\n"},
        {"[S]", "S", "N", "", "[S]\nN=\n"},
        {"[S]\nN=1\nM=2\nn=3\n[T]\nN=4\n", "S", "N", nullptr, "[S]\nM=2\n[T]\nN=4\n"},
        {"x\n[S]\nN=1\n[T]\nN=4\n[s]\nM=5\n", "S", nullptr, nullptr, "x\n[T]\nN=4\n"},
        {"\xEF\xBB\xBF[S]\nN=1", "S", "N", nullptr, "\xEF\xBB\xBF[S]\n"},
    };
    for (const auto& c : cases) {
        TestHome::instance().write(kFile, c.before);
        EXPECT_TRUE(WritePrivateProfileStringA(c.section, c.name, c.value, kFile)) << c.before;
        EXPECT_EQ(TestHome::instance().read(kFile), c.after) << c.before;
        if (c.value != nullptr) {
            EXPECT_EQ(text(c.section, c.name), c.value);
        }
    }
    EXPECT_TRUE(WritePrivateProfileStringA(nullptr, nullptr, nullptr, kFile));
    const struct {
        const char* section;
        const char* name;
        const char* value;
    } refused[] = {{"S]", "N", "1"}, {"S", "N=", "1"},    {"S", "N", "1\n[T]"}, {"S\n", "N", "1"},   {"S", ";N", "1"},
                   {"S", "[N", "1"}, {nullptr, "N", "1"}, {"", "N", "1"},       {"S", nullptr, "1"}, {"S", "", "1"}};
    const std::string before = TestHome::instance().read(kFile);
    for (const auto& c : refused) {
        EXPECT_FALSE(WritePrivateProfileStringA(c.section, c.name, c.value, kFile));
        EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    }
    EXPECT_EQ(TestHome::instance().read(kFile), before);
}

TEST(Ini, AWriteReplacesTheFileAsAWholeOrLeavesIt) {
    const auto path = TestHome::instance().write(kFile, "[S]\nN=old\n");
    ASSERT_EQ(chmod(path.c_str(), 0604), 0);
    struct stat before {};
    struct stat after {};
    ASSERT_EQ(stat(path.c_str(), &before), 0);
    const struct {
        const char* call;
        int error;
        DWORD code;
    } failures[] = {{"write", ENOSPC, ERROR_DISK_FULL},
                    {"fsync", EIO, ERROR_REGISTRY_IO_FAILED},
                    {"rename", EACCES, ERROR_ACCESS_DENIED},
                    {"fchmod", EPERM, ERROR_ACCESS_DENIED},
                    {"pread", EIO, ERROR_REGISTRY_IO_FAILED}};
    for (const auto& f : failures) {
        ASSERT_TRUE(WdTestFailCall(f.call, 1, f.error));
        EXPECT_FALSE(WritePrivateProfileStringA("S", "N", "new", kFile)) << f.call;
        EXPECT_EQ(GetLastError(), f.code) << f.call;
        EXPECT_EQ(TestHome::instance().read(kFile), "[S]\nN=old\n") << f.call;
        EXPECT_THAT(temporaries(), testing::IsEmpty()) << f.call;
    }
    // No change, no new file.
    ASSERT_TRUE(WritePrivateProfileStringA("S", "N", "old", kFile));
    ASSERT_EQ(stat(path.c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
    ASSERT_TRUE(WritePrivateProfileStringA("S", "N", "new", kFile));
    ASSERT_EQ(stat(path.c_str(), &after), 0);
    EXPECT_NE(after.st_ino, before.st_ino);
    EXPECT_EQ(after.st_mode & 07777, 0604u);
    EXPECT_TRUE(temporaries().empty());
    EXPECT_FALSE(WritePrivateProfileStringA("S", "N", "1", "C:\\no such folder\\x.ini"));
    EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
}

std::string numbered(int writer, int number) {
    return std::to_string(writer).append("_").append(std::to_string(number));
}

TEST(Ini, WritersTakeTurns) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([i] {
            for (int n = 0; n < 25; ++n)
                EXPECT_TRUE(WritePrivateProfileStringA("S", numbered(i, n).c_str(), "1", kFile));
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(text("S", numbered(i / 25, i % 25).c_str()), "1");
}

TEST(Ini, WhereAFileIsLookedFor) {
    const TestHome& home = TestHome::instance();
    home.write("plain.ini", "[S]\nN=home");
    home.write("Wardlet.ini", "[S]\nN=home");
    home.write("drive_c/dir/plain.ini", "[S]\nN=drive");
    const std::string folder = (home.path() / "drive_c" / "dir").string();
    EXPECT_EQ(text("S", "N", "plain.ini"), "home");
    EXPECT_EQ(text("S", "N", "C:\\dir\\plain.ini"), "drive");
    EXPECT_EQ(text("S", "N", (folder + "\\plain.ini").c_str()), "drive");
    // Only the settings file falls back to the home, and only where the folder has none.
    EXPECT_EQ(text("S", "N", (folder + "/other.ini").c_str()), "<none>");
    EXPECT_EQ(text("S", "N", (folder + "/Wardlet.ini").c_str()), "home");
    home.write("drive_c/dir/Wardlet.ini", "[S]\nN=beside");
    EXPECT_EQ(text("S", "N", (folder + "/Wardlet.ini").c_str()), "beside");
}

} // namespace
