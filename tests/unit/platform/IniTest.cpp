// Settings files: what is read, cut and found, and what a write leaves of the rest.
#include "TestObject.h"

#include <platform/testing.h>
#include <platform/win32.h>

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <vector>

namespace {

using namespace std::string_literals;

constexpr const char* kFile = "test.ini";

std::string text(const char* section, const char* name, const char* file = kFile) {
    std::array<char, 600> buffer{};
    const DWORD length = GetPrivateProfileStringA(section, name, "<none>", buffer.data(), 600, file);
    EXPECT_EQ(std::string_view(buffer.data()).size(), length);
    return {buffer.data(), length};
}

TEST(Ini, Texts) {
    TestHome::instance().write(kFile,
                               "\xEF\xBB\xBFStray=0\r\n[First]\r\n Name = some text \r\n; Comment=1\nno value here\n"
                               "[unclosed\nQuoted=\"  kept  \"\nSingle='x'\nHalf=\"x\nEquals=a=b;c\nEmpty=\n"
                               "Name=second\n[ Second ] behind\nName=2\n[FIRST]\nLate=too late\n[Last]\n"
                               "End=no line end");
    const std::array<const char*, 3> rows[] = {
        {"first", "NAME", "some text"},  {"First", "Comment", "<none>"}, {"First", "; Comment", "<none>"},
        {"First", "Quoted", "  kept  "}, {"First", "Single", "x"},       {"First", "Half", "\"x"},
        {"First", "Equals", "a=b;c"},    {"First", "Empty", ""},         {"First", "no value here", "<none>"},
        {"Second", "name", "2"},         {"First", "Late", "<none>"},    {"Last", "End", "no line end"},
        {"None", "Name", "<none>"},      {"First", "Stray", "<none>"},   {"", "Stray", "<none>"},
    };
    for (const auto& [section, name, expected] : rows)
        EXPECT_EQ(text(section, name), expected) << section << ' ' << name;
    EXPECT_EQ(text("First", "Name", "missing.ini"), "<none>");
}

TEST(Ini, TextsThatDontFitAreCut) {
    TestHome::instance().write(kFile, "[S]\nName=0123456789\nLong=" + std::string(1 << 20, 'y') + "\nZero=ab\0cd\n"s);
    for (const DWORD size : {0u, 1u, 10u, 11u, 15u}) {
        const struct {
            const char* name;
            std::string_view whole;
        } rows[] = {{"Name", "0123456789"}, {"None", "default text"}, {"Long", "yyyyyyyyyyyyyyyy"}, {"Zero", "ab"}};
        for (const auto& row : rows) {
            std::string buffer(16, '#');
            const DWORD length = GetPrivateProfileStringA("S", row.name, "default text", buffer.data(), size, kFile);
            const std::string_view expected = row.whole.substr(0, size == 0 ? 0 : size - 1);
            EXPECT_EQ(length, expected.size()) << row.name << size;
            EXPECT_EQ(buffer.substr(0, length), expected);
            EXPECT_EQ(buffer.substr(length, 2), size == 0 ? "##"s : "\0#"s);
        }
    }
    EXPECT_EQ(GetPrivateProfileStringA("S", "Name", nullptr, nullptr, 5, kFile), 0u);
}

TEST(Ini, Numbers) {
    const std::pair<const char*, UINT> rows[] = {
        {"273", 273},   {"-5", 0xFFFFFFFBu}, {"+7", 7}, {"0x111", 273}, {"0XfF", 255},     {"12 monkeys", 12},
        {"\"16\"", 16}, {"text", 0},         {"0x", 0}, {"- 5", 0},     {"4294967296", 0}, {"", 42},
        {"08", 8},      {"--1", 0},
    };
    for (const auto& [written, number] : rows) {
        TestHome::instance().write(kFile, std::string("[S]\nN=").append(written));
        EXPECT_EQ(GetPrivateProfileIntA("S", "N", 42, kFile), number) << written;
    }
    EXPECT_EQ(GetPrivateProfileIntA("S", "None", 42, kFile), 42u);
    EXPECT_EQ(GetPrivateProfileIntA("S", "N", -1, "missing.ini"), 0xFFFFFFFFu);
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
    const std::string before = TestHome::instance().read(kFile);
    EXPECT_TRUE(WritePrivateProfileStringA(nullptr, nullptr, nullptr, kFile));
    using Words = std::array<const char*, 3>;
    for (const Words& row : {Words{"S]", "N", "1"},
                             {"S\n", "N", "1"},
                             {"", "N", "1"},
                             {nullptr, "N", "1"},
                             {"S", "N=", "1"},
                             {"S", ";N", "1"},
                             {"S", "[N", "1"},
                             {"S", "", "1"},
                             {"S", nullptr, "1"},
                             {"S", "N", "1\n[T]"}})
        EXPECT_EQ(errorOf(WritePrivateProfileStringA(row[0], row[1], row[2], kFile)), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(TestHome::instance().read(kFile), before);
}

TEST(Ini, AWriteReplacesTheFileAsAWholeOrLeavesIt) {
    const auto path = TestHome::instance().write(kFile, "[S]\nN=old\n");
    ASSERT_EQ(chmod(path.c_str(), 0604), 0);
    const auto status = [&] {
        struct stat status {};
        EXPECT_EQ(stat(path.c_str(), &status), 0);
        return status;
    };
    const auto before = status().st_ino;
    const auto write = [](const char* value) { return errorOf(WritePrivateProfileStringA("S", "N", value, kFile)); };
    ASSERT_TRUE(WdTestFailCall("pread", 1, EIO));
    EXPECT_EQ(write("new"), ERROR_REGISTRY_IO_FAILED) << "what couldn't be read isn't empty";
    EXPECT_EQ(write("old"), ERROR_SUCCESS);
    EXPECT_EQ(status().st_ino, before) << "no change, no new file";
    EXPECT_EQ(write("new"), ERROR_SUCCESS);
    EXPECT_NE(status().st_ino, before);
    EXPECT_EQ(status().st_mode & 07777, 0604u);
    EXPECT_EQ(TestHome::instance().read(kFile), "[S]\nN=new\n");
    EXPECT_EQ(errorOf(WritePrivateProfileStringA("S", "N", "1", "C:\\no such folder\\x.ini")), ERROR_PATH_NOT_FOUND);
}

TEST(Ini, WritersTakeTurns) {
    TestHome::instance().write(kFile, "");
    std::vector<std::thread> threads;
    for (const std::string writer : {"a", "b", "c", "d"})
        threads.emplace_back([writer] {
            for (int n = 0; n < 25; ++n)
                EXPECT_TRUE(WritePrivateProfileStringA("S", (writer + std::to_string(n)).c_str(), "1", kFile));
        });
    for (std::thread& thread : threads)
        thread.join();
    const std::string written = TestHome::instance().read(kFile);
    EXPECT_EQ(std::count(written.begin(), written.end(), '='), 100);
}

TEST(Ini, WhereAFileIsLookedFor) {
    const TestHome& home = TestHome::instance();
    home.write("plain.ini", "[S]\nN=home");
    home.write("Wardlet.ini", "[S]\nN=home");
    home.write("drive_c/dir/plain.ini", "[S]\nN=drive");
    const std::string folder = (home.path() / "drive_c" / "dir").string();
    std::filesystem::create_directory(home.path() / "folder.ini");
    ASSERT_EQ(mkfifo((home.path() / "pipe.ini").c_str(), 0600), 0);
    for (const char* noFile : {"folder.ini", "pipe.ini"})
        EXPECT_EQ(text("S", "N", noFile), "<none>");
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
