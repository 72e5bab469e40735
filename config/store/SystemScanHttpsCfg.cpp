#include "SystemScanHttpsCfg.h"

#include "FixedRecord.h"
#include "ValueMap.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/records.h>

namespace {

using namespace wdlt;

constexpr FieldOf<WdltHttpsConfig> kValues[] = {
    number(WDLT_IN(WdltHttpsConfig, enable), "Enable").namedAsMember().unreadable(0, Told::Quietly),
    text(WDLT_IN(WdltHttpsConfig, HostFilterAlertFile), "HostFilterAlertFile"),
    text(WDLT_IN(WdltHttpsConfig, HostFilterErrorFile), "HostFilterErrorFile"),
    text(WDLT_IN(WdltHttpsConfig, PrivacyDataAlertFile), "PrivacyDataAlertFile"),
    text(WDLT_IN(WdltHttpsConfig, UrlFilterAlertFile), "UrlFilterAlertFile"),
    text(WDLT_IN(WdltHttpsConfig, UrlFilterCredAlertFile), "UrlFilterCredAlertFile"),
};
static_assert(cover(kValues));

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

} // namespace

std::int32_t CSystemScanHttpsCfg::ReadConfig(std::uint64_t, void* data, std::uint64_t* size) {
    return readFixedRecord({*this, kReport}, kValues, data, size);
}

std::int32_t CSystemScanHttpsCfg::WriteConfig(std::uint64_t, void* data, std::uint64_t size) {
    return writeFixedRecord({*this, kReport}, kValues, data, size);
}
