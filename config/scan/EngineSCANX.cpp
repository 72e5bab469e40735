#include "EngineSCANX.h"

#include "FixedRecord.h"
#include "Utility.h"
#include "ValueMap.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

#include <algorithm>
#include <iterator>
#include <span>

namespace {

using namespace wdlt;

constexpr DWORD kUnlimited = 0xFFFFFFFF;
constexpr DWORD kDefaultMultiInfection = 30;

// What a fresh installation scans with. Constants, and so there before the first helper.
struct Defaults {
    DWORD protocol;
    DWORD input;
    WdpeVsData data;
};
// clang-format off
constexpr Defaults kDefaults[] = {
    //                                               action, 2nd, clean, scan, layer, extract,   packer, infections,            spyware, action
    {WDLT_PROTOCOL_POP3, WDLT_INPUT_NONE,           {3,      4,   1,     1,    1,     kUnlimited, 1,     kDefaultMultiInfection, 1,      201}},
    {WDLT_PROTOCOL_SMTP, WDLT_INPUT_NONE,           {3,      101, 1,     1,    1,     kUnlimited, 1,     kDefaultMultiInfection, 1,      101}},
    {WDLT_PROTOCOL_HTTP, WDLT_INPUT_NONE,           {3,      4,   1,     1,    1,     kUnlimited, 1,     kDefaultMultiInfection, 1,      4}},
    {WDLT_PROTOCOL_HTTP, WDLT_INPUT_HTTP_FILE_SCAN, {3,      4,   1,     1,    1,     0x100000,   1,     kDefaultMultiInfection, 1,      4}},
};
// clang-format on

// Other protocols have none.
const WdpeVsData* findDefaults(DWORD protocol, DWORD input) {
    const Defaults* const found = std::ranges::find_if(
        kDefaults, [&](const Defaults& row) { return row.protocol == protocol && row.input == input; });
    return found == std::end(kDefaults) ? nullptr : &found->data;
}

// In the order of reading and writing.
constexpr FieldOf<WdpeVsData> kValues[] = {
    number(WDLT_IN(WdpeVsData, dwFirstAction), "Action").namedAsMember().orDefaults(Told::AsTrace),
    number(WDLT_IN(WdpeVsData, dwSecondAction), "Action2nd")
        .namedAsMember()
        .namedOnWrite("dwSectionAction")
        .orDefaults(Told::AsTrace),
    number(WDLT_IN(WdpeVsData, dwZipClean), "ZipClean").namedAsMember().orDefaults(Told::AsTrace),
    number(WDLT_IN(WdpeVsData, dwZipScan), "ZipScan").namedAsMember().orDefaults(Told::AsTrace).unreadable(0),
    number(WDLT_IN(WdpeVsData, dwZipLayer), "ZipLayer").namedAsMember().orDefaults(Told::AsTrace).reads(between(1, 6)),
    number(WDLT_IN(WdpeVsData, dwExtractFileSizeLimit), "ExtractFileSizeLimit")
        .namedAsMember()
        .orDefaults(Told::AsTrace),
    number(WDLT_IN(WdpeVsData, dwPackerSnare), "PackerSnare").namedAsMember().orDefaults(Told::AsTrace),
    number(WDLT_IN(WdpeVsData, dwMultiInfection), "MultiInfection")
        .orDefaults(Told::Quietly)
        .unreadable(kDefaultMultiInfection, Told::Quietly)
        .reads(atLeast(1))
        .readOnly(),
    number(WDLT_IN(WdpeVsData, dwSpywareScan), "SpywareScan")
        .namedAsMember()
        .orDefaults(Told::Quietly)
        .unreadable(0, Told::Quietly),
    number(WDLT_IN(WdpeVsData, dwSpywareAction), "SpywareAction").namedAsMember().orDefaults(Told::AsTrace),
};
static_assert(cover(kValues));
constexpr std::span kAllValues(kValues);
constexpr auto kValuesBeforeAction = kAllValues.first<std::size(kValues) - 1>();

// Nobody misses the action of a scan that is off.
constexpr auto kUnusedSpywareAction =
    number(WDLT_IN(WdpeVsData, dwSpywareAction), "SpywareAction").unreadable(0, Told::Quietly);

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
    const WdpeVsData* const defaults = findDefaults(protocol, input);
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
    return writeValues({*this, kReport}, kValues, *record);
}
