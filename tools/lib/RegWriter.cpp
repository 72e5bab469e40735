#include "Display.h"
#include "KeyPath.h"
#include "RegText.h"
#include "Utf.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>

namespace wdlt {
namespace {

// Hexadecimal data is wrapped before it reaches this column.
constexpr std::size_t kMaxHexColumn = 78;

bool isControl(char16_t unit) {
    return unit < u' ' && unit != u'\t';
}

void refuseControlCharacters(const std::u16string& name) {
    if (std::any_of(name.begin(), name.end(), isControl))
        throw std::invalid_argument(
            fmt::format("the name {} holds a control character, which .reg text can't carry", displayText(name)));
}

std::string inQuotes(std::u16string_view text) {
    std::string out = "\"";
    for (const char c : utf8FromUtf16(text)) {
        if (c == '\\' || c == '"')
            out.push_back('\\');
        out.push_back(c);
    }
    out.push_back('"');
    return out;
}

/* Texts that don't survive quoting byte for byte are written in hexadecimal. */
bool isPlainText(const RegValue& value) {
    if (value.type != REG_SZ || !isTerminatedText(value.data))
        return false;
    const std::u16string text = textOf(value.data);
    return !hasLoneSurrogate(text) && std::none_of(text.begin(), text.end(), isControl);
}

void appendHex(std::string& line, const RegValue& value) {
    line += value.type == REG_BINARY ? "hex:" : fmt::format("hex({:x}):", value.type);
    std::size_t lineStart = 0;
    for (std::size_t i = 0; i < value.data.size(); ++i) {
        fmt::format_to(std::back_inserter(line), "{:02x}", value.data[i]);
        if (i + 1 == value.data.size())
            break;
        line.push_back(',');
        if (line.size() - lineStart + 3 > kMaxHexColumn) {
            line += "\\\n";
            lineStart = line.size();
            line += "  ";
        }
    }
}

void appendValue(std::string& out, const RegValue& value) {
    std::string line = value.name.empty() ? "@=" : inQuotes(value.name) + "=";
    if (value.isDeletion)
        line.push_back('-');
    else if (isPlainText(value))
        line += inQuotes(textOf(value.data));
    else if (value.type == REG_DWORD && value.data.size() == 4)
        line +=
            fmt::format("dword:{:02x}{:02x}{:02x}{:02x}", value.data[3], value.data[2], value.data[1], value.data[0]);
    else
        appendHex(line, value);
    out += line;
    out.push_back('\n');
}

} // namespace

std::vector<BYTE> textData(std::u16string_view text) {
    std::vector<BYTE> data;
    data.reserve(text.size() * 2 + 2);
    for (const char16_t unit : text) {
        data.push_back(static_cast<BYTE>(unit));
        data.push_back(static_cast<BYTE>(unit >> 8));
    }
    data.insert(data.end(), 2, 0);
    return data;
}

std::u16string textOf(const std::vector<BYTE>& data) {
    std::u16string text;
    text.reserve(data.size() / 2);
    for (std::size_t i = 0; i + 1 < data.size(); i += 2)
        text.push_back(static_cast<char16_t>(data[i] | (data[i + 1] << 8)));
    if (text.ends_with(u'\0'))
        text.pop_back();
    return text;
}

bool isTerminatedText(const std::vector<BYTE>& data) {
    if (data.size() % 2 != 0 || data.size() < 2 || data[data.size() - 1] != 0 || data[data.size() - 2] != 0)
        return false;
    return textOf(data).find(u'\0') == std::u16string::npos;
}

std::string writeRegText(const RegDocument& document) {
    std::string out = "Windows Registry Editor Version 5.00\n";
    for (const RegKey& key : document.keys) {
        refuseControlCharacters(key.path);
        out += fmt::format("\n[{}{}]\n", key.isDeletion ? "-" : "", fullKeyName(key.path));
        for (const RegValue& value : key.values) {
            refuseControlCharacters(value.name);
            appendValue(out, value);
        }
    }
    return out;
}

} // namespace wdlt
