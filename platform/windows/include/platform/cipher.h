/* AES (FIPS 197) on whole blocks in ECB or CBC mode (SP 800-38A), and HMAC-SHA-1 (RFC 2104): the system's own. */
#ifndef PLATFORM_CIPHER_H
#define PLATFORM_CIPHER_H

#include <platform/base.h>

#include <memory>

class WdBlockCipher {
  public:
    static constexpr std::size_t kBlockBytes = 16;

    /* 16, 24 or 32 bytes. `isChained`: CBC mode, else ECB. Throws std::bad_alloc when the system has no room for the
       key. */
    void setKey(const std::uint8_t* key, std::size_t bytes, bool enciphers, bool isChained);
    /* `length` is a multiple of the block size; the buffers are the same one or apart. In CBC mode `chain` is the block
       before the first, and gets the last cipher block; in ECB mode it is left alone. */
    void run(std::uint8_t* chain, std::size_t length, std::uint8_t* output, const std::uint8_t* input) const;

  private:
    void blocks(std::size_t length, std::uint8_t* output, const std::uint8_t* input) const;

    std::shared_ptr<void> m_key; /* the system's handle; it has no state of its own, so copies may share it */
    bool m_enciphers = false;
    bool m_isChained = false;
};

/* `digest` gets 20 bytes. */
void WdHmacSha1(const std::uint8_t* key, std::size_t keyBytes, const std::uint8_t* message, std::size_t messageBytes,
                std::uint8_t* digest);

#endif
