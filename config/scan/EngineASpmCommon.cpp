#include "EngineASpmCommon.h"

#include "AspmReport.h"
#include "FixedRecord.h"
#include "MailRecords.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>

namespace {

using namespace wdlt;

constexpr RecordFrame kAntiSpamFrame{
    .wrongSizeRead = WDLT_E_INVALID_ARGUMENT,
    .wrongSizeReadLine = "ReadCommonConfig: parameter size error",
    .wrongSizeWrittenLine = "WriteCommonConfig: parameter size error",
};
constexpr RecordFrame kRulePathFrame{
    .wrongSizeRead = WDLT_E_INVALID_ARGUMENT,
    .wrongSizeReadLine = "ReadRulePathConfig: parameter size error",
    .wrongSizeWrittenLine = "WriteRulePathConfig: parameter size error",
};

} // namespace

std::int32_t CEngineASpmCommon::ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) {
    if (data == nullptr) {
        WDLOG_ERROR("ReadConfig: pData is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    const ValueAccess access{*this, kAspmReport};
    switch (configType) {
    case WDLT_CONFIG_DEFAULT:
        return readRecord(kAntiSpamFrame, access, kAntiSpamFields, data, size);
    case WDLT_CONFIG_ASPM_RULE_PATH:
        return readRecord(kRulePathFrame, access, kRulePathFields, data, size);
    default:
        WDLOG_ERROR("CEngineASpmCommon::ReadConfig(): invalid value (dwInput=%ld)", static_cast<long>(configType));
        return WDLT_E_INVALID_ARGUMENT;
    }
}

std::int32_t CEngineASpmCommon::WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) {
    if (data == nullptr) {
        WDLOG_ERROR("WriteConfig: pData is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    const ValueAccess access{*this, kAspmReport};
    switch (configType) {
    case WDLT_CONFIG_DEFAULT:
        return writeRecord(kAntiSpamFrame, access, kAntiSpamFields, data, size);
    case WDLT_CONFIG_ASPM_RULE_PATH:
        return writeRecord(kRulePathFrame, access, kRulePathFields, data, size);
    default:
        WDLOG_ERROR("CEngineASpmCommon::WriteConfig(): invalid value (dwInput=%ld)", static_cast<long>(configType));
        return WDLT_E_INVALID_ARGUMENT;
    }
}
