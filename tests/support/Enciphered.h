// One message as the product's files hold it.
#pragma once

#include "Rijndael.h"
#include "StoreKeys.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

inline std::string enciphered(const wdlt::StoreKey& key, std::string_view plain) {
    Rijndael cipher;
    cipher.Init(Rijndael::kCbc, Rijndael::kEncrypt, key.data(), Rijndael::kKey16Bytes);
    const auto bytes = static_cast<std::int32_t>(plain.size());
    std::string message(static_cast<std::size_t>(Rijndael::cipherBytes(bytes)), '\0');
    const std::int32_t done = cipher.PadEncrypt(reinterpret_cast<const std::uint8_t*>(plain.data()), bytes,
                                                reinterpret_cast<std::uint8_t*>(message.data()));
    if (done < 0)
        throw std::logic_error("not enciphered");
    message.resize(static_cast<std::size_t>(done)); // none for an empty text
    return message;
}
