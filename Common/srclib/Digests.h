// Digests, by their published names.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

inline constexpr std::size_t kSha1Bytes = 20;

// HMAC-SHA-1 (RFC 2104 over RFC 3174): fills `output` with the digest's first bytes, at most 20, then with zeros.
void HmacSha1(std::span<const std::uint8_t> key, std::span<const std::uint8_t> message, std::span<std::uint8_t> output);
