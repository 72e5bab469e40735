// A text specific to the machine: the stem of names that this library and the running service form in the same way.
// Computed at each use and never stored; it is no cipher key.
#pragma once

#include <cstdint>
#include <span>
#include <string>

// The first bytes of the machine's digest, at most 20. Always true: where the system doesn't report its volume's serial
// number, a fixed one stands in.
bool BuildMachineDigest(std::span<std::uint8_t> output);

// 30 upper-case hexadecimal digits.
std::string GetMachineKeyText();
