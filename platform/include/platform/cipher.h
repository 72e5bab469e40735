/* AES (FIPS 197) on whole blocks in ECB or CBC mode (SP 800-38A), and HMAC-SHA-1 (RFC 2104): Nettle's here, the system's
   own on Windows. */
#ifndef PLATFORM_CIPHER_H
#define PLATFORM_CIPHER_H

#include <cstddef>
#include <cstdint>
#include <nettle/aes.h>
#include <nettle/cbc.h>
#include <nettle/hmac.h>
#include <variant>

class WdBlockCipher {
  public:
    static constexpr std::size_t kBlockBytes = AES_BLOCK_SIZE;

    /* 16, 24 or 32 bytes. `isChained`: CBC mode, else ECB. */
    void setKey(const std::uint8_t* key, std::size_t bytes, bool enciphers, bool isChained) {
        m_enciphers = enciphers;
        m_isChained = isChained;
        if (bytes == AES128_KEY_SIZE)
            m_schedule.emplace<aes128_ctx>();
        else if (bytes == AES192_KEY_SIZE)
            m_schedule.emplace<aes192_ctx>();
        else
            m_schedule.emplace<aes256_ctx>();
        std::visit(
            [&](auto& schedule) {
                const auto functions = functionsOf(schedule);
                (enciphers ? functions.setEncryptKey : functions.setDecryptKey)(&schedule, key);
            },
            m_schedule);
    }
    /* `length` is a multiple of the block size; the buffers are the same one or apart. In CBC mode `chain` is the block
       before the first, and gets the last cipher block; in ECB mode it is left alone. */
    void run(std::uint8_t* chain, std::size_t length, std::uint8_t* output, const std::uint8_t* input) const {
        std::visit(
            [&](const auto& schedule) {
                const auto functions = functionsOf(schedule);
                const auto blocks = m_enciphers ? functions.encrypt : functions.decrypt;
                if (!m_isChained)
                    blocks(&schedule, length, output, input);
                else
                    (m_enciphers ? nettle_cbc_encrypt
                                 : nettle_cbc_decrypt)(&schedule, reinterpret_cast<nettle_cipher_func*>(blocks),
                                                       kBlockBytes, chain, length, output, input);
            },
            m_schedule);
    }

  private:
    /* Nettle's functions for each length of key, by the type of its schedule. */
    template <class Schedule>
    struct Functions {
        void (*setEncryptKey)(Schedule*, const std::uint8_t*);
        void (*setDecryptKey)(Schedule*, const std::uint8_t*);
        void (*encrypt)(const Schedule*, std::size_t, std::uint8_t*, const std::uint8_t*);
        void (*decrypt)(const Schedule*, std::size_t, std::uint8_t*, const std::uint8_t*);
    };
    static constexpr Functions<aes128_ctx> functionsOf(const aes128_ctx&) {
        return {nettle_aes128_set_encrypt_key, nettle_aes128_set_decrypt_key, nettle_aes128_encrypt,
                nettle_aes128_decrypt};
    }
    static constexpr Functions<aes192_ctx> functionsOf(const aes192_ctx&) {
        return {nettle_aes192_set_encrypt_key, nettle_aes192_set_decrypt_key, nettle_aes192_encrypt,
                nettle_aes192_decrypt};
    }
    static constexpr Functions<aes256_ctx> functionsOf(const aes256_ctx&) {
        return {nettle_aes256_set_encrypt_key, nettle_aes256_set_decrypt_key, nettle_aes256_encrypt,
                nettle_aes256_decrypt};
    }

    std::variant<aes128_ctx, aes192_ctx, aes256_ctx> m_schedule;
    bool m_enciphers = false;
    bool m_isChained = false;
};

/* `digest` gets 20 bytes. */
inline void WdHmacSha1(const std::uint8_t* key, std::size_t keyBytes, const std::uint8_t* message,
                       std::size_t messageBytes, std::uint8_t* digest) {
    hmac_sha1_ctx context;
    nettle_hmac_sha1_set_key(&context, keyBytes, key);
    nettle_hmac_sha1_update(&context, messageBytes, message);
    nettle_hmac_sha1_digest(&context, SHA1_DIGEST_SIZE, digest);
}

#endif
