#include "UrlMatching.h"

#include <platform/nameservice.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <new>
#include <optional>

namespace {

constexpr std::string_view kBehindScheme = "://";

int hexDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

std::int32_t decode(std::string_view input, std::string& output) {
    if (input.find('%') == input.npos) {
        output = input;
        return 0;
    }
    std::string decoded;
    decoded.reserve(input.size());
    std::int32_t count = 0;
    for (std::size_t i = 0; i < input.size(); ++i) {
        const bool hasDigits =
            input[i] == '%' && i + 2 < input.size() && hexDigit(input[i + 1]) >= 0 && hexDigit(input[i + 2]) >= 0;
        if (!hasDigits) {
            decoded += input[i];
            continue;
        }
        decoded += static_cast<char>(hexDigit(input[i + 1]) << 4 | hexDigit(input[i + 2]));
        ++count;
        i += 2;
    }
    output = std::move(decoded);
    return count;
}

void lowerAscii(std::string& text) {
    for (char& c : text)
        c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
}

// The form in which texts are compared.
void toComparable(std::string_view input, std::string& output) {
    decode(input, output);
    lowerAscii(output);
}

// A longer piece is worth its table; a shorter one is compared at each position, which costs at most its length.
constexpr std::size_t kMostWithoutTable = 32;

// Where to split a URL or a pattern: after its scheme, and at the first slash of its path.
struct Cut {
    explicit Cut(std::string_view text) {
        const std::size_t scheme = text.find(kBehindScheme);
        authority = scheme == text.npos ? 0 : scheme + kBehindScheme.size();
        slash = text.find('/', authority);
    }
    std::size_t authority;
    std::size_t slash; // npos without a path
};

// Neither a name nor an IPv4 address with a port has two colons. A null byte would cut the address short.
bool mayBeIpv6(std::string_view text) {
    return std::ranges::count(text, ':') >= 2 && text.find('\0') == text.npos;
}

// If the host from `from` to `end` is an IPv6 address: the host with that address normalized.
std::optional<std::string> normalizedWithin(std::string_view host, std::size_t from, std::size_t end) {
    if (from >= end || !mayBeIpv6(host.substr(from, end - from)))
        return std::nullopt;
    std::string address(host.substr(from, end - from));
    if (!NormalizeIpv6Host(address))
        return std::nullopt;
    return std::string(host.substr(0, from)).append(address).append(host.substr(end));
}

// Runs the body of an Init; false when memory runs out.
template <class Body>
bool unlessExhausted(Body&& body) {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return false;
    }
}

} // namespace

std::int32_t DecodeUrl(const char* input, std::string& output) {
    return input == nullptr ? -1 : decode(input, output);
}

bool NormalizeIpv6Host(std::string& text) {
    if (!mayBeIpv6(text))
        return false;
    addrinfo hints{};
    hints.ai_family = AF_INET6;
    hints.ai_protocol = IPPROTO_TCP;
    hints.ai_flags = AI_NUMERICHOST;
    addrinfo* found = nullptr;
    const int error = getaddrinfo(text.c_str(), nullptr, &hints, &found);
    if (error == EAI_MEMORY)
        throw std::bad_alloc();
    if (error != 0 || found == nullptr)
        return false;
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owned(found, freeaddrinfo);
    if (found->ai_family != AF_INET6)
        return false;
    const auto& bytes = reinterpret_cast<const sockaddr_in6*>(found->ai_addr)->sin6_addr.s6_addr;
    std::string normal;
    for (std::size_t i = 0; i < sizeof bytes; i += 2) {
        std::array<char, 8> group{};
        std::snprintf(group.data(), group.size(), "%02x%02x:", bytes[i], bytes[i + 1]);
        normal += group.data();
    }
    normal.back() = '\n'; // part of the normal form: both sides of a comparison have it
    text = std::move(normal);
    return true;
}

bool CMatchingUrl::Init(const char* url) {
    if (url == nullptr)
        return false;
    return unlessExhausted([&] {
        const std::string_view text(url);
        const Cut cut(text);
        decode(text.substr(0, cut.slash), m_strHost);
        decode(cut.slash == text.npos ? "/" : text.substr(cut.slash), m_strPath);
        if (auto normalized = normalizedWithin(m_strHost, cut.authority, m_strHost.size()))
            m_strHost = *std::move(normalized);
        lowerAscii(m_strHost);
        lowerAscii(m_strPath);
        return true;
    });
}

CUrlWildCardMatch::Piece::Piece(std::string text) : m_text(std::move(text)) {
    if (m_text.size() <= kMostWithoutTable)
        return;
    m_borders.resize(m_text.size());
    for (std::size_t i = 1, matched = 0; i < m_text.size(); ++i) {
        while (matched > 0 && m_text[i] != m_text[matched])
            matched = m_borders[matched - 1];
        if (m_text[i] == m_text[matched])
            ++matched;
        m_borders[i] = static_cast<std::uint32_t>(matched);
    }
}

std::size_t CUrlWildCardMatch::Piece::findIn(std::string_view text, std::size_t from) const {
    return m_borders.empty() ? text.find(m_text, from) : findWithTable(text, from);
}

// Knuth, Morris, Pratt (1977). While nothing is matched, it skips to the next possible start of a match.
std::size_t CUrlWildCardMatch::Piece::findWithTable(std::string_view text, std::size_t from) const {
    std::size_t matched = 0;
    for (std::size_t i = from; i < text.size(); ++i) {
        if (matched == 0) {
            i = text.find(m_text.front(), i);
            if (i == text.npos)
                return text.npos;
        }
        while (matched > 0 && text[i] != m_text[matched])
            matched = m_borders[matched - 1];
        if (text[i] == m_text[matched])
            ++matched;
        if (matched == m_text.size())
            return i + 1 - matched;
    }
    return text.npos;
}

bool CUrlWildCardMatch::Init(std::string_view pattern) {
    m_strPrefix.clear();
    m_strSuffix.clear();
    m_lstMiddle.clear();
    m_bExact = false;
    return unlessExhausted([&] {
        // Split before decoding: an encoded star is an ordinary character.
        for (std::size_t at = 0; at < pattern.size();) {
            const std::size_t star = std::min(pattern.find('*', at), pattern.size());
            const std::string_view piece = pattern.substr(at, star - at);
            if (at == 0) {
                toComparable(piece, m_strPrefix);
                m_bExact = star == pattern.size();
            } else if (star == pattern.size()) {
                toComparable(piece, m_strSuffix);
            } else if (!piece.empty()) {
                std::string middle;
                toComparable(piece, middle);
                m_lstMiddle.emplace_back(std::move(middle));
            }
            at = star + 1;
        }
        return true;
    });
}

bool CUrlWildCardMatch::matchesBehindPrefix(std::string_view text) const {
    if (m_bExact)
        return text.size() == m_strPrefix.size();
    std::size_t at = m_strPrefix.size();
    for (const Piece& piece : m_lstMiddle) {
        const std::size_t found = piece.findIn(text, at);
        if (found == text.npos)
            return false;
        at = found + piece.size();
    }
    return text.size() - at >= m_strSuffix.size() && text.ends_with(m_strSuffix);
}

bool CMatchingUrlRecord::Init(const char* pattern) {
    if (pattern == nullptr || *pattern == '\0')
        return false;
    return unlessExhausted([&] {
        const std::string_view text(pattern);
        const Cut cut(text);
        std::string_view host = text.substr(0, cut.slash);
        std::string_view path = "/";
        std::size_t end = host.size();
        if (cut.slash != text.npos) {
            path = text.substr(cut.slash);
        } else if (host.back() == '*') {
            path = "*";
            --end;
        }
        m_isSelfContained = !mayBeIpv6(host) || host.find('%') == host.npos;
        const auto normalized = normalizedWithin(host, cut.authority, end);
        if (normalized)
            host = *normalized;
        return m_hostMatch.Init(host) && m_pathMatch.Init(path);
    });
}
