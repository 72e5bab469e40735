#include "HandlerPOP3.h"

#include "FixedRecord.h"
#include "MailHandler.h"
#include "MailRecords.h"
#include "ValueMap.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/records.h>

namespace {

using namespace wdlt;

constexpr ValueReport kReport{
    .readFailed =
        [](DWORD, const char* field, std::int32_t status) {
            WDLOG_ERROR("[WdltCfg.dll] ReadConfig fails (%d) : WdphPop3::%s", status, field);
        },
    .writeFailed = [](const char* field,
                      std::int32_t) { WDLOG_ERROR("[WdltCfg.dll] WriteConfig WdphPop3::%s fails.", field); },
};

} // namespace

// The size comes first: WDLT_E_BUFFER_SIZE tells it also to a caller without data, and only then is that
// WDLT_E_GENERAL.
std::int32_t CHandlerPOP3::ReadConfig(std::uint64_t, void* data, std::uint64_t* size) {
    return readFixedRecord({*this, kReport}, kPop3Fields, data, size);
}

std::int32_t CHandlerPOP3::WriteConfig(std::uint64_t, void* data, std::uint64_t size) {
    return writeMailHandler({*this, kReport}, kPop3Fields, data, size);
}
