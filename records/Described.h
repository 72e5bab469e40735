// What a field's row says about it, in words for users.
#pragma once

#include "Shown.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace wdlt {

inline std::string kindOf(const Field& field) {
    std::string kind = field.isFileName ? "file name" : "text";
    switch (field.kind) {
    case FieldKind::Number:
        return field.isFlag ? "flag" : "number";
    case FieldKind::Text:
    case FieldKind::SealedText:
        if (field.bytes != 0)
            kind += ", " + std::to_string(mostBytes(field)) + " bytes";
        return kind + (field.kind == FieldKind::SealedText ? ", enciphered" : "");
    case FieldKind::NameList:
        return "names, " + std::to_string(field.bytes / field.slotBytes) + " of " +
               std::to_string(field.slotBytes - 1) + " bytes";
    case FieldKind::NumberList:
        return "numbers";
    }
    return {};
}

// What happens to a number outside its limits: `takes` refuses it, a rule replaces it. Empty: there are none.
inline std::string rangeText(const Field& field) {
    const Range range = rangeOf(field);
    if (field.kind != FieldKind::Number || field.isFlag || range.isAll())
        return {};
    const bool isRefused = field.least != 0 || field.most != UINT32_MAX;
    const NumberRule& rule = field.onWrite.outside == NumberRule::Outside::TakesOther ? field.onWrite : field.onRead;
    const bool hasOther = rule.outside == NumberRule::Outside::TakesOther;
    return (range.high == UINT32_MAX ? "from " + std::to_string(range.low)
                                     : std::to_string(range.low) + " to " + std::to_string(range.high)) +
           (isRefused  ? ", else refused"
            : hasOther ? ", else " + std::to_string(rule.other)
                       : ", else the nearest");
}

// `quote` stands around a text.
inline std::string contentText(const Field& field, std::uint32_t number, std::string_view text, char quote) {
    if (field.kind != FieldKind::Number)
        return text.empty() ? "empty" : quote + std::string(text) + quote;
    const bool isNegative = field.isSigned && number > INT32_MAX;
    return isNegative ? std::to_string(static_cast<std::int32_t>(number)) : std::to_string(number);
}

// Empty when a fresh installation lacks the value.
inline std::string freshText(const Field& field, char quote) {
    return field.hasFresh ? contentText(field, field.onRead(field.freshNumber), field.freshText, quote) : "";
}

// What a read gives for a missing value and, if it differs, for one that can't be read.
inline std::string whenMissing(const Field& field, char quote) {
    if (field.value == nullptr)
        return "";
    if (field.isFromDefaults)
        return "the fresh value of its place";
    if (field.otherValue != nullptr)
        return std::string("as ") + quote + field.otherValue + quote;
    if (!field.whenAbsent.goesOn)
        return "the read fails";
    return contentText(field, field.onRead(field.number), field.text, quote) +
           (field.whenFailed.goesOn ? "" : "; unreadable: the read fails");
}

} // namespace wdlt
