#include "RegText.h"

#include "Utf.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>

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

RegValue parseOneValue(std::string_view text) {
    const RegDocument document = parseRegText(inKey(text));
    EXPECT_EQ(document.keys.size(), 1u) << text;
    EXPECT_EQ(document.keys.at(0).values.size(), 1u) << text;
    return document.keys.at(0).values.at(0);
}

RegValue text(std::u16string name, std::u16string_view content) {
    return {std::move(name), REG_SZ, textData(content), false};
}

TEST(RegText, ReadsEachKindOfValue) {
    const struct {
        std::string_view text;
        RegValue value;
    } cases[] = {
        {R"("a"="b")", text(u"a", u"b")},
        {R"("a"="")", text(u"a", u"")},
        {R"(@="default")", text(u"", u"default")},
        {R"("q\"\\"="\\\"x\\")", text(u"q\"\\", u"\\\"x\\")},
        {R"(  "a" 	= "b"  ; why)", text(u"a", u"b")},
        {R"("a"="; no comment" ; one)", text(u"a", u"; no comment")},
        {"\"\xC3\xA9\"=\"\xF0\x9F\x98\x80\"", text(u"é", u"\U0001F600")},
        {R"("a"=dword:00000001)", {u"a", REG_DWORD, {1, 0, 0, 0}, false}},
        {R"("a"=DWORD:fEdC)", {u"a", REG_DWORD, {0xdc, 0xfe, 0, 0}, false}},
        {R"("a"=dword:ffffffff)", {u"a", REG_DWORD, {255, 255, 255, 255}, false}},
        {R"("a"=hex:)", {u"a", REG_BINARY, {}, false}},
        {R"("a"=hex: ; nothing)", {u"a", REG_BINARY, {}, false}},
        {R"("a"=hex:1,fF, 00 ,7)", {u"a", REG_BINARY, {1, 255, 0, 7}, false}},
        {"\"a\"=hex:01,\\\n  02,\\  \n\t03", {u"a", REG_BINARY, {1, 2, 3}, false}},
        {"\"a\"=hex:01\\\r\n,02", {u"a", REG_BINARY, {1, 2}, false}},
        {"\"a\"=hex:\\\n", {u"a", REG_BINARY, {}, false}},
        {R"("a"=hex(0):01)", {u"a", REG_NONE, {1}, false}},
        {R"("a"=hex(1):41,00,00,00)", text(u"a", u"A")},
        {R"("a"=hex(2):41,00)", {u"a", REG_EXPAND_SZ, {0x41, 0}, false}},
        {R"("a"=HEX(7):41,00,00,00,00,00)", {u"a", REG_MULTI_SZ, {0x41, 0, 0, 0, 0, 0}, false}},
        {R"("a"=hex(b):01,02,03,04,05,06,07,08)", {u"a", REG_QWORD, {1, 2, 3, 4, 5, 6, 7, 8}, false}},
        {R"("a"=hex(4):01,02)", {u"a", REG_DWORD, {1, 2}, false}},
        {R"("a"=hex(ffffffff):01)", {u"a", 0xffffffff, {1}, false}},
        {R"("a"=-)", {u"a", REG_NONE, {}, true}},
        {R"(@=-)", {u"", REG_NONE, {}, true}},
    };
    for (const auto& each : cases)
        EXPECT_EQ(parseOneValue(each.text), each.value) << each.text;
}

TEST(RegText, ReadsKeysInTheOrderOfTheFile) {
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
        {withHeader("; \xE2\x82"), 2, 3, "not valid UTF-8"},
        {withHeader(std::string("; \0", 3)), 2, 3, "control character (0x00)"},
        {withHeader("; a\rb\n"), 2, 4, "control character (0x0d)"},
        {inKey("\"\xF0\x9F\x98\x80\"=\"\x01\"\n"), 3, 6, "control character (0x01)"},
        {withHeader("hello\n"), 2, 1, "a key, a value or a comment"},
        {withHeader("\"a\"=\"b\"\n"), 2, 1, "before the first key"},
        {withHeader("[HKEY_LOCAL_MACHINE\\A\n"), 2, 1, "isn't closed"},
        {withHeader("[HKEY_LOCAL_MACHINE\\A] x\n"), 2, 24, "behind a key"},
        {withHeader("[HKLM\\A]\n"), 2, 2, "begins with HKEY_LOCAL_MACHINE"},
        {withHeader("[HKEY_CURRENT_USER\\A]\n"), 2, 2, "begins with HKEY_LOCAL_MACHINE"},
        {withHeader("[]\n"), 2, 2, "begins with HKEY_LOCAL_MACHINE"},
        {withHeader("[HKEY_LOCAL_MACHINE\\A\\\\B]\n"), 2, 23, "is empty"},
        {withHeader("[HKEY_LOCAL_MACHINE\\A\\]\n"), 2, 23, "is empty"},
        {withHeader("[HKEY_LOCAL_MACHINE\\]\n"), 2, 21, "is empty"},
        {withHeader("[HKEY_LOCAL_MACHINE\\A\\" + longName + "]\n"), 2, 23, "more than 255"},
        {withHeader("[-HKEY_LOCAL_MACHINE]\n"), 2, 3, "can't be deleted"},
        {withHeader("[-HKEY_LOCAL_MACHINE\\A]\n\"a\"=\"b\"\n"), 3, 1, "a deleted key"},
        {inKey("\"a\n"), 3, 1, "quotes"},
        {inKey("\"a\"=\"b\n\"\n"), 3, 5, "quotes"},
        {inKey("\"a\"=\"C:\\new\"\n"), 3, 8, "stands before another"},
        {inKey("\"a\"=\"b\\"), 3, 7, "stands before another"},
        {inKey("\"\"=\"b\"\n"), 3, 1, "written @"},
        {inKey("\"" + longName + "\"=-\n"), 3, 1, "more than 255"},
        {inKey("\"a\" \"b\"\n"), 3, 5, "a = expected"},
        {inKey("@\n"), 3, 2, "a = expected"},
        {inKey("\"a\"=\n"), 3, 5, "a text in quotes"},
        {inKey("\"a\"=b\n"), 3, 5, "a text in quotes"},
        {inKey("\"a\"=\"b\" c\n"), 3, 9, "behind a value"},
        {inKey("\"a\"=- -\n"), 3, 7, "behind a value"},
        {inKey("\"a\"=dword:\n"), 3, 11, "number of a dword expected"},
        {inKey("\"a\"=dword:123456789\n"), 3, 11, "more than 8 digits"},
        {inKey("\"a\"=dword:12g\n"), 3, 13, "behind a value"},
        {inKey("\"a\"=dword 1\n"), 3, 5, "a text in quotes"},
        {inKey("\"a\"=hex(:00\n"), 3, 9, "type of a hex"},
        {inKey("\"a\"=hex(2:00\n"), 3, 10, "): expected"},
        {inKey("\"a\"=hex(2)00\n"), 3, 11, "): expected"},
        {inKey("\"a\"=hex:0g\n"), 3, 10, "behind a value"},
        {inKey("\"a\"=hex:000\n"), 3, 11, "at most two digits"},
        {inKey("\"a\"=hex:00,\n"), 3, 12, "a byte expected"},
        {inKey("\"a\"=hex:,00\n"), 3, 9, "a byte expected"},
        {inKey("\"a\"=hex:00 11\n"), 3, 12, "behind a value"},
        {inKey("\"a\"=hex:00,\\ x\n"), 3, 12, "last of its line"},
        {inKey("\"a\"=hex:00,\\"), 3, 12, "last of its line"},
        {inKey("\"a\"=hex:00,\\\n"), 4, 1, "a byte expected"},
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

// Every kind of value that can come out of the registry, also those that fit no plain form.
RegDocument awkwardDocument() {
    const auto bytes = [](std::size_t count) {
        Bytes data;
        for (std::size_t i = 0; i < count; ++i)
            data.push_back(static_cast<BYTE>(i * 7));
        return data;
    };
    const auto unterminated = [](std::u16string_view content) {
        Bytes data = textData(content);
        data.resize(data.size() - 2);
        return data;
    };
    RegKey key{u"A\\é]", {}, false};
    key.values = {
        text(u"", u"default"),
        text(u"plain \"\\", u"C:\\x\\ \"q\" \t; \U0001F600"),
        text(u"empty", u""),
        text(u"two lines", u"a\r\nb"),
        text(u"zero inside", std::u16string_view(u"a\0b", 3)),
        text(u"half a pair", u"a\xD83D z"),
        text(u"half \xDCFF name", u"invalid byte \xDCFF"),
        {u"no terminator", REG_SZ, unterminated(u"abc"), false},
        {u"no bytes", REG_SZ, {}, false},
        {u"odd bytes", REG_SZ, {0x41, 0, 0}, false},
        {u"expand", REG_EXPAND_SZ, textData(u"%x%"), false},
        {u"number", REG_DWORD, {0x78, 0x56, 0x34, 0x12}, false},
        {u"short number", REG_DWORD, {1, 2}, false},
        {u"long number", REG_QWORD, bytes(8), false},
        {u"nothing", REG_BINARY, {}, false},
        {u"long", REG_BINARY, bytes(200), false},
        {u"own type", 0x1234, bytes(3), false},
        {u"gone", REG_NONE, {}, true},
    };
    for (std::size_t size = 15; size < 30; ++size)
        key.values.push_back({u"bytes", REG_BINARY, bytes(size), false});
    return {{RegKey{u"", {}, false}, key, RegKey{u"old", {}, true}}};
}

TEST(RegText, WhatIsWrittenReadsBackTheSame) {
    const RegDocument document = awkwardDocument();
    const std::string written = writeRegText(document);
    const RegDocument again = parseRegText(written);
    ASSERT_EQ(again.keys.size(), document.keys.size());
    for (std::size_t i = 0; i < again.keys.size(); ++i)
        EXPECT_THAT(again.keys[i].values, testing::ElementsAreArray(document.keys[i].values));
    EXPECT_EQ(again.keys, document.keys);
    EXPECT_EQ(writeRegText(again), written);
    for (std::size_t begin = 0; begin < written.size();) {
        const std::size_t end = written.find('\n', begin);
        if (written.compare(begin, 6, "\"bytes") == 0 || written.compare(begin, 2, "  ") == 0) {
            EXPECT_LE(end - begin, 80u) << written.substr(begin, end - begin);
        }
        begin = end + 1;
    }
}

TEST(RegText, WritesTheFormsThatOthersRead) {
    const RegDocument document = {{RegKey{u"", {}, false},
                                   RegKey{u"A",
                                          {text(u"", u"d"),
                                           text(u"q\"", u"C:\\x"),
                                           {u"n", REG_DWORD, {1, 2, 3, 4}, false},
                                           {u"s", REG_SZ, {0x41, 0}, false},
                                           {u"m", REG_MULTI_SZ, {0x41, 0, 0, 0, 0, 0}, false},
                                           {u"g", REG_NONE, {}, true}},
                                          false},
                                   RegKey{u"B", {}, true}}};
    EXPECT_EQ(writeRegText(document), "Windows Registry Editor Version 5.00\n"
                                      "\n[HKEY_LOCAL_MACHINE]\n"
                                      "\n[HKEY_LOCAL_MACHINE\\A]\n"
                                      "@=\"d\"\n"
                                      "\"q\\\"\"=\"C:\\\\x\"\n"
                                      "\"n\"=dword:04030201\n"
                                      "\"s\"=hex(1):41,00\n"
                                      "\"m\"=hex(7):41,00,00,00,00,00\n"
                                      "\"g\"=-\n"
                                      "\n[-HKEY_LOCAL_MACHINE\\B]\n");
}

TEST(RegText, NamesThatTheFormatCannotCarryAreRefused) {
    EXPECT_THROW(writeRegText({{RegKey{u"a\nb", {}, false}}}), std::invalid_argument);
    EXPECT_THROW(writeRegText({{RegKey{u"a", {text(u"n\r", u"")}, false}}}), std::invalid_argument);
}

// Broken files: whatever is cut off or flipped, the reader ends, either with a document that can be written again or
// with an error whose place is in the file.
void expectSoundOutcome(const std::string& damaged) {
    const auto lines = static_cast<std::size_t>(std::count(damaged.begin(), damaged.end(), '\n')) + 1;
    try {
        const RegDocument document = parseRegText(damaged);
        EXPECT_EQ(parseRegText(writeRegText(document)).keys, document.keys);
    } catch (const RegSyntaxError& error) {
        EXPECT_GE(error.line(), 1u);
        EXPECT_LE(error.line(), lines);
        EXPECT_GE(error.column(), 1u);
        EXPECT_LE(error.column(), damaged.size() + 1);
    }
}

TEST(RegText, DamagedFilesEndInADocumentOrAnError) {
    const std::string whole = writeRegText(awkwardDocument());
    for (std::size_t length = 0; length < whole.size(); length += 2)
        expectSoundOutcome(whole.substr(0, length));

    const unsigned seed = std::random_device{}();
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    for (int round = 0; round < 1000; ++round) {
        std::string damaged = round % 2 == 0 ? whole : utf16LittleEndian(whole);
        for (int flips = 1 + round % 3; flips > 0; --flips)
            damaged[random() % damaged.size()] = static_cast<char>(random());
        expectSoundOutcome(damaged);
    }
}

} // namespace
} // namespace wdlt
