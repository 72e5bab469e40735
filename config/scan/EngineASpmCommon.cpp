#include "EngineASpmCommon.h"

#include "AspmReport.h"
#include "MailRecords.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>

namespace {

using namespace wdlt;

template <class Record, std::size_t Count>
std::int32_t readRecord(WdchHelper& helper, const FieldOf<Record> (&rows)[Count], void* data) {
    CallersRecord<Record> record(data);
    record.clear();
    return readValues({helper, kAspmReport}, rows, *record);
}

template <class Record, std::size_t Count>
std::int32_t writeRecord(WdchHelper& helper, const FieldOf<Record> (&rows)[Count], void* data) {
    CallersRecord<Record> record(data);
    return writeValues({helper, kAspmReport}, rows, *record);
}

} // namespace

std::int32_t CEngineASpmCommon::ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) {
    if (data == nullptr) {
        WDLOG_ERROR("ReadConfig: pData is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    switch (configType) {
    case WDLT_CONFIG_DEFAULT:
        if (*size == sizeof(WdpeAspmCommonData))
            return readRecord(*this, kAntiSpamFields, data);
        WDLOG_ERROR("ReadCommonConfig: parameter size error");
        break;
    case WDLT_CONFIG_ASPM_RULE_PATH:
        if (*size == sizeof(WdpeAspmRulePath))
            return readRecord(*this, kRulePathFields, data);
        WDLOG_ERROR("ReadRulePathConfig: parameter size error");
        break;
    default:
        WDLOG_ERROR("CEngineASpmCommon::ReadConfig(): invalid value (dwInput=%ld)", static_cast<long>(configType));
        break;
    }
    return WDLT_E_INVALID_ARGUMENT;
}

std::int32_t CEngineASpmCommon::WriteConfig(std::uint64_t configType, void* data, std::uint64_t size) {
    if (data == nullptr) {
        WDLOG_ERROR("WriteConfig: pData is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    switch (configType) {
    case WDLT_CONFIG_DEFAULT:
        if (size == sizeof(WdpeAspmCommonData))
            return writeRecord(*this, kAntiSpamFields, data);
        WDLOG_ERROR("WriteCommonConfig: parameter size error");
        break;
    case WDLT_CONFIG_ASPM_RULE_PATH:
        if (size == sizeof(WdpeAspmRulePath))
            return writeRecord(*this, kRulePathFields, data);
        WDLOG_ERROR("WriteRulePathConfig: parameter size error");
        break;
    default:
        WDLOG_ERROR("CEngineASpmCommon::WriteConfig(): invalid value (dwInput=%ld)", static_cast<long>(configType));
        break;
    }
    return WDLT_E_INVALID_ARGUMENT;
}
