// The cipher of all protected stores: AES (FIPS 197) over whole messages with the padding of PKCS #7, in ECB or CBC
// mode (SP 800-38A). Init sets an object up for one direction; a reader and a writer need two. No lock: it belongs to
// the call or the store object that owns it.
#pragma once

#include <platform/cipher.h>

#include <array>
#include <cstddef>
#include <cstdint>

class Rijndael {
  public:
    static constexpr int kEcb = 0;
    static constexpr int kCbc = 1;
    static constexpr int kUnusedMode = 2; // accepted by Init, refused by every operation
    static constexpr int kEncrypt = 0;
    static constexpr int kDecrypt = 1;
    static constexpr int kKey16Bytes = 0;
    static constexpr int kKey24Bytes = 1;
    static constexpr int kKey32Bytes = 2;
    static constexpr std::int32_t kBlockBytes = 16;

    // Errors, returned in place of a number of bytes.
    static constexpr std::int32_t kUnknownMode = -1;
    static constexpr std::int32_t kUnknownDirection = -2;
    static constexpr std::int32_t kUnknownKeyLength = -3;
    static constexpr std::int32_t kNoKey = -4;
    static constexpr std::int32_t kNotSetUp = -5;
    static constexpr std::int32_t kWrongDirection = -6;
    static constexpr std::int32_t kCorrupted = -7;

    // Size of the cipher text of `plainBytes` bytes: the next greater multiple of 16.
    static constexpr std::int32_t cipherBytes(std::int32_t plainBytes) { return ((plainBytes >> 4) + 1) << 4; }

    // 0, or the error for an unknown or missing argument; the object then can't be used. `initVector` has 16 bytes;
    // null is 16 zero bytes.
    std::int32_t Init(int mode, int direction, const std::uint8_t* key, int keyLength,
                      const std::uint8_t* initVector = nullptr);

    // Enciphers or deciphers one whole message, starting from the initialization vector. Returns the bytes written; 0
    // for no input; kUnknownMode for kUnusedMode or too long an input; kCorrupted for data that isn't the cipher text
    // of any message. `output` needs room for 16 bytes more than the input, or when deciphering for as many; after
    // kCorrupted it may hold what came before the fault.
    [[nodiscard]] std::int32_t PadEncrypt(const std::uint8_t* input, std::int32_t inputLength, std::uint8_t* output);
    [[nodiscard]] std::int32_t PadDecrypt(const std::uint8_t* input, std::int32_t inputLength, std::uint8_t* output);
    // The same with the chain running on from message to message, so that they can only be read in order.
    [[nodiscard]] std::int32_t PadEncryptChained(const std::uint8_t* input, std::int32_t inputLength,
                                                 std::uint8_t* output);
    [[nodiscard]] std::int32_t PadDecryptChained(const std::uint8_t* input, std::int32_t inputLength,
                                                 std::uint8_t* output);

  private:
    using Block = std::array<std::uint8_t, kBlockBytes>;

    [[nodiscard]] std::int32_t encrypt(const std::uint8_t* input, std::int32_t inputLength, std::uint8_t* output,
                                       Block& chain);
    [[nodiscard]] std::int32_t decrypt(const std::uint8_t* input, std::int32_t inputLength, std::uint8_t* output,
                                       Block& chain);
    Block& chainOfCalls();

    bool m_valid = false;
    int m_mode = kCbc;
    int m_direction = kEncrypt;
    bool m_chainStarted = false;
    Block m_initVector{};
    Block m_chainBlock{};
    WdBlockCipher m_blocks;
};
