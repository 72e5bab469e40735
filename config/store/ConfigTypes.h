// The config types of a helper that serves several: a row each, found by the type's number.
#pragma once

#include "WdchHelper.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace wdlt {

struct ConfigType {
    std::uint64_t type;
    std::int32_t (*read)(WdchHelper& helper, void* data, std::uint64_t* size);
    std::int32_t (*write)(WdchHelper& helper, void* data, std::uint64_t size); // null: can only be read
};

// Null for a type that the helper doesn't have.
template <std::size_t Count>
constexpr const ConfigType* findConfigType(const ConfigType (&types)[Count], std::uint64_t type) {
    const auto* const found = std::ranges::find(types, type, &ConfigType::type);
    return found == types + Count ? nullptr : found;
}

} // namespace wdlt
