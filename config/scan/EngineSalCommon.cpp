#include "EngineSalCommon.h"

#include "FixedRecord.h"
#include "InnerConfigTypes.h"
#include "PluginRecords.h"
#include "ValueMap.h"

#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <iterator>
#include <span>

namespace {

using namespace wdlt;

// The row of the text is the last.
constexpr std::size_t kFlagCount = indexOf(kSalFields, WDLT_IN(WdpeSalData, szBlockImages));
static_assert(kFlagCount + 1 == std::size(kSalFields));
constexpr auto kFlags = std::span(kSalFields).first<kFlagCount>();

constexpr ValueReport kSalReport{
    .readFailed = "CEngineSalCommon: Failed to read registry (item=%s, ret=%ld)",
    .writeFailed = "CEngineSalCommon: Failed to write registry (item=%s, ret=%ld)",
};

constexpr RecordFrame kSalFrame{
    .readFits = RecordFrame::Fits::Larger,
    .writeFits = RecordFrame::Fits::Larger,
    .wrongSizeWritten = WDLT_E_BUFFER_SIZE,
};

} // namespace

std::int32_t CEngineSalCommon::ReadConfig(std::uint64_t, void* data, std::uint64_t* size) {
    return readRecord(kSalFrame, {*this, kSalReport}, kSalFields, data, size);
}

std::int32_t CEngineSalCommon::WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) {
    const ValueAccess access{*this, kSalReport};
    return configType == kSalFlagsAlone ? writeRecord<WdpeSalData>(kSalFrame, access, kFlags, data, size)
                                        : writeRecord(kSalFrame, access, kSalFields, data, size);
}
