#include "SystemScanCfg.h"

#include "ItemFrame.h"
#include "SystemRecords.h"

#include <wdltcfg/records.h>

namespace {

using namespace wdlt;

constexpr ValueReport kScanItemReport{
    .writeFailed = "WriteConfig WdchSystemScan::%s fails.",
    .writeCode = WDLT_E_GENERAL,
};

} // namespace

std::int32_t CSystemScanCfg::ReadConfig(std::uint64_t, void* data, std::uint64_t* size) {
    return readRecord(kItemFrame, {*this, kScanItemReport}, kScanItemFields, data, size);
}

std::int32_t CSystemScanCfg::WriteConfig(std::uint64_t, void* data, std::uint64_t size) {
    return writeRecord(kItemFrame, {*this, kScanItemReport}, kScanItemFields, data, size);
}
