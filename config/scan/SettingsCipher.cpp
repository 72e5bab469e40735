#include "SettingsCipher.h"

#include "StoreKeys.h"
#include "WdCommon/DebugLog.h"
#include "Wiped.h"

#include <platform/registry.h>
#include <wdltcfg/status.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <new>

namespace wdlt {
namespace {

constexpr std::size_t kMostPlainBytes = std::numeric_limits<std::int32_t>::max() - Rijndael::kBlockBytes;
// Most bytes of a registry value, however large the caller's buffer is.
constexpr std::size_t kMostStoredBytes = std::size_t{1} << 20;

std::unique_ptr<std::uint8_t[]> allocate(std::size_t bytes) {
    return std::unique_ptr<std::uint8_t[]>(new (std::nothrow) std::uint8_t[bytes]);
}

// A buffer for `count` plain bytes, which is wiped at the end.
class PlainBytes {
  public:
    explicit PlainBytes(std::size_t count) : m_bytes(allocate(count)), m_count(count) {}
    ~PlainBytes() {
        if (m_bytes != nullptr)
            SecureZeroMemory(m_bytes.get(), m_count);
    }
    PlainBytes(const PlainBytes&) = delete;
    PlainBytes& operator=(const PlainBytes&) = delete;
    std::uint8_t* get() const { return m_bytes.get(); } // null without memory

  private:
    std::unique_ptr<std::uint8_t[]> m_bytes;
    std::size_t m_count;
};

} // namespace

std::int32_t SettingsCipher::read(const char* name, std::span<char> text) {
    std::uint64_t size = 0;
    return read(name, text, size);
}

std::int32_t SettingsCipher::read(const char* name, std::span<char> buffer, std::uint64_t& size) {
    m_rijndael.Init(Rijndael::kCbc, Rijndael::kDecrypt, kSettingsKey.data(), Rijndael::kKey16Bytes);
    std::ranges::fill(buffer, '\0');
    // One read, into a buffer for the longest valid message: a second read could find another value.
    auto storedBytes = static_cast<DWORD>(std::min(buffer.size(), kMostStoredBytes) + Rijndael::kBlockBytes);
    const auto stored = allocate(storedBytes);
    if (stored == nullptr)
        return WDLT_E_NO_MEMORY;
    const std::int32_t status = m_helper.ReadItem("", name, stored.get(), &storedBytes, false);
    if (status == WDLT_E_BUFFER_SIZE)
        size = storedBytes;
    if (status != WDLT_OK)
        return status;
    if (storedBytes == 0) {
        size = 0;
        return WDLT_OK;
    }
    const PlainBytes plain(storedBytes);
    if (plain.get() == nullptr)
        return WDLT_E_NO_MEMORY;
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
