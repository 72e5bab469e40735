#include "FuncWmvs.h"

#include <wdltcfg/addresses.h>

namespace {

constexpr wdlt::VsPlace kWmvsPlace{
    .limitProtocol = WDLT_PROTOCOL_COMMON,
    .limitScan = WDLT_SCAN_HTTP_MANAGER,
    .limitInput = WDLT_INPUT_NONE,
    .limitRecordSize = sizeof(WdsmHttpConfig),
    .limitOffset = offsetof(WdsmHttpConfig, dwMaxWebMailScanSize),
    .family = "CFuncWmvs",
    .reading{
        .member = "ConfigRead",
        .withoutConfig = "CFuncWmvs::ConfigRead: pConfig is NULL",
        .limitUnread = "CFuncWmvs::ConfigRead(): Failed to read on CConfigReader",
        .scanUnread = "CFuncWmvs::ConfigRead(): Failed to read WdpeVsData",
    },
    .writing{
        .member = "ConfigWrite",
        .withoutConfig = "CFuncWmvs::ConfigWrite: pConfig is NULL",
        .limitUnread = "FuncWmvs::ConfigWrite(): Failed to read config",
        .scanUnwritten = "FuncWmvs::ConfigWrite(): Failed to write WdpeVsData",
        .limitUnwritten = "FuncWmvs::ConfigWrite(): Failed to write data",
    },
};

} // namespace

CFuncWmvs::CFuncWmvs() : CFuncGenericVs(WDLT_PROTOCOL_HTTP, WDLT_INPUT_NONE) {}

std::int32_t CFuncWmvs::ConfigRead(WdltVsConfig* pConfig) {
    return readPlace(kWmvsPlace, pConfig);
}

std::int32_t CFuncWmvs::ConfigWrite(const WdltVsConfig* pConfig) {
    return writePlace(kWmvsPlace, pConfig);
}
