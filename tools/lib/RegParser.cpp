#include "Display.h"
#include "KeyPath.h"
#include "RegText.h"
#include "Utf.h"

#include <fmt/format.h>
#include <optional>

namespace wdlt {
namespace {

constexpr std::u16string_view kHeader = u"Windows Registry Editor Version 5.00";
constexpr std::u16string_view kNarrowHeader = u"REGEDIT4";
constexpr std::string_view kNarrowBytes = "REGEDIT4";
constexpr const char* kNoHeader = "the first line must be \"Windows Registry Editor Version 5.00\" or \"REGEDIT4\"";

struct Place {
    std::size_t line = 1;
    std::size_t column = 1;
};

/* The line and column just after `text`. */
Place placeBehind(std::u16string_view text) {
    Place place;
    for (const char16_t unit : text) {
        if (unit == u'\n') {
            ++place.line;
            place.column = 1;
        } else if (!isLowSurrogate(unit)) {
            ++place.column;
        }
    }
    return place;
}

[[noreturn]] void failBehind(std::u16string_view text, const std::string& message) {
    const Place place = placeBehind(text);
    throw RegSyntaxError(place.line, place.column, message);
}

std::u16string decodeUtf16(std::string_view bytes, std::size_t lowAt = 0) {
    std::u16string text;
    text.reserve(bytes.size() / 2);
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const auto low = static_cast<unsigned char>(bytes[i + lowAt]);
        const auto high = static_cast<unsigned char>(bytes[i + 1 - lowAt]);
        text.push_back(static_cast<char16_t>(low | (high << 8)));
    }
    if (bytes.size() % 2 != 0)
        failBehind(text, "the file ends in the middle of a character");
    return text;
}

std::u16string decodeUtf8(std::string_view bytes) {
    std::size_t badByte = 0;
    if (auto text = utf16FromUtf8(bytes, &badByte))
        return *std::move(text);
    failBehind(utf16FromUtf8(bytes.substr(0, badByte)).value_or(u""), "not valid UTF-8");
}

std::u16string decodeNarrow(std::string_view bytes) {
    bool isValid = true;
    std::u16string text = utf16FromNarrow(bytes, &isValid);
    if (!isValid)
        failBehind(text.substr(0, text.find(u'\uFFFD')), "not a character of the system code page");
    return text;
}

/* Without a mark, text whose first character is of the Latin alphabet: no UTF-8 text has a zero. */
bool hasZeroAt(std::size_t place, std::string_view bytes) {
    return bytes.size() >= 2 && bytes[place] == '\0' && bytes[1 - place] != '\0';
}

} // namespace

std::u16string decodeText(std::string_view bytes) {
    if (bytes.starts_with("\xFF\xFE"))
        return decodeUtf16(bytes.substr(2));
    if (bytes.starts_with("\xFE\xFF"))
        return decodeUtf16(bytes.substr(2), 1);
    if (bytes.starts_with("\xEF\xBB\xBF"))
        bytes.remove_prefix(3);
    return decodeUtf8(bytes);
}

namespace {

bool isHexDigit(char16_t unit) {
    return (unit >= u'0' && unit <= u'9') || (unit >= u'a' && unit <= u'f') || (unit >= u'A' && unit <= u'F');
}

DWORD hexDigit(char16_t unit) {
    return unit <= u'9' ? unit - u'0' : (unit | 0x20u) - u'a' + 10u;
}

/* Reads the text once from start to end. m_position never passes its end, where at() returns 0; a zero in the text
   itself has been refused before. */
class Parser {
  public:
    explicit Parser(std::u16string_view text) : m_text(text) {}

    RegDocument parse() {
        refuseControlCharacters();
        parseHeader();
        while (m_position < m_text.size())
            parseLine();
        return std::move(m_document);
    }

  private:
    [[noreturn]] void fail(std::size_t position, const std::string& message) const {
        failBehind(m_text.substr(0, position), message);
    }
    [[noreturn]] void failHere(const std::string& message) const { fail(m_position, message); }

    char16_t at(std::size_t position) const { return position < m_text.size() ? m_text[position] : u'\0'; }
    char16_t here() const { return at(m_position); }
    bool isLineEnd(std::size_t position) const {
        return position >= m_text.size() || m_text[position] == u'\n' ||
               (m_text[position] == u'\r' && at(position + 1) == u'\n');
    }
    bool take(char16_t unit) {
        if (here() != unit || m_position >= m_text.size())
            return false;
        ++m_position;
        return true;
    }
    bool takeWord(std::u16string_view word) {
        if (!equalsIgnoringCase(m_text.substr(m_position, word.size()), word))
            return false;
        m_position += word.size();
        return true;
    }
    void skipBlanks() {
        while (here() == u' ' || here() == u'\t')
            ++m_position;
    }
    std::size_t findLineEnd() const {
        std::size_t position = m_position;
        while (!isLineEnd(position))
            ++position;
        return position;
    }
    /* A backslash at the end of a line continues it on the next one. */
    void skipBlanksAndContinuation() {
        skipBlanks();
        while (here() == u'\\') {
            std::size_t end = m_position + 1;
            while (at(end) == u' ' || at(end) == u'\t')
                ++end;
            if (!isLineEnd(end) || end >= m_text.size())
                failHere("a \\ here must be the last of its line and have a line behind it");
            m_position = end + (at(end) == u'\r' ? 2 : 1);
            skipBlanks();
        }
    }

    void refuseControlCharacters() const {
        for (std::size_t i = 0; i < m_text.size(); ++i) {
            const char16_t unit = m_text[i];
            const bool isAllowed = unit >= u' ' || unit == u'\t' || isLineEnd(i);
            if (!isAllowed)
                fail(i, fmt::format("a control character (0x{:02x}) has no place in the text", +unit));
        }
    }

    void parseHeader() {
        m_isNarrow = m_text.starts_with(kNarrowHeader);
        if (!m_isNarrow && !m_text.starts_with(kHeader))
            failHere(kNoHeader);
        m_position = (m_isNarrow ? kNarrowHeader : kHeader).size();
        skipBlanks();
        finishLine(kNoHeader);
    }

    void parseLine() {
        skipBlanks();
        if (here() == u'[') {
            parseKey();
            finishLine("nothing but a comment may stand behind a key");
        } else if (here() == u'"' || here() == u'@') {
            parseValue();
            finishLine("nothing but a comment may stand behind a value");
        } else {
            finishLine("a key, a value or a comment expected");
        }
    }

    /* Only blanks and a comment may follow. */
    void finishLine(const char* message) {
        skipBlanks();
        if (here() == u';')
            m_position = findLineEnd();
        if (!isLineEnd(m_position))
            failHere(message);
        if (m_position < m_text.size())
            m_position += here() == u'\r' ? 2 : 1;
    }

    void parseKey() {
        const std::size_t open = m_position++;
        RegKey key;
        key.isDeletion = take(u'-');
        // A name may contain brackets: the last one on the line ends it.
        const std::size_t lineEnd = findLineEnd();
        const std::u16string_view rest = m_text.substr(m_position, lineEnd - m_position);
        const std::size_t length = rest.rfind(u']');
        if (length == std::u16string_view::npos)
            fail(open, "the key isn't closed by a ]");
        key.path = parsePath(rest.substr(0, length), m_position);
        if (key.isDeletion && key.path.empty())
            failHere("HKEY_LOCAL_MACHINE itself can't be deleted");
        m_position += length + 1;
        m_document.keys.push_back(std::move(key));
    }

    /* Returns the path below the root. */
    std::u16string_view parsePath(std::u16string_view name, std::size_t start) const {
        const std::u16string_view root = name.substr(0, name.find(u'\\'));
        if (!equalsIgnoringCase(root, kRootName))
            fail(start, "a key begins with HKEY_LOCAL_MACHINE");
        if (root.size() == name.size())
            return {};

        const std::u16string_view path = name.substr(root.size() + 1);
        std::size_t begin = 0;
        while (begin <= path.size()) {
            const std::size_t end = std::min(path.find(u'\\', begin), path.size());
            const std::size_t position = start + root.size() + 1 + begin;
            if (end == begin)
                fail(position, "a part of the key's name is empty");
            if (end - begin > kMaxNameUnits)
                fail(position, fmt::format("a part of the key's name has more than {} characters", kMaxNameUnits));
            begin = end + 1;
        }
        return path;
    }

    void parseValue() {
        if (m_document.keys.empty())
            failHere("a value before the first key");
        RegKey& key = m_document.keys.back();
        if (key.isDeletion)
            failHere("a value of a deleted key");

        RegValue value;
        const std::size_t start = m_position;
        if (!take(u'@')) {
            value.name = parseQuoted();
            if (value.name.empty())
                fail(start, "an empty name: the default value is written @");
            if (value.name.size() > kMaxNameUnits)
                fail(start, fmt::format("the value's name has more than {} characters", kMaxNameUnits));
        }
        skipBlanks();
        if (!take(u'='))
            failHere("a = expected");
        skipBlanks();
        parseData(value);
        key.values.push_back(std::move(value));
    }

    void parseData(RegValue& value) {
        const std::size_t start = m_position;
        if (take(u'-')) {
            value.isDeletion = true;
        } else if (here() == u'"') {
            value.type = REG_SZ;
            value.data = textData(parseQuoted());
        } else if (takeWord(u"dword:")) {
            value.type = REG_DWORD;
            const DWORD number = parseNumber("the number of a dword");
            for (unsigned shift = 0; shift < 32; shift += 8)
                value.data.push_back(static_cast<BYTE>(number >> shift));
        } else if (takeWord(u"hex:")) {
            value.type = REG_BINARY;
            value.data = parseBytes();
        } else if (takeWord(u"hex(")) {
            value.type = parseNumber("the type of a hex(...)");
            if (!take(u')') || !take(u':'))
                failHere("a ): expected");
            value.data = parseBytes();
            if (m_isNarrow && (value.type == REG_SZ || value.type == REG_EXPAND_SZ || value.type == REG_MULTI_SZ))
                value.data = wideData(value.data, start);
        } else {
            failHere("a text in quotes, dword:, hex:, hex(...): or - expected");
        }
        if (value.data.size() > kMaxDataBytes)
            fail(start, "the value has more than 1 MiB of data");
    }

    /* Text as narrow bytes, with its terminators if it has them, as UTF-16. */
    std::vector<BYTE> wideData(const std::vector<BYTE>& narrow, std::size_t start) const {
        bool isValid = true;
        auto data = textData(utf16FromNarrow({reinterpret_cast<const char*>(narrow.data()), narrow.size()}, &isValid));
        if (!isValid)
            fail(start, "the bytes are no text of the system code page");
        data.resize(data.size() - sizeof(char16_t));
        return data;
    }

    std::u16string parseQuoted() {
        const std::size_t open = m_position++;
        std::u16string text;
        while (!isLineEnd(m_position)) {
            const char16_t unit = m_text[m_position];
            if (unit == u'"') {
                ++m_position;
                return text;
            }
            if (unit == u'\\') {
                const char16_t escaped = at(m_position + 1);
                if (escaped != u'\\' && escaped != u'"')
                    failHere("a \\ in a text stands before another \\ or a \"");
                ++m_position;
            }
            text.push_back(m_text[m_position++]);
        }
        fail(open, "the quotes aren't closed on their line");
    }

    DWORD parseNumber(const char* what) {
        const std::size_t start = m_position;
        DWORD number = 0;
        for (; isHexDigit(here()); ++m_position) {
            if (m_position - start == 8)
                fail(start, fmt::format("{} has more than 8 digits", what));
            number = (number << 4) | hexDigit(here());
        }
        if (m_position == start)
            failHere(fmt::format("{} expected, in hexadecimal", what));
        return number;
    }

    std::vector<BYTE> parseBytes() {
        std::vector<BYTE> bytes;
        skipBlanksAndContinuation();
        if (isLineEnd(m_position) || here() == u';')
            return bytes;
        for (;;) {
            bytes.push_back(parseByte());
            skipBlanksAndContinuation();
            if (!take(u','))
                return bytes;
            skipBlanksAndContinuation();
        }
    }

    BYTE parseByte() {
        if (!isHexDigit(here()))
            failHere("a byte expected, in hexadecimal");
        DWORD byte = hexDigit(m_text[m_position++]);
        if (isHexDigit(here()))
            byte = (byte << 4) | hexDigit(m_text[m_position++]);
        if (isHexDigit(here()))
            failHere("a byte has at most two digits");
        return static_cast<BYTE>(byte);
    }

    std::u16string_view m_text;
    std::size_t m_position = 0;
    bool m_isNarrow = false;
    RegDocument m_document;
};

} // namespace

RegDocument parseRegText(std::string_view bytes) {
    if (bytes.starts_with(kNarrowBytes))
        return Parser(decodeNarrow(bytes)).parse();
    if (hasZeroAt(1, bytes))
        return Parser(decodeUtf16(bytes)).parse();
    return Parser(hasZeroAt(0, bytes) ? decodeUtf16(bytes, 1) : decodeText(bytes)).parse();
}

} // namespace wdlt
