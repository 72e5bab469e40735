// The factory tables, address by address, and what the manager answers itself.
#include "ConfigManager.h"

#include "LogFile.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

#include <gtest/gtest.h>

#include <cstdint>

namespace {

using enum HelperKind;

HelperKind classOf(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input) {
    return protocol < WDLT_PROTOCOL_SYSTEM ? CConfigManager::CreateHelperForProtocol(protocol, scan, input)
                                           : CConfigManager::CreateHelperForSystem(protocol, scan, input);
}

TEST(ConfigManager, EveryAddressHasItsClassOrNone) {
    const struct {
        std::uint32_t protocol, scan, input;
        HelperKind kind;
    } cases[] = {
        {10000, 0, 0, CSystemConfig},
        {10000, 0, 99, CSystemConfig}, // an input that counts nowhere is passed over
        {10001, 0, 0, CSystemProtocolCfg},
        {0xFFFFFFFF, 0, 0, CSystemProtocolCfg},
        {10000, 0x20000, 2, CSystemScanCommonCfg},
        {10003, 0x20000, 2, CSystemScanHttpsCfg},
        {10003, 0x20000, 0, CSystemScanCfg},
        {10001, 0x80000000, 0, CSystemScanCfg},
        {10000, 32, 0, None},
        {10001, 32, 0, None},
        {10001, 3, 0, None}, // two bits
        {0, 0, 0, None},
        {1, 0, 0, CHandlerPOP3},
        {2, 0, 5, CHandlerSMTP},
        {3, 0, 0, CHandlerHTTP},
        {4, 0, 0, None},
        {9999, 0, 0, None},
        {0, 1, 0, CEngineSCANXCommon},
        {0, 1, 1, CHttpFileScanCommon},
        {0, 1, 2, None},
        {3, 1, 0, CEngineSCANX},
        {3, 1, 1, CEngineSCANX},
        {3, 1, 2, None},
        {9999, 1, 1, CEngineSCANX},
        {0, 4, 3, CEngineUrlFCommon},
        {3, 4, 0, None},
        {0, 8, 0, CEnginePDPCommon},
        {7, 8, 0, CEnginePDP},
        {0, 64, 0, CEngineASpmCommon},
        {1, 64, 0, CEngineASpm},
        {2, 64, 0, None},
        {0, 128, 0, CEngineHosFCommon},
        {0, 512, 0, CEngineSalCommon},
        {0, 0x10000, 0, CManagerMailCommon},
        {0, 0x20000, 2, CManagerHTTPCommon},
        {1, 0x20000, 0, None},
        {0, 2, 0, None},
    };
    for (const auto& c : cases)
        EXPECT_EQ(classOf(c.protocol, c.scan, c.input), c.kind) << c.protocol << ' ' << c.scan << ' ' << c.input;
}

TEST(ConfigManager, AHelperKnowsItsAddress) {
    const auto helper = CConfigManager::CreateHelper(10000, 0, 5);
    ASSERT_NE(helper, nullptr);
    EXPECT_EQ(helper->protocol, 10000u);
    EXPECT_EQ(helper->scan, 0u);
    EXPECT_EQ(helper->input, 5u);
    EXPECT_NE(helper->store, nullptr);
    EXPECT_FALSE(helper->skipChangeEvent);
}

TEST(ConfigManager, ReadsAndWritesAreLogged) {
    const LogFile log;
    CConfigManager manager;
    std::uint64_t size = 16;
    void* const data = reinterpret_cast<void*>(std::uintptr_t{0x7F00ABCD1234});
    EXPECT_EQ(manager.ReadConfig(4, 0, 7, 0x1FFFFFFF8, data, &size), WDLT_E_GENERAL);
    EXPECT_EQ(manager.WriteConfig(4, 0x40, 7, 2, data, 16), WDLT_E_GENERAL);
    EXPECT_EQ(manager.ReadConfig(10000, 0, 0, 0, nullptr, &size), WDLT_E_BUFFER_SIZE);
    EXPECT_EQ(size, 864u);
    EXPECT_EQ(manager.ReadConfig(4, 0, 0, 0, data, nullptr), WDLT_E_INVALID_ARGUMENT);
    for (const char* line : {
             "@@@ <Test> ReadConfig protocol = 4, scan = 00000000, input = fffffff8, data = abcd1234",
             "@@@ <Test>   size = 00000010",
             "!!! <Test> No config helper [protocol=4, scan=00000000]",
             "@@@ <Test> WriteConfig protocol = 4, scan = 00000040, input = 00000002, data = abcd1234, size = 16",
             "!!! <Test> No config helper [protocol=4, scan=64]",
             "@@@ <Test> ReadConfig = -2",
             "!!! <Test> size is NULL",
         })
        EXPECT_TRUE(log.contains(line)) << line;
}

} // namespace
