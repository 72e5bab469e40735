// Settings files: what is read, truncated and found.
#include <TestHome.h>

#include <platform/win32.h>

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
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
        {"first", "NAME", "some text"},
        {"First", "; Comment", "<none>"},
        {"First", "Quoted", "  kept  "},
        {"First", "Single", "x"},
        {"First", "Half", "\"x"},
        {"First", "Equals", "a=b;c"},
        {"First", "Empty", ""},
        {"First", "no value here", "<none>"},
        {"Second", "name", "2"},
        {"First", "Late", "<none>"},
        {"Last", "End", "no line end"},
        {"", "Stray", "<none>"},
        {" Last ", "\tEnd ", "no line end"},
    };
    for (const auto& [section, name, expected] : rows)
        EXPECT_EQ(text(section, name), expected) << section << ' ' << name;
    EXPECT_EQ(text("First", "Name", "missing.ini"), "<none>");
}

TEST(Ini, NamesAreListed) {
    TestHome::instance().write(kFile, "[First]\ra=1\r;c=2\r bc = 3\r[Second]\r[First]\rlate=1\r");
    const struct {
        const char* section;
        DWORD size;
        std::string names; // as far as they are counted
        std::string end;
    } rows[] = {
        {nullptr, 21, "First\0Second\0First\0"s, "\0#"s},
        {nullptr, 20, "First\0Second\0First\0"s, "\0#"s},
        {nullptr, 19, "First\0Second\0Firs"s, "\0\0#"s},
        {nullptr, 1, "", "\0#"s},
        {"first", 20, "a\0bc\0"s, "\0#"s},
        {"first", 2, "", "\0\0#"s},
        {"Second", 20, "", "\0#"s},
        {"none", 20, " default", "\0#"s},
    };
    for (const auto& row : rows) {
        std::string buffer(30, '#');
        const DWORD length =
            GetPrivateProfileStringA(row.section, nullptr, " default  ", buffer.data(), row.size, kFile);
        EXPECT_EQ(length, row.names.size()) << row.size;
        EXPECT_EQ(buffer.substr(0, length + row.end.size()), row.names + row.end) << row.size;
    }
}

TEST(Ini, Writes) {
    const struct {
        const char* old; // null: no file
        const char* section;
        const char* name;
        const char* text;
        DWORD error;
        const char* content;
    } rows[] = {
        {nullptr, "S", "n", "v", ERROR_SUCCESS, "[S]\r\nn=v\r\n"},
        {nullptr, " S ", " n ", "v", ERROR_SUCCESS, "[S]\r\nn=v\r\n"},
        {"[S]", "S", "n", "v", ERROR_SUCCESS, "[S]\r\nn=v\r\n"},
        {"[S]\na=1\n\n[T]\r\n", "s", "n", "v", ERROR_SUCCESS, "[S]\na=1\nn=v\n\n[T]\r\n"},
        {"[S]\ra=1\r[T]", "S", "n", "v", ERROR_SUCCESS, "[S]\ra=1\rn=v\r[T]"},
        {"[S]\r\na = 1 \r\nb=2\r\n", "S", "A", "3", ERROR_SUCCESS, "[S]\r\na =3\r\nb=2\r\n"},
        {"[S]\na=1\nb=2\n", "S", "a", nullptr, ERROR_SUCCESS, "[S]\nb=2\n"},
        {"[S]\na=1\n[T]\n", "S", nullptr, "v", ERROR_SUCCESS, "[T]\n"},
        {"[S]\n", nullptr, nullptr, nullptr, ERROR_SUCCESS, "[S]\n"}, // zero, though nothing failed
        {"[S]\n", nullptr, "n", "v", ERROR_FILE_NOT_FOUND, "[S]\n"},
        {"[S]\n", "S", "n=", "v", ERROR_INVALID_PARAMETER, "[S]\n"},
        {"[S]\n", "S", " ", "v", ERROR_INVALID_PARAMETER, "[S]\n"},
        {"[S]\n", "S]", "n", "v", ERROR_INVALID_PARAMETER, "[S]\n"},
        {"[S]\n", "S", "n", "v\n[T]", ERROR_INVALID_PARAMETER, "[S]\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.content);
        std::filesystem::remove(TestHome::instance().path() / kFile);
        if (row.old != nullptr)
            TestHome::instance().write(kFile, row.old);
        SetLastError(ERROR_SUCCESS);
        EXPECT_EQ(WritePrivateProfileStringA(row.section, row.name, row.text, kFile) != FALSE,
                  row.error == ERROR_SUCCESS && row.section != nullptr);
        EXPECT_EQ(GetLastError(), row.error);
        EXPECT_EQ(TestHome::instance().read(kFile), row.content);
    }
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
        {"273", 273},       {"-5", 0xFFFFFFFBu}, {"+7", 7},     {"0x111", 273}, {"0XfF", 255},
        {"12 monkeys", 12}, {"text", 0},         {"- 5", 0},    {"", 42},       {"08", 8},
        {"--1", 0},         {"4294967296", 0},   {"\" 7\"", 7},
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
    EXPECT_FALSE(WritePrivateProfileStringA("S", "N", "v", ".\\"));
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED) << "a separator at the end makes a folder's name";
    // Only the settings file falls back to the home, and only if the folder has none.
    EXPECT_EQ(text("S", "N", (folder + "/other.ini").c_str()), "<none>");
    EXPECT_EQ(text("S", "N", (folder + "/Wardlet.ini").c_str()), "home");
    home.write("drive_c/dir/Wardlet.ini", "[S]\nN=beside");
    EXPECT_EQ(text("S", "N", (folder + "/Wardlet.ini").c_str()), "beside");
}

} // namespace
