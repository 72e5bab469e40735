#include <platform/cipher.h>

#include <algorithm>
#include <array>
#include <bcrypt.h>
#include <functional>
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

BCRYPT_ALG_HANDLE aes() {
    WideString mode = BCRYPT_CHAIN_MODE_ECB;
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
    static const BCRYPT_ALG_HANDLE algorithm = aes();
    m_enciphers = enciphers;
    m_isChained = isChained;
    BCRYPT_KEY_HANDLE handle = nullptr;
    check(BCryptGenerateSymmetricKey(algorithm, &handle, nullptr, 0, readOnly(key), static_cast<ULONG>(bytes), 0));
    m_key = std::shared_ptr<void>(handle, BCryptDestroyKey);
}

void WdBlockCipher::blocks(std::size_t length, std::uint8_t* output, const std::uint8_t* input) const {
    ULONG done = 0;
    check((m_enciphers ? BCryptEncrypt : BCryptDecrypt)(m_key.get(), readOnly(input), static_cast<ULONG>(length),
                                                        nullptr, nullptr, 0, output, static_cast<ULONG>(length), &done,
                                                        0));
}

// The chain is made here, block by block: with CBC of the system's own, a key whose vector is the one of the call before
// may go on with that call's chain.
void WdBlockCipher::run(std::uint8_t* chain, std::size_t length, std::uint8_t* output,
                        const std::uint8_t* input) const {
    if (length == 0)
        return;
    if (!m_isChained) {
        blocks(length, output, input);
        return;
    }
    const auto addChain = [chain](std::uint8_t* block) {
        std::transform(block, block + kBlockBytes, chain, block, std::bit_xor<>());
    };
    for (std::size_t at = 0; at < length; at += kBlockBytes) {
        std::array<std::uint8_t, kBlockBytes> block{};
        std::copy_n(input + at, kBlockBytes, block.begin());
        if (m_enciphers) {
            addChain(block.data());
            blocks(kBlockBytes, output + at, block.data());
            std::copy_n(output + at, kBlockBytes, chain);
        } else {
            blocks(kBlockBytes, output + at, block.data());
            addChain(output + at);
            std::ranges::copy(block, chain);
        }
    }
}

void WdHmacSha1(const std::uint8_t* key, std::size_t keyBytes, const std::uint8_t* message, std::size_t messageBytes,
                std::uint8_t* digest) {
    static const BCRYPT_ALG_HANDLE hmac = provider(BCRYPT_SHA1_ALGORITHM, BCRYPT_ALG_HANDLE_HMAC_FLAG);
    constexpr ULONG kDigestBytes = 20;
    check(BCryptHash(hmac, readOnly(key), static_cast<ULONG>(keyBytes), readOnly(message),
                     static_cast<ULONG>(messageBytes), digest, kDigestBytes));
}
