// A text peculiar to the machine: the stem of names that this library and the running service form alike. Made anew at
// each use and stored nowhere; it is the key of nothing.
#pragma once

#include <cstdint>
#include <span>
#include <string>

// The first bytes of the machine's digest, at most 20. True in every case: where the system doesn't tell the serial
// number of its volume, a fixed one stands in.
bool BuildMachineDigest(std::span<std::uint8_t> output);

// 30 upper-case hexadecimal digits.
std::string GetMachineKeyText();
