#include "FuncSpy.h"

#include "FamilyRecords.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

namespace {

using namespace wdlt;

constexpr Address kList{0, WDLT_SCAN_VIRUS, WDLT_CONFIG_SPYWARE_LIST};
constexpr std::uint32_t kOnlySpyList = 0;

} // namespace

std::int32_t CFuncSpy::RecordListRead(std::uint32_t /*listType*/, WdpeSpyRecord* records, std::int32_t* count) {
    FamilyCall call("CFuncSpy", "RecordListRead");
    return readSome<WdpeSpyList>(*this, kList, records, count, call, call.failing("read config"));
}

std::int32_t CFuncSpy::RecordListWrite(std::uint32_t /*listType*/, const WdpeSpyRecord* records, std::int32_t count) {
    const FamilyCall call("CFuncSpy", "RecordListWrite");
    if (records == nullptr)
        return call.withoutRecords();
    if (count < 0 || count > GetMaxCount())
        return call.withTooMany(count);
    return writeList<WdpeSpyList>(*this, kList, kOnlySpyList, records, count, call.failing("set data to config"),
                                  call.failing("write config"));
}
