// Security identifiers: the bytes that a descriptor holds, the text "S-1-5-32-544", and the two-letter SDDL aliases of
// the well-known ones. Plain values; no lock is needed.
#pragma once

#include <platform/security.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace wd {

class Sid {
  public:
    static constexpr std::size_t kHeadBytes = 8;

    constexpr Sid(std::uint64_t authority, std::initializer_list<DWORD> parts)
        : m_authority(authority), m_count(static_cast<BYTE>(parts.size())) {
        std::copy(parts.begin(), parts.end(), m_parts.begin());
    }
    // The SID at the start of `bytes`; what follows it is ignored.
    static std::optional<Sid> fromBytes(std::span<const BYTE> bytes);
    // A caller's SID, which is as long as its own count says.
    static std::optional<Sid> fromPointer(const void* sid);
    // "S-1-…", numbers decimal or 0x…, or an SDDL alias; letters in either case, blanks before it are skipped.
    static std::optional<Sid> fromText(std::string_view text);

    std::string text() const;
    // The SDDL alias if it has one, else the text.
    std::string sddl() const;
    std::size_t size() const { return kHeadBytes + m_count * sizeof(DWORD); }
    void appendTo(std::vector<BYTE>& bytes) const;

    friend bool operator==(const Sid&, const Sid&) = default;

  private:
    Sid() = default;

    std::uint64_t m_authority = 0; // 48 bits
    BYTE m_count = 0;
    std::array<DWORD, SID_MAX_SUB_AUTHORITIES> m_parts{}; // 0 from m_count on
};

inline constexpr Sid kEveryone{1, {0}};
inline constexpr Sid kAuthenticatedUsers{5, {11}};
inline constexpr Sid kAllApplicationPackages{15, {2, 1}};
inline constexpr Sid kOwnerRights{3, {4}};

} // namespace wd
