#include "SettingsCipher.h"

#include "StoreKeys.h"
#include "WdCommon/DebugLog.h"

#include <platform/registry.h>
#include <wdltcfg/status.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <new>

namespace wdlt {
namespace {

constexpr std::size_t kMostPlainBytes = std::numeric_limits<std::int32_t>::max() - Rijndael::kBlockBytes;

std::unique_ptr<std::uint8_t[]> allocate(std::size_t bytes) {
    return std::unique_ptr<std::uint8_t[]>(new (std::nothrow) std::uint8_t[bytes]);
}

} // namespace

std::int32_t SettingsCipher::read(const char* name, std::span<char> text) {
    std::uint64_t size = 0;
    return read(name, text, size);
}

std::int32_t SettingsCipher::read(const char* name, std::span<char> buffer, std::uint64_t& size) {
    m_rijndael.Init(Rijndael::kCbc, Rijndael::kDecrypt, kSettingsKey.data(), Rijndael::kKey16Bytes);
    std::ranges::fill(buffer, '\0');
    // No registry value is longer than its own limit, whatever room a caller says there is.
    const std::size_t room = std::min(buffer.size(), kMostPlainBytes) + Rijndael::kBlockBytes;
    DWORD storedBytes = 0;
    std::int32_t status = m_helper.ReadItem("", name, nullptr, &storedBytes, false);
    if (status != WDLT_OK && status != WDLT_E_BUFFER_SIZE)
        return status;
    if (storedBytes > room) {
        size = storedBytes;
        return WDLT_E_BUFFER_SIZE;
    }
    const auto stored = allocate(storedBytes);
    const auto plain = allocate(storedBytes);
    if (stored == nullptr || plain == nullptr)
        return WDLT_E_NO_MEMORY;
    if (storedBytes != 0) {
        status = m_helper.ReadItem("", name, stored.get(), &storedBytes, false);
        if (status == WDLT_E_BUFFER_SIZE)
            size = storedBytes;
        if (status != WDLT_OK)
            return status;
    }
    if (storedBytes == 0) {
        size = 0;
        return WDLT_OK;
    }
    const std::int32_t plainBytes =
        m_rijndael.PadDecrypt(stored.get(), static_cast<std::int32_t>(storedBytes), plain.get());
    if (plainBytes < 0) {
        WDLOG_ERROR("CEngineUrlFCommon: Failed to decrypt registry data (item=%s, err=%d)", name, plainBytes);
        return WDLT_E_GENERAL;
    }
    size = static_cast<std::uint64_t>(plainBytes);
    if (size > buffer.size()) {
        WDLOG_ERROR("CEngineUrlFCommon: Buffer too small for registry data (item=%s, size=%lu, required=%d)", name,
                    static_cast<unsigned long>(buffer.size()), plainBytes);
        return WDLT_E_BUFFER_SIZE;
    }
    std::copy_n(plain.get(), plainBytes, buffer.begin());
    return WDLT_OK;
}

std::int32_t SettingsCipher::write(const char* name, std::string_view text) {
    if (text.empty())
        return m_helper.WriteItem("", name, REG_BINARY, "", 0, false);
    m_rijndael.Init(Rijndael::kCbc, Rijndael::kEncrypt, kSettingsKey.data(), Rijndael::kKey16Bytes);
    const auto cipher = text.size() <= kMostPlainBytes ? allocate(text.size() + Rijndael::kBlockBytes) : nullptr;
    if (cipher == nullptr)
        return WDLT_E_NO_MEMORY;
    const std::int32_t cipherBytes = m_rijndael.PadEncrypt(reinterpret_cast<const std::uint8_t*>(text.data()),
                                                           static_cast<std::int32_t>(text.size()), cipher.get());
    if (cipherBytes < 0) {
        WDLOG_ERROR("CEngineUrlFCommon: Failed to encrypt registry data (item=%s, err=%d)", name, cipherBytes);
        return WDLT_E_GENERAL;
    }
    return m_helper.WriteItem("", name, REG_BINARY, cipher.get(), static_cast<DWORD>(cipherBytes), false);
}

} // namespace wdlt
