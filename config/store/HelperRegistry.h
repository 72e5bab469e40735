// Every helper class by name, and how each is made. A helper enters itself from its own source file, so the manager's
// factory tables name classes without knowing them, and a class that isn't built yet is simply not there.
#pragma once

#include "WdchHelper.h"

#include <cstdint>
#include <memory>

enum class HelperKind : std::uint8_t {
    None, // no helper for the address
    CSystemConfig,
    CSystemProtocolCfg,
    CSystemScanCfg,
    CSystemScanCommonCfg,
    CSystemScanHttpsCfg,
    CHandlerPOP3,
    CHandlerSMTP,
    CHandlerHTTP,
    CEngineSCANX,
    CEngineSCANXCommon,
    CHttpFileScanCommon,
    CEngineUrlFCommon,
    CEnginePDP,
    CEnginePDPCommon,
    CEngineASpm,
    CEngineASpmCommon,
    CEngineHosFCommon,
    CEngineSalCommon,
    CManagerMailCommon,
    CManagerHTTPCommon,
    Count,
};

namespace wdlt {

using HelperMaker = std::unique_ptr<WdchHelper> (*)();

// Called before main only, by the registrations below.
void registerHelper(HelperKind kind, HelperMaker maker);

// A new helper, without address or store; null for None and for a class that isn't there. Throws std::bad_alloc.
std::unique_ptr<WdchHelper> makeHelper(HelperKind kind);

// At the foot of a helper's source: `const wdlt::RegisterHelper<CSystemConfig> kRegistered(HelperKind::CSystemConfig);`
template <class Helper>
class RegisterHelper {
  public:
    explicit RegisterHelper(HelperKind kind) {
        registerHelper(kind, []() -> std::unique_ptr<WdchHelper> { return std::make_unique<Helper>(); });
    }
};

} // namespace wdlt
