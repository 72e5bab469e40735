#include "CodePage.h"

#include "CodePageTable.h"
#include "Home.h"

#include <platform/text.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

namespace wd {
namespace {

constexpr char16_t kEscapeBase = 0xDC00; // + a byte of 0x80 or above
constexpr char16_t kReplacement = 0xFFFD;

// Null is UTF-8.
const CodePageTable* tableFor(UINT number) {
    return CodePageTable::of(number == CP_ACP ? home().codePage() : number);
}

// Writes what fits, counts everything. A character is written whole, or it and what follows not at all.
template <class Unit>
class Sink {
  public:
    explicit Sink(std::span<Unit> target) : m_target(target) {}

    void put(Unit unit) { put(std::array{unit}); }
    template <std::size_t Count>
    void put(const std::array<Unit, Count>& character, std::size_t count = Count) {
        if (m_length + count <= m_target.size())
            std::copy_n(character.begin(), count, m_target.begin() + static_cast<std::ptrdiff_t>(m_length));
        else
            m_target = m_target.first(std::min(m_length, m_target.size()));
        m_length += count;
    }
    template <class Other>
    void putAscii(const Other* text, std::size_t count) {
        if (m_length < m_target.size()) {
            const std::size_t room = std::min(count, m_target.size() - m_length);
            for (std::size_t i = 0; i < room; ++i)
                m_target[m_length + i] = static_cast<Unit>(text[i]);
        }
        m_length += count;
    }
    std::size_t length() const { return m_length; }

  private:
    std::span<Unit> m_target;
    std::size_t m_length = 0;
};

std::size_t asciiPrefix(std::string_view text) {
    constexpr std::uint64_t kHighBits = 0x8080808080808080u;
    std::size_t length = 0;
    for (std::uint64_t word = 0; text.size() - length >= sizeof word; length += sizeof word) {
        std::memcpy(&word, text.data() + length, sizeof word);
        if ((word & kHighBits) != 0)
            break;
    }
    while (length < text.size() && static_cast<BYTE>(text[length]) < kFirstHighByte)
        ++length;
    return length;
}

std::size_t asciiPrefix(std::u16string_view text) {
    std::size_t length = 0;
    while (length < text.size() && text[length] < kFirstHighByte)
        ++length;
    return length;
}

// The non-ASCII character at the start of a text: its bytes, and its code point, negative when they are invalid. A lead
// byte takes the next byte along, whatever that is, as in CharNextA; but not the end of the text.
struct Decoded {
    std::size_t bytes;
    UChar32 character;
};

Decoded decodeUtf8(std::string_view text) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    std::size_t length = 0;
    UChar32 character = 0;
    U8_NEXT(bytes, length, text.size(), character);
    return {length, character};
}

Decoded decodeTable(const CodePageTable& table, std::string_view text) {
    const auto lead = static_cast<BYTE>(text[0]);
    const bool isPair = table.isLeadByte(lead) && text.size() > 1 && text[1] != '\0';
    const char16_t unit = isPair ? table.pair(lead, static_cast<BYTE>(text[1])) : table.single(lead);
    return {isPair ? std::size_t{2} : std::size_t{1}, unit == kNoUnit ? -1 : UChar32{unit}};
}

void putCharacter(Sink<char16_t>& sink, UChar32 character) {
    if (U_IS_BMP(character)) {
        sink.put(static_cast<char16_t>(character));
    } else {
        sink.put(std::array{static_cast<char16_t>(U16_LEAD(character)), static_cast<char16_t>(U16_TRAIL(character))});
    }
}

void putInvalid(Sink<char16_t>& sink, std::string_view bytes, InvalidBytes invalid) {
    if (invalid == InvalidBytes::Replace)
        return sink.put(kReplacement);
    for (const char byte : bytes) {
        const bool isPlain = static_cast<BYTE>(byte) < kFirstHighByte && !isSeparator(byte);
        sink.put(static_cast<char16_t>((isPlain ? 0 : kEscapeBase) + static_cast<BYTE>(byte)));
    }
}

void putUtf8(Sink<char>& sink, UChar32 character) {
    std::array<std::uint8_t, U8_MAX_LENGTH> bytes{};
    std::size_t length = 0;
    U8_APPEND_UNSAFE(bytes.data(), length, character);
    sink.put(std::bit_cast<std::array<char, U8_MAX_LENGTH>>(bytes), length);
}

bool isEscape(char16_t unit) {
    return unit >= kEscapeBase + kFirstHighByte && unit <= kEscapeBase + 0xFF;
}

// Whether a text begins with the escapes of a lead byte and of the byte that it takes along. A separator is escaped
// only there: by itself it would become one where none was.
bool isEscapedPair(const CodePageTable& table, std::u16string_view text) {
    return text.size() > 1 && isEscape(text[0]) && table.isLeadByte(static_cast<BYTE>(text[0] - kEscapeBase)) &&
           (isEscape(text[1]) || text[1] == kEscapeBase + '\\' || text[1] == kEscapeBase + '/');
}

// Encodes one non-ASCII character; returns its units. Sets `clean` to false when it writes the substitute.
std::size_t encodeOne(const CodePageTable* table, std::u16string_view text, Sink<char>& sink, const char* substitute,
                      bool& clean) {
    const char16_t unit = text[0];
    if (table == nullptr && !U16_IS_SURROGATE(unit)) {
        putUtf8(sink, unit);
        return 1;
    }
    if (table == nullptr && U16_IS_LEAD(unit) && text.size() > 1 && U16_IS_TRAIL(text[1])) {
        putUtf8(sink, U16_GET_SUPPLEMENTARY(unit, text[1]));
        return 2;
    }
    if (table != nullptr && isEscapedPair(*table, text)) {
        sink.put(std::array{static_cast<char>(unit - kEscapeBase), static_cast<char>(text[1] - kEscapeBase)});
        return 2;
    }
    if (isEscape(unit)) {
        sink.put(static_cast<char>(unit - kEscapeBase));
        return 1;
    }
    if (const std::uint16_t code = table == nullptr ? std::uint16_t{0} : table->narrow(unit)) {
        if (code > 0xFF)
            sink.put(std::array{static_cast<char>(code >> 8), static_cast<char>(code & 0xFF)});
        else
            sink.put(static_cast<char>(code));
        return 1;
    }
    clean = false;
    if (substitute != nullptr)
        sink.putAscii(substitute, std::strlen(substitute));
    else if (table == nullptr)
        putUtf8(sink, kReplacement);
    else
        sink.put('?');
    return 1;
}

} // namespace

Conversion convertToWide(UINT number, std::string_view text, std::span<char16_t> target, InvalidBytes invalid) {
    Sink<char16_t> sink(target);
    Conversion result;
    const std::size_t ascii = asciiPrefix(text);
    sink.putAscii(text.data(), ascii);
    text.remove_prefix(ascii);
    const CodePageTable* table = text.empty() ? nullptr : tableFor(number);
    while (!text.empty()) {
        const Decoded decoded = table == nullptr ? decodeUtf8(text) : decodeTable(*table, text);
        if (decoded.character >= 0) {
            putCharacter(sink, decoded.character);
        } else {
            putInvalid(sink, text.substr(0, decoded.bytes), invalid);
            result.clean = false;
        }
        text.remove_prefix(decoded.bytes);
        const std::size_t more = asciiPrefix(text);
        sink.putAscii(text.data(), more);
        text.remove_prefix(more);
    }
    result.length = sink.length();
    return result;
}

Conversion convertToNarrow(UINT number, std::u16string_view text, std::span<char> target, const char* substitute) {
    Sink<char> sink(target);
    Conversion result;
    const std::size_t ascii = asciiPrefix(text);
    sink.putAscii(text.data(), ascii);
    text.remove_prefix(ascii);
    const CodePageTable* table = text.empty() ? nullptr : tableFor(number);
    while (!text.empty()) {
        text.remove_prefix(encodeOne(table, text, sink, substitute, result.clean));
        const std::size_t more = asciiPrefix(text);
        sink.putAscii(text.data(), more);
        text.remove_prefix(more);
    }
    result.length = sink.length();
    return result;
}

std::size_t wideFromCodePage(std::string_view text, char16_t* target) {
    return convertToWide(CP_ACP, text, {target, text.size()}, InvalidBytes::Escape).length;
}

std::size_t codePageFromWide(std::u16string_view text, char* target) {
    return convertToNarrow(CP_ACP, text, {target, text.size() * kMaxBytesPerUnit}, nullptr).length;
}

std::u16string wideFromCodePage(std::string_view text) {
    std::u16string wide(text.size(), u'\0');
    wide.resize(wideFromCodePage(text, wide.data()));
    return wide;
}

std::string codePageFromWide(std::u16string_view text) {
    std::string narrow(text.size() * kMaxBytesPerUnit, '\0');
    narrow.resize(codePageFromWide(text, narrow.data()));
    return narrow;
}

char16_t foldUnitBeyondAscii(char16_t unit) {
    return kUpperCase[unit];
}

bool isLeadByte(BYTE byte) {
    if (byte < kFirstHighByte)
        return false;
    const UINT number = home().codePage();
    const CodePageName* page = number == CP_UTF8 ? nullptr : findCodePage(number);
    return page != nullptr && page->isLead(byte);
}

bool endsInSeparator(std::string_view path) {
    bool separator = false;
    for (std::size_t i = 0; i < path.size(); ++i) {
        separator = isSeparator(path[i]);
        if (isLeadByte(static_cast<BYTE>(path[i])))
            ++i;
    }
    return separator;
}

bool isKnownCodePage(UINT number) {
    return number == CP_UTF8 || findCodePage(number) != nullptr;
}

} // namespace wd
