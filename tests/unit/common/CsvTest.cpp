// Lists in one line: parsing a text into fields, and writing fields as a text. fuzz/ tests both with arbitrary texts.
#include "Csv.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using testing::ElementsAreArray;

using Fields = std::vector<std::string>;

std::string lineOf(const Fields& fields) {
    CCsv csv;
    for (const std::string& field : fields)
        csv.add(field);
    return csv.text();
}

TEST(Csv, TextsAsFieldsAndBack) {
    struct Case {
        const char* text;
        Fields fields;
        const char* written; // if it differs from the text that was read
    };
    const Case cases[] = {
        {"", {}, nullptr},
        {"GET", {"GET"}, nullptr},
        {"GET,POST", {"GET", "POST"}, nullptr},
        {"GET, POST ", {"GET", " POST "}, nullptr},
        {"GET,", {"GET", ""}, nullptr},
        {",", {"", ""}, nullptr},
        {",,a", {"", "", "a"}, nullptr},
        {"\"a,b\",c", {"a,b", "c"}, nullptr},
        {"a\"\"b", {"a\"b"}, nullptr},
        {"a\"\"\"\"b", {"a\"\"b"}, nullptr},
        {"\"a\"\"b,c\"", {"a\"b,c"}, nullptr},
        {"\"plain\",x", {"plain", "x"}, "plain,x"},
        {"a\"b,c\"d", {"ab,cd"}, "\"ab,cd\""},
        {"\"a,b", {"a,b"}, "\"a,b\""}, // unclosed quotes end with the text
        {"a,\"b,", {"a", "b,"}, "a,\"b,\""},
        {"\"\"", {"\""}, nullptr},
        {"\"", {""}, ""},
    };
    for (const Case& c : cases) {
        EXPECT_THAT(CCsv(c.text).fields(), ElementsAreArray(c.fields)) << c.text;
        EXPECT_EQ(lineOf(c.fields), c.written != nullptr ? c.written : c.text);
    }
}

} // namespace
