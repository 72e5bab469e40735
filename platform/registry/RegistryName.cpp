#include "RegistryName.h"

#include "CodePage.h"

#include <algorithm>
#include <cstring>
#include <nettle/sha2.h>

namespace wd {

namespace {

constexpr char kSeparator = '\\';
constexpr std::string_view kRootKey = "\\"; // the database takes no empty key; no other path begins with a backslash
constexpr char kLongKeyMark = '\xFF';       // begins no coded text

void appendUnit(std::string& text, char16_t unit) {
    if (unit < 0x80) {
        text += static_cast<char>(unit);
    } else if (unit < 0x800) {
        text += static_cast<char>(0xC0 | (unit >> 6));
        text += static_cast<char>(0x80 | (unit & 0x3F));
    } else {
        text += static_cast<char>(0xE0 | (unit >> 12));
        text += static_cast<char>(0x80 | ((unit >> 6) & 0x3F));
        text += static_cast<char>(0x80 | (unit & 0x3F));
    }
}

void foldAscii(std::string_view text, char* target) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        target[i] = static_cast<char>(c - (c >= 'a' && c <= 'z' ? 'a' - 'A' : 0));
    }
}

// For either form: an ASCII name has as many bytes as units.
template <typename View>
bool fitsLimits(View name) {
    return name.size() <= kMaxNameUnits;
}

std::u16string_view terminated(LPCWSTR text) {
    return text == nullptr ? std::u16string_view() : std::u16string_view(text);
}

// Walks the components of a path, whose trailing backslash was removed, until `check` refuses one.
template <typename View, typename Check>
DWORD checkComponents(View path, Check check) {
    for (;;) {
        const View component = path.substr(0, path.find(kSeparator));
        if (component.empty())
            return ERROR_BAD_PATHNAME;
        if (!check(component))
            return ERROR_INVALID_PARAMETER;
        if (component.size() == path.size())
            return ERROR_SUCCESS;
        path.remove_prefix(component.size() + 1);
    }
}

} // namespace

bool isAscii(std::string_view text) {
    constexpr std::uint64_t kHighBits = 0x8080808080808080u;
    std::uint64_t seen = 0;
    for (; text.size() >= sizeof seen; text.remove_prefix(sizeof seen)) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data(), sizeof word);
        seen |= word;
    }
    for (const char c : text)
        seen |= static_cast<unsigned char>(c);
    return (seen & kHighBits) == 0;
}

std::string codeUnits(std::u16string_view units) {
    std::string coded;
    coded.reserve(units.size());
    for (const char16_t unit : units)
        appendUnit(coded, unit);
    return coded;
}

std::string foldCoded(std::u16string_view units) {
    std::string coded;
    coded.reserve(units.size());
    for (const char16_t unit : units)
        appendUnit(coded, foldUnit(unit));
    return coded;
}

std::optional<std::u16string> unitsFromCoded(std::string_view coded) {
    std::u16string units;
    units.reserve(coded.size());
    const auto trail = [&](std::size_t at) -> unsigned {
        const unsigned byte = at < coded.size() ? static_cast<unsigned char>(coded[at]) : 0u;
        return (byte & 0xC0) == 0x80 ? byte & 0x3F : 0x100u; // 0x100: not a trail byte
    };
    for (std::size_t i = 0; i < coded.size();) {
        const unsigned lead = static_cast<unsigned char>(coded[i]);
        unsigned unit = lead;
        std::size_t length = 1;
        if (lead >= 0xE0 && lead < 0xF0) {
            const unsigned middle = trail(i + 1);
            const unsigned last = trail(i + 2);
            unit = ((lead & 0x0F) << 12) | (middle << 6) | last;
            if (((middle | last) & 0x100) != 0 || unit < 0x800)
                return std::nullopt;
            length = 3;
        } else if (lead >= 0xC0 && lead < 0xE0) {
            const unsigned last = trail(i + 1);
            unit = ((lead & 0x1F) << 6) | last;
            if ((last & 0x100) != 0 || unit < 0x80)
                return std::nullopt;
            length = 2;
        } else if (lead >= 0x80) {
            return std::nullopt;
        }
        units += static_cast<char16_t>(unit);
        i += length;
    }
    return units;
}

std::string narrowName(std::string_view coded) {
    if (isAscii(coded))
        return std::string(coded);
    return codePageFromWide(unitsFromCoded(coded).value_or(std::u16string()));
}

DWORD ValueName::set(LPCSTR name) {
    const std::string_view text = name == nullptr ? std::string_view() : std::string_view(name);
    if (!isAscii(text))
        return setUnits(wideFromCodePage(text));
    if (!fitsLimits(text))
        return ERROR_INVALID_PARAMETER;
    foldAscii(text, m_folded.extend(text.size()));
    m_written = text;
    return ERROR_SUCCESS;
}

DWORD ValueName::set(LPCWSTR name) {
    return setUnits(terminated(name));
}

DWORD ValueName::setUnits(std::u16string_view units) {
    if (!fitsLimits(units))
        return ERROR_INVALID_PARAMETER;
    m_folded.append(foldCoded(units));
    m_coded = codeUnits(units);
    m_written = m_coded;
    return ERROR_SUCCESS;
}

DWORD KeyPath::append(LPCSTR subKey) {
    if (subKey == nullptr || *subKey == '\0')
        return ERROR_SUCCESS;
    std::string_view text(subKey);
    if (!isAscii(text))
        return appendUnits(wideFromCodePage(text));
    if (text.size() > 1 && text.back() == kSeparator)
        text.remove_suffix(1);
    if (const DWORD error = checkComponents(text, fitsLimits<std::string_view>))
        return error;
    if (m_folded.size() + text.size() >= kMaxPathBytes)
        return ERROR_INVALID_PARAMETER;
    if (m_folded.size() != 0)
        *m_folded.extend(1) = kSeparator;
    foldAscii(text, m_folded.extend(text.size()));
    m_written = text;
    return ERROR_SUCCESS;
}

DWORD KeyPath::append(LPCWSTR subKey) {
    const std::u16string_view units = terminated(subKey);
    return units.empty() ? ERROR_SUCCESS : appendUnits(units);
}

DWORD KeyPath::appendUnits(std::u16string_view units) {
    if (units.size() > 1 && units.back() == kSeparator)
        units.remove_suffix(1);
    if (const DWORD error = checkComponents(units, fitsLimits<std::u16string_view>))
        return error;
    const std::string folded = foldCoded(units);
    if (m_folded.size() + folded.size() >= kMaxPathBytes)
        return ERROR_INVALID_PARAMETER;
    if (m_folded.size() != 0)
        *m_folded.extend(1) = kSeparator;
    m_folded.append(folded);
    m_coded = codeUnits(units);
    m_written = m_coded;
    return ERROR_SUCCESS;
}

std::string_view takeComponent(std::string_view& path) {
    const std::string_view component = path.substr(0, path.find(kSeparator));
    path.remove_prefix(std::min(component.size() + 1, path.size()));
    return component;
}

std::string_view parentPath(std::string_view folded) {
    const auto separator = folded.rfind(kSeparator);
    return separator == std::string_view::npos ? std::string_view() : folded.substr(0, separator);
}

std::string_view lastComponent(std::string_view folded) {
    const auto separator = folded.rfind(kSeparator);
    return separator == std::string_view::npos ? folded : folded.substr(separator + 1);
}

RecordKey::RecordKey(std::string_view foldedPath) {
    if (foldedPath.empty())
        m_view = kRootKey;
    else if (foldedPath.size() <= kMaxBytes)
        m_view = foldedPath;
    else
        makeLong(foldedPath);
}

void RecordKey::makeLong(std::string_view foldedPath) {
    m_long[0] = kLongKeyMark;
    foldedPath.copy(m_long.data() + 1, kPrefixBytes);
    sha256_ctx digest;
    sha256_init(&digest);
    sha256_update(&digest, foldedPath.size(), reinterpret_cast<const std::uint8_t*>(foldedPath.data()));
    sha256_digest(&digest, kDigestBytes, reinterpret_cast<std::uint8_t*>(m_long.data() + 1 + kPrefixBytes));
    m_view = {m_long.data(), m_long.size()};
}

} // namespace wd
