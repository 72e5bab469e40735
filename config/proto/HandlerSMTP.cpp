#include "HandlerSMTP.h"

#include "FixedRecord.h"
#include "MailHandler.h"
#include "MailRecords.h"
#include "ValueMap.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/records.h>
#include <wdltcfg/status.h>

namespace {

using namespace wdlt;

constexpr ValueReport kReport{
    .readFailed =
        [](DWORD, const char* field, std::int32_t status) {
            WDLOG_ERROR("[WdltCfg.dll] ReadConfig fails (%d) : WdphSmtp::%s", status, field);
        },
    .writeFailed = [](const char* field,
                      std::int32_t) { WDLOG_ERROR("[WdltCfg.dll] WriteConfig WdphSmtp::%s fails.", field); },
};

} // namespace

// The data come first, and without them it is WDLT_E_INVALID_ARGUMENT whatever the size, with no line: a caller can't
// ask for the size.
std::int32_t CHandlerSMTP::ReadConfig(std::uint64_t, void* data, std::uint64_t* size) {
    if (data == nullptr)
        return WDLT_E_INVALID_ARGUMENT;
    return readFixedRecord({*this, kReport}, kSmtpFields, data, size);
}

std::int32_t CHandlerSMTP::WriteConfig(std::uint64_t, void* data, std::uint64_t size) {
    return writeMailHandler({*this, kReport}, kSmtpFields, data, size);
}
