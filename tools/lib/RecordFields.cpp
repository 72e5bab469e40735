#include "RecordFields.h"

#include "Display.h"
#include "Numbers.h"
#include "Shown.h"
#include "ToolError.h"

#include <algorithm>
#include <cstdint>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <vector>

namespace wdlt {
namespace {

std::uint64_t numberAt(std::span<const BYTE> record, std::size_t offset, std::size_t size) {
    std::uint64_t number = 0;
    for (std::size_t i = size; i-- > 0;)
        number = (number << 8) | record[offset + i];
    return number;
}

std::int64_t signedAt(const Field& field, std::span<const BYTE> record) {
    const std::uint64_t sign = std::uint64_t{1} << (8 * field.bytes - 1);
    return static_cast<std::int64_t>((numberAt(record, field.offset, field.bytes) ^ sign) - sign);
}

std::string_view textIn(std::span<const BYTE> bytes) {
    const auto end = std::find(bytes.begin(), bytes.end(), BYTE{0});
    return {reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(end - bytes.begin())};
}

std::string_view textAt(const Field& field, std::span<const BYTE> record) {
    return textIn(record.subspan(field.offset, field.bytes));
}

std::vector<std::string_view> namesAt(const Field& field, std::span<const BYTE> record) {
    std::vector<std::string_view> names;
    for (std::size_t at = 0; at < field.bytes; at += field.slotBytes) {
        names.push_back(textIn(record.subspan(field.offset + at, field.slotBytes)));
        if (names.back().empty()) {
            names.pop_back();
            break;
        }
    }
    return names;
}

std::vector<std::uint64_t> listAt(const Field& field, std::span<const BYTE> record) {
    constexpr std::size_t kEntrySize = 4;
    const std::uint64_t count =
        std::min<std::uint64_t>(numberAt(record, field.countOffset, kEntrySize), field.bytes / kEntrySize);
    std::vector<std::uint64_t> numbers;
    for (std::size_t i = 0; i < count; ++i)
        numbers.push_back(numberAt(record, field.offset + i * kEntrySize, kEntrySize));
    return numbers;
}

[[noreturn]] void refuse(const std::string& why) {
    throw ToolError(ExitStatus::Usage, why);
}

void putNumber(const Field& field, std::span<BYTE> record, std::uint64_t number) {
    for (std::size_t i = 0; i < field.bytes; ++i)
        record[field.offset + i] = static_cast<BYTE>(number >> (8 * i));
}

void setNumber(const Field& field, std::span<BYTE> record, std::string_view text) {
    const Range range = rangeOf(field);
    const std::uint64_t limit = std::min<std::uint64_t>(range.high, UINT32_MAX >> (32 - 8 * field.bytes));
    const auto number = parseNumber(text);
    if (!number || *number < range.low || *number > limit)
        refuse(fmt::format("\"{}\" isn't a number from {} to {}", text, range.low, limit));
    putNumber(field, record, *number);
}

void setSigned(const Field& field, std::span<BYTE> record, std::string_view text) {
    const std::uint64_t half = std::uint64_t{1} << (8 * field.bytes - 1);
    const bool isNegative = text.starts_with('-');
    const auto magnitude = parseNumber(isNegative ? text.substr(1) : text);
    if (!magnitude || *magnitude > (isNegative ? half : half - 1))
        refuse(fmt::format("\"{}\" isn't a number from -{} to {}", text, half, half - 1));
    putNumber(field, record, isNegative ? 0 - *magnitude : *magnitude);
}

void setText(const Field& field, std::span<BYTE> record, std::string_view text) {
    std::string narrow;
    if (!narrowFromUtf8(text, narrow))
        refuse("the system code page lacks a character of the text");
    if (narrow.size() > mostBytes(field))
        refuse(fmt::format("the text takes {} bytes, {} have room", narrow.size(), mostBytes(field)));
    if (narrow.find('\0') != std::string::npos)
        refuse("the text has a zero byte");
    const auto target = record.subspan(field.offset, field.bytes);
    std::fill(target.begin(), target.end(), BYTE{0});
    std::transform(narrow.begin(), narrow.end(), target.begin(), [](char c) { return static_cast<BYTE>(c); });
}

void setNames(const Field& field, std::span<BYTE> record, std::string_view text) {
    std::string narrow;
    if (!narrowFromUtf8(text, narrow))
        refuse("the system code page lacks a character of the text");
    std::vector<BYTE> slots;
    for (std::size_t begin = 0; !narrow.empty() && begin <= narrow.size();) {
        const std::size_t end = std::min(narrow.find(',', begin), narrow.size());
        if (end == begin || end - begin >= field.slotBytes)
            refuse(fmt::format("\"{}\" isn't a name of 1 to {} bytes", narrow.substr(begin, end - begin),
                               field.slotBytes - 1));
        slots.insert(slots.end(), narrow.begin() + static_cast<std::ptrdiff_t>(begin),
                     narrow.begin() + static_cast<std::ptrdiff_t>(end));
        slots.resize((slots.size() / field.slotBytes + 1) * field.slotBytes);
        begin = end + 1;
    }
    if (slots.size() > field.bytes)
        refuse(fmt::format("{} names, at most {} have room", slots.size() / field.slotBytes,
                           field.bytes / field.slotBytes));
    slots.resize(field.bytes);
    std::copy(slots.begin(), slots.end(), record.begin() + static_cast<std::ptrdiff_t>(field.offset));
}

} // namespace

Json fieldJson(const Field& field, std::span<const BYTE> record, bool showSecrets) {
    if (field.isSecret && !showSecrets && !textAt(field, record).empty())
        return std::string(kHiddenSecret);
    switch (field.kind) {
    case FieldKind::Text:
    case FieldKind::SealedText:
        return utf8FromNarrow(textAt(field, record));
    case FieldKind::NumberList:
        return listAt(field, record);
    case FieldKind::NameList: {
        Json names = Json::array();
        for (const std::string_view name : namesAt(field, record))
            names.push_back(utf8FromNarrow(name));
        return names;
    }
    case FieldKind::Number:
        break;
    }
    if (field.isSigned)
        return signedAt(field, record);
    return numberAt(record, field.offset, field.bytes);
}

std::string fieldText(const Field& field, std::span<const BYTE> record, bool showSecrets) {
    if (field.isSecret && !showSecrets && !textAt(field, record).empty())
        return std::string(kHiddenSecret);
    switch (field.kind) {
    case FieldKind::Text:
    case FieldKind::SealedText:
        return displayNarrow(textAt(field, record));
    case FieldKind::NumberList:
        return fmt::format("{}", fmt::join(listAt(field, record), " "));
    case FieldKind::NameList: {
        std::string names;
        for (const std::string_view name : namesAt(field, record))
            names.append(names.empty() ? "" : ",").append(displayNarrow(name));
        return names;
    }
    case FieldKind::Number:
        break;
    }
    return field.isSigned ? fmt::format("{}", signedAt(field, record))
                          : fmt::format("{}", numberAt(record, field.offset, field.bytes));
}

std::string fieldHelp(const Field& field) {
    std::vector<std::string> details;
    const Range range = rangeOf(field);
    if (!field.isFlag && !range.isAll())
        details.push_back(range.high == UINT32_MAX ? fmt::format("at least {}", range.low)
                                                   : fmt::format("{} to {}", range.low, range.high));
    if (*field.unit != '\0')
        details.emplace_back(field.unit);
    if (field.hasFresh && field.kind == FieldKind::Number)
        details.push_back(fmt::format("fresh {}", field.onRead(field.freshNumber)));
    else if (field.hasFresh && !field.freshText.empty())
        details.push_back(fmt::format("fresh \"{}\"", field.freshText));
    if (isReadOnly(field))
        details.emplace_back("read only");
    return fmt::format("{}{}{}", field.isFlag ? "1: " : "", field.help,
                       details.empty() ? "" : fmt::format(" ({})", fmt::join(details, ", ")));
}

bool isTextOfCodePage(const Field& field, std::span<const BYTE> record) {
    switch (field.kind) {
    case FieldKind::Text:
    case FieldKind::SealedText:
        return isCodePageText(textAt(field, record));
    case FieldKind::NameList:
        return std::ranges::all_of(namesAt(field, record), isCodePageText);
    default:
        return true;
    }
}

void putField(const Field& field, std::span<BYTE> record, std::string_view text) {
    if (isReadOnly(field))
        refuse("the field is read only");
    switch (field.kind) {
    case FieldKind::Text:
    case FieldKind::SealedText:
        return setText(field, record, text);
    case FieldKind::NameList:
        return setNames(field, record, text);
    case FieldKind::NumberList:
        return refuse("a list isn't set"); // always read only
    case FieldKind::Number:
        return field.isSigned ? setSigned(field, record, text) : setNumber(field, record, text);
    }
}

void setField(const Field& field, std::span<BYTE> record, std::string_view text) {
    try {
        putField(field, record, text);
    } catch (const ToolError& error) {
        throw ToolError(error.status(), fmt::format("{}: {}", field.member, error.what()));
    }
}

} // namespace wdlt
