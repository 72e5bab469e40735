#include "SystemScanCommonCfg.h"

#include "FixedRecord.h"
#include "ValueMap.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/records.h>

namespace {

using namespace wdlt;

constexpr FieldOf<WdchSystemScanCommon> kValues[] = {
    text(WDLT_IN(WdchSystemScanCommon, filename), "Filename").namedAsMember().unreadable("", Told::Quietly),
};
static_assert(cover(kValues));

constexpr ValueReport kReport{
    .writeFailed = [](const char* field,
                      std::int32_t) { WDLOG_ERROR("WriteConfig WdchSystemScanCommon::%s fails.", field); },
    .writeCode = WDLT_E_GENERAL,
};

} // namespace

std::int32_t CSystemScanCommonCfg::ReadConfig(std::uint64_t, void* data, std::uint64_t* size) {
    return readFixedRecord({*this, kReport}, kValues, data, size);
}

std::int32_t CSystemScanCommonCfg::WriteConfig(std::uint64_t, void* data, std::uint64_t size) {
    return writeFixedRecord({*this, kReport}, kValues, data, size);
}
