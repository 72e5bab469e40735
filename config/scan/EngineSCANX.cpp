#include "EngineSCANX.h"

#include "FixedRecord.h"
#include "Utility.h"
#include "ValueMap.h"
#include "VirusRecords.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <algorithm>
#include <iterator>
#include <span>

namespace {

using namespace wdlt;

constexpr std::span kAllValues(kEngineFields);
constexpr auto kValuesBeforeAction = kAllValues.first<std::size(kEngineFields) - 1>();

constexpr ValueReport kReport{
    .readFailed = [](DWORD, const char* field,
                     std::int32_t status) { WDLOG_ERROR("ReadConfig fails (%d) : WdpeVsData::%s", status, field); },
    .writeFailed = [](const char* field,
                      std::int32_t status) { WDLOG_ERROR("WriteConfig fails (%d) : WdpeVsData::%s", status, field); },
    .defaultUsed =
        [](DWORD, const char* field, std::int32_t status) {
            WDLOG_TRACE("ReadConfig item failed(%d) : WdpeVsData::%s, used default value.", status, field);
        },
};

} // namespace

std::int32_t CEngineSCANX::ReadConfig(std::uint64_t, void* data, std::uint64_t* size) {
    if (const std::int32_t status = checkFixedRead(sizeof(WdpeVsData), data, size, WDLT_E_INVALID_ARGUMENT);
        status != WDLT_OK)
        return status;
    CallersRecord<WdpeVsData> record(data);
    record.clear();
    const ValueAccess access{*this, kReport};
    const WdpeVsData* const defaults = findEngineDefaults(protocol, input);
    if (const std::int32_t status = readValues(access, kValuesBeforeAction, *record, defaults); status != WDLT_OK)
        return status;
    return readValue(access, record->dwSpywareScan != 0 ? kAllValues.back() : kUnusedSpywareAction, &*record, defaults);
}

std::int32_t CEngineSCANX::WriteConfig(std::uint64_t, void* data, std::uint64_t size) {
    if (data == nullptr)
        return WDLT_E_INVALID_ARGUMENT;
    if (size != sizeof(WdpeVsData)) {
        WDLOG_ERROR("WriteConfig size is invalid (%d / %d)", loggedSize(size), loggedSize(sizeof(WdpeVsData)));
        return WDLT_E_INVALID_ARGUMENT;
    }
    CallersRecord<WdpeVsData> record(data);
    return writeValues({*this, kReport}, kEngineFields, *record);
}
