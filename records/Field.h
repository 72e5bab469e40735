// One field of a record as data: its place in the record, the registry value it is stored as, how an invalid number is
// corrected, what replaces a value that can't be read, what a fresh installation has, and a description for users. The
// helpers read and write by these rows; the tools show, check and document them. Rows are constants; each call chained
// to `number`, `text`, `sealedText` or `nameList` returns the row with one thing changed.
//
//     constexpr FieldOf<WdphSmtp> kSmtpFields[] = {
//         number(WDLT_IN(WdphSmtp, dwLimitSize), "LimitSize").reads(atMost(WDLT_MAX_SCAN_SIZE)).fresh(5120),
//         number(WDLT_IN(WdphSmtp, dwMaxSessionCount), "MaxSessionCount").absent(100).reads(atLeast(1)).fresh(100),
//     };
//
// Unless a row says otherwise, a failed read ends the reading of the record and logs an error, numbers pass unchanged,
// and a text is stored with its terminator.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <type_traits>

namespace wdlt {

enum class FieldKind : std::uint8_t {
    Number,     // stored as REG_DWORD
    Text,       // REG_SZ, in the system code page, terminated inside the field
    SealedText, // REG_BINARY, enciphered by the helper
    NameList,   // REG_SZ, separated by commas; in the record slots of one size, in use up to the first empty one
    NumberList, // 32-bit numbers; another field counts those in use; never stored as a value
};

// How a number outside its limits is corrected.
struct NumberRule {
    enum class Outside : std::uint8_t { Passes, TakesLimit, TakesOther };

    std::uint32_t low = 0;
    std::uint32_t high = UINT32_MAX;
    Outside outside = Outside::Passes;
    std::uint32_t other = 0;
    bool inverts = false; // a flag that is stored as its opposite

    constexpr bool allows(std::uint32_t number) const { return number >= low && number <= high; }
    constexpr std::uint32_t operator()(std::uint32_t number) const {
        if (inverts)
            return number == 0 ? 1 : 0;
        if (outside == Outside::Passes || allows(number))
            return number;
        if (outside == Outside::TakesOther)
            return other;
        return number < low ? low : high;
    }
};

constexpr NumberRule between(std::uint32_t low, std::uint32_t high) {
    return {low, high, NumberRule::Outside::TakesLimit};
}
constexpr NumberRule atMost(std::uint32_t high) {
    return between(0, high);
}
constexpr NumberRule atLeast(std::uint32_t low) {
    return between(low, UINT32_MAX);
}
constexpr NumberRule orElse(std::uint32_t low, std::uint32_t high, std::uint32_t other) {
    return {low, high, NumberRule::Outside::TakesOther, other};
}
// 1 for anything but 0.
constexpr NumberRule asFlag() {
    return between(0, 1);
}
// 0 for anything but 1.
constexpr NumberRule exactlyOne() {
    return orElse(0, 1, 0);
}
constexpr NumberRule inverted() {
    return {0, 1, NumberRule::Outside::TakesLimit, 0, true};
}

// The level of a log line.
enum class Told : std::uint8_t { Quietly, AsTrace, AsError };

// What a failing read means for the rest of the record.
struct OnFailure {
    bool goesOn = false; // the field takes its default; else the read ends here
    Told told = Told::AsError;
};

struct Field {
    std::string_view member; // of the record
    std::uint32_t offset = 0;
    std::uint32_t bytes = 0;
    std::uint32_t slotBytes = 0;   // NameList: a name with its terminator
    std::uint32_t countOffset = 0; // NumberList: where its 32-bit count lies
    FieldKind kind = FieldKind::Number;
    bool isSigned = false;

    const char* value = nullptr;    // name of the registry value; null: none of its own
    std::uint32_t limit = 0;        // bytes that the store is asked for; at most the field's size, except for a list
    const char* lineName = nullptr; // name in log lines about reading; null: the value's name
    const char* lineNameOnWrite = nullptr; // name in log lines about writing; null: as for reading

    OnFailure whenAbsent;             // the store has no such value (WDLT_E_NOT_FOUND)
    OnFailure whenFailed;             // any other failure
    std::uint32_t number = 0;         // the default
    std::string_view text;            // likewise
    const char* otherValue = nullptr; // value that is read instead when this one can't be
    bool isFromDefaults = false;      // any failure reads from the record of defaults, if there is one
    Told toldFromDefaults = Told::Quietly;

    NumberRule onRead; // applies to a default too
    NumberRule onWrite;
    bool isToldWhenCorrected = false; // log a stored number that onRead changes
    bool isCorrected = false;         // the result of onWrite goes into the caller's record too
    bool isTerminated = true;         // a text is stored with its terminator
    bool isFileName = false;          // the directory is stripped, in a record that is written too
    bool isFolder = false;            // read with a trailing backslash, if there is room for one
    bool isCut = false;               // a stored text that is too long is cut to the field instead of failing
    bool isReadOnly = false;          // no write of the record touches the value
    bool keepsStoresCode = false;     // a failing write returns the store's code even where the helper has its own

    // For users and tools.
    const char* help = ""; // one line; for a flag, what 1 means
    const char* unit = ""; // of a number, where it has one
    bool isFlag = false;
    bool isDirectory = false;        // the tools take only a path in full, and end it in a backslash
    bool isSecret = false;           // shown only on request
    bool isNeverRead = false;        // never read by the library
    bool isKept = false;             // tools never change it, although a write of the record would
    std::uint32_t least = 0;         // smallest number that the tools accept
    std::uint32_t most = UINT32_MAX; // largest, likewise
    bool hasFresh = false;           // a fresh installation has the value
    std::uint32_t freshNumber = 0;   // and this is it
    std::string_view freshText;      // likewise; always empty for a sealed text
};

// A member's name and offset: the argument of the functions below.
template <class Record, class Member>
struct MemberOf {
    std::string_view member;
    std::uint32_t offset;
};
#define WDLT_IN(Record, Member)                                                                                        \
    (wdlt::MemberOf<Record, decltype(Record::Member)>{#Member, static_cast<std::uint32_t>(offsetof(Record, Member))})

// A field of a Record.
template <class Record>
struct FieldOf : Field {
    // An absent value reads as `content`, without a log line; other failures are unaffected.
    constexpr FieldOf absent(std::uint32_t content) const {
        return with([=](FieldOf& field) {
            field.number = content;
            field.whenAbsent = {true, Told::Quietly};
        });
    }
    constexpr FieldOf absent(std::string_view content) const {
        return with([=](FieldOf& field) {
            field.text = content;
            field.whenAbsent = {true, Told::Quietly};
        });
    }
    // After any failure the field reads as `content`.
    constexpr FieldOf unreadable(std::uint32_t content, Told told = Told::AsError) const {
        return with([=](FieldOf& field) {
            field.number = content;
            field.whenAbsent = field.whenFailed = {true, told};
        });
    }
    constexpr FieldOf unreadable(std::string_view content, Told told = Told::AsError) const {
        return with([=](FieldOf& field) {
            field.text = content;
            field.whenAbsent = field.whenFailed = {true, told};
        });
    }
    // After any failure the field is taken from the record of defaults, if the helper has one for its address.
    constexpr FieldOf orDefaults(Told told) const {
        return with([=](FieldOf& field) {
            field.isFromDefaults = true;
            field.toldFromDefaults = told;
        });
    }
    // After any failure the value `other` is read instead; if that fails too, its failure counts.
    constexpr FieldOf orValue(const char* other) const {
        return with([=](FieldOf& field) { field.otherValue = other; });
    }
    // The log level of a failure that ends the reading.
    constexpr FieldOf failsToldAs(Told told) const {
        return with([=](FieldOf& field) { field.whenAbsent.told = field.whenFailed.told = told; });
    }

    constexpr FieldOf reads(const NumberRule& rule) const {
        return with([=](FieldOf& field) { field.onRead = rule; });
    }
    constexpr FieldOf toldWhenCorrected() const {
        return with([](FieldOf& field) { field.isToldWhenCorrected = true; });
    }
    constexpr FieldOf writes(const NumberRule& rule) const {
        return with([=](FieldOf& field) { field.onWrite = rule; });
    }
    constexpr FieldOf writesAndCorrects(const NumberRule& rule) const {
        return with([=](FieldOf& field) {
            field.onWrite = rule;
            field.isCorrected = true;
        });
    }

    constexpr FieldOf withoutTerminator() const {
        return with([](FieldOf& field) { field.isTerminated = false; });
    }
    constexpr FieldOf fileName() const {
        return with([](FieldOf& field) { field.isFileName = true; });
    }
    constexpr FieldOf folder() const {
        return with([](FieldOf& field) { field.isFolder = true; });
    }
    constexpr FieldOf cut() const {
        return with([](FieldOf& field) { field.isCut = true; });
    }
    constexpr FieldOf readOnly() const {
        return with([](FieldOf& field) { field.isReadOnly = true; });
    }
    constexpr FieldOf keepingStoresCode() const {
        return with([](FieldOf& field) { field.keepsStoresCode = true; });
    }
    // The field's name in log lines, if not the value's: `content`, or the member's name; and the one in lines about
    // writing.
    constexpr FieldOf named(const char* content) const {
        return with([=](FieldOf& field) { field.lineName = content; });
    }
    constexpr FieldOf namedAsMember() const {
        return with([](FieldOf& field) { field.lineName = field.member.data(); }); // a literal, so terminated
    }
    constexpr FieldOf namedOnWrite(const char* content) const {
        return with([=](FieldOf& field) { field.lineNameOnWrite = content; });
    }

    constexpr FieldOf is(const char* content) const {
        return with([=](FieldOf& field) { field.help = content; });
    }
    // A number that is either 0 or 1; `content` says what 1 means.
    constexpr FieldOf flag(const char* content) const {
        return with([=](FieldOf& field) {
            field.help = content;
            field.isFlag = true;
            field.most = 1;
        });
    }
    constexpr FieldOf in(const char* content) const {
        return with([=](FieldOf& field) { field.unit = content; });
    }
    constexpr FieldOf directory() const {
        return with([](FieldOf& field) { field.isDirectory = true; });
    }
    constexpr FieldOf secret() const {
        return with([](FieldOf& field) { field.isSecret = true; });
    }
    constexpr FieldOf neverRead() const {
        return with([](FieldOf& field) { field.isNeverRead = true; });
    }
    constexpr FieldOf kept() const {
        return with([](FieldOf& field) { field.isKept = true; });
    }
    constexpr FieldOf takes(std::uint32_t low, std::uint32_t high) const {
        return with([=](FieldOf& field) {
            field.least = low;
            field.most = high;
        });
    }
    constexpr FieldOf fresh(std::uint32_t content) const {
        return with([=](FieldOf& field) {
            field.hasFresh = true;
            field.freshNumber = content;
        });
    }
    constexpr FieldOf fresh(std::string_view content) const {
        return with([=](FieldOf& field) {
            field.hasFresh = true;
            field.freshText = content;
        });
    }

  private:
    template <class Change>
    constexpr FieldOf with(Change&& change) const {
        FieldOf field = *this;
        change(field);
        return field;
    }
};

// A field of up to 32 bits; a narrower one keeps the stored number's low bits and is stored zero-extended.
template <class Record, class Member>
constexpr FieldOf<Record> number(const MemberOf<Record, Member>& place, const char* value) {
    static_assert(std::is_integral_v<Member> && sizeof(Member) <= sizeof(std::uint32_t));
    FieldOf<Record> field;
    field.member = place.member;
    field.offset = place.offset;
    field.bytes = sizeof(Member);
    field.isSigned = std::is_signed_v<Member>;
    field.value = value;
    return field;
}

// A field of narrow text; `limit` is how many bytes the store is asked for, where that isn't the whole field.
template <class Record, class Member>
constexpr FieldOf<Record> text(const MemberOf<Record, Member>& place, const char* value, std::uint32_t limit = 0) {
    static_assert(std::is_same_v<std::remove_extent_t<Member>, char> && std::extent_v<Member> > 0,
                  "a text field is an array of char");
    FieldOf<Record> field;
    field.member = place.member;
    field.offset = place.offset;
    field.bytes = sizeof(Member);
    field.kind = FieldKind::Text;
    field.value = value;
    field.limit = limit == 0 || limit > sizeof(Member) ? std::uint32_t{sizeof(Member)} : limit;
    return field;
}

template <class Record, class Member>
constexpr FieldOf<Record> sealedText(const MemberOf<Record, Member>& place, const char* value,
                                     std::uint32_t limit = 0) {
    FieldOf<Record> field = text(place, value, limit);
    field.kind = FieldKind::SealedText;
    return field;
}

// Bytes that the store is asked for when a name list is read, and so the most that one may have.
inline constexpr std::uint32_t kNameListLimit = 1024;

// A stored name is left out when there is no slot left, or when it doesn't fit a slot with its terminator.
template <class Record, class Member>
constexpr FieldOf<Record> nameList(const MemberOf<Record, Member>& place, const char* value) {
    static_assert(std::is_same_v<std::remove_all_extents_t<Member>, char> && std::rank_v<Member> == 2);
    FieldOf<Record> field;
    field.member = place.member;
    field.offset = place.offset;
    field.bytes = sizeof(Member);
    field.slotBytes = std::extent_v<Member, 1>;
    field.kind = FieldKind::NameList;
    field.value = value;
    field.limit = kNameListLimit;
    return field;
}

// Always read only.
template <class Record, class Member, class Count>
constexpr FieldOf<Record> numberList(const MemberOf<Record, Member>& place, const MemberOf<Record, Count>& count) {
    static_assert(std::is_same_v<std::remove_extent_t<Member>, std::uint32_t> && std::is_same_v<Count, std::uint32_t> &&
                  std::extent_v<Member> > 0);
    FieldOf<Record> field;
    field.member = place.member;
    field.offset = place.offset;
    field.bytes = sizeof(Member);
    field.countOffset = count.offset;
    field.kind = FieldKind::NumberList;
    field.isReadOnly = true;
    return field;
}

// The index of a member's row in a table, and the row itself. A member without a row doesn't compile.
template <class Record, std::size_t Count, class Member>
consteval std::size_t indexOf(const FieldOf<Record> (&fields)[Count], const MemberOf<Record, Member>& place) {
    for (std::size_t i = 0; i < Count; ++i)
        if (fields[i].offset == place.offset)
            return i;
    throw "no such row";
}
template <class Record, std::size_t Count, class Member>
consteval FieldOf<Record> rowOf(const FieldOf<Record> (&fields)[Count], const MemberOf<Record, Member>& place) {
    return fields[indexOf(fields, place)];
}

// The same rows with one moved to the end, for a record that is written in another order than it is read.
template <class Record, std::size_t Count, class Member>
consteval std::array<FieldOf<Record>, Count> withLast(const FieldOf<Record> (&fields)[Count],
                                                      const MemberOf<Record, Member>& place) {
    std::array<FieldOf<Record>, Count> rows{};
    std::size_t next = 0;
    for (const FieldOf<Record>& field : fields)
        if (field.offset != place.offset)
            rows[next++] = field;
    rows[Count - 1] = rowOf(fields, place);
    return rows;
}

// The bytes of a record that belong to some field.
template <std::size_t Bytes>
class Coverage {
  public:
    constexpr void add(std::size_t at, std::size_t bytes) {
        for (std::size_t i = 0; i < bytes; ++i)
            m_filled[at + i] = true;
    }
    // Whether all bytes are covered, except up to three before a multiple of four: padding.
    constexpr bool isWhole() const {
        for (std::size_t at = 0; at < Bytes; ++at) {
            std::size_t end = at;
            while (end < Bytes && !m_filled[end])
                ++end;
            if (end - at > 3 || (end != at && end % 4 != 0))
                return false;
            at = end;
        }
        return true;
    }

  private:
    std::array<bool, Bytes> m_filled{};
};

// Whether the rows cover the record, apart from `places`: fields without a row in this table.
template <class Record, std::size_t Count, class... Elsewhere>
constexpr bool cover(const FieldOf<Record> (&fields)[Count], const MemberOf<Record, Elsewhere>&... places) {
    Coverage<sizeof(Record)> coverage;
    for (const Field& field : fields)
        coverage.add(field.offset, field.bytes);
    // NOLINTNEXTLINE(bugprone-sizeof-expression): a pointer is a field too
    (coverage.add(places.offset, sizeof(Elsewhere)), ...);
    return coverage.isWhole();
}

} // namespace wdlt
