#include "SystemScanCfg.h"

#include "FixedRecord.h"
#include "ValueMap.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/records.h>

namespace {

using namespace wdlt;

constexpr FieldOf<WdchSystemScan> kValues[] = {
    number(WDLT_IN(WdchSystemScan, enable), "Enable").namedAsMember().unreadable(0, Told::Quietly),
    text(WDLT_IN(WdchSystemScan, logExtension), "LogExtension").namedAsMember().unreadable("", Told::Quietly),
};
static_assert(cover(kValues));

constexpr ValueReport kReport{
    .writeFailed = [](const char* field, std::int32_t) { WDLOG_ERROR("WriteConfig WdchSystemScan::%s fails.", field); },
    .writeCode = WDLT_E_GENERAL,
};

} // namespace

std::int32_t CSystemScanCfg::ReadConfig(std::uint64_t, void* data, std::uint64_t* size) {
    return readFixedRecord({*this, kReport}, kValues, data, size);
}

std::int32_t CSystemScanCfg::WriteConfig(std::uint64_t, void* data, std::uint64_t size) {
    return writeFixedRecord({*this, kReport}, kValues, data, size);
}
