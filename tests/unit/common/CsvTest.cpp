// Lists in one line: what a text is as fields, and any fields as a text that gives them back.
#include "Csv.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace {

using testing::ElementsAreArray;

using Fields = std::vector<std::string>;

std::string textOf(const Fields& fields) {
    CCsv csv;
    for (const std::string& field : fields)
        csv.add(field);
    return csv.text();
}

TEST(Csv, TextsAsFieldsAndBack) {
    struct Case {
        const char* text;
        Fields fields;
        const char* written; // where the form isn't the one that was read
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
        {"\"a\"\"b,c\"", {"a\"b,c"}, nullptr},
        {"\"plain\",x", {"plain", "x"}, "plain,x"},
        {"a\"b,c\"d", {"ab,cd"}, "\"ab,cd\""},
        {"\"a,b", {"a,b"}, "\"a,b\""}, // quotes that stay open end with the text
        {"a,\"b,", {"a", "b,"}, "a,\"b,\""},
        {"\"\"", {"\""}, nullptr},
        {"\"", {""}, ""},
    };
    for (const Case& c : cases) {
        EXPECT_THAT(CCsv(c.text).fields(), ElementsAreArray(c.fields)) << c.text;
        EXPECT_EQ(textOf(c.fields), c.written != nullptr ? c.written : c.text);
    }
}

TEST(Csv, AnyFieldsComeBack) {
    const char* const given = std::getenv("WDLT_SEED");
    const unsigned seed =
        given != nullptr ? static_cast<unsigned>(std::strtoul(given, nullptr, 0)) : std::random_device{}();
    SCOPED_TRACE("WDLT_SEED=" + std::to_string(seed));
    std::mt19937 engine(seed);
    const auto below = [&](std::size_t limit) { return static_cast<std::size_t>(engine()) % limit; };
    constexpr std::string_view kLetters = ",\"\" a\xC3";
    for (int round = 0; round < 5'000; ++round) {
        Fields fields(below(6));
        for (std::string& field : fields)
            for (std::size_t left = below(7); left > 0; --left)
                field += kLetters[below(kLetters.size())];
        if (fields == Fields{""})
            continue; // has the text of no field
        const std::string text = textOf(fields);
        ASSERT_EQ(CCsv(text).fields(), fields) << text;
    }
}

} // namespace
