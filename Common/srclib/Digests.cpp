#include "Digests.h"

#include <platform/cipher.h>

#include <algorithm>
#include <array>

void HmacSha1(std::span<const std::uint8_t> key, std::span<const std::uint8_t> message,
              std::span<std::uint8_t> output) {
    std::array<std::uint8_t, kSha1Bytes> digest{};
    WdHmacSha1(key.data(), key.size(), message.data(), message.size(), digest.data());
    std::ranges::fill(output, std::uint8_t{0});
    std::copy_n(digest.begin(), std::min(output.size(), digest.size()), output.begin());
}
