#include "SealedField.h"

#include <wdltcfg/status.h>

#include <algorithm>
#include <array>

namespace wdlt {

std::int32_t SealedField::open(Rijndael& cipher, std::uint8_t* record, const std::string& file) const {
    std::array<std::uint8_t, kMostBytes> plain;
    std::uint8_t* const text = record + offset;
    const std::int32_t plainBytes = cipher.PadDecrypt(text, static_cast<std::int32_t>(bytes), plain.data());
    if (plainBytes < 0) {
        undeciphered(plainBytes, file);
        return WDLT_E_GENERAL;
    }
    if (static_cast<DWORD>(plainBytes) != bytes - 1) {
        plainSizeInvalid(plainBytes, file);
        return WDLT_E_GENERAL;
    }
    std::copy_n(plain.begin(), plainBytes, text);
    text[plainBytes] = '\0';
    return WDLT_OK;
}

std::int32_t SealedField::seal(Rijndael& cipher, std::uint8_t* record) const {
    std::array<std::uint8_t, kMostBytes> ciphered;
    std::uint8_t* const text = record + offset;
    const std::int32_t cipherBytes = cipher.PadEncrypt(text, static_cast<std::int32_t>(bytes - 1), ciphered.data());
    if (cipherBytes < 0) {
        unenciphered(cipherBytes);
        return WDLT_E_GENERAL;
    }
    if (static_cast<DWORD>(cipherBytes) != bytes) {
        cipherSizeInvalid(cipherBytes);
        return WDLT_E_GENERAL;
    }
    std::copy_n(ciphered.begin(), bytes, text);
    return WDLT_OK;
}

} // namespace wdlt
