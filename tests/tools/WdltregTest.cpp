// wdltreg as a user runs it.
#include "Typed.h"

#include <platform/win32.h>

namespace {

using namespace std::string_literals;
namespace fs = std::filesystem;

constexpr const char* kHeader = "Windows Registry Editor Version 5.00\n";
const std::string kRoot = "[HKEY_LOCAL_MACHINE]\n";

std::string regFile(const std::string& body) {
    return TestHome::instance().write("test.reg", kHeader + body);
}

TEST(Wdltreg, ExportsWhatWasImportedByteForByte) {
    const std::string body = "\n[HKEY_LOCAL_MACHINE\\A]\n"
                             "@=\"default\"\n"
                             "\"binary\"=hex:00,ff\n"
                             "\"number\"=dword:0000002a\n"
                             "\"text\"=\"C:\\\\\xC3\xA9 \\\"\xF0\x9F\x98\x80\\\"\"\n"
                             "\n[HKEY_LOCAL_MACHINE\\A\\a sub]\n"
                             "\n[HKEY_LOCAL_MACHINE\\A\\B]\n"
                             "\"list\"=hex(7):41,00,00,00,42,00,00,00,00,00\n"
                             "\n[HKEY_LOCAL_MACHINE\\A\\B\\deep]\n"
                             "\n[HKEY_LOCAL_MACHINE\\A\\c]\n";
    const std::string file = TestHome::instance().write("out.reg", "old");
    const std::string link = file + ".link";
    fs::permissions(file, fs::perms(0644)); // what is exported is its owner's alone all the same
    fs::create_symlink(file, link);
    expectOutputs({{"wdltreg import " + regFile(body), ""},
                   {"wdltreg export A", kHeader + body},
                   {"wdltreg export", kHeader + ("\n" + kRoot) + body},
                   {"wdltreg export hklm/A/ -o " + link, ""},
                   {"wdltreg delete A", ""},
                   {"wdltreg import " + file, ""},
                   {"wdltreg export A", kHeader + body}});
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
    EXPECT_TRUE(fs::is_symlink(link));
}

// In a file of the older format the text is in the system code page, that in hexadecimal data too.
TEST(Wdltreg, ReadsTheOlderFormat) {
    setenv("WARDLET_ACP", "1252", 1);
    expectOutputs({{"wdltreg import -", "",
                    "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\A/b\\c]\r\n\"t\"=\"\xE9\"\r\n\"e\"=hex(2):25,e9,00\r\n"
                    "\"m\"=hex(7):61,00,e9,00,00\r\n\"b\"=hex:e9\r\n"},
                   {"wdltreg query -r HKLM\\A/b", "[HKEY_LOCAL_MACHINE\\A/b]\n[HKEY_LOCAL_MACHINE\\A/b\\c]\n"
                                                  "b = REG_BINARY e9\ne = REG_EXPAND_SZ %\xC3\xA9\n"
                                                  "m = REG_MULTI_SZ a\\0\xC3\xA9\nt = REG_SZ \xC3\xA9\n"}});
    unsetenv("WARDLET_ACP");
}

// Odd texts, written by programs in narrow form, survive an export and import byte for byte.
TEST(Wdltreg, OddTextsSurviveExportAndImport) {
    const HKEY root = HKEY_LOCAL_MACHINE; // NOLINT(performance-no-int-to-ptr): a handle by its number
    const std::pair<LPCSTR, std::string> values[] = {
        {"invalid", "a\xFF\xC3\0"s}, {"embedded", "a\0b\0"s}, {"empty", ""},
        {"terminator", "\0"s},       {"lines", "a\r\nb\0"s},  {"name \xFF", "x\0"s},
    };
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExA(root, "Odd \xFE", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr), 0);
    for (const auto& [name, data] : values)
        ASSERT_EQ(RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(data.data()),
                                 static_cast<DWORD>(data.size())),
                  0);
    RegCloseKey(key);
    const std::string exported = done("wdltreg export");
    ASSERT_EQ(RegDeleteKeyA(root, "Odd \xFE"), 0);
    expectOutputs({{"wdltreg import -", "", exported}, {"wdltreg export", exported}});

    ASSERT_EQ(RegOpenKeyExA(root, "Odd \xFE", 0, KEY_READ, &key), 0);
    for (const auto& [name, data] : values) {
        char bytes[16] = {};
        DWORD size = sizeof bytes;
        EXPECT_EQ(RegQueryValueExA(key, name, nullptr, nullptr, reinterpret_cast<LPBYTE>(bytes), &size), 0) << name;
        EXPECT_EQ(std::string(bytes, size), data) << name;
    }
    RegCloseKey(key);
}

TEST(Wdltreg, DeletionsInAFile) {
    done("wdltreg import " + regFile("[HKEY_LOCAL_MACHINE\\A]\n\"keep\"=\"1\"\n\"\xC3\xA9\"=\"2\"\n"
                                     "[HKEY_LOCAL_MACHINE\\B\\c\\d]\n[HKEY_LOCAL_MACHINE\\B\\e]\n"));
    done("wdltreg import " + regFile("[HKEY_LOCAL_MACHINE\\A]\n\"\xC3\xA9\"=-\n\"never there\"=-\n"
                                     "[-HKEY_LOCAL_MACHINE\\B]\n[-HKEY_LOCAL_MACHINE\\never there]\n"
                                     "[HKEY_LOCAL_MACHINE\\B\\new]\n"));
    EXPECT_EQ(done("wdltreg tree"), kRoot + "  [A]\n    keep = REG_SZ 1\n  [B]\n    [new]\n");
}

TEST(Wdltreg, AFileThatFailsChangesNothing) {
    done("wdltreg set A n sz old");
    const std::string begin = "[HKEY_LOCAL_MACHINE\\A]\n\"n\"=\"new\"\n[HKEY_LOCAL_MACHINE\\B]\n";
    const std::string file = regFile(begin + "\"x\"=dword:g\n");
    expectRefused({{"wdltreg import " + file, 2, file + ":5:11: the number of a dword expected"}});
    done("wdltreg set A \xE4\xB8\x80 sz new");
    setenv("WARDLET_ACP", "1252", 1); // lacks the character in the name
    done("wdltreg import " + regFile("[HKEY_LOCAL_MACHINE\\A]\n\"\xE4\xB8\x80\"=-\n"));
    unsetenv("WARDLET_ACP");
    EXPECT_EQ(done("wdltreg query A"), "n = REG_SZ old\n");
}

TEST(Wdltreg, SetsShowsAndDeletesValues) {
    const struct {
        std::string type;
        std::string value;
        std::string shown;
    } rows[] = {
        {"sz", "'C:\\x \xC3\xA9'", "REG_SZ C:\\x \xC3\xA9"},
        {"sz", "[a,b]", "REG_SZ [a,b]"},
        {"reg_sz", "''", "REG_SZ "},
        {"REG_EXPAND_SZ", "%x%", "REG_EXPAND_SZ %x%"},
        {"sz", "'a\tb\x7F'", "REG_SZ a\\x09b\\x7F"},
        {"multi_sz", "one\\0two", "REG_MULTI_SZ one\\0two"},
        {"dword", "4294967295", "REG_DWORD 4294967295 (0xffffffff)"},
        {"DWORD", "0x1B57", "REG_DWORD 6999 (0x00001b57)"},
        {"qword", "18446744073709551615", "REG_QWORD 18446744073709551615 (0xffffffffffffffff)"},
        {"binary", "'01,fF 7a'", "REG_BINARY 01 ff 7a"},
        {"binary", "''", "REG_BINARY (empty)"},
        {"none", "00", "REG_NONE 00"},
    };
    for (const auto& row : rows)
        expectOutputs({{"wdltreg set HKLM\\K\\L Name " + row.type + " " + row.value, ""},
                       {"wdltreg query k\\l NAME", row.shown + "\n"}});
    // Data that is malformed for its type, and texts with characters that a file escapes.
    done("wdltreg import -", kHeader + "[HKEY_LOCAL_MACHINE\\K]\n\"zero\"=hex(1):61,00,00,00,62,00,00,00\n"s +
                                 "\"short\"=hex(4):01,02\n\"odd\"=hex(7):41,00,00\n"
                                 "\"a\\\\\"=dword:0403feff\n\"\\\"b\"=\"\\\"C:\\\\\"\n");
    expectOutputs(
        {{"wdltreg query K", "\"b = REG_SZ \"C:\\\na\\ = REG_DWORD 67370751 (0x0403feff)\n"
                             "odd = REG_MULTI_SZ 41 00 00\nshort = REG_DWORD 01 02\n"
                             "zero = REG_SZ 61 00 00 00 62 00 00 00\n[L]\n"},
         {"wdltreg query K/L --json",
          R"({"key": "HKEY_LOCAL_MACHINE\\K\\L", "subkeys": [], "values": [
                        {"name": "Name", "type": "REG_NONE", "value": null, "data": "00"}]})"},
         {"wdltreg query K odd --json", R"({"name": "odd", "type": "REG_MULTI_SZ", "value": null, "data": "410000"})"},
         {"wdltreg set K '' multi_sz a\\0b", ""},
         {"wdltreg query K '' --json",
          R"({"name": "", "type": "REG_MULTI_SZ", "value": ["a", "b"], "data": "61000000620000000000"})"},
         {"wdltreg delete K", ""},
         {"wdltreg set K\\L Name sz x", ""},
         {"wdltreg query -r K/L --json",
          R"([{"key": "HKEY_LOCAL_MACHINE\\K\\L", "subkeys": [], "values": [
                        {"name": "Name", "type": "REG_SZ", "value": "x", "data": "78000000"}]}])"},
         {"wdltreg set K '' sz x", ""},
         {"wdltreg query HKEY_LOCAL_MACHINE\\K", "(default) = REG_SZ x\n[L]\n"},
         {"wdltreg delete K ''", ""},
         {"wdltreg query K", "[L]\n"},
         {"wdltreg delete K\\L name", ""},
         {"wdltreg tree K", "[HKEY_LOCAL_MACHINE\\K]\n  [L]\n"},
         {"wdltreg delete K", ""},
         {"wdltreg tree", kRoot}});
}

} // namespace
