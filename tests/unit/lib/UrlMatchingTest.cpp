// URLs against patterns: the rules by example, and the matcher against a slow, plain one on random pairs.
#include "UrlMatching.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <random>
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
        const char* url;
        bool expected;
    } cases[] = {
        {"http://a.b", "http://a.b", true},
        {"http://a.b/", "http://a.b", true},
        {"http://a.b", "http://a.b/", true},
        {"http://a.b", "http://a.b/c", false},
        {"http://a.b/c", "HTTP://A.B/C", true},
        {"HTTP://A.B/C", "http://a.b/c", true},
        {"http://a.b/a", "http://a.b/%41", true},
        {"http://a.b/%61", "http://a.b/A", true},
        {"a.b", "http://a.b/", false},
        {"*a.b", "http://a.b/", true},
        {"http://a.b*", "http://a.bc/d/e", true},
        {"http://a.b/*", "http://a.b/", true},
        {"http://a.b/*", "http://a.b/d", true},
        {"http://a.b/*", "http://a.bc/", false},
        {"http://a.b/c", "http://a.b/c?d", false},
        {"http://a.b:8080/", "http://a.b/", false},
        {"a.b", "a.b:80", false},
        {"*", "http://anything/at/all?x", true},
        {"*/*", "http://a/b", true},
        {"http://[::1]/", "http://[::1]/", true},
        {"http://[::1]/", "http://::1/", false},
        {"http://::1/", "http://0:0:0:0:0:0:0:1/", true},
        {"http://::1*", "http://0:0:0:0:0:0:0:1/x", true},
        {"http://::1", "http://::2", false},
        {"http://1.2.3.4:80", "http://1.2.3.4:80/", true},
        {"http://a.b/%2A", "http://a.b/*", true},
        {"http://a.b/%2A", "http://a.b/c", false},
        {"http://a.b/100%", "http://a.b/100%", true},
        {"http://a.b/\xE4*", "http://a.b/\xE4\xF6", true},
        {"http://a.b/\xC4", "http://a.b/\xE4", false}, // only ASCII letters lose their case
    };
    for (const auto& c : cases)
        EXPECT_EQ(matches(c.record, c.url), c.expected) << c.record << " and " << c.url;
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

// One character of a pattern after decoding, or a star.
struct Token {
    bool isStar;
    char character;
};

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

std::vector<Token> tokens(const std::string& pattern) {
    const auto digit = [](char c) { return std::string("0123456789abcdef").find(lower(c)); };
    std::vector<Token> result;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] == '%' && i + 2 < pattern.size() && digit(pattern[i + 1]) < 16 && digit(pattern[i + 2]) < 16) {
            result.push_back({false, lower(static_cast<char>(digit(pattern[i + 1]) * 16 + digit(pattern[i + 2])))});
            i += 2;
        } else {
            result.push_back({pattern[i] == '*', lower(pattern[i])});
        }
    }
    return result;
}

// Every way to spend the text on the stars, by a table of what matches what.
bool plainMatch(const std::vector<Token>& pattern, const std::string& text) {
    if (pattern.empty())
        return true;
    std::vector<std::vector<bool>> table(pattern.size() + 1, std::vector<bool>(text.size() + 1, false));
    table[0][0] = true;
    for (std::size_t p = 1; p <= pattern.size(); ++p)
        for (std::size_t t = 0; t <= text.size(); ++t) {
            if (pattern[p - 1].isStar)
                table[p][t] = table[p - 1][t] || (t > 0 && table[p][t - 1]);
            else
                table[p][t] = t > 0 && table[p - 1][t - 1] && pattern[p - 1].character == text[t - 1];
        }
    return table[pattern.size()][text.size()];
}

TEST(UrlMatching, AgreesWithAPlainMatcher) {
    const char* const given = std::getenv("WDLT_SEED");
    const std::uint64_t seed = given != nullptr ? std::strtoull(given, nullptr, 0) : std::random_device{}();
    SCOPED_TRACE("WDLT_SEED=" + std::to_string(seed));
    std::mt19937_64 dice(seed);
    const auto roll = [&](const std::vector<std::string>& sides, std::size_t most) {
        std::string text;
        for (std::size_t n = dice() % (most + 1); n > 0; --n)
            text += sides[dice() % sides.size()];
        return text;
    };
    const std::vector<std::string> ofPatterns{"a", "b", "A", "*", "*", "%", "%61", "%2A", "%41", ":", "\xE4", "4", "1"};
    const std::vector<std::string> ofTexts{"a", "b", "a", "b", "*", "%", ":", "\xE4", "4", "1"};
    int matched = 0;
    for (int round = 0; round < 200'000; ++round) {
        const std::string pattern = roll(ofPatterns, 8);
        const std::string text = roll(ofTexts, 10);
        CUrlWildCardMatch match;
        ASSERT_TRUE(match.Init(pattern.c_str()));
        const bool expected = plainMatch(tokens(pattern), text);
        ASSERT_EQ(match.Match(text), expected) << '"' << pattern << "\" and \"" << text << '"';
        matched += expected;
    }
    EXPECT_GT(matched, 10'000); // both answers occur
}

// A long piece is searched with a table of where to go on.
TEST(UrlMatching, ALongPieceThatBeginsAgainInTheMiddle) {
    const std::string run(40, 'a');
    EXPECT_TRUE(accepts(("*" + run + "b*").c_str(), "x" + run + "aab"));
    EXPECT_FALSE(accepts(("*" + run + "b*").c_str(), run + "aca"));
}

} // namespace
