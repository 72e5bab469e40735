#include "FuncMah.h"

#include "FamilyRecords.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

using namespace wdlt;

std::int32_t CFuncMah::RecordListRead(MailAddressRecord* records, std::int32_t* count) {
    FamilyCall call("CFuncMah", "RecordListRead");
    if (count == nullptr)
        return call.withoutRecords();
    WdsmMailConfig settings;
    const Address address{WDLT_PROTOCOL_COMMON, WDLT_SCAN_MAIL_MANAGER, WDLT_CONFIG_DEFAULT};
    if (const std::int32_t status = readWhole(*this, address, settings, call.failing("read config")); status != WDLT_OK)
        return status;
    CCfgData cache(WDLT_PROTOCOL_COMMON, WDLT_SCAN_MAIL_MANAGER, WDLT_CONFIG_MAIL_ADDRESS_CACHE);
    if (const std::int32_t status = Read(cache); status != WDLT_OK)
        return call.failed("read config", status);
    std::int32_t stored = 0;
    std::memcpy(&stored, cache.GetData(), sizeof stored);
    takeSome(stored, cache.GetData() + sizeof(MailAddressListHead), records, count, call);
    return WDLT_OK;
}
