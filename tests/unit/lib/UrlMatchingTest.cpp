// URLs against records: examples of the rules. fuzz/ compares arbitrary patterns and texts with a slow, simple matcher,
// starting from a corpus of hard ones.
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
        {"http://::1/",
         {"http://0:0:0:0:0:0:0:1/", "http://::1"},
         {"http://[::1]/", "http://::2", "http://::1%00evil/"}},
        {"http://::1*", {"http://0:0:0:0:0:0:0:1/x"}, {}},
        {"http://[::1]/", {"http://[::1]"}, {"http://::1/"}},
        {"http://::FFFF:1.2.3.4", {"http://0:0:0:0:0:ffff:102:304", "http://%3A%3Affff:1.2.3.4/"}, {"http://1.2.3.4"}},
        {"http://1.2.3.4:80", {"http://1.2.3.4:80/"}, {}},
        {"a.b/c?u=http://d.e/f", {"a.b/c?u=http://d.e/f"}, {"a.b/c?u=http://d.e/*"}},
        {"a.b*/f", {"a.b/c?u=http://d.e/f"}, {"a.b/f/g"}},
        {"*/*", {"http://a/b"}, {}},
        {"*ab*ab", {"abab", "xab-ab"}, {"ab", "aba"}},
        {"*", {"http://anything/at/all?x", ""}, {}},
        {"http://a.b/%2A", {"http://a.b/*"}, {"http://a.b/c"}}, // an encoded star isn't a wildcard
        {"http://a.b/100%zz%4", {"http://a.b/100%zz%4"}, {}},
        {"http://a.b/\xE4*", {"http://a.b/\xE4\xF6"}, {}},
        {"http://a.b/\xC4", {}, {"http://a.b/\xE4"}}, // case is ignored only for ASCII letters
    };
    for (const auto& c : cases) {
        for (const char* url : c.matched)
            EXPECT_TRUE(matches(c.record, url)) << c.record << " and " << url;
        for (const char* url : c.others)
            EXPECT_FALSE(matches(c.record, url)) << c.record << " and " << url;
    }
}

} // namespace
