#include "FuncMah.h"

#include "FamilyRecords.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

namespace {

using namespace wdlt;

void readFailed(std::int32_t status) {
    WDLOG_ERROR("CFuncMah::RecordListRead(): Failed to read config: %d", status);
}

} // namespace

std::int32_t CFuncMah::RecordListRead(MailAddressRecord* records, std::int32_t* count) {
    CallLines lines("CFuncMah", "RecordListRead");
    if (count == nullptr)
        return lines.withoutCount();
    WdsmMailConfig settings;
    const Address address{WDLT_PROTOCOL_COMMON, WDLT_SCAN_MAIL_MANAGER, WDLT_CONFIG_DEFAULT};
    if (const std::int32_t status = readWhole(*this, address, settings, readFailed); status != WDLT_OK)
        return status;
    CCfgData cache(WDLT_PROTOCOL_COMMON, WDLT_SCAN_MAIL_MANAGER, WDLT_CONFIG_MAIL_ADDRESS_CACHE);
    if (const std::int32_t status = Read(cache); status != WDLT_OK) {
        readFailed(status);
        return status;
    }
    std::int32_t stored = 0;
    std::memcpy(&stored, cache.GetData(), sizeof stored);
    if (records == nullptr) {
        *count = stored;
        lines.endWithCount(stored);
        return WDLT_OK;
    }
    *count = std::min(*count, stored);
    if (*count > 0)
        std::memcpy(records, cache.GetData() + sizeof(MailAddressListHead),
                    static_cast<std::size_t>(*count) * sizeof *records);
    return WDLT_OK;
}
