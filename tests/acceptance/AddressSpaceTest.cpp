// Random addresses, config types and sizes: what isn't served is refused, what is served is read and written only with
// the right size, nothing is written beyond the caller's buffer, and nothing is stored where nothing should be. The
// features' own settings are left out.
#include "LoadedLibrary.h"
#include "Seed.h"
#include "Tree.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

namespace {

using testing::AnyOf;
using testing::AnyOfArray;
using testing::Each;
using testing::ElementsAreArray;

constexpr int kRounds = 20'000;
constexpr std::size_t kFront = 61; // makes the data unaligned
constexpr std::size_t kRoom = 4096;
constexpr BYTE kGuard = 0xEE;

struct Call {
    std::uint32_t protocol, scan, input;
    std::uint64_t configType, size;
    bool withData;

    bool isRoot() const { return protocol == WDLT_PROTOCOL_SYSTEM; }
    bool isOfHandler() const { return !isRoot() && scan == 0; }
    bool isHttps() const { return scan == WDLT_SCAN_HTTP_MANAGER && input == WDLT_INPUT_HTTPS_FILTER && !isRoot(); }
    bool isServed() const {
        constexpr std::uint32_t kServed = 0x800783DF; // every named bit but the HTTP cleaner's
        return protocol >= WDLT_PROTOCOL_SYSTEM && (scan & (scan - 1)) == 0 && (scan == 0 || (scan & kServed) != 0);
    }
};

class Dice {
  public:
    explicit Dice(std::uint64_t seed) : m_any(seed) {}

    bool oneIn(std::uint64_t n) { return m_any() % n == 0; }
    // Mostly meaningful numbers, sometimes arbitrary ones.
    Call call() {
        Call drawn{};
        drawn.protocol =
            oneIn(5) ? any() : oneOf<std::uint32_t>({0, 1, 2, 3, 7, 9998, 9999, 10000, 10001, 10003, 10004});
        drawn.scan = oneIn(3)   ? 0
                     : oneIn(6) ? WDLT_SCAN_HTTP_MANAGER
                     : oneIn(5) ? any()
                                : std::uint32_t{1} << (m_any() % 32);
        drawn.input = oneIn(8) ? any() : any() % 3;
        drawn.configType = oneIn(8) ? m_any() : m_any() % 16;
        drawn.size = oneIn(10) ? m_any() : oneIn(4) ? m_any() % kRoom : oneOf<std::uint64_t>({0, 1, 260, 516, 1096});
        drawn.withData = !oneIn(6);
        constexpr std::uint32_t kFeatures = 0x302CD; // their records accept any buffer that is large enough
        if (drawn.protocol < WDLT_PROTOCOL_SYSTEM && (drawn.scan == 0 || (drawn.scan & kFeatures) != 0))
            drawn.protocol += WDLT_PROTOCOL_SYSTEM;
        return drawn;
    }

  private:
    std::uint32_t any() { return static_cast<std::uint32_t>(m_any()); }
    template <class T>
    T oneOf(std::initializer_list<T> choices) {
        return choices.begin()[m_any() % choices.size()];
    }

    std::mt19937_64 m_any;
};

class AddressSpace : public testing::TestWithParam<std::vector<std::uint32_t>> { // the types of the handlers
  protected:
    AddressSpace() {
        tree::clear();
        for (const std::uint32_t type : GetParam()) {
            handlers.push_back("Handler" + std::to_string(type));
            folders.push_back("Folder" + std::to_string(type));
            tree::setNumber("ProtocolHandler\\" + handlers.back(), "Type", type);
            tree::setText("ProtocolHandler\\" + handlers.back(), "Scan", folders.back());
        }
    }

    bool hasPlace(const Call& call) const {
        return call.isRoot() || std::ranges::count(GetParam(), call.protocol - WDLT_PROTOCOL_SYSTEM) != 0;
    }
    std::int32_t read(const Call& call, std::uint64_t& size) {
        return WDLT_CALL(library, WdltReadConfigEx)(call.protocol, call.scan, call.input, call.configType,
                                                    call.withData ? &buffer[kFront] : nullptr, &size);
    }
    void tryRead(const Call& call, std::uint64_t needed) {
        std::ranges::fill(buffer, kGuard);
        std::uint64_t size = call.size;
        const std::int32_t status = read(call, size);
        ASSERT_EQ(size, call.isServed() ? needed : call.size);
        ASSERT_EQ(status == WDLT_E_BUFFER_SIZE, call.isServed() && size != call.size);
        ASSERT_TRUE(call.isServed() || status == WDLT_E_GENERAL);
        ASSERT_TRUE(!call.isServed() || size != call.size || call.isHttps() || (status == WDLT_OK) == call.withData);
        const auto filled = call.isServed() && status != WDLT_E_BUFFER_SIZE ? static_cast<std::ptrdiff_t>(size) : 0;
        ASSERT_EQ(std::count(buffer.begin(), buffer.begin() + kFront, kGuard), std::ptrdiff_t{kFront});
        ASSERT_EQ(std::count(buffer.begin() + kFront + filled, buffer.end(), kGuard),
                  buffer.end() - buffer.begin() - std::ptrdiff_t{kFront} - filled);
    }
    // Writes an arbitrary record: a number, then zeros, so that every text has its terminator.
    void tryWrite(const Call& call, std::uint64_t needed) {
        std::ranges::fill(buffer, BYTE{0});
        buffer[kFront] = '7';
        const std::vector<BYTE> given = buffer;
        const std::int32_t status =
            WDLT_CALL(library, WdltWriteConfigEx)(call.protocol, call.scan, call.input, call.configType,
                                                  call.withData ? &buffer[kFront] : nullptr, call.size);
        ASSERT_EQ(buffer, given);
        ASSERT_EQ(status == WDLT_OK, call.isServed() && call.withData && call.size == needed && hasPlace(call));
        ASSERT_TRUE(call.isServed() || status == WDLT_E_GENERAL);
        written += status == WDLT_OK;
    }

    std::vector<std::string> handlers;
    std::vector<std::string> folders{"Common"};
    std::vector<BYTE> buffer = std::vector<BYTE>(kFront + kRoom + 67);
    int written = 0;
    const LoadedLibrary library;
};

TEST_P(AddressSpace, EachCallIsServedInItsSizeOrRefused) {
    const Seed seed;
    Dice dice(seed);
    const auto roots = tree::subkeys("");
    for (int round = 0; round < kRounds && !HasFailure(); ++round) {
        Call call = dice.call();
        SCOPED_TRACE(testing::Message() << call.protocol << ' ' << call.scan << ' ' << call.input << ' '
                                        << call.configType << ' ' << call.size << ' ' << call.withData);
        std::uint64_t needed = 0;
        ASSERT_EQ(read(call, needed), call.isServed() ? WDLT_E_BUFFER_SIZE : WDLT_E_GENERAL);
        if (dice.oneIn(4))
            call.size = needed;
        if (dice.oneIn(2)) {
            tryRead(call, needed);
        } else {
            call.withData = call.withData && !call.isOfHandler(); // the record would change the handler's type
            tryWrite(call, needed);
        }
    }
    EXPECT_GT(written, kRounds / 1000); // enough of the random addresses are served
    EXPECT_THAT(tree::subkeys(""), Each(AnyOf("SOFTWARE", AnyOfArray(roots))));
    EXPECT_THAT(tree::subkeys(tree::path("ProtocolHandler")), ElementsAreArray(handlers));
    EXPECT_THAT(tree::subkeys(tree::path("Scan")), ElementsAreArray(folders));
    EXPECT_TRUE(!handlers.empty() || tree::subkeys(tree::path("")).size() == 1);
}

INSTANTIATE_TEST_SUITE_P(Trees, AddressSpace,
                         testing::Values(std::vector<std::uint32_t>{}, std::vector<std::uint32_t>{1, 2, 3}));

} // namespace
