// Any address, config type and size, at random: the status that the address calls for, no crash, and nothing stored
// where nothing should be. Addresses whose helper isn't built answer as those without one.
#include "LoadedLibrary.h"
#include "Tree.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <random>
#include <vector>

namespace {

constexpr int kRounds = 40'000;

class Dice {
  public:
    explicit Dice(std::uint64_t seed) : m_engine(seed) {}

    std::uint64_t any() { return m_engine(); }
    bool oneIn(std::uint64_t n) { return any() % n == 0; }
    template <class T, std::size_t N>
    T oneOf(const std::array<T, N>& choices) {
        return choices[any() % N];
    }

    // Mostly numbers that mean something, else any at all.
    std::uint32_t protocol() {
        static constexpr std::array<std::uint32_t, 14> kKnown{0,    1,    2,     3,     4,     7,     16,
                                                              9999, 9998, 10000, 10001, 10002, 10003, 10004};
        return oneIn(5) ? static_cast<std::uint32_t>(any()) : oneOf(kKnown);
    }
    std::uint32_t scan() {
        if (oneIn(3))
            return 0;
        return oneIn(5) ? static_cast<std::uint32_t>(any()) : std::uint32_t{1} << (any() % 32);
    }
    std::uint32_t input() {
        return oneIn(8) ? static_cast<std::uint32_t>(any()) : static_cast<std::uint32_t>(any() % 3);
    }
    std::uint64_t configType() { return oneIn(8) ? any() : any() % 16; }
    std::uint64_t size() {
        static constexpr std::array<std::uint64_t, 6> kNotable{0, 1, 260, sizeof(WdchSystemData), 1292, 4096};
        if (oneIn(10))
            return any(); // far beyond any buffer: it must be refused by the number alone
        return oneIn(2) ? oneOf(kNotable) : any() % 4097;
    }

  private:
    std::mt19937_64 m_engine;
};

bool isSystemRecord(std::uint32_t protocol, std::uint32_t scan) {
    return protocol == WDLT_PROTOCOL_SYSTEM && scan == WDLT_SCAN_NONE;
}

TEST(AddressSpace, EveryCallGetsItsStatusAndStoresNothingStray) {
    const char* const given = std::getenv("WDLT_SEED");
    const std::uint64_t seed = given != nullptr ? std::strtoull(given, nullptr, 0) : std::random_device{}();
    SCOPED_TRACE("WDLT_SEED=" + std::to_string(seed));

    tree::clear();
    const LoadedLibrary library;
    Dice dice(seed);
    std::vector<unsigned char> buffer(4096);
    int served = 0;
    for (int round = 0; round < kRounds; ++round) {
        const std::uint32_t protocol = dice.protocol();
        const std::uint32_t scan = dice.scan();
        const std::uint32_t input = dice.input();
        const std::uint64_t type = dice.configType();
        const std::uint64_t size = dice.size();
        void* const data = dice.oneIn(6) ? nullptr : buffer.data();
        SCOPED_TRACE(testing::Message() << protocol << ' ' << scan << ' ' << input << ' ' << type << ' ' << size << ' '
                                        << (data != nullptr));
        const bool right = size == sizeof(WdchSystemData);
        const bool system = isSystemRecord(protocol, scan);
        served += system;
        if (dice.oneIn(2)) {
            std::uint64_t sizeOut = size;
            std::int32_t expected = WDLT_E_GENERAL;
            if (system && !right)
                expected = WDLT_E_BUFFER_SIZE;
            else if (system)
                expected = data == nullptr ? WDLT_E_INVALID_ARGUMENT : WDLT_OK;
            ASSERT_EQ(WDLT_CALL(library, WdltReadConfigEx)(protocol, scan, input, type, data, &sizeOut), expected);
            ASSERT_EQ(sizeOut, system ? sizeof(WdchSystemData) : size);
        } else {
            std::int32_t expected = WDLT_E_GENERAL;
            if (system && data == nullptr)
                expected = WDLT_E_INVALID_ARGUMENT;
            else if (system && right)
                expected = WDLT_OK;
            ASSERT_EQ(WDLT_CALL(library, WdltWriteConfigEx)(protocol, scan, input, type, data, size), expected);
        }
    }
    EXPECT_GT(served, kRounds / 100); // the dice do reach what is served
    EXPECT_EQ(tree::subkeys(tree::path("")), std::vector<std::string>{});
    EXPECT_EQ(tree::subkeys(""), std::vector<std::string>{"SOFTWARE"});
}

} // namespace
