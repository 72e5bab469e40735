#include "ValueText.h"

#include "Display.h"
#include "KeyPath.h"
#include "Numbers.h"
#include "ToolError.h"
#include "Utf.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <nlohmann/json.hpp>
#include <optional>

namespace wdlt {
namespace {

struct TypeRow {
    DWORD type;
    std::u16string_view name;
};

constexpr std::u16string_view kTypePrefix = u"REG_";
constexpr TypeRow kTypes[] = {
    {REG_NONE, u"REG_NONE"},     {REG_SZ, u"REG_SZ"},       {REG_EXPAND_SZ, u"REG_EXPAND_SZ"},
    {REG_BINARY, u"REG_BINARY"}, {REG_DWORD, u"REG_DWORD"}, {REG_MULTI_SZ, u"REG_MULTI_SZ"},
    {REG_QWORD, u"REG_QWORD"},
};

std::uint64_t littleEndian(const std::vector<BYTE>& data) {
    std::uint64_t number = 0;
    for (std::size_t i = data.size(); i-- > 0;)
        number = (number << 8) | data[i];
    return number;
}

std::vector<BYTE> numberData(std::uint64_t number, std::size_t size) {
    std::vector<BYTE> data;
    for (std::size_t i = 0; i < size; ++i)
        data.push_back(static_cast<BYTE>(number >> (8 * i)));
    return data;
}

std::string bytesText(const std::vector<BYTE>& data) {
    return data.empty() ? "(empty)" : fmt::format("{:02x}", fmt::join(data, " "));
}

/* The texts of a multi_sz; nothing when the data is malformed. */
std::optional<std::vector<std::u16string>> textsOf(const std::vector<BYTE>& data) {
    const std::u16string units = textOf(data);
    if (data.size() % 2 != 0 || data.size() < 2 || (!units.empty() && units.back() != u'\0'))
        return std::nullopt;
    std::vector<std::u16string> texts;
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = units.find(u'\0', begin)) != std::u16string::npos; begin = end + 1)
        texts.push_back(units.substr(begin, end - begin));
    return texts;
}

std::string multiText(const std::vector<BYTE>& data) {
    const auto texts = textsOf(data);
    if (!texts)
        return bytesText(data);
    std::vector<std::string> shown;
    std::ranges::transform(*texts, std::back_inserter(shown), displayText);
    return fmt::format("{}", fmt::join(shown, "\\0"));
}

[[noreturn]] void refuse(std::string_view text, const char* what) {
    throw ToolError(ExitStatus::Usage, fmt::format("{}: {}", text, what));
}

DWORD parseType(std::string_view text) {
    const std::u16string wide = utf16FromArgument(text);
    for (const TypeRow& row : kTypes) {
        if (equalsIgnoringCase(wide, row.name) || equalsIgnoringCase(wide, row.name.substr(kTypePrefix.size())))
            return row.type;
    }
    refuse(text, "no such type; there are sz, expand_sz, multi_sz, binary, dword, qword and none");
}

std::vector<BYTE> parseNumberData(std::string_view text, std::size_t size) {
    const auto number = parseNumber(text);
    if (!number || (size == 4 && *number > UINT32_MAX))
        refuse(text, size == 4 ? "not a number of 32 bits" : "not a number of 64 bits");
    return numberData(*number, size);
}

std::vector<BYTE> parseByteData(std::string_view text) {
    std::string digits;
    for (const char c : text) {
        if (c != ',' && c != ' ')
            digits.push_back(c);
    }
    std::vector<BYTE> data;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        const auto byte = parseNumber("0x" + digits.substr(i, 2));
        if (!byte || digits.size() % 2 != 0)
            refuse(text, "not bytes of two hexadecimal digits each");
        data.push_back(static_cast<BYTE>(*byte));
    }
    return data;
}

std::vector<BYTE> parseMultiData(std::string_view text) {
    constexpr std::u16string_view kSeparator = u"\\0";
    const std::u16string wide = utf16FromArgument(text);
    std::u16string units;
    for (std::size_t begin = 0; begin < wide.size();) {
        const std::size_t end = std::min(wide.find(kSeparator, begin), wide.size());
        // An empty text would terminate the list early.
        if (end == begin)
            refuse(text, "a text of the list is empty");
        units.append(wide, begin, end - begin).push_back(u'\0');
        begin = end + kSeparator.size();
    }
    return textData(units);
}

} // namespace

std::string typeName(DWORD type) {
    for (const TypeRow& row : kTypes) {
        if (row.type == type)
            return utf8FromUtf16(row.name);
    }
    return fmt::format("0x{:x}", type);
}

std::string valueText(const RegValue& value) {
    const auto size = value.data.size();
    switch (value.type) {
    case REG_SZ:
    case REG_EXPAND_SZ:
        return isTerminatedText(value.data) ? displayText(textOf(value.data)) : bytesText(value.data);
    case REG_MULTI_SZ:
        return multiText(value.data);
    case REG_DWORD:
        return size == 4 ? fmt::format("{0} (0x{0:08x})", littleEndian(value.data)) : bytesText(value.data);
    case REG_QWORD:
        return size == 8 ? fmt::format("{0} (0x{0:016x})", littleEndian(value.data)) : bytesText(value.data);
    default:
        return bytesText(value.data);
    }
}

Json valueJson(const RegValue& value) {
    Json content = nullptr;
    if ((value.type == REG_SZ || value.type == REG_EXPAND_SZ) && isTerminatedText(value.data))
        content = utf8FromUtf16(textOf(value.data));
    else if ((value.type == REG_DWORD && value.data.size() == 4) || (value.type == REG_QWORD && value.data.size() == 8))
        content = littleEndian(value.data);
    else if (const auto texts = value.type == REG_MULTI_SZ ? textsOf(value.data) : std::nullopt) {
        content = Json::array();
        for (const std::u16string& text : *texts)
            content.push_back(utf8FromUtf16(text));
    }
    return {{"name", utf8FromUtf16(value.name)},
            {"type", typeName(value.type)},
            {"value", content},
            {"data", hexDigits(value.data)}};
}

std::string valueLabel(const RegValue& value) {
    return value.name.empty() ? "(default)" : displayText(value.name);
}

RegValue parseValueArguments(std::u16string name, std::string_view type, std::string_view text) {
    RegValue value{std::move(name), parseType(type), {}, false};
    switch (value.type) {
    case REG_SZ:
    case REG_EXPAND_SZ:
        value.data = textData(utf16FromArgument(text));
        break;
    case REG_MULTI_SZ:
        value.data = parseMultiData(text);
        break;
    case REG_DWORD:
        value.data = parseNumberData(text, 4);
        break;
    case REG_QWORD:
        value.data = parseNumberData(text, 8);
        break;
    default:
        value.data = parseByteData(text);
        break;
    }
    return value;
}

} // namespace wdlt
