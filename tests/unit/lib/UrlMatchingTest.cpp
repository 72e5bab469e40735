// URLs against patterns: the rules by example. Any pair is held against a slow, plain matcher in fuzz/.
#include "UrlMatching.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

bool matches(const std::string& pattern, const std::string& url) {
    CMatchingUrlRecord record;
    CMatchingUrl asked;
    EXPECT_TRUE(record.Init(pattern.c_str()) && asked.Init(url.c_str()));
    return record.Match(asked);
}

bool accepts(const char* pattern, std::string_view text) {
    CUrlWildCardMatch match;
    EXPECT_TRUE(match.Init(pattern));
    return match.Match(text);
}

TEST(UrlMatching, RecordsAgainstUrls) {
    const struct {
        const char* record;
        std::vector<const char*> matched;
        std::vector<const char*> others;
    } cases[] = {
        {"http://a.b", {"http://a.b", "http://a.b/"}, {"http://a.b/c", "a.b", "https://a.b"}},
        {"http://a.b/", {"http://a.b", "http://a.b/"}, {"http://a.b/c"}},
        {"HTTP://a.b/C", {"HTTP://A.B/C", "http://a.b/c"}, {"http://a.b/c?d", "http://a.b/c/"}},
        {"http://a.b/%61", {"http://a.b/%41", "http://a.b/%61", "http://a.b/A"}, {"http://a.b/%2541"}},
        {"a.b", {"a.b", "A.b/"}, {"http://a.b/", "a.b:80"}},
        {"*a.b", {"http://a.b/", "xa.b"}, {"http://a.b/c", "http://a.b:80/"}},
        {"http://a.b*", {"http://a.bc/d/e", "http://a.b"}, {"http://a.c"}},
        {"http://a.b/*", {"http://a.b/", "http://a.b/d"}, {"http://a.bc/"}},
        {"http://a.b:8080/", {"http://a.b:8080"}, {"http://a.b/"}},
        {"http://::1/", {"http://0:0:0:0:0:0:0:1/", "http://::1"}, {"http://[::1]/", "http://::2"}},
        {"http://::1*", {"http://0:0:0:0:0:0:0:1/x"}, {}},
        {"http://[::1]/", {"http://[::1]"}, {"http://::1/"}},
        {"http://1.2.3.4:80", {"http://1.2.3.4:80/"}, {}},
        {"a.b/c?u=http://d.e/f", {"a.b/c?u=http://d.e/f"}, {"a.b/c?u=http://d.e/*"}},
        {"a.b*/f", {"a.b/c?u=http://d.e/f"}, {"a.b/f/g"}},
        {"*/*", {"http://a/b"}, {}},
        {"*", {"http://anything/at/all?x", ""}, {}},
        {"http://a.b/%2A", {"http://a.b/*"}, {"http://a.b/c"}}, // an encoded star is no wildcard
        {"http://a.b/100%", {"http://a.b/100%"}, {}},
        {"http://a.b/\xE4*", {"http://a.b/\xE4\xF6"}, {}},
        {"http://a.b/\xC4", {}, {"http://a.b/\xE4"}}, // only ASCII letters lose their case
    };
    for (const auto& c : cases) {
        for (const char* url : c.matched)
            EXPECT_TRUE(matches(c.record, url)) << c.record << " and " << url;
        for (const char* url : c.others)
            EXPECT_FALSE(matches(c.record, url)) << c.record << " and " << url;
    }
}

TEST(UrlMatching, WhereAUrlFallsApart) {
    const struct {
        const char* url;
        const char* host;
        const char* path;
    } cases[] = {
        {"http://a.b", "http://a.b", "/"},
        {"", "", "/"},
        {"/only/path", "", "/only/path"},
        {"a.b/c?u=http://d.e/f", "a.b/c?u=http://d.e", "/f"},
        {"http://A.B%2Fc/D", "http://a.b/c", "/d"},
        {"http://%3A%3A1/", "http://0000:0000:0000:0000:0000:0000:0000:0001\n", "/"},
    };
    for (const auto& c : cases) {
        CMatchingUrl url;
        ASSERT_TRUE(url.Init(c.url));
        EXPECT_EQ(url.host(), c.host) << c.url;
        EXPECT_EQ(url.path(), c.path) << c.url;
    }
    CMatchingUrl url;
    EXPECT_FALSE(url.Init(nullptr));
    CMatchingUrlRecord record;
    EXPECT_FALSE(record.Init(nullptr));
    EXPECT_FALSE(record.Init(""));
}

TEST(UrlMatching, Patterns) {
    const struct {
        const char* pattern;
        std::vector<const char*> accepted;
        std::vector<const char*> refused;
    } cases[] = {
        {"", {"", "x"}, {}},
        {"*", {"", "x"}, {}},
        {"**", {"", "x"}, {}},
        {"a", {"a"}, {"", "aa", "ba"}},
        {"a*", {"a", "ab"}, {"", "ba"}},
        {"*a", {"a", "ba"}, {"", "ab"}},
        {"*a*", {"a", "bab"}, {"", "b"}},
        {"a*b", {"ab", "axb", "abb"}, {"a", "b", "aba"}},
        {"a*a", {"aa", "aba"}, {"a"}},
        {"ab*bc", {"abbc"}, {"abc"}},
        {"a*b*c", {"abc", "axbxc"}, {"ac", "acb", "abcx"}},
        {"*a*b*", {"ab", "xaxbx"}, {"ba", "a"}},
        {"*aab*", {"aaab", "xaabx"}, {"abab"}},
        {"*ab*ab", {"abab", "ababab"}, {"ab", "aba"}},
    };
    for (const auto& c : cases) {
        for (const char* text : c.accepted)
            EXPECT_TRUE(accepts(c.pattern, text)) << c.pattern << " and " << text;
        for (const char* text : c.refused)
            EXPECT_FALSE(accepts(c.pattern, text)) << c.pattern << " and " << text;
    }
    EXPECT_TRUE(accepts(nullptr, "x"));
}

TEST(UrlMatching, Decoding) {
    const struct {
        const char* input;
        std::string output;
        int count;
    } cases[] = {{"", "", 0},       {"%41%zz%4", "A%zz%4", 1}, {"%2541", "%41", 1},      {"%", "%", 0},
                 {"%%41", "%A", 1}, {"a%00b", {"a\0b", 3}, 1}, {"%aF%Fa", "\xAF\xFA", 2}};
    for (const auto& c : cases) {
        std::string output = "old";
        EXPECT_EQ(DecodeUrl(c.input, output), c.count) << c.input;
        EXPECT_EQ(output, c.output) << c.input;
    }
    std::string output;
    EXPECT_EQ(DecodeUrl(nullptr, output), -1);

    for (std::string text : {"", "a.b", "a.b:80", "[::1]", "1:2", "::1::2", "http::"}) {
        const std::string before = text;
        EXPECT_FALSE(NormalizeIpv6Host(text)) << before;
        EXPECT_EQ(text, before);
    }
    std::string mapped = "::FFFF:1.2.3.4";
    EXPECT_TRUE(NormalizeIpv6Host(mapped));
    EXPECT_EQ(mapped, "0000:0000:0000:0000:0000:ffff:0102:0304\n");
    std::string cut("::1\0x", 5);
    EXPECT_FALSE(NormalizeIpv6Host(cut)) << "what stands behind a zero byte counts";
}

// A long piece is searched with a table of where to go on.
TEST(UrlMatching, ALongPieceThatBeginsAgainInTheMiddle) {
    const std::string run(40, 'a');
    EXPECT_TRUE(accepts(("*" + run + "b*").c_str(), "x" + run + "aab"));
    EXPECT_FALSE(accepts(("*" + run + "b*").c_str(), run + "aca"));
    const std::string rest(30, 'd');
    EXPECT_TRUE(accepts(("*aabaaac" + rest + "*").c_str(), "aabaaabaaac" + rest)); // at the second place that it could
}

} // namespace
