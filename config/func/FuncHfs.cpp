#include "FuncHfs.h"

#include "ExportedRecords.h"
#include "FamilyRecords.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

namespace {

using namespace wdlt;

constexpr Address kFileScan{WDLT_PROTOCOL_COMMON, WDLT_SCAN_VIRUS, WDLT_CONFIG_DEFAULT, WDLT_INPUT_HTTP_FILE_SCAN};

constexpr VsPlace kHfsPlace{
    .limitProtocol = kFileScan.protocol,
    .limitScan = kFileScan.scan,
    .limitInput = kFileScan.input,
    .limitRecordSize = sizeof(WdpeHttpFileScanData),
    .limitOffset = offsetof(WdpeHttpFileScanData, dwMaxScanSize),
    .family = "CFuncHfs",
    .reading{
        .member = "ConfigVirusRead",
        .withoutConfig = "CFuncHfs::ConfigVirusRead: pConfig is NULL",
        .limitUnread = "CFuncHfs::ConfigVirusRead(): Failed to read on CConfigReader",
        .scanUnread = "CFuncHfs::ConfigVirusRead(): Failed to read WdpeVsData",
    },
    .writing{
        .member = "ConfigVirusWrite",
        .withoutConfig = "CFuncHfs::ConfigVirusWrite: pConfig is NULL",
        .limitUnread = "CFuncHfs::ConfigVirusWrite(): Failed to read config",
        .scanUnwritten = "FuncHfs::ConfigVirusWrite(): Failed to write WdpeVsData",
        .limitUnwritten = "FuncHfs::ConfigVirusWrite(): Failed to write data",
    },
};

} // namespace

CFuncHfs::CFuncHfs() : CFuncGenericVs(WDLT_PROTOCOL_HTTP, WDLT_INPUT_HTTP_FILE_SCAN) {}

std::int32_t CFuncHfs::ConfigVirusRead(WdltVsConfig* pConfig) {
    return readPlace(kHfsPlace, pConfig);
}

std::int32_t CFuncHfs::ConfigVirusWrite(const WdltVsConfig* pConfig) {
    return writePlace(kHfsPlace, pConfig);
}

std::int32_t CFuncHfs::ConfigRead(WdltHfsConfig* pConfig) {
    const FamilyCall call("CFuncHfs", "ConfigRead");
    if (pConfig == nullptr)
        return call.isNull("pConfig");
    WdpeHttpFileScanData stored;
    const std::int32_t status = readWhole(*this, kFileScan, stored, call.failing("read on CConfigReader"));
    if (status != WDLT_OK)
        return status;
    WdltHfsConfig config{};
    toCaller(kFileScanPairs, config, stored);
    handOver(pConfig, config);
    return WDLT_OK;
}

std::int32_t CFuncHfs::ConfigWrite(const WdltHfsConfig* pConfig) {
    const FamilyCall call("CFuncHfs", "ConfigWrite");
    if (pConfig == nullptr)
        return call.isNull("pConfig");
    WdltHfsConfig config = copyOf(pConfig);
    config.szTargetTypes[sizeof config.szTargetTypes - 1] = '\0'; // this one is cut to what fits
    return writeOver<WdpeHttpFileScanData>(
        *this, kFileScan, [&](WdpeHttpFileScanData& stored) { toStore(kFileScanPairs, config, stored); },
        call.failing("read on CConfigReader"), EventLine("FuncHfs::ConfigWrite(): Failed to write data: %d"));
}
