#include "ConfigManager.h"

#include "ChangeNotice.h"
#include "EngineASpm.h"
#include "EngineASpmCommon.h"
#include "EngineHosFCommon.h"
#include "EnginePDP.h"
#include "EnginePDPCommon.h"
#include "EngineSCANX.h"
#include "EngineSCANXCommon.h"
#include "EngineSalCommon.h"
#include "EngineUrlFCommon.h"
#include "HandlerHTTP.h"
#include "HandlerPOP3.h"
#include "HandlerSMTP.h"
#include "HttpFileScanCommon.h"
#include "ManagerHTTPCommon.h"
#include "ManagerMailCommon.h"
#include "RegistryIO.h"
#include "SystemConfig.h"
#include "SystemProtocolCfg.h"
#include "SystemScanCfg.h"
#include "SystemScanCommonCfg.h"
#include "SystemScanHttpsCfg.h"
#include "Utility.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

#include <algorithm>
#include <iterator>
#include <new>

namespace {

using Maker = std::unique_ptr<WdchHelper> (*)(const HelperAddress& address);

template <class Helper>
std::unique_ptr<WdchHelper> make(const HelperAddress& address) {
    return std::make_unique<Helper>(address, std::make_unique<CRegistryIO>());
}

// An address is served by the first row that matches; without one it has no helper.
constexpr DWORD kAny = 0xFFFFFFFF;

// The system view: a protocol of 10000, and the handlers' protocols above it.
struct SystemRow {
    DWORD scan;
    DWORD input;
    Maker root;
    Maker handler;
};

constexpr SystemRow kSystemFactory[] = {
    {WDLT_SCAN_NONE, kAny, make<CSystemConfig>, make<CSystemProtocolCfg>},
    {WDLT_SCAN_VIRUS, kAny, make<CSystemScanCommonCfg>, make<CSystemScanCfg>},
    {WDLT_SCAN_HTTP_IMAGE_FILTER, kAny, make<CSystemScanCommonCfg>, make<CSystemScanCfg>},
    {WDLT_SCAN_URL_FILTER, kAny, make<CSystemScanCommonCfg>, make<CSystemScanCfg>},
    {WDLT_SCAN_PRIVACY, kAny, make<CSystemScanCommonCfg>, make<CSystemScanCfg>},
    {WDLT_SCAN_MASS_MAIL, kAny, make<CSystemScanCommonCfg>, make<CSystemScanCfg>},
    {WDLT_SCAN_ANTI_SPAM, kAny, make<CSystemScanCommonCfg>, make<CSystemScanCfg>},
    {WDLT_SCAN_HOST_FILTER, kAny, make<CSystemScanCommonCfg>, make<CSystemScanCfg>},
    {WDLT_SCAN_NETWORK_EVENTS, kAny, make<CSystemScanCommonCfg>, make<CSystemScanCfg>},
    {WDLT_SCAN_SAL, kAny, make<CSystemScanCommonCfg>, make<CSystemScanCfg>},
    {WDLT_SCAN_TEST_ENGINE, kAny, make<CSystemScanCommonCfg>, make<CSystemScanCfg>},
    {WDLT_SCAN_MAIL_MANAGER, kAny, make<CSystemScanCommonCfg>, make<CSystemScanCfg>},
    {WDLT_SCAN_HTTP_MANAGER, WDLT_INPUT_HTTPS_FILTER, make<CSystemScanCommonCfg>, make<CSystemScanHttpsCfg>},
    {WDLT_SCAN_HTTP_MANAGER, kAny, make<CSystemScanCommonCfg>, make<CSystemScanCfg>},
    {WDLT_SCAN_IM_MANAGER, kAny, make<CSystemScanCommonCfg>, make<CSystemScanCfg>},
    {WDLT_SCAN_TEST_MANAGER, kAny, make<CSystemScanCommonCfg>, make<CSystemScanCfg>},
};

// The features' own settings.
struct ProtocolRow {
    DWORD protocol;
    DWORD scan;
    DWORD input;
    Maker maker;
};

constexpr ProtocolRow kProtocolFactory[] = {
    {WDLT_PROTOCOL_POP3, WDLT_SCAN_NONE, kAny, make<CHandlerPOP3>},
    {WDLT_PROTOCOL_SMTP, WDLT_SCAN_NONE, kAny, make<CHandlerSMTP>},
    {WDLT_PROTOCOL_HTTP, WDLT_SCAN_NONE, kAny, make<CHandlerHTTP>},
    {WDLT_PROTOCOL_COMMON, WDLT_SCAN_VIRUS, WDLT_INPUT_NONE, make<CEngineSCANXCommon>},
    {WDLT_PROTOCOL_COMMON, WDLT_SCAN_VIRUS, WDLT_INPUT_HTTP_FILE_SCAN, make<CHttpFileScanCommon>},
    {kAny, WDLT_SCAN_VIRUS, WDLT_INPUT_NONE, make<CEngineSCANX>},
    {kAny, WDLT_SCAN_VIRUS, WDLT_INPUT_HTTP_FILE_SCAN, make<CEngineSCANX>},
    {WDLT_PROTOCOL_COMMON, WDLT_SCAN_URL_FILTER, kAny, make<CEngineUrlFCommon>},
    {WDLT_PROTOCOL_COMMON, WDLT_SCAN_PRIVACY, kAny, make<CEnginePDPCommon>},
    {kAny, WDLT_SCAN_PRIVACY, kAny, make<CEnginePDP>},
    {WDLT_PROTOCOL_COMMON, WDLT_SCAN_ANTI_SPAM, kAny, make<CEngineASpmCommon>},
    {WDLT_PROTOCOL_POP3, WDLT_SCAN_ANTI_SPAM, kAny, make<CEngineASpm>},
    {WDLT_PROTOCOL_COMMON, WDLT_SCAN_HOST_FILTER, kAny, make<CEngineHosFCommon>},
    {WDLT_PROTOCOL_COMMON, WDLT_SCAN_SAL, kAny, make<CEngineSalCommon>},
    {WDLT_PROTOCOL_COMMON, WDLT_SCAN_MAIL_MANAGER, kAny, make<CManagerMailCommon>},
    {WDLT_PROTOCOL_COMMON, WDLT_SCAN_HTTP_MANAGER, kAny, make<CManagerHTTPCommon>},
};

constexpr bool serves(DWORD rows, DWORD asked) {
    return rows == kAny || rows == asked;
}

// The log lines print only the low 32 bits of a config type or a pointer.
std::uint32_t low32(const void* pointer) {
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(pointer));
}
std::uint32_t low32(std::uint64_t number) {
    return static_cast<std::uint32_t>(number);
}

} // namespace

CConfigManager::CConfigManager() : m_writeMutex(wdlt::createConfigMutex()) {}

std::unique_ptr<WdchHelper> CConfigManager::CreateHelperForSystem(const HelperAddress& address) {
    const auto* const row = std::ranges::find_if(kSystemFactory, [&](const SystemRow& each) {
        return each.scan == address.scan && serves(each.input, address.input);
    });
    if (row == std::end(kSystemFactory))
        return nullptr;
    return address.protocol == WDLT_PROTOCOL_SYSTEM ? row->root(address) : row->handler(address);
}

std::unique_ptr<WdchHelper> CConfigManager::CreateHelperForProtocol(const HelperAddress& address) {
    const auto* const row = std::ranges::find_if(kProtocolFactory, [&](const ProtocolRow& each) {
        return serves(each.protocol, address.protocol) && each.scan == address.scan &&
               serves(each.input, address.input);
    });
    return row == std::end(kProtocolFactory) ? nullptr : row->maker(address);
}

std::unique_ptr<WdchHelper> CConfigManager::CreateHelper(const HelperAddress& address) {
    return address.protocol < WDLT_PROTOCOL_SYSTEM ? CreateHelperForProtocol(address) : CreateHelperForSystem(address);
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
        helper = CreateHelper({protocol, scan, input});
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
    const WdltSingleLock lock(&m_writeMutex); // best effort: the write goes on without it (logged)
    std::unique_ptr<WdchHelper> helper;
    try {
        helper = CreateHelper({protocol, scan, input});
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

std::int32_t CConfigManager::VerifyPrivacyItems(const PrivacyViewItem* items, std::int32_t count,
                                                std::uint32_t* results) {
    return CEnginePDPCommon({WDLT_PROTOCOL_COMMON, WDLT_SCAN_PRIVACY, WDLT_INPUT_NONE}, std::make_unique<CRegistryIO>())
        .VerifyItems(items, count, results);
}

void CConfigManager::ConfigChangeSender(std::uint32_t protocol, std::uint32_t scan) {
    static_cast<void>(
        wdlt::noticeChange(protocol, scan,
                           {
                               .noService = "Failed to open memory in ConfigChangeSender or Wardlet is not running",
                               .noAnswer = "Failed to send in ConfigChangeSender",
                           }));
}
