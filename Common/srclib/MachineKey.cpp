#include "MachineKey.h"

#include "Digests.h"

#include <platform/win32.h>

#include <array>
#include <cstdio>
#include <string_view>

namespace {

constexpr std::size_t kTextBytes = 15; // of the digest, shown in the text

// The digest's key, and the serial number used where the system reports none for its volume. The same in all builds,
// since processes of different builds find each other by the digest.
constexpr std::string_view kMachineText = "786F087C-7C64-D347-8EAF-0FE9E7AE5999";
constexpr std::uint32_t kMachineSerial = 0xC14CEE4D;
// The text when there is no digest.
constexpr const char* kMachineKeyFallback = "16F395634818D4B94E1A";

// Root of the system's volume, "C:\"; empty when it is unknown.
std::string systemRoot() {
    std::array<char, MAX_PATH> folder{};
    const UINT length = GetSystemDirectoryA(folder.data(), static_cast<UINT>(folder.size()));
    const std::string_view path(folder.data());
    const bool hasDrive = length != 0 && length < folder.size() && path.size() >= 2 && path[1] == ':';
    return hasDrive ? std::string(path.substr(0, 2)) + "\\" : std::string();
}

} // namespace

bool BuildMachineDigest(std::span<std::uint8_t> output) {
    DWORD serial = kMachineSerial;
    if (const std::string root = systemRoot(); !root.empty())
        GetVolumeInformationA(root.c_str(), nullptr, 0, &serial, nullptr, nullptr, nullptr, 0);
    std::array<std::uint8_t, sizeof serial> message{};
    for (std::size_t i = 0; i < message.size(); ++i)
        message[i] = static_cast<std::uint8_t>(serial >> (8 * i));
    HmacSha1({reinterpret_cast<const std::uint8_t*>(kMachineText.data()), kMachineText.size()}, message, output);
    return true;
}

std::string GetMachineKeyText() {
    std::array<std::uint8_t, kSha1Bytes> digest{};
    if (!BuildMachineDigest(digest))
        return kMachineKeyFallback;
    std::string text;
    for (const std::uint8_t byte : std::span(digest).first(kTextBytes)) {
        std::array<char, 3> digits{};
        std::snprintf(digits.data(), digits.size(), "%02X", byte);
        text += digits.data();
    }
    return text;
}
