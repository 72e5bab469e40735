#include "HttpFileScanCommon.h"

#include "EngineFrame.h"
#include "ValueMap.h"
#include "VirusRecords.h"

#include <wdltcfg/records.h>

namespace {

using namespace wdlt;

constexpr ValueReport kFileScanReport{
    .readFailed = "CHttpFileScanCommon: Failed to read registry (item=%s, ret=%ld)",
    .writeFailed = "CHttpFileScanCommon: Failed to write registry (item=%s, ret=%ld)",
};

} // namespace

std::int32_t CHttpFileScanCommon::ReadConfig(std::uint64_t, void* data, std::uint64_t* size) {
    return readRecord(kEngineFrame, {*this, kFileScanReport}, kFileScanFields, data, size);
}

std::int32_t CHttpFileScanCommon::WriteConfig(std::uint64_t, void* data, std::uint64_t size) {
    return writeRecord(kEngineFrame, {*this, kFileScanReport}, kFileScanFields, data, size);
}
