// The text of registry files: each form of a value as it is read and written, and the positions of errors.
// WdltregTest.cpp tests what the forms mean to the registry.
#include "RegText.h"

#include "Utf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace wdlt {
namespace {

using namespace std::string_literals;

std::string withHeader(const std::string& body) {
    return "Windows Registry Editor Version 5.00\n\n" + body + "\n";
}
std::string inKey(const std::string& value) {
    return withHeader("[HKEY_LOCAL_MACHINE\\A]\n" + value);
}
std::string utf16LittleEndian(const std::string& utf8) {
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

TEST(RegText, EachValueIsReadAndWritten) {
    const struct {
        std::string text;
        std::string written = {}; // if it differs
    } rows[] = {
        {R"("q\"\\"="\\\"x\\")"},
        {R"(@="")"},
        {"\"\xC3\xA9\"=\"\t\xF0\x9F\x98\x80\""},
        {"\"\xED\xB3\xBF\"=\"\""}, // an invalid byte of a code page
        {R"("a"=dword:0403feff)"},
        {R"("a"=hex(4):01,02)"},
        {R"("a"=hex:)" + zeros(23) + "\\\n  " + zeros(25) + "\\\n  00"},
        {R"("a"=hex(ffffffff):01)"},
        // Texts that can't be quoted: with a newline, a zero or a lone surrogate, without a terminator, or of odd size.
        {R"("a"=hex(1):61,00,0d,00,0a,00,62,00,00,00)"},
        {R"("a"=hex(1):61,00,00,00,62,00,00,00)"},
        {R"("a"=hex(1):3d,d8,20,00,00,00)"},
        {R"("a"=hex(1):61,00)"},
        {R"("a"=hex(1):)"},
        {R"("a"=hex(1):41,00,00)"},
        {R"(@=-)"},
        // Other spellings.
        {"  \"a\" \t= \"; no comment\"  ; why", R"("a"="; no comment")"},
        {R"("a"=DWORD:fEdC)", R"("a"=dword:0000fedc)"},
        {R"("a"=hex: ; nothing)", R"("a"=hex:)"},
        {R"("a"=hex:1,fF, 00 ,7)", R"("a"=hex:01,ff,00,07)"},
        {"\"a\"=hex:01\\\r\n,02,\\  \n\t03", R"("a"=hex:01,02,03)"},
        {"\"a\"=hex:\\\n", R"("a"=hex:)"},
        {R"("a"=HEX(1):41,00,00,00)", R"("a"="A")"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(writeRegText(parseRegText(inKey(row.text))), inKey(row.written.empty() ? row.text : row.written));
}

TEST(RegText, KeysKeepTheirOrderInAnyEncoding) {
    const std::string text = withHeader("; first\n[HKEY_LOCAL_MACHINE]\n[hkey_local_machine\\B\\c d]\n\n ; between\n"
                                        "\"\xC3\xA9\"=\"\xF0\x9F\x98\x80\"\n  [-HKEY_LOCAL_MACHINE\\B]  ; gone\n"
                                        "[HKEY_LOCAL_MACHINE\\odd]name;]");
    std::string crlf;
    for (const char c : text)
        crlf += c == '\n' ? "\r\n" : std::string(1, c);
    for (const auto& each : {text, crlf, "\xEF\xBB\xBF" + text, utf16LittleEndian(text), utf16LittleEndian(crlf),
                             utf16LittleEndian(text).substr(2)})
        EXPECT_EQ(writeRegText(parseRegText(each)),
                  withHeader("[HKEY_LOCAL_MACHINE]\n\n[HKEY_LOCAL_MACHINE\\B\\c d]\n\"\xC3\xA9\"=\"\xF0\x9F\x98\x80\"\n"
                             "\n[-HKEY_LOCAL_MACHINE\\B]\n\n[HKEY_LOCAL_MACHINE\\odd]name;]"));
}

TEST(RegText, NamesThatTheFormatCannotCarryAreRefused) {
    EXPECT_THROW(writeRegText({{RegKey{u"a\nb", {}, false}}}), std::invalid_argument);
    EXPECT_THROW(writeRegText({{RegKey{u"a", {{u"n\r", REG_NONE, {}, false}}, false}}}), std::invalid_argument);
}

TEST(RegText, ErrorsHaveLineColumnAndWords) {
    const std::string longName(256, 'n');
    const struct {
        std::string text;
        std::size_t line;
        std::size_t column;
        const char* words;
    } rows[] = {
        {"", 1, 1, "first line"},
        {"Windows Registry Editor Version 5.000\n", 1, 37, "first line"},
        {"\xFE\xFF\0W"s, 1, 1, "first line"},
        {"\xFE\xFF\0W\0"s, 1, 2, "middle of a character"},
        {"REGEDIT4\n; \xFF", 2, 3, "system code page"},
        {"REGEDIT4\n[HKEY_LOCAL_MACHINE\\A]\n\"a\"=hex(2):ff", 3, 5, "system code page"},
        {utf16LittleEndian(withHeader("")) + "x", 4, 1, "middle of a character"},
        {withHeader(";\xC3\xA9\xE0\x80\x80"), 3, 3, "not valid UTF-8"},
        {withHeader(";\xED\xA0\xBD\xED\xB8\x80"), 3, 3, "not valid UTF-8"},
        {withHeader("; \0"s), 3, 3, "control character (0x00)"},
        {inKey("\"\xF0\x9F\x98\x80\"=\"\x01\""), 4, 6, "control character (0x01)"},
        {withHeader("\"a\"=\"b\""), 3, 1, "before the first key"},
        {withHeader("[HKEY_LOCAL_MACHINE\\A"), 3, 1, "isn't closed"},
        {withHeader("[HKEY_LOCAL_MACHINE\\A] x"), 3, 24, "behind a key"},
        {withHeader("[HKLM\\A]"), 3, 2, "begins with HKEY_LOCAL_MACHINE"},
        {withHeader("[HKEY_LOCAL_MACHINE\\A\\\\B]"), 3, 23, "is empty"},
        {withHeader("[HKEY_LOCAL_MACHINE\\A\\" + longName + "]"), 3, 23, "more than 255"},
        {withHeader("[-HKEY_LOCAL_MACHINE]"), 3, 3, "can't be deleted"},
        {withHeader("[-HKEY_LOCAL_MACHINE\\A]\n\"a\"=\"b\""), 4, 1, "a deleted key"},
        {inKey("\"a\"=\"b\n\""), 4, 5, "quotes"},
        {inKey("\"a\"=\"C:\\new\""), 4, 8, "stands before another"},
        {inKey("\"" + longName + "\"=-"), 4, 1, "more than 255"},
        {inKey("\"a\"=\"b\" c"), 4, 9, "behind a value"},
        {inKey("\"a\"=dword:123456789"), 4, 11, "more than 8 digits"},
        {inKey("\"a\"=hex(:00"), 4, 9, "type of a hex"},
        {inKey("\"a\"=hex:000"), 4, 11, "at most two digits"},
        {inKey("\"a\"=hex:00,\\\n  ; no\n01"), 5, 3, "a byte expected"},
        {inKey("\"a\"=hex:00,\\ x"), 4, 12, "last of its line"},
        {inKey("\"a\"=\"" + std::string(kMaxDataBytes / 2, 'x') + "\""), 4, 5, "1 MiB"},
    };
    for (const auto& row : rows)
        try {
            parseRegText(row.text);
            ADD_FAILURE() << "accepted: " << row.text.substr(0, 80);
        } catch (const RegSyntaxError& error) {
            EXPECT_EQ(error.line(), row.line) << error.what();
            EXPECT_EQ(error.column(), row.column) << error.what();
            EXPECT_THAT(error.what(), testing::HasSubstr(row.words));
        }
}

} // namespace
} // namespace wdlt
