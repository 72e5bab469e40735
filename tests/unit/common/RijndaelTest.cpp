// The record cipher and the machine's digest: the published test vectors, and everything else that callers rely on.
#include "Rijndael.h"
#include "Digests.h"
#include "MachineKey.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes hex(std::string_view digits) {
    Bytes bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(std::string(digits.substr(i, 2)), nullptr, 16)));
    return bytes;
}

// Uses these tests' key unless another is given.
class Cipher {
  public:
    explicit Cipher(int direction, const Bytes& key = Bytes(16, 3), const Bytes& vector = {}) {
        EXPECT_EQ(m_cipher.Init(Rijndael::kCbc, direction, key.data(), Rijndael::kKey16Bytes,
                                vector.empty() ? nullptr : vector.data()),
                  0);
    }
    Bytes encrypt(const Bytes& plain, bool chained = false) {
        Bytes output(plain.size() + 16, 0xEE);
        const auto call = chained ? &Rijndael::PadEncryptChained : &Rijndael::PadEncrypt;
        const auto length = static_cast<std::int32_t>(plain.size());
        const std::int32_t written = (m_cipher.*call)(plain.data(), length, output.data());
        EXPECT_EQ(written, Rijndael::cipherBytes(length));
        output.resize(static_cast<std::size_t>(written));
        return output;
    }
    // Returns the result and the plain bytes; none when it fails.
    std::pair<std::int32_t, Bytes> decrypt(const Bytes& input, bool chained = false) {
        Bytes output(input.size(), 0xEE);
        const auto call = chained ? &Rijndael::PadDecryptChained : &Rijndael::PadDecrypt;
        const std::int32_t result =
            (m_cipher.*call)(input.data(), static_cast<std::int32_t>(input.size()), output.data());
        output.resize(result > 0 ? static_cast<std::size_t>(result) : 0);
        return {result, output};
    }

  private:
    Rijndael m_cipher;
};

Bytes sequence(std::size_t size) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<std::uint8_t>(i * 7 + 1);
    return bytes;
}

// SP 800-38A F.2.1: the mode and key length that all files use.
TEST(Rijndael, ThePublishedVector) {
    const Bytes key = hex("2b7e151628aed2a6abf7158809cf4f3c");
    const Bytes vector = hex("000102030405060708090a0b0c0d0e0f");
    const Bytes plain = hex("6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51"
                            "30c81c46a35ce411e5fbc1191a0a52eff69f2445df4f9b17ad2b417be66c3710");
    const Bytes expected = hex("7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b2"
                               "73bed6b8e3c1743b7116e69e222295163ff1caa1681fac09120eca307586e1a7");
    const Bytes cipher = Cipher(Rijndael::kEncrypt, key, vector).encrypt(plain);
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), cipher.begin()));
    EXPECT_EQ(Cipher(Rijndael::kDecrypt, key, vector).decrypt(cipher).second, plain);
}

TEST(Rijndael, EveryLengthComesBackAndChainedMessagesInTheirOrder) {
    Cipher encryptor(Rijndael::kEncrypt);
    Cipher decryptor(Rijndael::kDecrypt);
    std::vector<Bytes> chained;
    for (std::size_t size = 1; size <= 65; ++size) {
        const Bytes plain = sequence(size);
        const Bytes alone = encryptor.encrypt(plain);
        EXPECT_EQ(decryptor.decrypt(alone).second, plain) << size;
        chained.push_back(encryptor.encrypt(plain, true));
        EXPECT_EQ(chained.back() == alone, size == 1) << "a chained message depends on those before";
    }
    EXPECT_EQ(decryptor.decrypt(chained[1], true).first, -7) << "a chain can't be read from its middle";
    for (std::size_t size = 1; size <= 65; ++size)
        EXPECT_EQ(decryptor.decrypt(chained[size - 1], true).second, sequence(size)) << size;
}

TEST(Rijndael, SetUpAndItsCodes) {
    Rijndael cipher;
    const std::array<std::uint8_t, 16> key{};
    std::array<std::uint8_t, 64> out{};
    const struct {
        int mode, direction;
        const std::uint8_t* key;
        std::int32_t set, encrypted, decrypted;
    } cases[] = {
        {3, 2, nullptr, -1, -5, -5}, // after a failed Init nothing works
        {Rijndael::kCbc, Rijndael::kEncrypt, nullptr, -4, -5, -5},
        {Rijndael::kCbc, Rijndael::kEncrypt, key.data(), 0, 32, -6},
        {Rijndael::kCbc, Rijndael::kDecrypt, key.data(), 0, -5, -7},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(cipher.Init(c.mode, c.direction, c.key, Rijndael::kKey16Bytes), c.set);
        EXPECT_EQ(cipher.PadEncrypt(out.data(), 16, out.data()), c.encrypted);
        EXPECT_EQ(cipher.PadDecrypt(out.data(), 16, out.data()), c.decrypted);
    }
    for (const auto& [length, code] : {std::pair(0, 0), {-16, 0}, {15, -7}, {17, -7}})
        EXPECT_EQ(cipher.PadDecrypt(out.data(), length, out.data()), code) << length;
}

// Wrong padding is made by enciphering a whole block and dropping the block that the cipher adds.
TEST(Rijndael, WrongPaddingIsRefusedAndLeavesTheChain) {
    Cipher encryptor(Rijndael::kEncrypt);
    Cipher decryptor(Rijndael::kDecrypt);
    const struct {
        std::size_t at;
        std::uint8_t byte;
        std::int32_t result;
    } cases[] = {{0, 16, 0}, {15, 0, -7}, {15, 17, -7}, {15, 255, -7}, {0, 15, -7}, {14, 1, -7}};
    for (const auto& c : cases) {
        Bytes block(16, 16); // a whole block of padding
        block[c.at] = c.byte;
        Bytes cipher = encryptor.encrypt(block);
        cipher.resize(block.size());
        EXPECT_EQ(decryptor.decrypt(cipher).first, c.result) << c.at << ' ' << int{c.byte};
    }
    const Bytes first = encryptor.encrypt(sequence(20), true);
    const Bytes second = encryptor.encrypt(sequence(5), true);
    Bytes damaged = second;
    damaged[7] ^= 1;
    EXPECT_EQ(decryptor.decrypt(first, true).second, sequence(20));
    EXPECT_EQ(decryptor.decrypt(damaged, true).first, -7);
    EXPECT_EQ(decryptor.decrypt(second, true).second, sequence(5));
}

TEST(Digests, HmacSha1OfRfc2202) {
    const auto bytes = [](std::string_view text) { return Bytes(text.begin(), text.end()); };
    const struct {
        Bytes key;
        Bytes message;
        std::string_view digest;
    } vectors[] = {
        {Bytes(20, 0x0b), bytes("Hi There"), "b617318655057264e28bc0b6fb378c8ef146be00"},
        {Bytes(80, 0xaa), bytes("Test Using Larger Than Block-Size Key and Larger Than One Block-Size Data"),
         "e8e99d0f45237d786d6bbaa7965c7808bbff1a91"},
    };
    for (const auto& v : vectors)
        for (const std::size_t size : {std::size_t{0}, std::size_t{12}, std::size_t{20}, std::size_t{24}}) {
            Bytes output(size, 0xEE);
            HmacSha1(v.key, v.message, output);
            Bytes expected = hex(v.digest);
            expected.resize(size);
            EXPECT_EQ(output, expected);
        }
}

TEST(MachineKey, IsOneTextOfThirtyDigits) {
    const std::string text = GetMachineKeyText();
    EXPECT_THAT(text, testing::MatchesRegex("[0-9A-F]{30}"));
    EXPECT_EQ(GetMachineKeyText(), text);
    std::array<std::uint8_t, 20> digest{};
    ASSERT_TRUE(BuildMachineDigest(digest));
    EXPECT_EQ(hex(text), Bytes(digest.begin(), digest.begin() + 15));
}

} // namespace
