#include "Rijndael.h"

#include "Wiped.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <nettle/cbc.h>

namespace {

// Nettle's functions for each key length, by the type of its key schedule.
template <class Schedule>
struct Cipher;
template <>
struct Cipher<aes128_ctx> {
    static constexpr auto setEncryptKey = nettle_aes128_set_encrypt_key;
    static constexpr auto setDecryptKey = nettle_aes128_set_decrypt_key;
    static constexpr auto encrypt = nettle_aes128_encrypt;
    static constexpr auto decrypt = nettle_aes128_decrypt;
};
template <>
struct Cipher<aes192_ctx> {
    static constexpr auto setEncryptKey = nettle_aes192_set_encrypt_key;
    static constexpr auto setDecryptKey = nettle_aes192_set_decrypt_key;
    static constexpr auto encrypt = nettle_aes192_encrypt;
    static constexpr auto decrypt = nettle_aes192_decrypt;
};
template <>
struct Cipher<aes256_ctx> {
    static constexpr auto setEncryptKey = nettle_aes256_set_encrypt_key;
    static constexpr auto setDecryptKey = nettle_aes256_set_decrypt_key;
    static constexpr auto encrypt = nettle_aes256_encrypt;
    static constexpr auto decrypt = nettle_aes256_decrypt;
};

} // namespace

std::int32_t Rijndael::Init(int mode, int direction, const std::uint8_t* key, int keyLength,
                            const std::uint8_t* initVector) {
    m_valid = false;
    if (mode != kEcb && mode != kCbc && mode != kUnusedMode)
        return kUnknownMode;
    if (direction != kEncrypt && direction != kDecrypt)
        return kUnknownDirection;
    m_initVector = {};
    if (initVector != nullptr)
        std::copy_n(initVector, m_initVector.size(), m_initVector.begin());
    switch (keyLength) {
    case kKey16Bytes:
        m_schedule.emplace<aes128_ctx>();
        break;
    case kKey24Bytes:
        m_schedule.emplace<aes192_ctx>();
        break;
    case kKey32Bytes:
        m_schedule.emplace<aes256_ctx>();
        break;
    default:
        return kUnknownKeyLength;
    }
    if (key == nullptr)
        return kNoKey;
    std::visit(
        [&]<class Schedule>(Schedule& schedule) {
            if (direction == kEncrypt)
                Cipher<Schedule>::setEncryptKey(&schedule, key);
            else
                Cipher<Schedule>::setDecryptKey(&schedule, key);
        },
        m_schedule);
    m_mode = mode;
    m_direction = direction;
    m_chainStarted = false;
    m_valid = true;
    return 0;
}

// `length` is a multiple of the block size. In CBC mode the last cipher block goes to `chain`.
void Rijndael::encipher(Block& chain, std::size_t length, std::uint8_t* output, const std::uint8_t* input) const {
    std::visit(
        [&]<class Schedule>(const Schedule& schedule) {
            if (m_mode == kEcb)
                Cipher<Schedule>::encrypt(&schedule, length, output, input);
            else
                nettle_cbc_encrypt(&schedule, reinterpret_cast<nettle_cipher_func*>(Cipher<Schedule>::encrypt),
                                   kBlockBytes, chain.data(), length, output, input);
        },
        m_schedule);
}

void Rijndael::decipher(Block& chain, std::size_t length, std::uint8_t* output, const std::uint8_t* input) const {
    std::visit(
        [&]<class Schedule>(const Schedule& schedule) {
            if (m_mode == kEcb)
                Cipher<Schedule>::decrypt(&schedule, length, output, input);
            else
                nettle_cbc_decrypt(&schedule, reinterpret_cast<nettle_cipher_func*>(Cipher<Schedule>::decrypt),
                                   kBlockBytes, chain.data(), length, output, input);
        },
        m_schedule);
}

std::int32_t Rijndael::encrypt(const std::uint8_t* input, std::int32_t inputLength, std::uint8_t* output,
                               Block& chain) {
    if (!m_valid || m_direction != kEncrypt)
        return kNotSetUp;
    if (input == nullptr || inputLength < 1)
        return 0;
    if (m_mode == kUnusedMode || inputLength > std::numeric_limits<std::int32_t>::max() - kBlockBytes)
        return kUnknownMode;
    const auto length = static_cast<std::size_t>(inputLength);
    const std::size_t whole = length / kBlockBytes * kBlockBytes;
    wdlt::Wiped<Block> last;
    const std::size_t rest = length - whole;
    last->fill(static_cast<std::uint8_t>(kBlockBytes - rest));
    std::copy_n(input + whole, rest, last->begin());
    encipher(chain, whole, output, input);
    encipher(chain, last->size(), output + whole, last->data());
    return static_cast<std::int32_t>(whole + last->size());
}

std::int32_t Rijndael::decrypt(const std::uint8_t* input, std::int32_t inputLength, std::uint8_t* output,
                               Block& chain) {
    if (!m_valid)
        return kNotSetUp;
    if (m_direction != kDecrypt)
        return kWrongDirection;
    if (input == nullptr || inputLength < 1)
        return 0;
    if (m_mode == kUnusedMode)
        return kUnknownMode;
    if (inputLength % kBlockBytes != 0)
        return kCorrupted;
    Block running = chain; // a message that doesn't decipher leaves the chain as it was
    wdlt::Wiped<Block> last;
    const auto before = static_cast<std::size_t>(inputLength - kBlockBytes);
    decipher(running, before, output, input);
    decipher(running, last->size(), last->data(), input + before);
    const std::uint8_t padding = last->back();
    if (padding == 0 || padding > kBlockBytes ||
        !std::all_of(last->end() - padding, last->end(), [&](std::uint8_t byte) { return byte == padding; }))
        return kCorrupted;
    std::copy(last->begin(), last->end() - padding, output + before);
    chain = running;
    return inputLength - padding;
}

std::int32_t Rijndael::PadEncrypt(const std::uint8_t* input, std::int32_t inputLength, std::uint8_t* output) {
    Block chain = m_initVector;
    return encrypt(input, inputLength, output, chain);
}

std::int32_t Rijndael::PadDecrypt(const std::uint8_t* input, std::int32_t inputLength, std::uint8_t* output) {
    Block chain = m_initVector;
    return decrypt(input, inputLength, output, chain);
}

Rijndael::Block& Rijndael::chainOfCalls() {
    if (!m_chainStarted)
        m_chainBlock = m_initVector;
    m_chainStarted = true;
    return m_chainBlock;
}

std::int32_t Rijndael::PadEncryptChained(const std::uint8_t* input, std::int32_t inputLength, std::uint8_t* output) {
    return encrypt(input, inputLength, output, chainOfCalls());
}

std::int32_t Rijndael::PadDecryptChained(const std::uint8_t* input, std::int32_t inputLength, std::uint8_t* output) {
    return decrypt(input, inputLength, output, chainOfCalls());
}
