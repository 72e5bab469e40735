// The cipher of all protected stores: AES (FIPS 197) over whole messages with the padding of PKCS #7, in ECB or CBC
// mode (SP 800-38A). One object serves one direction, from a successful Init on; a reader and a writer need two. No
// lock: it belongs to the call or the store object that owns it.
#pragma once

#include <array>
#include <cstdint>
#include <nettle/aes.h>
#include <variant>

class Rijndael {
  public:
    static constexpr int kEcb = 0;
    static constexpr int kCbc = 1;
    static constexpr int kUnusedMode = 2; // Init takes it, no operation works in it
    static constexpr int kEncrypt = 0;
    static constexpr int kDecrypt = 1;
    static constexpr int kKey16Bytes = 0;
    static constexpr int kKey24Bytes = 1;
    static constexpr int kKey32Bytes = 2;
    static constexpr std::int32_t kBlockBytes = 16;

    // What comes in place of a number of bytes.
    static constexpr std::int32_t kUnknownMode = -1;
    static constexpr std::int32_t kUnknownDirection = -2;
    static constexpr std::int32_t kUnknownKeyLength = -3;
    static constexpr std::int32_t kNoKey = -4;
    static constexpr std::int32_t kNotSetUp = -5;
    static constexpr std::int32_t kWrongDirection = -6;
    static constexpr std::int32_t kCorrupted = -7;

    // Bytes that a message of `plainBytes` enciphers to: the next multiple of 16 above it.
    static constexpr std::int32_t cipherBytes(std::int32_t plainBytes) { return ((plainBytes >> 4) + 1) << 4; }

    // 0, or which argument isn't known or missing: the object works then no more. `initVector` has 16 bytes; null is 16
    // zero bytes.
    std::int32_t Init(int mode, int direction, const std::uint8_t* key, int keyLength,
                      const std::uint8_t* initVector = nullptr);

    // One whole message, from the init vector on. Bytes written; 0 for no input; kUnknownMode in a mode that isn't
    // served. Deciphering gives kCorrupted for data that no message enciphers to. `output` has room for 16 bytes more
    // than the input, or as many as it when deciphering; corrupted, it may hold what came before the fault.
    std::int32_t PadEncrypt(const std::uint8_t* input, std::int32_t inputLength, std::uint8_t* output);
    std::int32_t PadDecrypt(const std::uint8_t* input, std::int32_t inputLength, std::uint8_t* output);
    // The same with the chain running on from message to message, so that they can be read in order only.
    std::int32_t PadEncryptChained(const std::uint8_t* input, std::int32_t inputLength, std::uint8_t* output);
    std::int32_t PadDecryptChained(const std::uint8_t* input, std::int32_t inputLength, std::uint8_t* output);

  private:
    using Block = std::array<std::uint8_t, kBlockBytes>;

    std::int32_t encrypt(const std::uint8_t* input, std::int32_t inputLength, std::uint8_t* output, Block& chain);
    std::int32_t decrypt(const std::uint8_t* input, std::int32_t inputLength, std::uint8_t* output, Block& chain);
    void encipher(Block& chain, std::size_t length, std::uint8_t* output, const std::uint8_t* input) const;
    void decipher(Block& chain, std::size_t length, std::uint8_t* output, const std::uint8_t* input) const;
    Block& chainOfCalls();

    bool m_valid = false;
    int m_mode = kCbc;
    int m_direction = kEncrypt;
    bool m_chainStarted = false;
    Block m_initVector{};
    Block m_chainBlock{};
    std::variant<aes128_ctx, aes192_ctx, aes256_ctx> m_schedule;
};
