// Digests, by their published names.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

inline constexpr std::size_t kSha1Bytes = 20;

// HMAC-SHA-1 (RFC 2104 over RFC 3174): the first bytes of the digest, at most 20, in `output`, the rest of it zero.
void HmacSha1(std::span<const std::uint8_t> key, std::span<const std::uint8_t> message, std::span<std::uint8_t> output);
