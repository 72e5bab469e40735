// One row of a value map (ValueMap.h): a field of a record, the registry value it maps to, and all that is special
// about the pair. Rows are constants; each word after `number`, `text` or `protectedText` gives the row with one thing
// changed.
#pragma once

#include <platform/registry.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <type_traits>

namespace wdlt {

// What a number becomes on its way. On reading, a rule holds for a default too: it stands for a stored number.
using NumberRule = DWORD (*)(DWORD);

template <DWORD Limit>
constexpr DWORD ceiling(DWORD number) {
    return number > Limit ? Limit : number;
}
template <DWORD Limit>
constexpr DWORD atLeast(DWORD number) {
    return number < Limit ? Limit : number;
}
template <DWORD Low, DWORD High>
constexpr DWORD clampedTo(DWORD number) {
    return ceiling<High>(atLeast<Low>(number));
}
template <DWORD Low, DWORD High, DWORD Substitute>
constexpr DWORD orElseOutside(DWORD number) {
    return number < Low || number > High ? Substitute : number;
}
constexpr DWORD asFlag(DWORD number) {
    return number != 0 ? 1 : 0;
}
constexpr DWORD exactlyOne(DWORD number) {
    return number == 1 ? 1 : 0;
}
constexpr DWORD inverted(DWORD number) {
    return number == 0 ? 1 : 0;
}

enum class ValueKind : std::uint8_t {
    Number,        // REG_DWORD
    Text,          // REG_SZ, in the system code page
    ProtectedText, // REG_BINARY, enciphered by the helper
    NameList,      // REG_SZ, the names of the field's slots in the form of CCsv
};

// What a failing read means for the rest of the record.
struct OnFailure {
    bool goesOn = false;  // the field takes its default; else the read ends here
    DWORD logLevel = 256; // 0: no line
};

// Log levels, as numbers of a row.
inline constexpr DWORD kQuietly = 0;
inline constexpr DWORD kAsTrace = 16;
inline constexpr DWORD kAsError = 256;

struct ValueRowData {
    ValueKind kind = ValueKind::Number;
    const char* name = nullptr;         // of the registry value
    const char* field = nullptr;        // as the lines for reading call it; null: the value's name
    const char* fieldOnWrite = nullptr; // as the lines for writing call it; null: as on reading

    DWORD (*get)(const void* record) = nullptr;
    void (*set)(void* record, DWORD number) = nullptr;
    std::span<char> (*text)(void* record) = nullptr;
    DWORD limit = 0;          // bytes of a text handed to the store; at most the field's, but for a list
    std::size_t slotSize = 0; // of a list: bytes of a name with its terminator

    OnFailure absent; // the store has no such value (WDLT_E_NOT_FOUND)
    OnFailure failed; // any other failure
    DWORD defaultNumber = 0;
    std::string_view defaultText;
    const char* substitute = nullptr; // the value to read into the field instead, when this one can't be read
    bool fromDefaults = false;        // a record of defaults, where there is one, covers any failure
    DWORD defaultsLogLevel = kQuietly;

    NumberRule readRule = nullptr;
    NumberRule writeRule = nullptr;
    bool correctsRecord = false; // what the write rule gives goes into the caller's record too
    bool terminated = true;      // a text is stored with its terminator
    bool isFileName = false;   // only what stands behind the last separator counts; a write cuts the record's field too
    bool isFolder = false;     // reads with a backslash at its end, where there is room for one
    bool cutsLongText = false; // a stored text that is too long is cut to the field instead of failing
    bool readOnly = false;     // no write of the record touches the value
    bool keepsCode = false;    // a failing write gives the store's code even where the helper has one of its own
};

template <class Record>
struct ValueRow : ValueRowData {
    // An absent value reads as this, with no line; other failures stay as they are.
    constexpr ValueRow whenAbsent(DWORD number) const {
        ValueRow row = *this;
        row.defaultNumber = number;
        row.absent = {.goesOn = true, .logLevel = kQuietly};
        return row;
    }
    constexpr ValueRow whenAbsent(std::string_view content) const {
        ValueRow row = *this;
        row.defaultText = content;
        row.absent = {.goesOn = true, .logLevel = kQuietly};
        return row;
    }
    // Any failure reads as this.
    constexpr ValueRow whenUnreadable(DWORD number, DWORD logLevel = kAsError) const {
        ValueRow row = *this;
        row.defaultNumber = number;
        row.absent = row.failed = {.goesOn = true, .logLevel = logLevel};
        return row;
    }
    constexpr ValueRow whenUnreadable(std::string_view content, DWORD logLevel = kAsError) const {
        ValueRow row = *this;
        row.defaultText = content;
        row.absent = row.failed = {.goesOn = true, .logLevel = logLevel};
        return row;
    }
    // Any failure reads as the same field of the record of defaults, where the helper has one for its address.
    constexpr ValueRow orDefaults(DWORD logLevel) const {
        ValueRow row = *this;
        row.fromDefaults = true;
        row.defaultsLogLevel = logLevel;
        return row;
    }
    // Any failure reads another value into the field; a failure of that one counts.
    constexpr ValueRow orValue(const char* otherName) const {
        ValueRow row = *this;
        row.substitute = otherName;
        return row;
    }
    // The line for a failure that ends the record.
    constexpr ValueRow failsAtLevel(DWORD logLevel) const {
        ValueRow row = *this;
        row.absent.logLevel = row.failed.logLevel = logLevel;
        return row;
    }

    constexpr ValueRow onRead(NumberRule rule) const {
        ValueRow row = *this;
        row.readRule = rule;
        return row;
    }
    constexpr ValueRow onWrite(NumberRule rule) const {
        ValueRow row = *this;
        row.writeRule = rule;
        return row;
    }
    constexpr ValueRow onWriteAndInRecord(NumberRule rule) const {
        ValueRow row = *this;
        row.writeRule = rule;
        row.correctsRecord = true;
        return row;
    }

    constexpr ValueRow withoutTerminator() const {
        ValueRow row = *this;
        row.terminated = false;
        return row;
    }
    constexpr ValueRow fileName() const {
        ValueRow row = *this;
        row.isFileName = true;
        return row;
    }
    constexpr ValueRow folder() const {
        ValueRow row = *this;
        row.isFolder = true;
        return row;
    }
    constexpr ValueRow cutWhenTooLong() const {
        ValueRow row = *this;
        row.cutsLongText = true;
        return row;
    }
    constexpr ValueRow notWritten() const {
        ValueRow row = *this;
        row.readOnly = true;
        return row;
    }
    constexpr ValueRow withStoresCodeOnWrite() const {
        ValueRow row = *this;
        row.keepsCode = true;
        return row;
    }
    // How the log lines call the field, where that isn't the value's name; and how those for writing do.
    constexpr ValueRow named(const char* fieldName) const {
        ValueRow row = *this;
        row.field = fieldName;
        return row;
    }
    constexpr ValueRow namedOnWrite(const char* fieldName) const {
        ValueRow row = *this;
        row.fieldOnWrite = fieldName;
        return row;
    }
};

namespace detail {

template <class Pointer>
struct MemberOf;
template <class R, class F>
struct MemberOf<F R::*> {
    using Record = R;
    using Field = F;
};
template <auto Member>
using RecordOf = typename MemberOf<decltype(Member)>::Record;
template <auto Member>
using FieldOf = typename MemberOf<decltype(Member)>::Field;

template <auto Member>
constexpr ValueRow<RecordOf<Member>> textRow(ValueKind kind, const char* name, DWORD limit) {
    using Record = RecordOf<Member>;
    using Field = FieldOf<Member>;
    static_assert(std::is_same_v<std::remove_extent_t<Field>, char> && std::extent_v<Field> > 0,
                  "a text field is an array of char");
    ValueRow<Record> row;
    row.kind = kind;
    row.name = name;
    row.limit = limit == 0 || limit > std::extent_v<Field> ? DWORD{std::extent_v<Field>} : limit;
    row.text = [](void* record) { return std::span<char>(static_cast<Record*>(record)->*Member); };
    return row;
}

} // namespace detail

// A field of up to 32 bits; a narrower one keeps the stored number's low bits and is stored zero-extended.
template <auto Member>
constexpr ValueRow<detail::RecordOf<Member>> number(const char* name) {
    using Record = detail::RecordOf<Member>;
    using Field = detail::FieldOf<Member>;
    static_assert(std::is_integral_v<Field> && sizeof(Field) <= sizeof(DWORD));
    ValueRow<Record> row;
    row.name = name;
    row.get = [](const void* record) { return static_cast<DWORD>(static_cast<const Record*>(record)->*Member); };
    row.set = [](void* record, DWORD value) { static_cast<Record*>(record)->*Member = static_cast<Field>(value); };
    return row;
}

// A field of narrow text; `limit` is how many bytes the store is given, where that isn't the whole field.
template <auto Member>
constexpr ValueRow<detail::RecordOf<Member>> text(const char* name, DWORD limit = 0) {
    return detail::textRow<Member>(ValueKind::Text, name, limit);
}

template <auto Member>
constexpr ValueRow<detail::RecordOf<Member>> protectedText(const char* name, DWORD limit = 0) {
    return detail::textRow<Member>(ValueKind::ProtectedText, name, limit);
}

// What the store is given for a list, and so the most that it may hold.
inline constexpr DWORD kNameListLimit = 1024;

// A field of slots for names, in use up to the first empty one. A stored name that finds no slot, or doesn't fit its
// slot with a terminator, is left out.
template <auto Member>
constexpr ValueRow<detail::RecordOf<Member>> nameList(const char* name) {
    using Record = detail::RecordOf<Member>;
    using Field = detail::FieldOf<Member>;
    static_assert(std::is_same_v<std::remove_all_extents_t<Field>, char> && std::rank_v<Field> == 2);
    ValueRow<Record> row;
    row.kind = ValueKind::NameList;
    row.name = name;
    row.limit = kNameListLimit;
    row.slotSize = std::extent_v<Field, 1>;
    row.text = [](void* record) { return std::span<char>(*(static_cast<Record*>(record)->*Member), sizeof(Field)); };
    return row;
}

} // namespace wdlt
