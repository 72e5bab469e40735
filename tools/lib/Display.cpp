#include "Display.h"

#include "Utf.h"
#include "Wide.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <platform/win32.h>

namespace wdlt {
namespace {

constexpr std::size_t kBytesALine = 16;

void appendDumpLine(std::string& out, std::size_t offset, std::span<const BYTE> line) {
    out += fmt::format("{:08x} ", offset);
    for (std::size_t i = 0; i < kBytesALine; ++i) {
        if (i == kBytesALine / 2)
            out.push_back(' ');
        out += i < line.size() ? fmt::format(" {:02x}", line[i]) : "   ";
    }
    out += "  |";
    for (const BYTE byte : line)
        out.push_back(byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '.');
    out += "|\n";
}

/* Bytes of a code page; what is invalid there becomes U+FFFD. */
std::u16string utf16From(UINT codePage, std::string_view text, bool* isValid) {
    std::u16string wide(text.size(), u'\0');
    const auto convert = [&](DWORD flags) {
        return text.empty() ? 0
                            : MultiByteToWideChar(codePage, flags, text.data(), static_cast<int>(text.size()),
                                                  wdlt::wide(wide), static_cast<int>(wide.size()));
    };
    if (isValid != nullptr)
        *isValid = text.empty() || convert(MB_ERR_INVALID_CHARS) != 0;
    wide.resize(static_cast<std::size_t>(convert(0)));
    return wide;
}

} // namespace

std::string displayText(std::u16string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::u16string_view rest = text.substr(i);
        const char16_t unit = rest[0];
        if (unit < u' ' || (unit >= 0x7F && unit < 0xA0)) {
            out += fmt::format("\\x{:02X}", +unit);
        } else if (rest.size() > 1 && isHighSurrogate(unit) && isLowSurrogate(rest[1])) {
            out += utf8FromUtf16(rest.substr(0, 2));
            ++i;
        } else if (isHighSurrogate(unit) || isLowSurrogate(unit)) {
            out += fmt::format("\\u{:04X}", +unit);
        } else {
            out += utf8FromUtf16(rest.substr(0, 1));
        }
    }
    return out;
}

std::string displayNarrow(std::string_view text) {
    return displayText(utf16FromNarrow(text));
}

std::string displayFile(std::string_view path) {
    return displayText(utf16From(CP_UTF8, path, nullptr));
}

std::string displayPath(std::string path) {
    const bool hasSlash = path.starts_with('/');
    std::ranges::replace(path, hasSlash ? '\\' : '/', hasSlash ? '/' : '\\');
    return path;
}

std::string hexDump(std::span<const BYTE> bytes) {
    std::string out;
    std::span<const BYTE> previous;
    bool isRepeating = false;
    for (std::size_t start = 0; start < bytes.size(); start += kBytesALine) {
        const auto line = bytes.subspan(start, std::min(kBytesALine, bytes.size() - start));
        const bool isSame = std::equal(line.begin(), line.end(), previous.begin(), previous.end());
        if (!isSame)
            appendDumpLine(out, start, line);
        else if (!isRepeating)
            out += "*\n";
        isRepeating = isSame;
        previous = line;
    }
    return out + fmt::format("{:08x}\n", bytes.size());
}

std::string hexDigits(std::span<const BYTE> bytes) {
    std::string out;
    out.reserve(bytes.size() * 2);
    for (const BYTE byte : bytes)
        fmt::format_to(std::back_inserter(out), "{:02x}", byte);
    return out;
}

std::u16string utf16FromNarrow(std::string_view text, bool* isValid) {
    return utf16From(CP_ACP, text, isValid);
}

std::string utf8FromNarrow(std::string_view text) {
    return utf8FromUtf16(utf16FromNarrow(text));
}

bool narrowFromUtf8(std::string_view text, std::string& narrow) {
    const auto wide = utf16FromUtf8(text);
    if (!wide)
        return false;
    // No code page needs more than four bytes for one UTF-16 unit.
    narrow.assign(wide->size() * 4, '\0');
    const int length = wide->empty()
                           ? 0
                           : WideCharToMultiByte(CP_ACP, 0, wdlt::wide(*wide), static_cast<int>(wide->size()),
                                                 narrow.data(), static_cast<int>(narrow.size()), nullptr, nullptr);
    narrow.resize(static_cast<std::size_t>(length));
    return utf16FromNarrow(narrow) == *wide;
}

bool isCodePageText(std::string_view bytes) {
    std::string again;
    return narrowFromUtf8(utf8FromNarrow(bytes), again) && again == bytes;
}

} // namespace wdlt
