// What a field's row makes of the bytes of a record, and of what a user types.
#include "RecordFields.h"

#include "ToolError.h"

#include <cstring>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace wdlt {
namespace {

// A field and a byte on each side of it.
using Bytes = std::vector<BYTE>;
constexpr std::size_t kBefore = 1;

Field number(std::size_t size) {
    return numberField("f", kBefore, size, "");
}
Field signedNumber(std::size_t size) {
    return signedField("f", kBefore, size, "");
}
Field text(std::size_t size) {
    return textField("f", kBefore, size, "");
}
Field names(std::size_t size) {
    return nameListField("f", kBefore, size, 4, "");
}

Bytes around(const Field& field, const std::string& content) {
    Bytes bytes(field.size + 2, 0xAA);
    content.copy(reinterpret_cast<char*>(&bytes[kBefore]), field.size);
    return bytes;
}

using namespace std::string_literals;

TEST(RecordFields, AreSetWithinThemselvesAndShown) {
    const struct {
        Field field;
        const char* typed;
        std::string bytes;
        const char* shown;
        Json json;
    } rows[] = {
        {number(2), "0xFFFF", "\xFF\xFF", "65535", 65535},
        {number(8), "18446744073709551615", std::string(8, '\xFF'), "18446744073709551615", UINT64_MAX},
        {flagField("f", kBefore, 4, ""), "1", "\1\0\0\0"s, "1", 1},
        {number(4).atMost(2), "2", "\2\0\0\0"s, "2", 2},
        {signedNumber(2), "-32768", "\0\x80"s, "-32768", -32768},
        {signedNumber(8), "-1", std::string(8, '\xFF'), "-1", -1},
        {text(4), "abc", "abc\0"s, "abc", "abc"},
        {text(4), "\x01", "\1\0\0\0"s, "\\x01", "\x01"},
        {text(4), "", "\0\0\0\0"s, "", ""},
        {text(4).secret(), "abc", "abc\0"s, "(secret)", "(secret)"},
        {names(12), "a,bcd", "a\0\0\0bcd\0\0\0\0\0"s, "a,bcd", Json::array({"a", "bcd"})},
        {names(12), "", std::string(12, '\0'), "", Json::array()},
    };
    for (const auto& row : rows) {
        Bytes bytes = around(row.field, std::string(row.field.size, '\x55'));
        setField(row.field, bytes, row.typed);
        EXPECT_EQ(bytes, around(row.field, row.bytes)) << row.typed;
        EXPECT_EQ(fieldText(row.field, bytes, false), row.shown);
        EXPECT_EQ(fieldJson(row.field, bytes, false), row.json) << row.typed;
        EXPECT_EQ(fieldText(row.field, bytes, true), row.field.isSecret ? row.typed : row.shown);
    }
}

TEST(RecordFields, NeverShowMoreThanTheyHold) {
    // A count of 77, then three numbers.
    const Bytes list = {77, 0, 0, 0, 4, 0, 0, 0, 5, 0, 0, 0, 6, 0, 0, 0, 0xAA};
    EXPECT_EQ(fieldText(numberListField("f", 4, 12, 0, ""), list, false), "4 5 6");
    EXPECT_EQ(fieldText(text(3), around(text(3), "xxx"), false), "xxx");
    EXPECT_EQ(fieldText(names(8), around(names(8), "yyyyyyyy"), false), "yyyy,yyyy");
}

TEST(RecordFields, RefuseWhatTheyCannotHold) {
    const struct {
        Field field;
        std::vector<const char*> typed;
    } rows[] = {
        {number(2), {"65536", "", "-1", "1 ", "0x", "12a"}},
        {number(8), {"18446744073709551616"}},
        {flagField("f", kBefore, 4, ""), {"2"}},
        {number(4).atMost(2), {"3"}},
        {signedNumber(2), {"-32769", "32768", "-"}},
        {text(4), {"abcd", "\xFF", "\xC3\xA9\xC3\xA9"}},
        {names(12), {"a,,b", "a,", "abcd", "a,b,c,d"}},
        {number(4).readOnly(), {"1"}},
        {numberListField("f", kBefore, 4, 0, ""), {"1"}},
    };
    for (const auto& row : rows)
        for (const char* const typed : row.typed) {
            const Bytes before = around(row.field, "");
            Bytes bytes = before;
            try {
                setField(row.field, bytes, typed);
                ADD_FAILURE() << "took " << typed;
            } catch (const ToolError& error) {
                EXPECT_EQ(error.status(), ExitStatus::Usage) << typed;
                EXPECT_TRUE(std::string(error.what()).starts_with("f: ")) << error.what();
            }
            EXPECT_EQ(bytes, before) << typed;
        }
}

} // namespace
} // namespace wdlt
