#include "Utf.h"

#include "ToolError.h"

#include <cstdint>

namespace wdlt {
namespace {

struct Decoded {
    char32_t point;
    std::size_t length;
};

/* Strict (no overlong forms, nothing above U+10FFFF), but surrogate halves are accepted. */
std::optional<Decoded> decodeOne(std::string_view text) {
    const auto byteAt = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
    const std::uint8_t lead = byteAt(0);
    if (lead < 0x80)
        return Decoded{lead, 1};

    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (lead < 0xC2 || lead > 0xF4 || text.size() < length)
        return std::nullopt;

    char32_t point = lead & (0xFFu >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        if ((byteAt(i) & 0xC0) != 0x80)
            return std::nullopt;
        point = (point << 6) | (byteAt(i) & 0x3Fu);
    }
    if (point < kSmallest[length] || point > 0x10FFFF)
        return std::nullopt;
    return Decoded{point, length};
}

void appendUtf8(std::string& out, char32_t point) {
    const auto push = [&](char32_t byte) { out.push_back(static_cast<char>(byte)); };
    if (point < 0x80) {
        push(point);
    } else if (point < 0x800) {
        push(0xC0 | (point >> 6));
        push(0x80 | (point & 0x3F));
    } else if (point < 0x10000) {
        push(0xE0 | (point >> 12));
        push(0x80 | ((point >> 6) & 0x3F));
        push(0x80 | (point & 0x3F));
    } else {
        push(0xF0 | (point >> 18));
        push(0x80 | ((point >> 12) & 0x3F));
        push(0x80 | ((point >> 6) & 0x3F));
        push(0x80 | (point & 0x3F));
    }
}

} // namespace

std::optional<std::u16string> utf16FromUtf8(std::string_view text, std::size_t* badByte) {
    std::u16string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        const auto decoded = decodeOne(text.substr(i));
        // A surrogate pair spelled as two halves is invalid: it would be written back as one character.
        const bool splitPair = decoded && decoded->length == 3 && !out.empty() && isHighSurrogate(out.back()) &&
                               isLowSurrogate(static_cast<char16_t>(decoded->point));
        if (!decoded || splitPair) {
            if (badByte != nullptr)
                *badByte = i;
            return std::nullopt;
        }
        if (decoded->point < 0x10000) {
            out.push_back(static_cast<char16_t>(decoded->point));
        } else {
            const char32_t offset = decoded->point - 0x10000;
            out.push_back(static_cast<char16_t>(0xD800 + (offset >> 10)));
            out.push_back(static_cast<char16_t>(0xDC00 + (offset & 0x3FF)));
        }
        i += decoded->length;
    }
    return out;
}

std::string utf8FromUtf16(std::u16string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char16_t unit = text[i];
        if (isHighSurrogate(unit) && i + 1 < text.size() && isLowSurrogate(text[i + 1])) {
            ++i;
            appendUtf8(out, 0x10000 + ((unit - 0xD800u) << 10) + (text[i] - 0xDC00u));
        } else {
            appendUtf8(out, unit);
        }
    }
    return out;
}

std::u16string utf16FromArgument(std::string_view text) {
    auto wide = utf16FromUtf8(text);
    if (!wide)
        throw ToolError(ExitStatus::Usage, "an argument isn't valid UTF-8");
    return *std::move(wide);
}

bool hasLoneSurrogate(std::u16string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (isHighSurrogate(text[i]) && i + 1 < text.size() && isLowSurrogate(text[i + 1]))
            ++i;
        else if (isHighSurrogate(text[i]) || isLowSurrogate(text[i]))
            return true;
    }
    return false;
}

} // namespace wdlt
