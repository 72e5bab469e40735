#include "FuncSpy.h"

#include "FamilyRecords.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

namespace {

using namespace wdlt;

constexpr Address kList{0, WDLT_SCAN_VIRUS, WDLT_CONFIG_SPYWARE_LIST};
constexpr std::uint32_t kOnlyList = 0;

} // namespace

std::int32_t CFuncSpy::RecordListRead(std::uint32_t /*listType*/, WdpeSpyRecord* records, std::int32_t* count) {
    CallLines lines("CFuncSpy", "RecordListRead");
    return readSome<WdpeSpyList>(*this, kList, records, count, lines, [](std::int32_t failure) {
        WDLOG_ERROR("CFuncSpy::RecordListRead(): Failed to read config: %d", failure);
    });
}

std::int32_t CFuncSpy::RecordListWrite(std::uint32_t /*listType*/, const WdpeSpyRecord* records, std::int32_t count) {
    const CallLines lines("CFuncSpy", "RecordListWrite");
    if (records == nullptr) {
        WDLOG_ERROR("CFuncSpy::RecordListWrite(): Invalid parameter NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    if (count < 0 || count > GetMaxCount()) {
        WDLOG_ERROR("CFuncSpy::RecordListWrite(): count %d exceeds the maximum", count);
        return WDLT_E_INVALID_ARGUMENT;
    }
    return writeList<WdpeSpyList>(
        *this, kList, kOnlyList, records, count,
        [](std::int32_t failure) {
            WDLOG_ERROR("CFuncSpy::RecordListWrite(): Failed to set data to config: %d", failure);
        },
        [](std::int32_t failure) { WDLOG_ERROR("CFuncSpy::RecordListWrite(): Failed to write config: %d", failure); });
}
