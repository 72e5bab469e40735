// wdltctl's lists of texts, and check-url with wardlet-peer running and without it.
#include "RunProgram.h"
#include "TestHome.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {

using testing::HasSubstr;
using testing::Not;
using Words = std::vector<std::string>;

ProgramResult wdltctl(std::vector<std::string> arguments, std::string_view input = {}) {
    arguments.insert(arguments.begin(), "wdltctl");
    return runProgram(arguments, input);
}

class WdltctlLists : public testing::Test {
  protected:
    void SetUp() override {
        const std::filesystem::path install = TestHome::instance().path() / "install";
        std::filesystem::remove_all(install);
        ASSERT_EQ(wdltctl({"init", "--force", "--install", install.string()}).status, 0);
    }
};

Words operator+(Words words, const Words& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

TEST_F(WdltctlLists, AListIsChangedAndReadBack) {
    const struct {
        Words list;
        std::string name;
        std::size_t mostBytes;
        int mostEntries;
    } lists[] = {
        {{"urls", "black"}, "black list", 2083, 500},   {{"urls", "white"}, "white list", 2083, 500},
        {{"hosts"}, "hosts list", 305, 1024},           {{"spyware"}, "spyware list", 128, 256},
        {{"exclusions"}, "exclusions list", 2083, 100}, {{"spam", "white"}, "white list", 255, 500},
        {{"spam", "black"}, "black list", 255, 500},
    };
    for (const auto& list : lists) {
        SCOPED_TRACE(list.list.front());
        const auto run = [&](const char* verb, const Words& behind, std::string_view input = {}) {
            return wdltctl(Words{verb} + list.list + behind, input);
        };
        const auto content = [&] { return run("export", {"-"}).out; };
        EXPECT_EQ(content(), "");
        EXPECT_EQ(run("import", {"-"}, "*a.b/*\r\n\nhttp://c.d/").status, 0);
        EXPECT_EQ(content(), "*a.b/*\nhttp://c.d/\n");
        EXPECT_EQ(run("add", {"x", "y*"}).status, 0);
        EXPECT_EQ(run("remove", {"*a.b/*", "x"}).status, 0);
        EXPECT_EQ(content(), "http://c.d/\ny*\n");
        EXPECT_EQ(run("list", {"--json"}).out, "[\n  \"http://c.d/\",\n  \"y*\"\n]\n");

        const std::string longest(list.mostBytes, 'x');
        EXPECT_EQ(run("add", {longest}).status, 0);
        EXPECT_EQ(run("remove", {longest}).status, 0);
        const std::string before = content();
        std::string tooMany;
        for (int i = 0; i <= list.mostEntries; ++i)
            tooMany += std::to_string(i) + "\n";
        const std::string most = std::to_string(list.mostBytes);
        const std::string limit = std::to_string(list.mostEntries);
        const struct {
            const char* verb;
            Words behind;
            std::string input;
            int status;
            std::string words;
        } refused[] = {
            {"import", {"-"}, "a\nb\na\n", 1, "line 3: a is there twice"},
            {"import", {"-"}, "a\n" + longest + "x\n", 2, "line 2: 1 to " + most + " bytes"},
            {"import", {"-"}, tooMany, 1, "records, at most " + limit},
            {"import", {"/nowhere/at/all"}, "", 1, "/nowhere/at/all"},
            {"add", {"new", "y*"}, "", 1, "y* is on the " + list.name + " already"},
            {"remove", {"y*", "z"}, "", 1, "z isn't on the " + list.name},
        };
        for (const auto& c : refused) {
            const ProgramResult result = run(c.verb, c.behind, c.input);
            EXPECT_EQ(result.status, c.status) << c.words;
            EXPECT_THAT(result.err, HasSubstr(c.words));
            EXPECT_EQ(content(), before) << c.words;
        }
        EXPECT_EQ(run("import", {"-"}, "").status, 0);
        EXPECT_EQ(content(), "");
    }
    EXPECT_THAT(wdltctl({"add", "urls", "grey", "z"}).err, HasSubstr("grey"));
}

// The service may keep more than a text in a host's block.
TEST_F(WdltctlLists, AHostThatIsNoTextComesAndGoesAsDigits) {
    const std::string digits = "hex:6100ff" + std::string(2 * 306 - 6, '0');
    EXPECT_EQ(wdltctl({"import", "hosts", "-"}, digits + "\na.b\n").status, 0);
    EXPECT_EQ(wdltctl({"export", "hosts", "-"}).out, digits + "\na.b\n");
    const std::string text = "hex:612e62" + std::string(2 * 306 - 6, '0'); // "a.b" as digits
    EXPECT_EQ(wdltctl({"import", "hosts", "-"}, text).status, 0);
    EXPECT_EQ(wdltctl({"list", "hosts"}).out, "a.b\n");
    EXPECT_EQ(wdltctl({"add", "hosts", digits + "0"}).status, 2);
}

TEST_F(WdltctlLists, SettingsOfTheFiltersAndTheirPassword) {
    const ProgramResult set = wdltctl({"set", "urlf-proxy", "szProxyUser=me", "szProxyPassword=p4ss", "--json"});
    EXPECT_EQ(set.status, 0) << set.err;
    for (const std::string& shown : {set.out, set.err, wdltctl({"get", "urlf-proxy"}).out,
                                     wdltctl({"get", "urlf-proxy", "szProxyPassword", "--json"}).out})
        EXPECT_THAT(shown, Not(HasSubstr("p4ss")));
    EXPECT_EQ(wdltctl({"--secrets", "get", "urlf-proxy", "szProxyPassword"}).out, "p4ss\n");
    EXPECT_EQ(wdltctl({"set", "urlf", "dwUserDefinedCredLevel=-7", "dwMode=0x10"}).status, 0);
    EXPECT_EQ(wdltctl({"get", "urlf", "dwUserDefinedCredLevel"}).out, "-7\n");
    EXPECT_EQ(wdltctl({"get", "urlf", "dwMode"}).out, "16\n");
    EXPECT_EQ(wdltctl({"--secrets", "get", "urlf-proxy", "szProxyPassword"}).out, "p4ss\n");
    for (const Words& words : {Words{"urlf", "dwUserDefinedCredLevel=2147483648"}, Words{"urlf", "dwEnablePharm=2"},
                               Words{"urlf", "dwCredScoreThresHold=-2147483649"}})
        EXPECT_EQ(wdltctl(Words{"set"} + words).status, 2) << words.back();
    EXPECT_EQ(wdltctl({"set", "hosf", "szExclusionExtensions=.gif"}).status, 0);
    EXPECT_EQ(wdltctl({"get", "hosf", "szExclusionExtensions"}).out, ".gif\n");
    EXPECT_EQ(wdltctl({"set", "urlf-rating-server", "szRatingServer=rating.example", "dwRatingPort=8080"}).status, 0);
    EXPECT_EQ(wdltctl({"get", "urlf-rating-server", "dwRatingPort"}).out, "8080\n");
}

TEST_F(WdltctlLists, UrlsAreCheckedWithAndWithoutTheService) {
    ASSERT_EQ(wdltctl({"add", "urls", "black", "*a.b/*"}).status, 0);
    const auto check = [] { return wdltctl({"check-url", "http://a.b/c", "http://x.y/", "--list", "black"}); };
    const ProgramResult alone = check();
    EXPECT_EQ(alone.status, 1);
    EXPECT_EQ(alone.out, "http://a.b/c: on the list\nhttp://x.y/: not on the list\n");
    EXPECT_THAT(alone.err, HasSubstr("1 of 2 not on the black list"));
    EXPECT_EQ(wdltctl({"check-url", "http://a.b/c", "--list", "black"}).status, 0);

    RunningProgram peer({"wardlet-peer"});
    ASSERT_THAT(peer.readLine(), HasSubstr("ready"));
    const ProgramResult asked = check();
    EXPECT_EQ(asked.out, alone.out);
    EXPECT_THAT(peer.readLine(), HasSubstr(R"("list":1,"url":"http://a.b/c","found":true,"reply":0)"));
    EXPECT_THAT(peer.readLine(), HasSubstr(R"("url":"http://x.y/","found":false,"reply":0)"));
    // Without the list's file it refuses, and neither road has an answer.
    EXPECT_EQ(wdltctl({"check-url", "http://a.b/c", "--list", "white"}).status, 1);
    EXPECT_THAT(peer.readLine(), HasSubstr(R"("found":false,"reply":-6)"));
}

} // namespace
