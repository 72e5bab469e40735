/* Numbers on the command line: decimal, or hexadecimal with the prefix 0x. */
#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>

namespace wdlt {

inline std::optional<std::uint64_t> parseNumber(std::string_view text) {
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
        base = 16;
    }
    std::uint64_t number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, base);
    if (error != std::errc() || stop != end)
        return std::nullopt;
    return number;
}

} // namespace wdlt
