/* Fields of a record as a table, and what get, set and --json do with such a table. A field is read and written at its
   offset, byte by byte, so a record may lie anywhere. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <platform/base.h>
#include <span>
#include <string>
#include <string_view>

namespace wdlt {

using Json = nlohmann::ordered_json;

enum class FieldKind {
    Number,     /* unsigned, of 1, 2, 4 or 8 bytes */
    Signed,     /* signed, likewise */
    Text,       /* in the system code page, terminated inside the field */
    NumberList, /* 32-bit numbers, of which another field counts those in use */
    NameList,   /* texts in slots of one size, in use up to the first empty one */
};

struct Field {
    std::string_view name;
    std::size_t offset;
    std::size_t size;
    const char* help = "";
    std::size_t countOffset = 0; /* NumberList: where its 32-bit count lies */
    FieldKind kind = FieldKind::Number;
    bool isReadOnly = false;
    bool isSecret = false;
    std::size_t slotSize = 0;        /* NameList: bytes of a name with its terminator */
    std::uint64_t most = UINT64_MAX; /* Number: a larger one isn't taken, whatever would fit */

    constexpr Field readOnly() const {
        Field field = *this;
        field.isReadOnly = true;
        return field;
    }
    constexpr Field atMost(std::uint64_t number) const {
        Field field = *this;
        field.most = number;
        return field;
    }
    constexpr Field secret() const {
        Field field = *this;
        field.isSecret = true;
        return field;
    }
};

/* A member's name, offset and size, for the makers of rows below. */
#define WDLT_MEMBER(Record, member) #member, offsetof(Record, member), sizeof(Record::member)

constexpr Field numberField(std::string_view name, std::size_t offset, std::size_t size, const char* help) {
    return {name, offset, size, help, 0, FieldKind::Number};
}
constexpr Field signedField(std::string_view name, std::size_t offset, std::size_t size, const char* help) {
    return {name, offset, size, help, 0, FieldKind::Signed};
}
constexpr Field flagField(std::string_view name, std::size_t offset, std::size_t size, const char* help) {
    return numberField(name, offset, size, help).atMost(1);
}
constexpr Field textField(std::string_view name, std::size_t offset, std::size_t size, const char* help) {
    return {name, offset, size, help, 0, FieldKind::Text};
}
/* Read only: nothing that takes a record takes a list in it from a caller. */
constexpr Field numberListField(std::string_view name, std::size_t offset, std::size_t size, std::size_t countOffset,
                                const char* help) {
    return {name, offset, size, help, countOffset, FieldKind::NumberList, true};
}

/* As users have it: names parted by commas. */
constexpr Field nameListField(std::string_view name, std::size_t offset, std::size_t size, std::size_t slotSize,
                              const char* help) {
    return {name, offset, size, help, 0, FieldKind::NameList, false, false, slotSize};
}

/* What stands for a secret's value unless it is asked for. */
inline constexpr std::string_view kHiddenSecret = "(secret)";

Json fieldJson(const Field& field, std::span<const BYTE> record, bool showSecrets);
/* For people: a text without quotes, a list with spaces. */
std::string fieldText(const Field& field, std::span<const BYTE> record, bool showSecrets);

/* Takes the value as a user types it. A value that the field can't hold, or a field that is read only, is a usage error
   and leaves the record as it is. */
void setField(const Field& field, std::span<BYTE> record, std::string_view text);

} // namespace wdlt
