#include "IniText.h"

#include <algorithm>
#include <strings.h>

namespace wd {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

bool sameName(std::string_view a, std::string_view b) {
    return a.size() == b.size() && (a.empty() || strncasecmp(a.data(), b.data(), a.size()) == 0);
}

std::string_view unquoted(std::string_view text) {
    const bool isQuoted =
        text.size() >= 2 && (text.front() == '"' || text.front() == '\'') && text.back() == text.front();
    return isQuoted ? text.substr(1, text.size() - 2) : text;
}

enum class LineKind { Other, Header, Value };

struct Line {
    std::string_view whole; // line end included
    LineKind kind = LineKind::Other;
    std::string_view name;  // of the section or of the value
    std::string_view value; // trimmed
};

Line parseLine(std::string_view whole) {
    Line line;
    line.whole = whole;
    const std::string_view text = trimmed(whole);
    if (text.empty() || text.front() == ';')
        return line;
    if (text.front() == '[') {
        const auto end = text.find(']');
        if (end == std::string_view::npos)
            return line;
        line.kind = LineKind::Header;
        line.name = trimmed(text.substr(1, end - 1));
        return line;
    }
    const auto equals = text.find('=');
    if (equals == std::string_view::npos)
        return line;
    line.kind = LineKind::Value;
    line.name = trimmed(text.substr(0, equals));
    line.value = trimmed(text.substr(equals + 1));
    return line;
}

constexpr std::string_view kLineEnds = "\r\n";

// Length of the line at the start of the text, with its end: LF, CR LF or CR alone.
std::size_t lineLength(std::string_view text) {
    const auto end = text.find_first_of(kLineEnds);
    if (end == std::string_view::npos)
        return text.size();
    return end + (text.substr(end).starts_with(kLineEnds) ? 2 : 1);
}

// Iterates over the lines; a byte order mark before the first belongs to none.
class Lines {
  public:
    explicit Lines(std::string_view content) : m_rest(content) {
        if (m_rest.starts_with(kByteOrderMark))
            m_rest.remove_prefix(kByteOrderMark.size());
    }
    bool next(Line& line) {
        if (m_rest.empty())
            return false;
        const std::size_t length = lineLength(m_rest);
        line = parseLine(m_rest.substr(0, length));
        m_rest.remove_prefix(length);
        return true;
    }

  private:
    std::string_view m_rest;
};

// What a change needs to know about the section.
struct SectionPlace {
    bool found = false;
    std::size_t insertAt = 0;                       // offset after its last line that isn't blank
    std::optional<std::string_view> firstValueLine; // with the name asked for
};

SectionPlace placeOf(std::string_view content, std::string_view section, std::string_view name) {
    SectionPlace place;
    Lines lines(content);
    bool inside = false;
    for (Line line; lines.next(line);) {
        if (line.kind == LineKind::Header) {
            if (place.found)
                break;
            inside = place.found = sameName(line.name, section);
        }
        if (!inside)
            continue;
        if (!trimmed(line.whole).empty())
            place.insertAt = static_cast<std::size_t>(line.whole.data() - content.data()) + line.whole.size();
        if (line.kind == LineKind::Value && !place.firstValueLine && sameName(line.name, name))
            place.firstValueLine = line.whole;
    }
    return place;
}

// The first line's end; CR LF where there is none.
std::string_view lineEndOf(std::string_view content) {
    const std::string_view line = content.substr(0, lineLength(content));
    const std::size_t text = std::min(line.find_first_of(kLineEnds), line.size());
    return text == line.size() ? kLineEnds : line.substr(text);
}

// Removes the lines that `drop` selects from every section of that name, so that no duplicate takes their place.
template <class Drop>
std::string without(std::string_view content, std::string_view section, Drop&& drop) {
    std::string result(content.substr(0, content.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0));
    Lines lines(content);
    bool inside = false;
    for (Line line; lines.next(line);) {
        if (line.kind == LineKind::Header)
            inside = sameName(line.name, section);
        if (!inside || !drop(line))
            result.append(line.whole);
    }
    return result;
}

std::string withValue(std::string_view content, std::string_view section, std::string_view name,
                      std::string_view text) {
    const SectionPlace place = placeOf(content, section, name);
    const std::string_view lineEnd = lineEndOf(content);
    std::string result(content);
    if (place.firstValueLine) {
        const std::string_view old = *place.firstValueLine;
        const auto value = static_cast<std::size_t>(old.data() - content.data()) + old.find('=') + 1;
        const auto end = static_cast<std::size_t>(old.data() - content.data()) + old.find_last_not_of(kLineEnds) + 1;
        return result.replace(value, end - value, text);
    }
    std::string line = std::string(name) + '=' + std::string(text) + std::string(lineEnd);
    std::size_t at = place.insertAt;
    if (!place.found) {
        at = result.size();
        line = '[' + std::string(section) + ']' + std::string(lineEnd) + line;
    }
    if (at == result.size() && at > 0 && kLineEnds.find(result.back()) == std::string_view::npos)
        line.insert(0, lineEnd);
    return result.insert(at, line);
}

bool isPlainText(std::string_view text) {
    return text.find_first_of(kLineEnds) == std::string_view::npos;
}

} // namespace

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r\n\v\f";
    const auto begin = text.find_first_not_of(kBlanks);
    if (begin == std::string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

std::optional<std::string_view> findIniValue(std::string_view content, std::string_view section,
                                             std::string_view name) {
    Lines lines(content);
    bool inside = false;
    for (Line line; lines.next(line);) {
        if (line.kind == LineKind::Header) {
            if (inside)
                break;
            inside = sameName(line.name, section);
        } else if (inside && line.kind == LineKind::Value && sameName(line.name, name)) {
            return unquoted(line.value.substr(0, line.value.find('\0')));
        }
    }
    return std::nullopt;
}

std::string iniSections(std::string_view content) {
    std::string names;
    Lines lines(content);
    for (Line line; lines.next(line);)
        if (line.kind == LineKind::Header)
            names.append(line.name).push_back('\0');
    return names;
}

std::optional<std::string> iniNames(std::string_view content, std::string_view section) {
    std::optional<std::string> names;
    Lines lines(content);
    for (Line line; lines.next(line);) {
        if (line.kind == LineKind::Header && names)
            break;
        if (line.kind == LineKind::Header && sameName(line.name, section))
            names.emplace();
        else if (line.kind == LineKind::Value && names)
            names->append(line.name).push_back('\0');
    }
    return names;
}

std::string changeIni(std::string_view content, std::string_view section, std::optional<std::string_view> name,
                      const char* text) {
    if (!name)
        return without(content, section, [](const Line&) { return true; });
    if (text == nullptr)
        return without(content, section,
                       [name](const Line& line) { return line.kind == LineKind::Value && sameName(line.name, *name); });
    return withValue(content, section, *name, text);
}

bool isIniSection(std::string_view section) {
    return isPlainText(section) && !section.empty() && section.find(']') == std::string_view::npos;
}

bool isIniName(std::string_view name) {
    return isPlainText(name) && !name.empty() && name.front() != ';' && name.front() != '[' &&
           name.find('=') == std::string_view::npos;
}

bool isIniValue(std::string_view text) {
    return isPlainText(text);
}

UINT iniNumber(std::string_view text) {
    text = trimmed(text);
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+'))
        text.remove_prefix(1);
    const bool isHex = text.starts_with("0x") || text.starts_with("0X");
    if (isHex)
        text.remove_prefix(2);
    const UINT base = isHex ? 16 : 10;
    UINT number = 0;
    for (const char c : text) {
        UINT digit = 0;
        if (c >= '0' && c <= '9')
            digit = static_cast<UINT>(c - '0');
        else if (isHex && (c | 0x20) >= 'a' && (c | 0x20) <= 'f')
            digit = static_cast<UINT>((c | 0x20) - 'a') + 10;
        else
            break;
        number = number * base + digit;
    }
    return negative ? 0u - number : number;
}

} // namespace wd
