#include "Rijndael.h"

#include "Wiped.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>

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
    if (keyLength != kKey16Bytes && keyLength != kKey24Bytes && keyLength != kKey32Bytes)
        return kUnknownKeyLength;
    if (key == nullptr)
        return kNoKey;
    const std::size_t keyBytes = 16 + 8 * static_cast<std::size_t>(keyLength);
    m_blocks.setKey(key, keyBytes, direction == kEncrypt, mode == kCbc);
    m_mode = mode;
    m_direction = direction;
    m_chainStarted = false;
    m_valid = true;
    return 0;
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
    m_blocks.run(chain.data(), whole, output, input);
    m_blocks.run(chain.data(), last->size(), output + whole, last->data());
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
    m_blocks.run(running.data(), before, output, input);
    m_blocks.run(running.data(), last->size(), last->data(), input + before);
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
