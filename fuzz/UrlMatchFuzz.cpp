// URL patterns: whatever pattern and text are, a match stays inside them and agrees with a slow, simple matcher, and a
// text without special characters matches itself as a record.
#include "UrlMatching.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr int kStar = -1;

int digit(char c) {
    const char* const digits = "0123456789abcdef0123456789ABCDEF";
    const char* const found = c == '\0' ? nullptr : std::strchr(digits, c);
    return found == nullptr ? -1 : static_cast<int>((found - digits) % 16);
}

int lower(int c) {
    return c >= 'A' && c <= 'Z' ? c + 32 : c;
}

// The pattern's characters, decoded and in lower case, with kStar for a star.
std::vector<int> tokens(const std::string& pattern) {
    std::vector<int> found;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] == '*') {
            found.push_back(kStar);
        } else if (pattern[i] == '%' && digit(pattern[i + 1]) >= 0 && digit(pattern[i + 2]) >= 0) {
            found.push_back(lower(digit(pattern[i + 1]) * 16 + digit(pattern[i + 2])));
            i += 2;
        } else {
            found.push_back(lower(static_cast<unsigned char>(pattern[i])));
        }
    }
    return found;
}

// Tracks the set of positions in the text that each token can reach.
bool accepts(const std::string& pattern, std::string_view text) {
    if (pattern.empty())
        return true;
    std::vector<bool> reached(text.size() + 1);
    reached[0] = true;
    for (const int token : tokens(pattern)) {
        std::vector<bool> next(text.size() + 1);
        for (std::size_t at = 0; at <= text.size(); ++at)
            if (token == kStar)
                next[at] = reached[at] || (at > 0 && next[at - 1]);
            else
                next[at] = at > 0 && reached[at - 1] && static_cast<unsigned char>(text[at - 1]) == token;
        reached.swap(next);
    }
    return reached[text.size()];
}

void demand(bool holds) {
    if (!holds)
        std::abort();
}

void compare(const std::string& pattern, std::string_view text) {
    CUrlWildCardMatch match;
    demand(match.Init(pattern.c_str()));
    demand(match.Match(text) == accepts(pattern, text));
}

} // namespace

// The input is a pattern and a text, separated by a zero byte; without one the text is empty.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > 4096)
        return 0;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const std::size_t border = std::min(bytes.find('\0'), bytes.size());
    const std::string pattern(bytes.substr(0, border));
    const std::string text(bytes.substr(std::min(border + 1, bytes.size())));
    compare(pattern, text);

    CMatchingUrlRecord record;
    CMatchingUrl url;
    demand(record.Init(pattern.c_str()) == !pattern.empty() && url.Init(text.c_str()));
    if (!pattern.empty()) {
        compare(pattern, url.host());
        compare(pattern, url.path());
        const bool matches = record.Match(url);
        demand(record.Init(pattern.c_str()) && record.Match(url) == matches);
        // Percent codes and addresses are normalised at different stages in patterns and in URLs.
        const bool isPlain = pattern.find_first_of("%:") == pattern.npos;
        demand(!isPlain || (url.Init(pattern.c_str()) && record.Match(url)));
    }
    return 0;
}
