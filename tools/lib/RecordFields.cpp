#include "RecordFields.h"

#include "Display.h"
#include "Numbers.h"
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

std::string_view textAt(const Field& field, std::span<const BYTE> record) {
    const auto bytes = record.subspan(field.offset, field.size);
    const auto end = std::find(bytes.begin(), bytes.end(), BYTE{0});
    return {reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(end - bytes.begin())};
}

std::vector<std::uint64_t> listAt(const Field& field, std::span<const BYTE> record) {
    constexpr std::size_t kEntrySize = 4;
    const std::uint64_t count =
        std::min<std::uint64_t>(numberAt(record, field.countOffset, kEntrySize), field.size / kEntrySize);
    std::vector<std::uint64_t> numbers;
    for (std::size_t i = 0; i < count; ++i)
        numbers.push_back(numberAt(record, field.offset + i * kEntrySize, kEntrySize));
    return numbers;
}

[[noreturn]] void refuse(const Field& field, const std::string& why) {
    throw ToolError(ExitStatus::Usage, fmt::format("{}: {}", field.name, why));
}

void setNumber(const Field& field, std::span<BYTE> record, std::string_view text) {
    const std::uint64_t limit = field.kind == FieldKind::Flag ? 1
                                : field.size == 8             ? UINT64_MAX
                                                              : (std::uint64_t{1} << (8 * field.size)) - 1;
    const auto number = parseNumber(text);
    if (!number || *number > limit)
        refuse(field, fmt::format("\"{}\" isn't a number from 0 to {}", text, limit));
    for (std::size_t i = 0; i < field.size; ++i)
        record[field.offset + i] = static_cast<BYTE>(*number >> (8 * i));
}

void setText(const Field& field, std::span<BYTE> record, std::string_view text) {
    std::string narrow;
    if (!narrowFromUtf8(text, narrow))
        refuse(field, "the system code page lacks a character of the text");
    if (narrow.size() >= field.size)
        refuse(field, fmt::format("the text takes {} bytes, {} have room", narrow.size(), field.size - 1));
    const auto target = record.subspan(field.offset, field.size);
    std::fill(target.begin(), target.end(), BYTE{0});
    std::transform(narrow.begin(), narrow.end(), target.begin(), [](char c) { return static_cast<BYTE>(c); });
}

} // namespace

Json fieldJson(const Field& field, std::span<const BYTE> record, bool showSecrets) {
    if (field.isSecret && !showSecrets)
        return std::string(kHiddenSecret);
    switch (field.kind) {
    case FieldKind::Text:
        return utf8FromNarrow(textAt(field, record));
    case FieldKind::NumberList:
        return listAt(field, record);
    case FieldKind::Number:
    case FieldKind::Flag:
        break;
    }
    return numberAt(record, field.offset, field.size);
}

std::string fieldText(const Field& field, std::span<const BYTE> record, bool showSecrets) {
    if (field.isSecret && !showSecrets)
        return std::string(kHiddenSecret);
    switch (field.kind) {
    case FieldKind::Text:
        return displayNarrow(textAt(field, record));
    case FieldKind::NumberList:
        return fmt::format("{}", fmt::join(listAt(field, record), " "));
    case FieldKind::Number:
    case FieldKind::Flag:
        break;
    }
    return fmt::format("{}", numberAt(record, field.offset, field.size));
}

void setField(const Field& field, std::span<BYTE> record, std::string_view text) {
    if (field.isReadOnly)
        refuse(field, "the field is read only");
    if (field.kind == FieldKind::Text)
        setText(field, record, text);
    else
        setNumber(field, record, text);
}

} // namespace wdlt
