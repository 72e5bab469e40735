// wdltreg as a user runs it.
#include "RunProgram.h"
#include "TestHome.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <platform/win32.h>

namespace {

using namespace std::string_literals;

using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kHeader = "Windows Registry Editor Version 5.00\n";

std::string writeReg(std::string_view body) {
    return TestHome::instance().write("test.reg", kHeader + std::string(body));
}

ProgramResult wdltreg(std::vector<std::string> arguments, std::string_view input = {}) {
    arguments.insert(arguments.begin(), "wdltreg");
    return runProgram(arguments, input);
}

void expectDone(const ProgramResult& result, std::string_view out) {
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, out);
    EXPECT_EQ(result.err, "");
}

void expectFailed(const ProgramResult& result, std::string_view words) {
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, StartsWith("wdltreg: "));
    EXPECT_THAT(result.err, HasSubstr(std::string(words)));
}

HKEY rootKey() {
    return HKEY_LOCAL_MACHINE; // NOLINT(performance-no-int-to-ptr): a handle by its number
}

std::string readNarrow(LPCSTR key, LPCSTR name) {
    HKEY opened = nullptr;
    EXPECT_EQ(RegOpenKeyExA(rootKey(), key, 0, KEY_READ, &opened), 0);
    char data[256] = {};
    DWORD size = sizeof data;
    EXPECT_EQ(RegQueryValueExA(opened, name, nullptr, nullptr, reinterpret_cast<LPBYTE>(data), &size), 0) << name;
    RegCloseKey(opened);
    return {data, size};
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
    expectDone(wdltreg({"import", writeReg(body)}), "");
    expectDone(wdltreg({"export", "A"}), kHeader + body);
    expectDone(wdltreg({"export"}), std::string(kHeader) + "\n[HKEY_LOCAL_MACHINE]\n" + body);
    const std::string file = TestHome::instance().path() / "out.reg";
    expectDone(wdltreg({"export", "hklm\\A\\", "-o", file}), "");
    EXPECT_EQ(TestHome::instance().read("out.reg"), kHeader + body);
}

// Texts of every odd shape, written narrow by programs, come back with their bytes from a file.
TEST(Wdltreg, OddTextsSurviveExportAndImport) {
    const std::pair<LPCSTR, std::string> values[] = {
        {"invalid", "a\xFF\xC3\0"s}, {"embedded", "a\0b\0"s}, {"empty", ""},
        {"terminator", "\0"s},       {"lines", "a\r\nb\0"s},  {"name \xFF", "x\0"s},
    };
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExA(rootKey(), "Odd \xFE", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr), 0);
    for (const auto& [name, data] : values)
        ASSERT_EQ(RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(data.data()),
                                 static_cast<DWORD>(data.size())),
                  0);
    RegCloseKey(key);

    const auto exported = wdltreg({"export"});
    ASSERT_EQ(exported.status, 0) << exported.err;
    ASSERT_EQ(RegDeleteKeyA(rootKey(), "Odd \xFE"), 0);
    expectDone(wdltreg({"import", "-"}, exported.out), "");
    expectDone(wdltreg({"export"}), exported.out);
    for (const auto& [name, data] : values)
        EXPECT_EQ(readNarrow("Odd \xFE", name), data) << name;
}

TEST(Wdltreg, DeletionsInAFile) {
    expectDone(wdltreg({"import", writeReg("[HKEY_LOCAL_MACHINE\\A]\n\"keep\"=\"1\"\n\"\xC3\xA9\"=\"2\"\n"
                                           "[HKEY_LOCAL_MACHINE\\B\\c\\d]\n[HKEY_LOCAL_MACHINE\\B\\e]\n")}),
               "");
    expectDone(wdltreg({"import", writeReg("[HKEY_LOCAL_MACHINE\\A]\n\"\xC3\xA9\"=-\n\"never there\"=-\n"
                                           "[-HKEY_LOCAL_MACHINE\\B]\n[-HKEY_LOCAL_MACHINE\\never there]\n"
                                           "[HKEY_LOCAL_MACHINE\\B\\new]\n")}),
               "");
    expectDone(wdltreg({"tree"}), "[HKEY_LOCAL_MACHINE]\n  [A]\n    keep = REG_SZ 1\n  [B]\n    [new]\n");
}

TEST(Wdltreg, AFileThatFailsChangesNothing) {
    expectDone(wdltreg({"set", "A", "n", "sz", "old"}), "");
    const auto before = wdltreg({"export"}).out;

    const std::string begin = "[HKEY_LOCAL_MACHINE\\A]\n\"n\"=\"new\"\n[HKEY_LOCAL_MACHINE\\B]\n";
    const std::string file = writeReg(begin + "\"x\"=dword:g\n");
    expectFailed(wdltreg({"import", file}), file + ":5:11: the number of a dword expected");

    // A failure that isn't a write's: this code page has no such character.
    setenv("WARDLET_ACP", "1252", 1);
    expectFailed(wdltreg({"import", writeReg(begin + "\"\xE4\xB8\x80\"=\"x\"\n\"\xE4\xB8\x80\"=-\n")}),
                 "the system code page lacks a character");
    unsetenv("WARDLET_ACP");
    EXPECT_EQ(wdltreg({"export"}).out, before);
}

TEST(Wdltreg, SetsShowsAndDeletesValues) {
    const struct {
        const char* type;
        const char* value;
        const char* shown;
    } cases[] = {
        {"sz", "C:\\x \xC3\xA9", "REG_SZ C:\\x \xC3\xA9"},
        {"sz", "[a,b]", "REG_SZ [a,b]"},
        {"reg_sz", "", "REG_SZ "},
        {"REG_EXPAND_SZ", "%x%", "REG_EXPAND_SZ %x%"},
        {"sz", "a\tb\x7F", "REG_SZ a\\x09b\\x7F"},
        {"multi_sz", "one\\0two", "REG_MULTI_SZ one\\0two"},
        {"dword", "4294967295", "REG_DWORD 4294967295 (0xffffffff)"},
        {"DWORD", "0x1B57", "REG_DWORD 6999 (0x00001b57)"},
        {"qword", "18446744073709551615", "REG_QWORD 18446744073709551615 (0xffffffffffffffff)"},
        {"binary", "01,fF 7a", "REG_BINARY 01 ff 7a"},
        {"binary", "", "REG_BINARY (empty)"},
        {"none", "00", "REG_NONE 00"},
    };
    for (const auto& each : cases) {
        expectDone(wdltreg({"set", "HKLM\\K\\L", "Name", each.type, each.value}), "");
        expectDone(wdltreg({"query", "k\\l", "NAME"}), std::string(each.shown) + "\n");
    }
    expectDone(wdltreg({"set", "K", "", "sz", "x"}), "");
    expectDone(wdltreg({"query", "HKEY_LOCAL_MACHINE\\K"}), "(default) = REG_SZ x\n[L]\n");
    expectDone(wdltreg({"delete", "K", ""}), "");
    expectDone(wdltreg({"query", "K"}), "[L]\n");
    expectDone(wdltreg({"delete", "K\\L", "name"}), "");
    expectDone(wdltreg({"tree", "K"}), "[HKEY_LOCAL_MACHINE\\K]\n  [L]\n");
    expectDone(wdltreg({"delete", "K"}), "");
    expectDone(wdltreg({"tree"}), "[HKEY_LOCAL_MACHINE]\n");
}

TEST(Wdltreg, FailuresAreNamed) {
    expectDone(wdltreg({"set", "A", "n", "sz", "x"}), "");
    expectFailed(wdltreg({"import", "no/such/file"}), "no/such/file: No such file or directory");
    expectFailed(wdltreg({"export", "Z"}), "HKEY_LOCAL_MACHINE\\Z: no such key or value (error 2)");
    expectFailed(wdltreg({"tree", "Z"}), "no such key");
    expectFailed(wdltreg({"query", "Z"}), "no such key");
    expectFailed(wdltreg({"query", "A", "z"}), "HKEY_LOCAL_MACHINE\\A: no value \"z\"");
    expectFailed(wdltreg({"delete", "Z"}), "no such key");
    expectFailed(wdltreg({"delete", "Z", "n"}), "no such key");
    expectFailed(wdltreg({"delete", "A", "z"}), "no value \"z\"");
    expectFailed(wdltreg({"query", "A\\\\B"}), "malformed key name (error 161)");
    expectFailed(wdltreg({"export", "-o", "/no/such/folder/f"}), "No such file or directory");
    const auto full = runProgramInto("/dev/full", {"wdltreg", "export"});
    EXPECT_EQ(full.status, 1);
    EXPECT_THAT(full.err, StartsWith("wdltreg: "));
    expectDone(wdltreg({"query", "A"}), "n = REG_SZ x\n");
}

TEST(Wdltreg, WrongUsageIsStatus2) {
    const std::vector<std::string> cases[] = {
        {},
        {"verb"},
        {"import"},
        {"import", "a", "b"},
        {"set", "A", "n", "sz"},
        {"set", "A", "n", "text", "x"},
        {"set", "A", "n", "dword", "4294967296"},
        {"set", "A", "n", "dword", ""},
        {"set", "A", "n", "binary", "0"},
        {"set", "A", "n", "binary", "zz"},
        {"set", "A", "n", "multi_sz", "a\\0\\0b"},
        {"set", "A", "n\xFF", "sz", "x"},
        {"set", "HKEY_CURRENT_USER\\A", "n", "sz", "x"},
        {"delete", "HKLM"},
        {"query", "A", "--no-such-option"},
    };
    for (const auto& arguments : cases) {
        const auto result = wdltreg(arguments);
        EXPECT_EQ(result.status, 2) << testing::PrintToString(arguments);
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.err, StartsWith("wdltreg: "));
    }
    expectDone(wdltreg({"tree"}), "[HKEY_LOCAL_MACHINE]\n");
    const auto help = wdltreg({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.out, HasSubstr("Examples:"));
}

} // namespace
