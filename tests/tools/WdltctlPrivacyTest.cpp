// wdltctl and privacy protection: the first database, items that stay hidden, exclusions, and texts in other charsets.
#include "RunProgram.h"
#include "TestHome.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using Words = std::vector<std::string>;

constexpr const char* kBase = "HKLM\\SOFTWARE\\Halvermoor\\PLK\\Wardlet";

ProgramResult wdltctl(Words arguments, std::string_view input = {}) {
    arguments.insert(arguments.begin(), "wdltctl");
    return runProgram(arguments, input);
}

class WdltctlPrivacy : public testing::Test {
  protected:
    void SetUp() override {
        fs::remove_all(install());
        const ProgramResult result = wdltctl({"init", "--force", "--install", install().string()});
        ASSERT_EQ(result.status, 0) << result.err;
    }
    static fs::path install() { return TestHome::instance().path() / "install"; }
    static fs::path database() { return install() / "Privacy.dat"; }
    static void setNumber(const std::string& name, const std::string& number) {
        const std::string key = std::string(kBase) + "\\Scan\\Common\\PrivacyProtection\\config";
        EXPECT_EQ(runProgram({"wdltreg", "set", key, name, "dword", number}).status, 0);
    }
    static std::string items() { return wdltctl({"--secrets", "export", "items", "-"}).out; }
};

TEST_F(WdltctlPrivacy, InitMakesTheFoldersAndTheFirstDatabase) {
    EXPECT_TRUE(fs::is_directory(install() / "Temp"));
    EXPECT_TRUE(fs::is_directory(install() / "Log"));
    EXPECT_EQ(fs::file_size(database()), 72u);
    EXPECT_EQ(items(), "[]\n");

    // With a tree or without, a database that is there goes only by force; and no tree is laid down without one.
    ASSERT_EQ(wdltctl({"add", "items", "card", "4711"}).status, 0);
    const auto size = fs::file_size(database());
    ASSERT_EQ(runProgram({"wdltreg", "delete", kBase}).status, 0);
    const ProgramResult refused = wdltctl({"init", "--install", install().string()});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.err, HasSubstr("Privacy.dat is there already; --force replaces it"));
    EXPECT_EQ(fs::file_size(database()), size);
    TestHome::instance().write("file", "");
    EXPECT_EQ(wdltctl({"init", "--install", (TestHome::instance().path() / "file/below").string()}).status, 1);
    EXPECT_NE(runProgram({"wdltreg", "query", kBase}).status, 0);
    EXPECT_EQ(wdltctl({"init", "--force", "--install", install().string()}).status, 0);
    EXPECT_EQ(fs::file_size(database()), 72u);
    EXPECT_EQ(items(), "[]\n");
}

TEST_F(WdltctlPrivacy, ItemsStayHiddenUnlessAskedFor) {
    EXPECT_EQ(wdltctl({"add", "items", "card", "4711 0815"}).status, 0);
    EXPECT_EQ(wdltctl({"add", "items", "street", "-", "--description", "home", "--target", "3", "--index", "31"},
                      "Große Straße\nmore")
                  .status,
              0);
    EXPECT_EQ(wdltctl({"add", "items", "later", "--json"}).out, "{\n  \"index\": 1\n}\n");
    // Two items in two charsets.
    EXPECT_EQ(fs::file_size(database()), 64u + 4 * 140 + 8);

    const json expected = {
        {{"index", 0}, {"name", "card"}, {"description", ""}, {"scanTarget", 16}, {"text", "4711 0815"}},
        {{"index", 31}, {"name", "street"}, {"description", "home"}, {"scanTarget", 3}, {"text", "Große Straße"}},
        {{"index", 1}, {"name", "later"}, {"description", ""}, {"scanTarget", 16}, {"text", ""}}};
    const std::string whole = items();
    EXPECT_EQ(json::parse(whole), expected);
    for (const Words& words : {Words{"list", "items"}, Words{"list", "items", "--json"}, Words{"export", "items", "-"}})
        EXPECT_THAT(wdltctl(words).out, AllOf(HasSubstr("(secret)"), Not(HasSubstr("4711")), HasSubstr("street")));
    EXPECT_THAT(wdltctl({"--secrets", "list", "items"}).out,
                HasSubstr("0      card                 16      4711 0815\n"));

    EXPECT_EQ(json::parse(wdltctl({"--secrets", "list", "patterns", "--json"}).out)[1],
              (json{{"item", 0}, {"charset", "utf-8"}, {"pattern", "34 37 31 31 20 30 38 31 35"}}));
    EXPECT_THAT(wdltctl({"list", "patterns"}).out,
                AllOf(HasSubstr("31    ucs-2    (secret)\n"), Not(HasSubstr("34 37"))));

    // A hidden text keeps the stored one, whatever else changes.
    json hidden = json::parse(wdltctl({"export", "items", "-"}).out);
    hidden[1]["name"] = "road";
    EXPECT_EQ(wdltctl({"import", "items", "-"}, hidden.dump()).status, 0);
    json changed = expected;
    changed[1]["name"] = "road";
    EXPECT_EQ(json::parse(items()), changed);

    EXPECT_EQ(wdltctl({"remove", "items", "0", "1", "31"}).status, 0);
    EXPECT_EQ(items(), "[]\n");
    EXPECT_EQ(fs::file_size(database()), 72u);
    EXPECT_EQ(wdltctl({"import", "items", "-"}, hidden.dump()).status, 1);
    EXPECT_EQ(wdltctl({"import", "items", "-"}, whole).status, 0);
    EXPECT_EQ(items(), whole);
}

TEST_F(WdltctlPrivacy, WhatIsRefusedChangesNothing) {
    ASSERT_EQ(wdltctl({"add", "items", "card", "4711"}).status, 0);
    const std::string before = items();
    std::string many = "[";
    for (int i = 0; i < 4; ++i)
        many += (i == 0 ? "" : ",") + json({{"index", i}}).dump();
    setNumber("ItemEntryMax", "3");
    const struct {
        Words arguments;
        std::string input;
        int status;
        const char* words;
    } cases[] = {
        {{"add", "items", "n", std::string(33, 'x')}, "", 2, "TEXT: 33 bytes in utf-8, at most 32"},
        {{"add", "items", "n", "\xFF"}, "", 2, "TEXT: not a text that utf-8 can hold"},
        {{"add", "items", std::string(36, 'n')}, "", 2, "NAME: at most 35 bytes"},
        {{"add", "items", "n", "--description", std::string(68, 'd')}, "", 2, "--description: at most 67 bytes"},
        {{"add", "items", "n", "--index", "0"}, "", 1, "index 0 has an item already"},
        {{"add", "items", "n", "--index", "32"}, "", 2, "--index"},
        {{"remove", "items", "0", "7"}, "", 1, "no item has the index 7"},
        {{"import", "items", "-"}, "{}", 2, "not a JSON list"},
        {{"import", "items", "-"}, "[1]", 2, "item 1: not an object"},
        {{"import", "items", "-"}, "[{}]", 2, "item 1: an index is 0 to 31"},
        {{"import", "items", "-"}, R"([{"index":0},{"index":0}])", 1, "item 2: index 0 is there twice"},
        {{"import", "items", "-"}, R"([{"index":-1}])", 2, "item 1, index: not a number"},
        {{"import", "items", "-"}, R"([{"index":0,"name":5}])", 2, "item 1, name: not a text"},
        {{"import", "items", "-"}, R"([{"index":0,"nam":""}])", 2, "item 1, nam: no such field"},
        {{"import", "items", "-"}, R"-([{"index":5,"text":"(secret)"}])-", 1, "item 1, text: hidden, and no item"},
        {{"import", "items", "-"}, many + "]", 1, "4 records, at most 3"},
        {{"verify", std::string(33, 'x')}, "", 2, "text 1: 33 bytes in utf-8"},
    };
    for (const auto& c : cases) {
        const ProgramResult result = wdltctl(c.arguments, c.input);
        EXPECT_EQ(result.status, c.status) << c.words;
        EXPECT_THAT(result.err, HasSubstr(c.words));
        EXPECT_EQ(items(), before) << c.words;
    }
    fs::remove(database());
    EXPECT_EQ(wdltctl({"remove", "items", "0"}).status, 1);
    EXPECT_EQ(items(), before);
}

TEST_F(WdltctlPrivacy, TextsAreStoredInTheStoresCharset) {
    setNumber("DefaultCharSet", "0x1000000"); // Shift_JIS
    std::string sixteen;
    for (int i = 0; i < 16; ++i)
        sixteen += "日";
    EXPECT_EQ(wdltctl({"add", "items", "n", sixteen}).status, 0);
    EXPECT_THAT(items(), HasSubstr(sixteen));
    EXPECT_THAT(wdltctl({"add", "items", "n", sixteen + "日"}).err, HasSubstr("34 bytes in Shift_JIS, at most 32"));
    EXPECT_THAT(wdltctl({"add", "items", "n", "größe"}).err, HasSubstr("not a text that Shift_JIS can hold"));
    setNumber("DefaultCharSet", "0x20000000"); // UTF-16LE, in which a field would end inside
    EXPECT_THAT(wdltctl({"add", "items", "n", "a"}).err, HasSubstr("not a text that UTF-16LE can hold"));
    setNumber("DefaultCharSet", "3");
    EXPECT_THAT(wdltctl({"add", "items", "n", "a"}).err, HasSubstr("0x3 is no charset's bit"));
}

TEST_F(WdltctlPrivacy, ATextThatACharsetLacksIsFoundOut) {
    setNumber("CharSetEntry", "0x1a"); // us-ascii, utf-8 and iso-8859-1
    const ProgramResult verified = wdltctl({"verify", "4711", "größe", "日本"});
    EXPECT_EQ(verified.status, 1);
    EXPECT_EQ(verified.out,
              "1: can be searched for\n2: can be searched for\n3: can't be in each charset that is searched\n");
    EXPECT_THAT(verified.err, HasSubstr("1 of 3 can't be searched for"));
    EXPECT_EQ(wdltctl({"verify", "日本", "a", "--json"}).out, "[\n  false,\n  true\n]\n");
    EXPECT_EQ(wdltctl({"verify", "größe"}).status, 0);

    EXPECT_EQ(wdltctl({"add", "items", "n", "größe"}).status, 0);
    const std::string before = items();
    const ProgramResult refused = wdltctl({"add", "items", "n", "日本"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.err, AllOf(HasSubstr("the text of item 1 can't be in each charset"), Not(HasSubstr("日本"))));
    EXPECT_EQ(items(), before);
}

TEST_F(WdltctlPrivacy, ExclusionsKeepTheirNumbers) {
    const auto numbers = [] {
        const std::string bytes = json::parse(wdltctl({"raw", "read", "0", "8", "--type", "3", "--json"}).out)["data"];
        std::vector<std::string> found;
        for (std::size_t at = 16; at < bytes.size(); at += 2 * 2092)
            found.push_back(bytes.substr(at, 2));
        return found;
    };
    EXPECT_EQ(wdltctl({"add", "exclusions", "a", "b", "c"}).status, 0);
    EXPECT_EQ(numbers(), (Words{"00", "01", "02"}));
    EXPECT_EQ(wdltctl({"remove", "exclusions", "b"}).status, 0);
    EXPECT_EQ(wdltctl({"import", "exclusions", "-"}, "d\nc\na\n").status, 0);
    EXPECT_EQ(numbers(), (Words{"03", "02", "00"}));
    EXPECT_EQ(wdltctl({"add", "items", "n", "x"}).status, 0);
    EXPECT_EQ(wdltctl({"export", "exclusions", "-"}).out, "d\nc\na\n");
}

} // namespace
