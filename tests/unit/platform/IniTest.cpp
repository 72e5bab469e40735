// Settings files: what is read, truncated and found.
#include <TestHome.h>

#include <platform/win32.h>

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <sys/stat.h>

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
        {"first", "NAME", "some text"},  {"First", "; Comment", "<none>"},
        {"First", "Quoted", "  kept  "}, {"First", "Single", "x"},
        {"First", "Half", "\"x"},        {"First", "Equals", "a=b;c"},
        {"First", "Empty", ""},          {"First", "no value here", "<none>"},
        {"Second", "name", "2"},         {"First", "Late", "<none>"},
        {"Last", "End", "no line end"},  {"", "Stray", "<none>"},
    };
    for (const auto& [section, name, expected] : rows)
        EXPECT_EQ(text(section, name), expected) << section << ' ' << name;
    EXPECT_EQ(text("First", "Name", "missing.ini"), "<none>");
}

TEST(Ini, TextsThatDontFitAreCut) {
    TestHome::instance().write(kFile, "[S]\nName=0123456789\nZero=ab\0cd\n"s);
    for (const DWORD size : {0u, 1u, 10u, 11u, 15u})
        for (const auto& [name, whole] : {std::pair{"Name", "0123456789"s}, {"None", "default text"}, {"Zero", "ab"}}) {
            std::string buffer(16, '#');
            const DWORD length = GetPrivateProfileStringA("S", name, "default text", buffer.data(), size, kFile);
            EXPECT_EQ(length, whole.substr(0, size == 0 ? 0 : size - 1).size()) << name << size;
            EXPECT_EQ(buffer.substr(0, length), whole.substr(0, length));
            EXPECT_EQ(buffer.substr(length, 2), size == 0 ? "##"s : "\0#"s);
        }
}

TEST(Ini, Numbers) {
    const std::pair<const char*, UINT> rows[] = {
        {"273", 273}, {"-5", 0xFFFFFFFBu}, {"+7", 7}, {"0x111", 273}, {"0XfF", 255}, {"12 monkeys", 12},
        {"text", 0},  {"- 5", 0},          {"", 42},  {"08", 8},      {"--1", 0},    {"4294967296", 0},
    };
    for (const auto& [written, number] : rows) {
        TestHome::instance().write(kFile, std::string("[S]\nN=").append(written));
        EXPECT_EQ(GetPrivateProfileIntA("S", "N", 42, kFile), number) << written;
    }
}

TEST(Ini, WhereAFileIsLookedFor) {
    const TestHome& home = TestHome::instance();
    home.write("plain.ini", "[S]\nN=home");
    home.write("Wardlet.ini", "[S]\nN=home");
    home.write("drive_c/dir/plain.ini", "[S]\nN=drive");
    const std::string folder = (home.path() / "drive_c" / "dir").string();
    ASSERT_EQ(mkfifo((home.path() / "pipe.ini").c_str(), 0600), 0);
    EXPECT_EQ(text("S", "N", "pipe.ini"), "<none>") << "nobody waits for a writer";
    EXPECT_EQ(text("S", "N", "plain.ini"), "home");
    EXPECT_EQ(text("S", "N", (folder + "\\plain.ini").c_str()), "drive");
    // Only the settings file falls back to the home, and only if the folder has none.
    EXPECT_EQ(text("S", "N", (folder + "/other.ini").c_str()), "<none>");
    EXPECT_EQ(text("S", "N", (folder + "/Wardlet.ini").c_str()), "home");
    home.write("drive_c/dir/Wardlet.ini", "[S]\nN=beside");
    EXPECT_EQ(text("S", "N", (folder + "/Wardlet.ini").c_str()), "beside");
}

} // namespace
