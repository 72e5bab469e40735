#include "SystemScanCommonCfg.h"

#include "ItemFrame.h"
#include "SystemRecords.h"

#include <wdltcfg/records.h>

namespace {

using namespace wdlt;

constexpr ValueReport kScanItemCommonReport{
    .writeFailed = "WriteConfig WdchSystemScanCommon::%s fails.",
    .writeCode = WDLT_E_GENERAL,
};

} // namespace

std::int32_t CSystemScanCommonCfg::ReadConfig(std::uint64_t, void* data, std::uint64_t* size) {
    return readRecord(kItemFrame, {*this, kScanItemCommonReport}, kScanItemCommonFields, data, size);
}

std::int32_t CSystemScanCommonCfg::WriteConfig(std::uint64_t, void* data, std::uint64_t size) {
    return writeRecord(kItemFrame, {*this, kScanItemCommonReport}, kScanItemCommonFields, data, size);
}
