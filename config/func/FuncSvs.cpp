#include "FuncSvs.h"

#include <wdltcfg/addresses.h>

namespace {

constexpr wdlt::VsPlace kSvsPlace{
    .limitProtocol = WDLT_PROTOCOL_SMTP,
    .limitScan = WDLT_SCAN_NONE,
    .limitInput = WDLT_INPUT_NONE,
    .limitRecordSize = sizeof(WdphSmtp),
    .limitOffset = offsetof(WdphSmtp, dwLimitSize),
    .family = "CFuncSvs",
    .reading{
        .member = "ConfigRead",
        .withoutConfig = "CFuncSvs::ConfigRead: pConfig is NULL",
        .limitUnread = "CFuncSvs::ConfigRead(): Failed to read on CConfigReader",
        .scanUnread = "CFuncSvs::ConfigRead(): Failed to read WdpeVsData",
    },
    .writing{
        .member = "ConfigWrite",
        .withoutConfig = "CFuncSvs::ConfigWrite: pConfig is NULL",
        .limitUnread = "CFuncSvs::ConfigWrite(): Failed to cread config",
        .scanUnwritten = "CFuncSvs::ConfigWrite(): Failed to write WdpeVsData",
        .limitUnwritten = "CFuncSvs::ConfigWrite(): Failed to write data",
    },
};

} // namespace

CFuncSvs::CFuncSvs() : CFuncGenericVs(WDLT_PROTOCOL_SMTP, WDLT_INPUT_NONE) {}

std::int32_t CFuncSvs::ConfigRead(WdltVsConfig* pConfig) {
    return readPlace(kSvsPlace, pConfig);
}

std::int32_t CFuncSvs::ConfigWrite(const WdltVsConfig* pConfig) {
    return writePlace(kSvsPlace, pConfig);
}
