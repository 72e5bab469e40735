#include "SystemScanHttpsCfg.h"

#include "ItemFrame.h"
#include "SystemRecords.h"

#include <wdltcfg/records.h>

namespace {

using namespace wdlt;

constexpr ValueReport kHttpsReport{
    .readFailed = "CSystemScanHttpsCfg::ReadConfig %s fails %d",
    .writeFailed = "CSystemScanHttpsCfg::WriteConfig %s fails %d",
    .writeCode = WDLT_E_GENERAL,
};

} // namespace

std::int32_t CSystemScanHttpsCfg::ReadConfig(std::uint64_t, void* data, std::uint64_t* size) {
    return readRecord(kItemFrame, {*this, kHttpsReport}, kHttpsFields, data, size);
}

std::int32_t CSystemScanHttpsCfg::WriteConfig(std::uint64_t, void* data, std::uint64_t size) {
    return writeRecord(kItemFrame, {*this, kHttpsReport}, kHttpsFields, data, size);
}
