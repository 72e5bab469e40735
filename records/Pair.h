// Pairs a field of an exported record with the field of a stored record that it is copied from and to. A family reads
// and writes its record by a table of these.
#pragma once

#include "Field.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

namespace wdlt {

template <class Exported, class Stored>
struct PairOf {
    std::string_view member; // of both
    std::uint32_t exportedAt;
    std::uint32_t storedAt;
    std::uint32_t exportedBytes;
    std::uint32_t storedBytes;
    bool isText; // else a number of the same type in both
    bool isSigned;
};

namespace detail {

template <class ExportedField, class StoredField>
constexpr bool arePaired() {
    if constexpr (std::is_array_v<ExportedField>)
        return std::is_same_v<std::remove_extent_t<ExportedField>, char> &&
               std::is_same_v<std::remove_extent_t<StoredField>, char>;
    return std::is_same_v<ExportedField, StoredField> && std::is_integral_v<ExportedField>;
}

} // namespace detail

template <class Exported, class ExportedField, class Stored, class StoredField>
constexpr PairOf<Exported, Stored> pairOf(const MemberOf<Exported, ExportedField>& exported,
                                          const MemberOf<Stored, StoredField>& stored) {
    static_assert(detail::arePaired<ExportedField, StoredField>(), "numbers of one type, or two texts");
    return {exported.member,
            exported.offset,
            stored.offset,
            sizeof(ExportedField),
            sizeof(StoredField),
            std::is_array_v<ExportedField>,
            std::is_signed_v<ExportedField>};
}
// For a member that has the same name in both.
#define WDLT_PAIR(Exported, Stored, Member) wdlt::pairOf(WDLT_IN(Exported, Member), WDLT_IN(Stored, Member))

// Whether the pairs cover the exported record, apart from `places`: fields that come from elsewhere. A forgotten field
// would be lost silently.
template <class Exported, class Stored, std::size_t Count, class... Elsewhere>
constexpr bool coverExported(const PairOf<Exported, Stored> (&pairs)[Count],
                             const MemberOf<Exported, Elsewhere>&... places) {
    Coverage<sizeof(Exported)> coverage;
    for (const auto& pair : pairs)
        coverage.add(pair.exportedAt, pair.exportedBytes);
    (coverage.add(places.offset, sizeof(Elsewhere)), ...);
    return coverage.isWhole();
}

} // namespace wdlt
