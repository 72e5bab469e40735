// A text in a record of one size that is enciphered whole, what stands behind its terminator too. It ends in one byte
// that the list has as a terminator and the file as padding, so both are equally long.
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
    // A store's lines: the file that is read, and the cipher's status or the size that came out.
    EventLine undeciphered;
    EventLine plainSizeInvalid;
    EventLine notOpened = {}; // behind either
    EventLine unenciphered;
    EventLine cipherSizeInvalid;
    EventLine notSealed = {}; // likewise

    static constexpr DWORD kMostBytes = 768;

    // In the record, with a cipher set up for the direction. WDLT_E_GENERAL after a line for what doesn't come out as
    // it must; the record is then as it was.
    [[nodiscard]] std::int32_t open(Rijndael& cipher, std::uint8_t* record, const std::string& file) const;
    [[nodiscard]] std::int32_t seal(Rijndael& cipher, std::uint8_t* record) const;
};

} // namespace wdlt
