// Whether a URL matches a stored record. A record is a pattern with `*` for any text; host, with scheme and port, and
// path are matched apart, so that no star reaches across the slash between them. All is compared decoded once and with
// ASCII letters in lower case. Every Init gives false for null and when memory is exhausted; an object may be set up
// again, which keeps its memory.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// Each "%" with two hexadecimal digits behind it becomes the byte of that value, zero included. Bytes decoded; for null
// a negative number.
std::int32_t DecodeUrl(const char* input, std::string& output);

// An IPv6 address in numbers becomes the one text that all its forms share; true when it was one. Other texts stay.
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
    virtual ~CUrlWildCardMatch() = default;

    // A null or empty pattern accepts everything.
    bool Init(const char* pattern) { return Init(pattern == nullptr ? std::string_view() : std::string_view(pattern)); }
    bool Init(std::string_view pattern);
    // Linear in the text's length and the pattern's, whatever they hold.
    bool Match(std::string_view text) const;

  private:
    // A text to be found in another; a long one has a table that lets a failed comparison go on without stepping back.
    class Piece {
      public:
        explicit Piece(std::string text);
        std::size_t size() const { return m_text.size(); }
        std::size_t findIn(std::string_view text, std::size_t from) const;

      private:
        std::size_t findWithTable(std::string_view text, std::size_t from) const;

        std::string m_text;
        std::vector<std::uint32_t> m_borders; // of each prefix: its longest proper prefix that is also its end
    };

    std::string m_strPrefix;
    std::string m_strSuffix;
    std::vector<Piece> m_lstMiddle; // in this order between the two
    bool m_bExact = false;          // no star at all
};

class CMatchingUrlRecord {
  public:
    CMatchingUrlRecord() = default;
    virtual ~CMatchingUrlRecord() = default;

    // False for an empty pattern too.
    bool Init(const char* pattern);
    bool Match(const CMatchingUrl& url) const { return m_hostMatch.Match(url.host()) && m_pathMatch.Match(url.path()); }

  private:
    CUrlWildCardMatch m_hostMatch;
    CUrlWildCardMatch m_pathMatch;
};
