#include "Csv.h"

namespace {

// A doubled quote becomes one; any other quote only encloses and is dropped.
std::string withoutQuoting(std::string_view quoted) {
    std::string field;
    for (std::size_t at = 0; at < quoted.size(); ++at) {
        if (quoted[at] != '"')
            field += quoted[at];
        else if (at + 1 < quoted.size() && quoted[at + 1] == '"')
            field += quoted[at++];
    }
    return field;
}

std::string quoted(std::string_view field) {
    std::string text;
    for (const char c : field)
        text.append(c == '"' ? 2 : 1, c);
    if (text.find(',') != std::string::npos)
        text.insert(0, 1, '"').append(1, '"');
    return text;
}

} // namespace

CCsv::CCsv(std::string_view text) {
    if (text.empty())
        return;
    bool isQuoted = false;
    std::size_t begin = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '"')
            isQuoted = !isQuoted;
        if (text[at] != ',' || isQuoted)
            continue;
        add(withoutQuoting(text.substr(begin, at - begin)));
        begin = at + 1;
    }
    add(withoutQuoting(text.substr(begin))); // even with a quote still open, or empty after a last comma
}

std::string CCsv::text() const {
    std::string text;
    for (const std::string& field : m_fields) {
        if (&field != &m_fields.front())
            text += ',';
        text += quoted(field);
    }
    return text;
}
