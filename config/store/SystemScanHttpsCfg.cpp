#include "SystemScanHttpsCfg.h"

#include "FixedRecord.h"
#include "SystemRecords.h"
#include "ValueMap.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/records.h>

namespace {

using namespace wdlt;

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
    return readFixedRecord({*this, kReport}, kHttpsFields, data, size);
}

std::int32_t CSystemScanHttpsCfg::WriteConfig(std::uint64_t, void* data, std::uint64_t size) {
    return writeFixedRecord({*this, kReport}, kHttpsFields, data, size);
}
