// The text of registry files: each form of a value both ways, and the place of what is wrong.
#include "RegText.h"

#include "Utf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace wdlt {

// In test output and for comparisons.
bool operator==(const RegValue& a, const RegValue& b) {
    return a.name == b.name && a.type == b.type && a.data == b.data && a.isDeletion == b.isDeletion;
}
bool operator==(const RegKey& a, const RegKey& b) {
    return a.path == b.path && a.values == b.values && a.isDeletion == b.isDeletion;
}
void PrintTo(const RegValue& value, std::ostream* out) {
    *out << utf8FromUtf16(value.name) << " type " << value.type << (value.isDeletion ? " deleted " : " ")
         << testing::PrintToString(value.data);
}

namespace {

using Bytes = std::vector<BYTE>;

std::string withHeader(std::string_view body) {
    return "Windows Registry Editor Version 5.00\n" + std::string(body);
}

std::string inKey(std::string_view values) {
    return withHeader("[HKEY_LOCAL_MACHINE\\A]\n" + std::string(values));
}

std::string utf16LittleEndian(std::string_view utf8) {
    std::string out = "\xFF\xFE";
    const auto wide = utf16FromUtf8(utf8);
    for (const char16_t unit : wide.value()) {
        out.push_back(static_cast<char>(unit & 0xFF));
        out.push_back(static_cast<char>(unit >> 8));
    }
    return out;
}

std::string zeros(std::size_t count) {
    std::string bytes;
    while (count-- > 0)
        bytes += "00,";
    return bytes;
}

RegValue text(std::u16string name, std::u16string_view content) {
    return {std::move(name), REG_SZ, textData(content), false};
}
RegValue value(DWORD type, Bytes data) {
    return {u"a", type, std::move(data), false};
}

struct Form {
    std::string text;
    RegValue value;
};

void expectRead(const Form& form) {
    EXPECT_EQ(parseRegText(inKey(form.text)).keys, (std::vector{RegKey{u"A", {form.value}, false}})) << form.text;
}

TEST(RegText, EachValueIsReadAndWritten) {
    const Form forms[] = {
        {R"("a"="b")", text(u"a", u"b")},
        {R"("a"="")", text(u"a", u"")},
        {R"(@="default")", text(u"", u"default")},
        {R"("q\"\\"="\\\"x\\")", text(u"q\"\\", u"\\\"x\\")},
        {"\"\xC3\xA9\"=\"\t\xF0\x9F\x98\x80\"", text(u"é", u"\t\U0001F600")},
        {"\"\xED\xB3\xBF\"=\"\"", text(u"\xDCFF", u"")}, // an invalid byte of a code page
        {R"("a"=dword:0403feff)", value(REG_DWORD, {255, 254, 3, 4})},
        {R"("a"=hex(4):01,02)", value(REG_DWORD, {1, 2})},
        {R"("a"=hex(b):01,02,03,04,05,06,07,08)", value(REG_QWORD, {1, 2, 3, 4, 5, 6, 7, 8})},
        {R"("a"=hex:)", value(REG_BINARY, {})},
        {R"("a"=hex:00,ff)", value(REG_BINARY, {0, 255})},
        {R"("a"=hex:)" + zeros(23) + "\\\n  " + zeros(25) + "\\\n  00", value(REG_BINARY, Bytes(49))},
        {R"("a"=hex(0):01)", value(REG_NONE, {1})},
        {R"("a"=hex(2):41,00)", value(REG_EXPAND_SZ, {0x41, 0})},
        {R"("a"=hex(7):41,00,00,00,00,00)", value(REG_MULTI_SZ, {0x41, 0, 0, 0, 0, 0})},
        {R"("a"=hex(ffffffff):01)", value(0xffffffff, {1})},
        // Texts that quotes can't give back: lines, a zero or half a pair inside, no end, half a character.
        {R"("a"=hex(1):61,00,0d,00,0a,00,62,00,00,00)", text(u"a", u"a\r\nb")},
        {R"("a"=hex(1):61,00,00,00,62,00,00,00)", text(u"a", std::u16string_view(u"a\0b", 3))},
        {R"("a"=hex(1):3d,d8,20,00,00,00)", text(u"a", u"\xD83D ")},
        {R"("a"=hex(1):61,00)", value(REG_SZ, {0x61, 0})},
        {R"("a"=hex(1):)", value(REG_SZ, {})},
        {R"("a"=hex(1):41,00,00)", value(REG_SZ, {0x41, 0, 0})},
        {R"("a"=-)", {u"a", REG_NONE, {}, true}},
        {R"(@=-)", {u"", REG_NONE, {}, true}},
    };
    for (const Form& form : forms) {
        expectRead(form);
        EXPECT_EQ(writeRegText({{RegKey{u"", {form.value}, false}}}),
                  withHeader("\n[HKEY_LOCAL_MACHINE]\n" + form.text + "\n"));
    }
}

TEST(RegText, OtherSpellingsAreReadToo) {
    const Form forms[] = {
        {"  \"a\" \t= \"b\"  ; why", text(u"a", u"b")},
        {R"("a"="; no comment" ; one)", text(u"a", u"; no comment")},
        {R"("a"=DWORD:fEdC)", value(REG_DWORD, {0xdc, 0xfe, 0, 0})},
        {R"("a"=hex: ; nothing)", value(REG_BINARY, {})},
        {R"("a"=hex:1,fF, 00 ,7)", value(REG_BINARY, {1, 255, 0, 7})},
        {"\"a\"=hex:01,\\\n  02,\\  \n\t03", value(REG_BINARY, {1, 2, 3})},
        {"\"a\"=hex:01\\\r\n,02", value(REG_BINARY, {1, 2})},
        {"\"a\"=hex:\\\n", value(REG_BINARY, {})},
        {R"("a"=HEX(1):41,00,00,00)", text(u"a", u"A")},
    };
    for (const Form& form : forms)
        expectRead(form);
}

TEST(RegText, KeysKeepTheOrderOfTheFile) {
    const RegDocument document = parseRegText(withHeader("\n; first\n"
                                                         "[HKEY_LOCAL_MACHINE]\n"
                                                         "[hkey_local_machine\\B\\c d]\n"
                                                         "\"x\"=\"1\"\n"
                                                         "\n  ; between\n"
                                                         "\"y\"=\"2\"\n"
                                                         "  [-HKEY_LOCAL_MACHINE\\B]  ; gone\n"
                                                         "[HKEY_LOCAL_MACHINE\\odd]name;]"));
    const std::vector<RegKey> expected = {{u"", {}, false},
                                          {u"B\\c d", {text(u"x", u"1"), text(u"y", u"2")}, false},
                                          {u"B", {}, true},
                                          {u"odd]name;", {}, false}};
    EXPECT_EQ(document.keys, expected);
    EXPECT_EQ(writeRegText(document), withHeader("\n[HKEY_LOCAL_MACHINE]\n"
                                                 "\n[HKEY_LOCAL_MACHINE\\B\\c d]\n\"x\"=\"1\"\n\"y\"=\"2\"\n"
                                                 "\n[-HKEY_LOCAL_MACHINE\\B]\n"
                                                 "\n[HKEY_LOCAL_MACHINE\\odd]name;]\n"));
}

TEST(RegText, NamesThatTheFormatCannotCarryAreRefused) {
    EXPECT_THROW(writeRegText({{RegKey{u"a\nb", {}, false}}}), std::invalid_argument);
    EXPECT_THROW(writeRegText({{RegKey{u"a", {text(u"n\r", u"")}, false}}}), std::invalid_argument);
}

TEST(RegText, EncodingAndLineEndsMakeNoDifference) {
    const std::string utf8 = inKey("\"\xC3\xA9\"=\"\xF0\x9F\x98\x80\"\n\"h\"=hex:01,\\\n  02\n");
    std::string crlf;
    for (const char c : utf8)
        crlf += c == '\n' ? "\r\n" : std::string(1, c);
    const auto expected = parseRegText(utf8).keys;
    ASSERT_EQ(expected.at(0).values.size(), 2u);
    for (const auto& each : {crlf, "\xEF\xBB\xBF" + utf8, utf16LittleEndian(utf8), utf16LittleEndian(crlf)})
        EXPECT_EQ(parseRegText(each).keys, expected);
}

TEST(RegText, ErrorsHaveLineColumnAndWords) {
    const std::string longName(256, 'n');
    const struct {
        std::string text;
        std::size_t line;
        std::size_t column;
        std::string_view words;
    } cases[] = {
        {"", 1, 1, "first line"},
        {"REGEDIT4\n", 1, 1, "first line"},
        {"\nWindows Registry Editor Version 5.00\n", 1, 1, "first line"},
        {"Windows Registry Editor Version 5.000\n", 1, 37, "first line"},
        {std::string("\xFE\xFF\0W", 4), 1, 1, "big-endian"},
        {utf16LittleEndian(withHeader("")) + "x", 2, 1, "middle of a character"},
        {withHeader(";\xC3\xA9\xFF\n"), 2, 3, "not valid UTF-8"},
        {withHeader(";\xC0\x80\n"), 2, 2, "not valid UTF-8"},
        {withHeader(";\xED\xA0\xBD\xED\xB8\x80\n"), 2, 3, "not valid UTF-8"},
        {withHeader(";\xF5\x80\x80\x80\n"), 2, 2, "not valid UTF-8"},
        {withHeader(std::string("; \0", 3)), 2, 3, "control character (0x00)"},
        {inKey("\"\xF0\x9F\x98\x80\"=\"\x01\"\n"), 3, 6, "control character (0x01)"},
        {withHeader("hello\n"), 2, 1, "a key, a value or a comment"},
        {withHeader("\"a\"=\"b\"\n"), 2, 1, "before the first key"},
        {withHeader("[HKEY_LOCAL_MACHINE\\A\n"), 2, 1, "isn't closed"},
        {withHeader("[HKEY_LOCAL_MACHINE\\A] x\n"), 2, 24, "behind a key"},
        {withHeader("[HKLM\\A]\n"), 2, 2, "begins with HKEY_LOCAL_MACHINE"},
        {withHeader("[HKEY_LOCAL_MACHINE\\A\\\\B]\n"), 2, 23, "is empty"},
        {withHeader("[HKEY_LOCAL_MACHINE\\A\\" + longName + "]\n"), 2, 23, "more than 255"},
        {withHeader("[-HKEY_LOCAL_MACHINE]\n"), 2, 3, "can't be deleted"},
        {withHeader("[-HKEY_LOCAL_MACHINE\\A]\n\"a\"=\"b\"\n"), 3, 1, "a deleted key"},
        {inKey("\"a\n"), 3, 1, "quotes"},
        {inKey("\"a\"=\"b\n\"\n"), 3, 5, "quotes"},
        {inKey("\"a\"=\"C:\\new\"\n"), 3, 8, "stands before another"},
        {inKey("\"\"=\"b\"\n"), 3, 1, "written @"},
        {inKey("\"" + longName + "\"=-\n"), 3, 1, "more than 255"},
        {inKey("\"a\" \"b\"\n"), 3, 5, "a = expected"},
        {inKey("\"a\"=b\n"), 3, 5, "a text in quotes"},
        {inKey("\"a\"=\"b\" c\n"), 3, 9, "behind a value"},
        {inKey("\"a\"=dword:\n"), 3, 11, "number of a dword expected"},
        {inKey("\"a\"=dword:123456789\n"), 3, 11, "more than 8 digits"},
        {inKey("\"a\"=hex(:00\n"), 3, 9, "type of a hex"},
        {inKey("\"a\"=hex(2:00\n"), 3, 10, "): expected"},
        {inKey("\"a\"=hex:000\n"), 3, 11, "at most two digits"},
        {inKey("\"a\"=hex:00,\n"), 3, 12, "a byte expected"},
        {inKey("\"a\"=hex:,00\n"), 3, 9, "a byte expected"},
        {inKey("\"a\"=hex:00 11\n"), 3, 12, "behind a value"},
        {inKey("\"a\"=hex:00,\\ x\n"), 3, 12, "last of its line"},
        {inKey("\"a\"=hex:00,\\"), 3, 12, "last of its line"},
        {inKey("\"a\"=hex:00,\\\n  ; no\n01\n"), 4, 3, "a byte expected"},
        {inKey("\"a\"=\"" + std::string(kMaxDataBytes / 2, 'x') + "\"\n"), 3, 5, "1 MiB"},
    };
    for (const auto& each : cases) {
        const std::string shown = each.text.substr(0, 80);
        try {
            parseRegText(each.text);
            ADD_FAILURE() << "accepted: " << shown;
        } catch (const RegSyntaxError& error) {
            EXPECT_EQ(error.line(), each.line) << shown << ": " << error.what();
            EXPECT_EQ(error.column(), each.column) << shown << ": " << error.what();
            EXPECT_THAT(error.what(), testing::HasSubstr(std::string(each.words))) << shown;
        }
    }
}

} // namespace
} // namespace wdlt
