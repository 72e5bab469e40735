#include "ConfigManager.h"

#include "ChangeNotice.h"
#include "RegistryIO.h"
#include "Utility.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <new>

namespace {

using enum HelperKind;

// A row serves one input, or any that has no row of its own before it.
constexpr std::uint32_t kAnyInput = 0xFFFFFFFFu;

struct FactoryRow {
    std::uint32_t scan;
    std::uint32_t input;

    constexpr bool serves(std::uint32_t askedScan, std::uint32_t askedInput) const {
        return scan == askedScan && (input == kAnyInput || input == askedInput);
    }
};

// The system view: a protocol of 10000, and the handlers' protocols above it.
struct SystemRow : FactoryRow {
    HelperKind root;
    HelperKind handler;
};

constexpr SystemRow kSystemFactory[] = {
    // scan                       input                      10000                 above
    {{WDLT_SCAN_NONE, kAnyInput}, CSystemConfig, CSystemProtocolCfg},
    {{WDLT_SCAN_VIRUS, kAnyInput}, CSystemScanCommonCfg, CSystemScanCfg},
    {{WDLT_SCAN_HTTP_IMAGE_FILTER, kAnyInput}, CSystemScanCommonCfg, CSystemScanCfg},
    {{WDLT_SCAN_URL_FILTER, kAnyInput}, CSystemScanCommonCfg, CSystemScanCfg},
    {{WDLT_SCAN_PRIVACY, kAnyInput}, CSystemScanCommonCfg, CSystemScanCfg},
    {{WDLT_SCAN_MASS_MAIL, kAnyInput}, CSystemScanCommonCfg, CSystemScanCfg},
    {{WDLT_SCAN_ANTI_SPAM, kAnyInput}, CSystemScanCommonCfg, CSystemScanCfg},
    {{WDLT_SCAN_HOST_FILTER, kAnyInput}, CSystemScanCommonCfg, CSystemScanCfg},
    {{WDLT_SCAN_NETWORK_EVENTS, kAnyInput}, CSystemScanCommonCfg, CSystemScanCfg},
    {{WDLT_SCAN_SAL, kAnyInput}, CSystemScanCommonCfg, CSystemScanCfg},
    {{WDLT_SCAN_TEST_ENGINE, kAnyInput}, CSystemScanCommonCfg, CSystemScanCfg},
    {{WDLT_SCAN_MAIL_MANAGER, kAnyInput}, CSystemScanCommonCfg, CSystemScanCfg},
    {{WDLT_SCAN_HTTP_MANAGER, WDLT_INPUT_HTTPS_FILTER}, CSystemScanCommonCfg, CSystemScanHttpsCfg},
    {{WDLT_SCAN_HTTP_MANAGER, kAnyInput}, CSystemScanCommonCfg, CSystemScanCfg},
    {{WDLT_SCAN_IM_MANAGER, kAnyInput}, CSystemScanCommonCfg, CSystemScanCfg},
    {{WDLT_SCAN_TEST_MANAGER, kAnyInput}, CSystemScanCommonCfg, CSystemScanCfg},
};

// The features' own settings, by protocol; every protocol from 4 on is served alike.
constexpr std::size_t kOtherProtocol = 4;

struct ProtocolRow : FactoryRow {
    std::array<HelperKind, kOtherProtocol + 1> byProtocol;
};

// clang-format off
constexpr ProtocolRow kProtocolFactory[] = {
    //                                                        common               POP3          SMTP          HTTP          other
    {{WDLT_SCAN_NONE,         kAnyInput},                  {None,                CHandlerPOP3, CHandlerSMTP, CHandlerHTTP, None}},
    {{WDLT_SCAN_VIRUS,        WDLT_INPUT_NONE},            {CEngineSCANXCommon,  CEngineSCANX, CEngineSCANX, CEngineSCANX, CEngineSCANX}},
    {{WDLT_SCAN_VIRUS,        WDLT_INPUT_HTTP_FILE_SCAN},  {CHttpFileScanCommon, CEngineSCANX, CEngineSCANX, CEngineSCANX, CEngineSCANX}},
    {{WDLT_SCAN_URL_FILTER,   kAnyInput},                  {CEngineUrlFCommon,   None,         None,         None,         None}},
    {{WDLT_SCAN_PRIVACY,      kAnyInput},                  {CEnginePDPCommon,    CEnginePDP,   CEnginePDP,   CEnginePDP,   CEnginePDP}},
    {{WDLT_SCAN_ANTI_SPAM,    kAnyInput},                  {CEngineASpmCommon,   CEngineASpm,  None,         None,         None}},
    {{WDLT_SCAN_HOST_FILTER,  kAnyInput},                  {CEngineHosFCommon,   None,         None,         None,         None}},
    {{WDLT_SCAN_SAL,          kAnyInput},                  {CEngineSalCommon,    None,         None,         None,         None}},
    {{WDLT_SCAN_MAIL_MANAGER, kAnyInput},                  {CManagerMailCommon,  None,         None,         None,         None}},
    {{WDLT_SCAN_HTTP_MANAGER, kAnyInput},                  {CManagerHTTPCommon,  None,         None,         None,         None}},
};
// clang-format on

template <class Row, std::size_t Count>
const Row* findRow(const Row (&factory)[Count], std::uint32_t scan, std::uint32_t input) {
    const Row* const row = std::ranges::find_if(factory, [&](const Row& r) { return r.serves(scan, input); });
    return row == std::end(factory) ? nullptr : row;
}

// The log's lines have room for 32 bits of a config type and of a buffer's address.
std::uint32_t low32(const void* pointer) {
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(pointer));
}
std::uint32_t low32(std::uint64_t number) {
    return static_cast<std::uint32_t>(number);
}

} // namespace

CConfigManager::CConfigManager() : m_writeMutex(wdlt::createConfigMutex()) {}

HelperKind CConfigManager::CreateHelperForSystem(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input) {
    const SystemRow* const row = findRow(kSystemFactory, scan, input);
    if (row == nullptr)
        return None;
    return protocol == WDLT_PROTOCOL_SYSTEM ? row->root : row->handler;
}

HelperKind CConfigManager::CreateHelperForProtocol(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input) {
    const ProtocolRow* const row = findRow(kProtocolFactory, scan, input);
    if (row == nullptr)
        return None;
    return row->byProtocol[std::min<std::size_t>(protocol, kOtherProtocol)];
}

std::unique_ptr<WdchHelper> CConfigManager::CreateHelper(std::uint32_t protocol, std::uint32_t scan,
                                                         std::uint32_t input) {
    const HelperKind kind = protocol < WDLT_PROTOCOL_SYSTEM ? CreateHelperForProtocol(protocol, scan, input)
                                                            : CreateHelperForSystem(protocol, scan, input);
    std::unique_ptr<WdchHelper> helper = wdlt::makeHelper(kind);
    if (helper != nullptr) {
        helper->protocol = protocol;
        helper->scan = scan;
        helper->input = input;
        helper->store = std::make_unique<CRegistryIO>();
    }
    return helper;
}

std::int32_t CConfigManager::ReadConfig(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input,
                                        std::uint64_t configType, void* data, std::uint64_t* size) {
    WDLOG_TRACE("ReadConfig protocol = %d, scan = %08x, input = %08x, data = %08x", protocol, scan, low32(configType),
                low32(data));
    if (size == nullptr) {
        WDLOG_ERROR("size is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    WDLOG_TRACE("  size = %08x", low32(*size));

    std::unique_ptr<WdchHelper> helper;
    try {
        helper = CreateHelper(protocol, scan, input);
    } catch (const std::bad_alloc&) {
        WDLOG_ERROR("No memory for a config helper [protocol=%d, scan=%08x]", protocol, scan);
        return WDLT_E_NO_MEMORY;
    }
    if (helper == nullptr) {
        WDLOG_ERROR("No config helper [protocol=%d, scan=%08x]", protocol, scan);
        return WDLT_E_GENERAL;
    }
    const std::int32_t status = helper->ReadConfig(configType, data, size);
    WDLOG_TRACE("ReadConfig = %d", status);
    return status;
}

std::int32_t CConfigManager::WriteConfig(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input,
                                         std::uint64_t configType, void* data, std::uint64_t size) {
    WDLOG_TRACE("WriteConfig protocol = %d, scan = %08x, input = %08x, data = %08x, size = %d", protocol, scan,
                low32(configType), low32(data), wdlt::loggedSize(size));
    const WdltSingleLock lock(&m_writeMutex); // without it, which is logged, the write goes on all the same
    std::unique_ptr<WdchHelper> helper;
    try {
        helper = CreateHelper(protocol, scan, input);
    } catch (const std::bad_alloc&) {
        WDLOG_ERROR("No memory for a config helper [protocol=%d, scan=%d]", protocol, scan);
        return WDLT_E_NO_MEMORY;
    }
    if (helper == nullptr) {
        WDLOG_ERROR("No config helper [protocol=%d, scan=%d]", protocol, scan);
        return WDLT_E_GENERAL;
    }
    const std::int32_t status = helper->WriteConfig(configType, data, size);
    if (status == WDLT_OK && !helper->skipChangeEvent)
        ConfigChangeSender(protocol, scan);
    return status;
}

std::int32_t CConfigManager::ConfigChangeSender(std::uint32_t protocol, std::uint32_t scan) {
    return wdlt::noticeChange(
        protocol, scan,
        {
            .noService = [] { WDLOG_TRACE("Failed to open memory in ConfigChangeSender or Wardlet is not running"); },
            .noAnswer = [] { WDLOG_ERROR("Failed to send in ConfigChangeSender"); },
        });
}
