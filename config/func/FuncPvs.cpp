#include "FuncPvs.h"

#include <wdltcfg/addresses.h>

namespace {

constexpr wdlt::VsPlace kPvsPlace{
    .limitProtocol = WDLT_PROTOCOL_POP3,
    .limitScan = WDLT_SCAN_NONE,
    .limitInput = WDLT_INPUT_NONE,
    .limitRecordSize = sizeof(WdphPop3),
    .limitOffset = offsetof(WdphPop3, dwLimitSize),
    .family = "CFuncPvs",
    .reading{
        .member = "ConfigRead",
        .withoutConfig = "CFuncPvs::ConfigRead: pConfig is NULL",
        .limitUnread = "CFuncPvs::ConfigRead(): Failed to read on CConfigReader",
        .scanUnread = "CFuncPvs::ConfigRead(): Failed to read WdpeVsData",
    },
    .writing{
        .member = "ConfigWrite",
        .withoutConfig = "CFuncPvs::ConfigWrite: pConfig is NULL",
        .limitUnread = "CFuncPvs::ConfigWrite(): Failed to read config",
        .scanUnwritten = "CFuncPvs::ConfigWrite(): Failed to write WdpeVsData",
        .limitUnwritten = "CFuncPvs::ConfigWrite(): Failed to write data",
    },
};

} // namespace

CFuncPvs::CFuncPvs() : CFuncGenericVs(WDLT_PROTOCOL_POP3, WDLT_INPUT_NONE) {}

std::int32_t CFuncPvs::ConfigRead(WdltVsConfig* pConfig) {
    return readPlace(kPvsPlace, pConfig);
}

std::int32_t CFuncPvs::ConfigWrite(const WdltVsConfig* pConfig) {
    return writePlace(kPvsPlace, pConfig);
}
