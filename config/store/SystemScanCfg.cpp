#include "SystemScanCfg.h"

#include "FixedRecord.h"
#include "SystemRecords.h"
#include "ValueMap.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/records.h>

namespace {

using namespace wdlt;

constexpr ValueReport kReport{
    .writeFailed = [](const char* field, std::int32_t) { WDLOG_ERROR("WriteConfig WdchSystemScan::%s fails.", field); },
    .writeCode = WDLT_E_GENERAL,
};

} // namespace

std::int32_t CSystemScanCfg::ReadConfig(std::uint64_t, void* data, std::uint64_t* size) {
    return readFixedRecord({*this, kReport}, kScanItemFields, data, size);
}

std::int32_t CSystemScanCfg::WriteConfig(std::uint64_t, void* data, std::uint64_t size) {
    return writeFixedRecord({*this, kReport}, kScanItemFields, data, size);
}
