#include "Sid.h"

#include <charconv>
#include <cstring>
#include <strings.h>

namespace wd {

namespace {

constexpr std::uint64_t kMostDecimalAuthority = 0xFFFFFFFF;
constexpr unsigned kAuthorityBits = 48;

struct Alias {
    std::string_view letters;
    Sid sid;
};

constexpr DWORD kBuiltin = 32;
constexpr DWORD kLabel = 16;

constexpr Alias kAliases[] = {
    {"WD", kEveryone},
    {"CO", {3, {0}}},
    {"CG", {3, {1}}},
    {"OW", kOwnerRights},
    {"NU", {5, {2}}},
    {"IU", {5, {4}}},
    {"SU", {5, {6}}},
    {"AN", {5, {7}}},
    {"ED", {5, {9}}},
    {"PS", {5, {10}}},
    {"AU", kAuthenticatedUsers},
    {"RC", {5, {12}}},
    {"SY", {5, {18}}},
    {"LS", {5, {19}}},
    {"NS", {5, {20}}},
    {"WR", {5, {33}}},
    {"BA", {5, {kBuiltin, 544}}},
    {"BU", {5, {kBuiltin, 545}}},
    {"BG", {5, {kBuiltin, 546}}},
    {"PU", {5, {kBuiltin, 547}}},
    {"AO", {5, {kBuiltin, 548}}},
    {"SO", {5, {kBuiltin, 549}}},
    {"PO", {5, {kBuiltin, 550}}},
    {"BO", {5, {kBuiltin, 551}}},
    {"RE", {5, {kBuiltin, 552}}},
    {"RU", {5, {kBuiltin, 554}}},
    {"RD", {5, {kBuiltin, 555}}},
    {"NO", {5, {kBuiltin, 556}}},
    {"AC", kAllApplicationPackages},
    {"LW", {kLabel, {4096}}},
    {"ME", {kLabel, {8192}}},
    {"MP", {kLabel, {8448}}},
    {"HI", {kLabel, {12288}}},
    {"SI", {kLabel, {16384}}},
};

template <class Number>
std::optional<Number> parseNumber(std::string_view text) {
    const bool isHex = text.starts_with("0x") || text.starts_with("0X");
    if (isHex)
        text.remove_prefix(2);
    Number number = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number, isHex ? 16 : 10);
    return result.ec == std::errc() && result.ptr == end ? std::optional(number) : std::nullopt;
}

// Takes the field before the next '-' off `text`, and the '-' with it.
std::string_view takeField(std::string_view& text) {
    const std::size_t end = text.find('-');
    const std::string_view field = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return field;
}

} // namespace

std::optional<Sid> Sid::fromBytes(std::span<const BYTE> bytes) {
    if (bytes.size() < kHeadBytes || bytes[0] != SID_REVISION)
        return std::nullopt;
    Sid sid;
    sid.m_count = bytes[1];
    if (sid.m_count == 0 || sid.m_count > SID_MAX_SUB_AUTHORITIES || bytes.size() < sid.size())
        return std::nullopt;
    for (const BYTE byte : bytes.subspan(2, kHeadBytes - 2))
        sid.m_authority = sid.m_authority << 8 | byte;
    std::memcpy(sid.m_parts.data(), bytes.data() + kHeadBytes, sid.m_count * sizeof(DWORD));
    return sid;
}

std::optional<Sid> Sid::fromPointer(const void* sid) {
    const auto* const bytes = static_cast<const BYTE*>(sid);
    if (bytes == nullptr || bytes[0] != SID_REVISION)
        return std::nullopt;
    return fromBytes({bytes, kHeadBytes + bytes[1] * sizeof(DWORD)});
}

std::optional<Sid> Sid::fromText(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    for (const Alias& alias : kAliases)
        if (text.size() == alias.letters.size() && strncasecmp(text.data(), alias.letters.data(), text.size()) == 0)
            return alias.sid;
    const std::string_view letter = takeField(text);
    // A '-' at the end would need one more number.
    if ((letter != "S" && letter != "s") || parseNumber<DWORD>(takeField(text)) != SID_REVISION || text.ends_with('-'))
        return std::nullopt;
    const auto authority = parseNumber<std::uint64_t>(takeField(text));
    if (!authority || *authority >> kAuthorityBits != 0 || text.empty())
        return std::nullopt;
    Sid sid;
    sid.m_authority = *authority;
    while (!text.empty()) {
        const auto part = parseNumber<DWORD>(takeField(text));
        if (!part || sid.m_count == SID_MAX_SUB_AUTHORITIES)
            return std::nullopt;
        sid.m_parts[sid.m_count++] = *part;
    }
    return sid;
}

std::string Sid::text() const {
    std::array<char, 16> number{};
    const bool isDecimal = m_authority <= kMostDecimalAuthority;
    const auto end = std::to_chars(number.data(), number.data() + number.size(), m_authority, isDecimal ? 10 : 16).ptr;
    std::string text = isDecimal ? "S-1-" : "S-1-0x";
    text.append(number.data(), end);
    for (std::size_t index = 0; index < m_count; ++index)
        text.append("-").append(std::to_string(m_parts[index]));
    return text;
}

std::string Sid::sddl() const {
    for (const Alias& alias : kAliases)
        if (alias.sid == *this)
            return std::string(alias.letters);
    return text();
}

void Sid::appendTo(std::vector<BYTE>& bytes) const {
    bytes.push_back(SID_REVISION);
    bytes.push_back(m_count);
    for (unsigned shift = kAuthorityBits; shift > 0; shift -= 8)
        bytes.push_back(static_cast<BYTE>(m_authority >> (shift - 8)));
    const auto* const parts = reinterpret_cast<const BYTE*>(m_parts.data());
    bytes.insert(bytes.end(), parts, parts + m_count * sizeof(DWORD));
}

} // namespace wd
