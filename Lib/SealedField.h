// A text in a fixed-size record, enciphered with all of its field, also what follows the terminator. The field's last
// byte is a terminator in the list and padding in the file, so that both are equally long.
#pragma once

#include "Rijndael.h"
#include "WdCommon/EventLine.h"

#include <platform/base.h>

#include <cstdint>
#include <string>

namespace wdlt {

struct SealedField {
    DWORD offset; // in the record
    DWORD bytes;  // a multiple of the cipher's block, at most kMostBytes
    // A store's log lines, with the file that is read, and the cipher's status or the size that came out.
    EventLine undeciphered;
    EventLine plainSizeInvalid;
    EventLine notOpened = {}; // logged after either of these
    EventLine unenciphered;
    EventLine cipherSizeInvalid;
    EventLine notSealed = {}; // likewise

    static constexpr DWORD kMostBytes = 768;

    // Decipher and encipher in place, with a cipher set up for that direction. WDLT_E_GENERAL (logged) when the result
    // is invalid; the record is then unchanged.
    [[nodiscard]] std::int32_t open(Rijndael& cipher, std::uint8_t* record, const std::string& file) const;
    [[nodiscard]] std::int32_t seal(Rijndael& cipher, std::uint8_t* record) const;
};

} // namespace wdlt
