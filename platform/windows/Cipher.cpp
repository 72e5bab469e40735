#include <platform/cipher.h>

#include <algorithm>
#include <array>
#include <bcrypt.h>
#include <limits>
#include <new>

namespace {

void check(NTSTATUS status) {
    if (status != 0) // no memory, or a system that lacks its own algorithms
        throw std::bad_alloc();
}

BCRYPT_ALG_HANDLE provider(LPCWSTR algorithm, ULONG flags) {
    BCRYPT_ALG_HANDLE handle = nullptr;
    check(BCryptOpenAlgorithmProvider(&handle, algorithm, nullptr, flags));
    return handle;
}

BCRYPT_ALG_HANDLE aes(WideString mode) {
    BCRYPT_ALG_HANDLE handle = provider(BCRYPT_AES_ALGORITHM, 0);
    check(BCryptSetProperty(handle, BCRYPT_CHAINING_MODE, reinterpret_cast<PUCHAR>(mode.data()),
                            static_cast<ULONG>((mode.size() + 1) * sizeof(WCHAR)), 0));
    return handle;
}

PUCHAR readOnly(const std::uint8_t* bytes) {
    return const_cast<PUCHAR>(bytes); // the system's calls don't write to it
}

} // namespace

// Providers are opened once and kept: to open one takes longer than a record.
void WdBlockCipher::setKey(const std::uint8_t* key, std::size_t bytes, bool enciphers, bool isChained) {
    static const BCRYPT_ALG_HANDLE ecb = aes(BCRYPT_CHAIN_MODE_ECB);
    static const BCRYPT_ALG_HANDLE cbc = aes(BCRYPT_CHAIN_MODE_CBC);
    m_enciphers = enciphers;
    m_isChained = isChained;
    BCRYPT_KEY_HANDLE handle = nullptr;
    check(BCryptGenerateSymmetricKey(isChained ? cbc : ecb, &handle, nullptr, 0, readOnly(key),
                                     static_cast<ULONG>(bytes), 0));
    m_key = std::shared_ptr<void>(handle, BCryptDestroyKey);
}

// What the system leaves in its copy of the chain isn't relied on.
void WdBlockCipher::run(std::uint8_t* chain, std::size_t length, std::uint8_t* output,
                        const std::uint8_t* input) const {
    if (length == 0)
        return;
    std::array<std::uint8_t, kBlockBytes> before{};
    std::array<std::uint8_t, kBlockBytes> after{};
    if (m_isChained) {
        std::copy_n(chain, kBlockBytes, before.begin());
        std::copy_n(input + length - kBlockBytes, kBlockBytes, after.begin());
    }
    ULONG done = 0;
    check((m_enciphers ? BCryptEncrypt : BCryptDecrypt)(
        m_key.get(), readOnly(input), static_cast<ULONG>(length), nullptr, m_isChained ? before.data() : nullptr,
        m_isChained ? static_cast<ULONG>(kBlockBytes) : 0, output, static_cast<ULONG>(length), &done, 0));
    if (m_isChained)
        std::copy_n(m_enciphers ? output + length - kBlockBytes : after.data(), kBlockBytes, chain);
}

void WdHmacSha1(const std::uint8_t* key, std::size_t keyBytes, const std::uint8_t* message, std::size_t messageBytes,
                std::uint8_t* digest) {
    static const BCRYPT_ALG_HANDLE hmac = provider(BCRYPT_SHA1_ALGORITHM, BCRYPT_ALG_HANDLE_HMAC_FLAG);
    constexpr ULONG kDigestBytes = 20;
    check(BCryptHash(hmac, readOnly(key), static_cast<ULONG>(keyBytes), readOnly(message),
                     static_cast<ULONG>(messageBytes), digest, kDigestBytes));
}
