#include "SealedField.h"

#include <wdltcfg/status.h>

#include <algorithm>
#include <array>

namespace wdlt {
namespace {

std::int32_t refuse(const EventLine& line, const EventLine& behind, const char* file, std::int32_t number) {
    line.tell(kLogError, {file}, {number});
    behind.tell(kLogError, {}, {});
    return WDLT_E_GENERAL;
}

} // namespace

std::int32_t SealedField::open(Rijndael& cipher, std::uint8_t* record, const std::string& file) const {
    std::array<std::uint8_t, kMostBytes> plain;
    std::uint8_t* const text = record + offset;
    const std::int32_t plainBytes = cipher.PadDecrypt(text, static_cast<std::int32_t>(bytes), plain.data());
    if (plainBytes < 0)
        return refuse(undeciphered, notOpened, file.c_str(), plainBytes);
    if (static_cast<DWORD>(plainBytes) != bytes - 1)
        return refuse(plainSizeInvalid, notOpened, file.c_str(), plainBytes);
    std::copy_n(plain.begin(), plainBytes, text);
    text[plainBytes] = '\0';
    return WDLT_OK;
}

std::int32_t SealedField::seal(Rijndael& cipher, std::uint8_t* record) const {
    std::array<std::uint8_t, kMostBytes> ciphered;
    std::uint8_t* const text = record + offset;
    const std::int32_t cipherBytes = cipher.PadEncrypt(text, static_cast<std::int32_t>(bytes - 1), ciphered.data());
    if (cipherBytes < 0)
        return refuse(unenciphered, notSealed, "", cipherBytes);
    if (static_cast<DWORD>(cipherBytes) != bytes)
        return refuse(cipherSizeInvalid, notSealed, "", cipherBytes);
    std::copy_n(ciphered.begin(), bytes, text);
    return WDLT_OK;
}

} // namespace wdlt
