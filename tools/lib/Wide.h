/* The tools' wide texts as the interface's calls take them: the same units, whatever type it has for them. */
#pragma once

#include <array>
#include <cstddef>
#include <platform/base.h>
#include <string>

namespace wdlt {

inline const WCHAR* wide(const std::u16string& text) {
    return reinterpret_cast<const WCHAR*>(text.c_str());
}
inline WCHAR* wide(std::u16string& text) {
    return reinterpret_cast<WCHAR*>(text.data());
}
template <std::size_t size>
WCHAR* wide(std::array<char16_t, size>& text) {
    return reinterpret_cast<WCHAR*>(text.data());
}

} // namespace wdlt
