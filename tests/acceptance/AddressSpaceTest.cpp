// Any address, config type and size, at random: the status that the address calls for, nothing written beyond the
// caller's buffer, no crash, and nothing stored where nothing should be. The features' own settings aren't drawn.
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
#include <array>
#include <cstring>
#include <map>
#include <ostream>
#include <random>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

constexpr int kRounds = 40'000;
constexpr std::uint64_t kHandlerSize = sizeof(WdchSystemProtocolHandler);
constexpr std::uint64_t kRedirectSize = sizeof(WdchSystemRedirect);

struct Call {
    std::uint32_t protocol, scan, input;
    std::uint64_t configType, size;
    bool withData;
};

std::ostream& operator<<(std::ostream& out, const Call& call) {
    return out << '(' << call.protocol << ", " << call.scan << ", " << call.input << ") type " << call.configType
               << ", size " << call.size << (call.withData ? "" : ", no data");
}

class Dice {
  public:
    explicit Dice(std::uint64_t seed) : m_engine(seed) {}

    Call call() {
        Call drawn{protocol(), scan(), input(), configType(), size(), !oneIn(6)};
        if (mayBeAFeatures(drawn))
            drawn.protocol += WDLT_PROTOCOL_SYSTEM;
        return drawn;
    }
    bool oneIn(std::uint64_t n) { return any() % n == 0; }

  private:
    // The features' own records have tests of their own; some fill a buffer of any size that is enough.
    static bool mayBeAFeatures(const Call& call) {
        constexpr std::uint32_t kFeatures = WDLT_SCAN_VIRUS | WDLT_SCAN_URL_FILTER | WDLT_SCAN_PRIVACY |
                                            WDLT_SCAN_ANTI_SPAM | WDLT_SCAN_HOST_FILTER | WDLT_SCAN_SAL |
                                            WDLT_SCAN_MAIL_MANAGER | WDLT_SCAN_HTTP_MANAGER;
        return call.protocol < WDLT_PROTOCOL_SYSTEM && (call.scan == 0 || (call.scan & kFeatures) != 0);
    }
    std::uint64_t any() { return m_engine(); }
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
        if (oneIn(6))
            return WDLT_SCAN_HTTP_MANAGER;
        return oneIn(5) ? static_cast<std::uint32_t>(any()) : std::uint32_t{1} << (any() % 32);
    }
    std::uint32_t input() {
        return oneIn(8) ? static_cast<std::uint32_t>(any()) : static_cast<std::uint32_t>(any() % 3);
    }
    std::uint64_t configType() {
        if (oneIn(8))
            return any();
        return oneIn(2) ? any() % 3 : any() % 16;
    }
    std::uint64_t size() {
        constexpr std::uint64_t kSystem = sizeof(WdchSystemData);
        constexpr std::uint64_t kHttps = sizeof(WdltHttpsConfig);
        constexpr std::uint64_t kWithOne = kHandlerSize + kRedirectSize;
        static constexpr std::array<std::uint64_t, 9> kNotable{
            0, 1, 260, kSystem, kHttps, 4096, kHandlerSize, kWithOne, kRedirectSize};
        if (oneIn(10))
            return any(); // far beyond any buffer: it must be refused by the number alone
        return oneIn(4) ? any() % 4097 : oneOf(kNotable);
    }

    std::mt19937_64 m_engine;
};

// What each call must answer, by what was written before it.
class Oracle {
  public:
    explicit Oracle(const std::vector<std::uint32_t>& handlers) {
        for (const std::uint32_t handler : handlers)
            m_handlers[WDLT_PROTOCOL_SYSTEM + handler] = {};
    }

    // `size` becomes what the call must leave in it.
    std::int32_t read(const Call& call, std::uint64_t& size) const {
        const Kind kind = kindOf(call);
        if (kind == Kind::None)
            return WDLT_E_GENERAL;
        const auto handler = m_handlers.find(call.protocol);
        std::uint64_t needed = sizeOf(kind);
        if (kind == Kind::Handler && handler != m_handlers.end() && handler->second.hasRedirect)
            needed += kRedirectSize;
        if (size != needed) {
            size = needed;
            return WDLT_E_BUFFER_SIZE;
        }
        if (!call.withData)
            return kind == Kind::System ? WDLT_E_INVALID_ARGUMENT : WDLT_E_GENERAL;
        if (kind != Kind::Https)
            return WDLT_OK;
        if (handler == m_handlers.end())
            return WDLT_E_INVALID_ARGUMENT; // no path
        return handler->second.hasHttpsFilter ? WDLT_OK : WDLT_E_REGISTRY;
    }

    std::int32_t write(const Call& call) {
        const Kind kind = kindOf(call);
        if (kind == Kind::None)
            return WDLT_E_GENERAL;
        if (kind == Kind::System)
            return !call.withData                        ? WDLT_E_INVALID_ARGUMENT
                   : call.size == sizeof(WdchSystemData) ? WDLT_OK
                                                         : WDLT_E_GENERAL;
        const auto handler = m_handlers.find(call.protocol);
        if (kind == Kind::Handler)
            return writeHandler(call, handler == m_handlers.end() ? nullptr : &handler->second);
        if (!call.withData || call.size != sizeOf(kind))
            return WDLT_E_GENERAL;
        if (kind == Kind::Common)
            return WDLT_OK;
        if (handler == m_handlers.end())
            return WDLT_E_GENERAL;
        if (kind == Kind::Https)
            handler->second.hasHttpsFilter = true;
        return WDLT_OK;
    }

    static bool isServed(const Call& call) { return kindOf(call) != Kind::None; }

  private:
    enum class Kind { None, System, Handler, Common, Item, Https };
    struct Handler {
        bool hasRedirect = false;
        bool hadRedirect = false; // the list's key is there
        bool hasHttpsFilter = false;
    };

    static Kind kindOf(const Call& call) {
        constexpr std::uint32_t kServed = 0x800783DF; // every named bit but the HTTP cleaner's
        if (call.protocol < WDLT_PROTOCOL_SYSTEM)
            return Kind::None;
        const bool isRoot = call.protocol == WDLT_PROTOCOL_SYSTEM;
        if (call.scan == 0)
            return isRoot ? Kind::System : Kind::Handler;
        if ((call.scan & (call.scan - 1)) != 0 || (call.scan & kServed) == 0)
            return Kind::None;
        if (isRoot)
            return Kind::Common;
        return call.scan == WDLT_SCAN_HTTP_MANAGER && call.input == WDLT_INPUT_HTTPS_FILTER ? Kind::Https : Kind::Item;
    }
    static std::uint64_t sizeOf(Kind kind) {
        switch (kind) {
        case Kind::System:
            return sizeof(WdchSystemData);
        case Kind::Handler:
            return kHandlerSize;
        case Kind::Https:
            return sizeof(WdltHttpsConfig);
        default:
            return sizeof(WdchSystemScan);
        }
    }

    static std::int32_t writeHandler(const Call& call, Handler* handler) {
        if (call.configType > WDLT_CONFIG_REDIRECT_DELETE)
            return WDLT_E_INVALID_ARGUMENT;
        const bool isRedirect = call.configType != WDLT_CONFIG_DEFAULT;
        if (isRedirect ? call.size != kRedirectSize
                       : call.size < kHandlerSize || (call.size - kHandlerSize) % kRedirectSize != 0)
            return WDLT_E_GENERAL;
        if (!call.withData)
            return WDLT_E_INVALID_ARGUMENT;
        if (handler == nullptr)
            return isRedirect ? WDLT_E_REGISTRY : WDLT_E_GENERAL;
        if (!isRedirect)
            return WDLT_OK;
        if (call.configType == WDLT_CONFIG_REDIRECT_ADD) {
            handler->hasRedirect = handler->hadRedirect = true;
            return WDLT_OK;
        }
        if (!handler->hasRedirect)
            return handler->hadRedirect ? WDLT_E_NOT_FOUND : WDLT_E_REGISTRY;
        handler->hasRedirect = false;
        return WDLT_OK;
    }

    std::map<std::uint32_t, Handler> m_handlers;
};

// A caller's record in the middle of other memory.
class Buffer {
  public:
    void fillForRead() { m_bytes.fill(kGuard); }
    // Any record: a number, and texts with their terminators.
    void fillForWrite(const Call& call) {
        fillForRead();
        std::fill_n(data(), kRoom, '\0');
        *data() = '7';
        if (call.scan == WDLT_SCAN_NONE && call.protocol > WDLT_PROTOCOL_SYSTEM)
            fillForHandler(call);
        m_written = m_bytes;
    }

    char* data() { return m_bytes.data() + kFront; }
    // Whether a read of `size` bytes left all else alone.
    bool isGuardedBehind(std::uint64_t size) {
        const auto isGuard = [](char byte) { return byte == kGuard; };
        return std::all_of(m_bytes.data(), data(), isGuard) &&
               std::all_of(data() + std::min<std::uint64_t>(size, kRoom), m_bytes.data() + m_bytes.size(), isGuard);
    }
    bool isAsWritten() const { return m_bytes == m_written; }

  private:
    static constexpr char kGuard = '\xEE';
    static constexpr std::size_t kFront = 61; // no alignment
    static constexpr std::size_t kRoom = 4096;

    void fillForHandler(const Call& call) {
        if (call.configType != WDLT_CONFIG_DEFAULT) {
            WdchSystemRedirect redirect{};
            redirect.sessionType[0] = u'S';
            redirect.port = 80;
            std::memcpy(data(), &redirect, sizeof redirect);
            return;
        }
        WdchSystemProtocolHandler handler{};
        handler.type = call.protocol - WDLT_PROTOCOL_SYSTEM; // else the write would take its key away
        std::strcpy(handler.scan, "Folder");
        handler.scan[6] = static_cast<char>('0' + handler.type % 10);
        std::memcpy(data(), &handler, sizeof handler);
    }

    std::array<char, kFront + kRoom + 67> m_bytes{};
    std::array<char, kFront + kRoom + 67> m_written{};
};

class AddressSpace : public testing::TestWithParam<std::vector<std::uint32_t>> {}; // the types of the handlers

TEST_P(AddressSpace, EveryCallGetsItsStatusAndStoresNothingStray) {
    const Seed seed;
    tree::clear();
    std::vector<std::string> handlerNames;
    std::vector<std::string> folders{"Common"};
    for (const std::uint32_t type : GetParam()) {
        handlerNames.push_back("Handler" + std::to_string(type));
        folders.push_back("Folder" + std::to_string(type));
        tree::setNumber("ProtocolHandler\\" + handlerNames.back(), "Type", type);
        tree::setText("ProtocolHandler\\" + handlerNames.back(), "Scan", folders.back());
    }

    const LoadedLibrary library;
    const auto read = WDLT_CALL(library, WdltReadConfigEx);
    const auto write = WDLT_CALL(library, WdltWriteConfigEx);
    Oracle oracle(GetParam());
    Dice dice(seed);
    Buffer buffer;
    int served = 0;
    int succeeded = 0;
    for (int round = 0; round < kRounds; ++round) {
        const Call call = dice.call();
        void* const data = call.withData ? buffer.data() : nullptr;
        std::int32_t status = 0;
        if (dice.oneIn(2)) {
            std::uint64_t size = call.size;
            std::uint64_t sizeExpected = call.size;
            const std::int32_t expected = oracle.read(call, sizeExpected);
            buffer.fillForRead();
            status = read(call.protocol, call.scan, call.input, call.configType, data, &size);
            ASSERT_EQ(status, expected) << "reading " << call;
            ASSERT_EQ(size, sizeExpected) << "reading " << call;
            const bool isFilled = Oracle::isServed(call) && status != WDLT_E_BUFFER_SIZE;
            ASSERT_TRUE(buffer.isGuardedBehind(isFilled ? call.size : 0)) << "reading " << call;
        } else {
            buffer.fillForWrite(call);
            status = write(call.protocol, call.scan, call.input, call.configType, data, call.size);
            ASSERT_EQ(status, oracle.write(call)) << "writing " << call;
            ASSERT_TRUE(buffer.isAsWritten()) << "writing " << call;
        }
        served += Oracle::isServed(call);
        succeeded += status == WDLT_OK;
    }
    EXPECT_GT(served, kRounds / 10); // the dice do reach what is served
    EXPECT_GT(succeeded, kRounds / 1000);

    EXPECT_THAT(tree::subkeys(""), ElementsAre("SOFTWARE"));
    EXPECT_THAT(tree::subkeys(tree::path("ProtocolHandler")), ElementsAreArray(handlerNames));
    EXPECT_THAT(tree::subkeys(tree::path("Scan")), ElementsAreArray(folders));
    if (handlerNames.empty()) {
        EXPECT_THAT(tree::subkeys(tree::path("")), ElementsAre("Scan"));
    }
}

INSTANTIATE_TEST_SUITE_P(Trees, AddressSpace,
                         testing::Values(std::vector<std::uint32_t>{}, std::vector<std::uint32_t>{1, 2, 3}));

} // namespace
