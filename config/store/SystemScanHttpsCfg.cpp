#include "SystemScanHttpsCfg.h"

#include "FixedRecord.h"
#include "HelperRegistry.h"
#include "ValueMap.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/records.h>

namespace {

using namespace wdlt;

constexpr ValueRow<WdltHttpsConfig> kValues[] = {
    number<&WdltHttpsConfig::enable>("Enable").named("enable").whenUnreadable(0, kQuietly),
    text<&WdltHttpsConfig::HostFilterAlertFile>("HostFilterAlertFile"),
    text<&WdltHttpsConfig::HostFilterErrorFile>("HostFilterErrorFile"),
    text<&WdltHttpsConfig::PrivacyDataAlertFile>("PrivacyDataAlertFile"),
    text<&WdltHttpsConfig::UrlFilterAlertFile>("UrlFilterAlertFile"),
    text<&WdltHttpsConfig::UrlFilterCredAlertFile>("UrlFilterCredAlertFile"),
};

constexpr ValueReport kReport{
    .readFailed =
        [](DWORD level, const char* field, std::int32_t status) {
            WDLOG(level, "CSystemScanHttpsCfg::ReadConfig %s fails %d", field, status);
        },
    .writeFailed =
        [](const char* field, std::int32_t status) {
            WDLOG_ERROR("CSystemScanHttpsCfg::WriteConfig %s fails %d", field, status);
        },
    .writeCode = WDLT_E_GENERAL,
};

const RegisterHelper<CSystemScanHttpsCfg> kRegistered(HelperKind::CSystemScanHttpsCfg);

} // namespace

std::int32_t CSystemScanHttpsCfg::ReadConfig(std::uint64_t, void* data, std::uint64_t* size) {
    return readFixedRecord({*this, kReport}, kValues, data, size);
}

std::int32_t CSystemScanHttpsCfg::WriteConfig(std::uint64_t, void* data, std::uint64_t size) {
    return writeFixedRecord({*this, kReport}, kValues, data, size);
}
