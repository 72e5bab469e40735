// The values that the URL filter keeps enciphered in the registry: REG_BINARY, one padded message under the settings
// key; an empty text is an empty value. Used for one operation of its helper.
#pragma once

#include "Rijndael.h"
#include "ValueMap.h"
#include "WdchHelper.h"

#include <cstdint>
#include <span>
#include <string_view>

namespace wdlt {

class SettingsCipher final : public ProtectedValues {
  public:
    explicit SettingsCipher(WdchHelper& helper) : m_helper(helper) {}

    [[nodiscard]] std::int32_t read(const char* name, std::span<char> text) override;
    // Clears the buffer and reads into it. `size` becomes the number of plain bytes, or of those needed when the result
    // is WDLT_E_BUFFER_SIZE. WDLT_E_GENERAL for a value that can't be deciphered; else the store's code.
    [[nodiscard]] std::int32_t read(const char* name, std::span<char> buffer, std::uint64_t& size);
    [[nodiscard]] std::int32_t write(const char* name, std::string_view text) override;

  private:
    WdchHelper& m_helper;
    Rijndael m_rijndael;
};

} // namespace wdlt
