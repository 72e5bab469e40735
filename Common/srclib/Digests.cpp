#include "Digests.h"

#include <algorithm>
#include <nettle/hmac.h>

void HmacSha1(std::span<const std::uint8_t> key, std::span<const std::uint8_t> message,
              std::span<std::uint8_t> output) {
    hmac_sha1_ctx context;
    nettle_hmac_sha1_set_key(&context, key.size(), key.data());
    nettle_hmac_sha1_update(&context, message.size(), message.data());
    std::ranges::fill(output, std::uint8_t{0});
    nettle_hmac_sha1_digest(&context, std::min(output.size(), kSha1Bytes), output.data());
}
