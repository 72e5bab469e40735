// Rows as tools and documents need them: those of one exported record, in the order of its fields, whichever tables
// they come from.
#pragma once

#include "Field.h"
#include "Pair.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace wdlt {

template <std::size_t Count>
constexpr std::array<Field, Count> inRecordsOrder(std::array<Field, Count> fields) {
    std::ranges::sort(fields, {}, &Field::offset);
    return fields;
}

// Concatenates tables.
template <class... Tables>
constexpr auto joined(const Tables&... tables) {
    std::array<Field, (decltype(std::span(tables))::extent + ...)> fields{};
    std::size_t next = 0;
    (std::ranges::for_each(tables, [&](const Field& field) { fields[next++] = field; }), ...);
    return fields;
}

// All tables of a stored record, in the order of its fields.
template <class... Tables>
constexpr auto shown(const Tables&... tables) {
    return inRecordsOrder(joined(tables...));
}

// Rows of a record that has only numbers, with the fresh content of each taken from `fresh`.
template <class Record, std::size_t Count>
constexpr std::array<FieldOf<Record>, Count> withFresh(const FieldOf<Record> (&rows)[Count], const Record& fresh) {
    const auto numbers = std::bit_cast<std::array<std::uint32_t, sizeof(Record) / sizeof(std::uint32_t)>>(fresh);
    std::array<FieldOf<Record>, Count> with{};
    std::ranges::transform(rows, with.begin(), [&](const FieldOf<Record>& row) {
        return row.fresh(numbers[row.offset / sizeof(std::uint32_t)]);
    });
    return with;
}

// A stored field's row, adapted to the member of an exported record that is paired with it.
template <class Exported, class Member>
constexpr FieldOf<Exported> exportedAs(const MemberOf<Exported, Member>& place, const Field& stored) {
    FieldOf<Exported> field;
    static_cast<Field&>(field) = stored;
    field.member = place.member;
    field.offset = place.offset;
    field.bytes = sizeof(Member);
    return field;
}

// An exported record: a row for each pair, then the rows of fields that come from elsewhere. `rows` must have each
// stored field.
template <class Exported, class Stored, std::size_t Pairs, class Rows, class... Elsewhere>
consteval auto exported(const PairOf<Exported, Stored> (&pairs)[Pairs], const Rows& rows,
                        const Elsewhere&... elsewhere) {
    std::array<Field, Pairs + sizeof...(Elsewhere)> fields{elsewhere...};
    std::size_t next = sizeof...(Elsewhere);
    for (const auto& pair : pairs) {
        Field field = *std::ranges::find_if(rows, [&](const Field& row) { return row.offset == pair.storedAt; });
        field.member = pair.member;
        field.offset = pair.exportedAt;
        field.bytes = pair.exportedBytes;
        field.isSigned = pair.isSigned;
        fields[next++] = field;
    }
    return inRecordsOrder(fields);
}

// A field's name for users: its member without the type prefix, as words separated by hyphens.
inline std::string nameOf(const Field& field) {
    const auto isUpper = [](char c) { return c >= 'A' && c <= 'Z'; };
    std::string_view member = field.member;
    if (member.size() > 2 && (member.starts_with("dw") || member.starts_with("sz")) && isUpper(member[2]))
        member.remove_prefix(2);
    std::string name;
    for (std::size_t i = 0; i < member.size(); ++i) {
        const bool begins = isUpper(member[i]) && i > 0 &&
                            (!isUpper(member[i - 1]) || (i + 1 < member.size() && !isUpper(member[i + 1])));
        if (begins)
            name.push_back('-');
        name.push_back(isUpper(member[i]) ? static_cast<char>(member[i] - 'A' + 'a') : member[i]);
    }
    return name;
}

struct Range {
    std::uint32_t low;
    std::uint32_t high;

    constexpr bool isAll() const { return low == 0 && high == UINT32_MAX; }
};
// The longest text that is stored and read back unchanged.
constexpr std::uint32_t mostBytes(const Field& field) {
    if (field.kind == FieldKind::SealedText)
        return std::min(field.limit, field.bytes - 1);
    return std::min(field.limit, field.bytes) - 1;
}

// The numbers that are stored and read back unchanged.
constexpr Range rangeOf(const Field& field) {
    Range range{field.least, field.most};
    for (const NumberRule& rule : {field.onRead, field.onWrite}) {
        if (rule.outside == NumberRule::Outside::Passes)
            continue;
        const bool hasOther = rule.outside == NumberRule::Outside::TakesOther;
        range.low = std::max(range.low, hasOther ? std::min(rule.low, rule.other) : rule.low);
        range.high = std::min(range.high, hasOther ? std::max(rule.high, rule.other) : rule.high);
    }
    return range;
}

} // namespace wdlt
