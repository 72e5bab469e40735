#include "HandlerPOP3.h"

#include "FixedRecord.h"
#include "MailRecords.h"
#include "ValueMap.h"

#include <wdltcfg/records.h>

namespace {

using namespace wdlt;

constexpr ValueReport kPop3Report{
    .readFailed = "[WdltCfg.dll] ReadConfig fails (%d) : WdphPop3::%s",
    .writeFailed = "[WdltCfg.dll] WriteConfig WdphPop3::%s fails.",
};

// The size is checked first, so that a caller without data learns it from WDLT_E_BUFFER_SIZE; null data of the right
// size is WDLT_E_GENERAL.
constexpr RecordFrame kPop3Frame{
    .readFirst = RecordFrame::First::Size,
    .noDataRead = WDLT_E_GENERAL,
    .noDataReadLine = "data is NULL",
    .wrongSizeWrittenLine = "[WdltCfg.dll] WriteConfig size is invalid (%d / %d)",
};

} // namespace

std::int32_t CHandlerPOP3::ReadConfig(std::uint64_t, void* data, std::uint64_t* size) {
    return readRecord(kPop3Frame, {*this, kPop3Report}, kPop3Fields, data, size);
}

std::int32_t CHandlerPOP3::WriteConfig(std::uint64_t, void* data, std::uint64_t size) {
    return writeRecord(kPop3Frame, {*this, kPop3Report}, kPop3Fields, data, size);
}
