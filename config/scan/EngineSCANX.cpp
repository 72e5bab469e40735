#include "EngineSCANX.h"

#include "FixedRecord.h"
#include "ValueMap.h"
#include "VirusRecords.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <algorithm>
#include <iterator>
#include <span>

namespace {

using namespace wdlt;

// The row of the action on spyware is the last.
constexpr std::size_t kSpywareAction = indexOf(kEngineFields, WDLT_IN(WdpeVsData, dwSpywareAction));
static_assert(kSpywareAction + 1 == std::size(kEngineFields));
constexpr auto kValuesBeforeAction = std::span(kEngineFields).first<kSpywareAction>();

constexpr ValueReport kScanReport{
    .readFailed = "ReadConfig fails (%d) : WdpeVsData::%s",
    .writeFailed = "WriteConfig fails (%d) : WdpeVsData::%s",
    .defaultUsed = "ReadConfig item failed(%d) : WdpeVsData::%s, used default value.",
};

constexpr RecordFrame kScanFrame{
    .readFirst = RecordFrame::First::Size,
    .noDataReadLine = "data is NULL",
    .wrongSizeWrittenLine = "WriteConfig size is invalid (%d / %d)",
};

} // namespace

std::int32_t CEngineSCANX::ReadConfig(std::uint64_t, void* data, std::uint64_t* size) {
    if (const std::int32_t status = checkRead(kScanFrame, sizeof(WdpeVsData), data, size); status != WDLT_OK)
        return status;
    CallersRecord<WdpeVsData> record(data);
    record.clear();
    const ValueAccess access{*this, kScanReport};
    const WdpeVsData* const defaults = findEngineDefaults(protocol, input);
    if (const std::int32_t status = readValues(access, kValuesBeforeAction, *record, defaults); status != WDLT_OK)
        return status;
    return readValue(access, record->dwSpywareScan != 0 ? kEngineFields[kSpywareAction] : kUnusedSpywareAction,
                     &*record, defaults);
}

std::int32_t CEngineSCANX::WriteConfig(std::uint64_t, void* data, std::uint64_t size) {
    return writeRecord(kScanFrame, {*this, kScanReport}, kEngineFields, data, size);
}
