// Matches a URL against a stored record, which is a pattern with `*` for any text. Host (with scheme and port) and path
// are matched separately, so that no star reaches across the slash between them. Both sides are decoded once, and ASCII
// letters compare in lower case. Every Init returns false when memory is exhausted and, unless it says otherwise, for
// null; an object may be initialized again, which reuses its memory.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// Replaces each "%" and two hexadecimal digits by the byte of that value, zero included. How many it replaced; negative
// for null.
std::int32_t DecodeUrl(const char* input, std::string& output);

// Replaces a numeric IPv6 address by the one form that all its spellings share. False for any other text, which stays.
bool NormalizeIpv6Host(std::string& text);

class CMatchingUrl {
  public:
    CMatchingUrl() = default;
    virtual ~CMatchingUrl() = default;

    bool Init(const char* url);
    const std::string& host() const { return m_strHost; }
    const std::string& path() const { return m_strPath; }

  private:
    std::string m_strHost; // up to the path, scheme and port included
    std::string m_strPath; // from the slash on, "/" at least
};

class CUrlWildCardMatch {
  public:
    CUrlWildCardMatch() = default;
    CUrlWildCardMatch(CUrlWildCardMatch&&) = default;
    CUrlWildCardMatch& operator=(CUrlWildCardMatch&&) = default;
    virtual ~CUrlWildCardMatch() = default;

    // A null or empty pattern accepts everything.
    bool Init(const char* pattern) { return Init(pattern == nullptr ? std::string_view() : std::string_view(pattern)); }
    bool Init(std::string_view pattern);
    // Takes time linear in the lengths of text and pattern, whatever they contain.
    bool Match(std::string_view text) const { return text.starts_with(m_strPrefix) && matchesBehindPrefix(text); }

  private:
    bool matchesBehindPrefix(std::string_view text) const;

    // A substring to search for. A long one has a table that lets the search go on after a mismatch without stepping
    // back.
    class Piece {
      public:
        explicit Piece(std::string text);
        std::size_t size() const { return m_text.size(); }
        std::size_t findIn(std::string_view text, std::size_t from) const;

      private:
        std::size_t findWithTable(std::string_view text, std::size_t from) const;

        std::string m_text;
        std::vector<std::uint32_t> m_borders; // length of each prefix's longest border (proper prefix and suffix)
    };

    std::string m_strPrefix;
    std::string m_strSuffix;
    std::vector<Piece> m_lstMiddle; // to be found in this order between the two
    bool m_bExact = false;          // the pattern has no star
};

class CMatchingUrlRecord {
  public:
    CMatchingUrlRecord() = default;
    CMatchingUrlRecord(CMatchingUrlRecord&&) = default;
    CMatchingUrlRecord& operator=(CMatchingUrlRecord&&) = default;
    virtual ~CMatchingUrlRecord() = default;

    // False for an empty pattern too.
    bool Init(const char* pattern);
    // Whether the pattern alone says what matches. Not so for an IPv6 address with a zone, which must be an interface's.
    bool isSelfContained() const { return m_isSelfContained; }
    bool Match(const CMatchingUrl& url) const { return m_hostMatch.Match(url.host()) && m_pathMatch.Match(url.path()); }

  private:
    CUrlWildCardMatch m_hostMatch;
    CUrlWildCardMatch m_pathMatch;
    bool m_isSelfContained = true;
};
