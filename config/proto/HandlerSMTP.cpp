#include "HandlerSMTP.h"

#include "FixedRecord.h"
#include "MailRecords.h"
#include "ValueMap.h"

#include <wdltcfg/records.h>

namespace {

using namespace wdlt;

constexpr ValueReport kSmtpReport{
    .readFailed = "[WdltCfg.dll] ReadConfig fails (%d) : WdphSmtp::%s",
    .writeFailed = "[WdltCfg.dll] WriteConfig WdphSmtp::%s fails.",
};

// The data is checked first, without a log line: with null data a caller can't ask for the size.
constexpr RecordFrame kSmtpFrame{
    .wrongSizeWrittenLine = "[WdltCfg.dll] WriteConfig size is invalid (%d / %d)",
};

} // namespace

std::int32_t CHandlerSMTP::ReadConfig(std::uint64_t, void* data, std::uint64_t* size) {
    return readRecord(kSmtpFrame, {*this, kSmtpReport}, kSmtpFields, data, size);
}

std::int32_t CHandlerSMTP::WriteConfig(std::uint64_t, void* data, std::uint64_t size) {
    return writeRecord(kSmtpFrame, {*this, kSmtpReport}, kSmtpFields, data, size);
}
