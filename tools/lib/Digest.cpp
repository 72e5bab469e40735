#include "Digest.h"

#include <nettle/sha2.h>

namespace wdlt {

std::array<BYTE, 32> sha256(std::string_view bytes) {
    sha256_ctx context{};
    sha256_init(&context);
    sha256_update(&context, bytes.size(), reinterpret_cast<const std::uint8_t*>(bytes.data()));
    std::array<BYTE, 32> digest{};
    sha256_digest(&context, digest.size(), digest.data());
    return digest;
}

} // namespace wdlt
