#include "EngineASpmCommon.h"

#include "AspmReport.h"
#include "HelperRegistry.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>

namespace {

using namespace wdlt;

constexpr NumberRule kTimeout = orElseOutside<100, 10000, 2000>;

// In the order of reading and writing.
constexpr ValueRow<WdpeAspmCommonData> kSettings[] = {
    text<&WdpeAspmCommonData::szPrefixSpam>("PrefixSpam"),
    text<&WdpeAspmCommonData::szPrefixPhishing>("PrefixPhishing"),
    text<&WdpeAspmCommonData::szPrefixMalicious>("PrefixMalicious"),
    text<&WdpeAspmCommonData::szPrefixSuspicious>("PrefixSuspicious"),
    text<&WdpeAspmCommonData::szPrefixBlack>("PrefixBlack"),
    number<&WdpeAspmCommonData::dwScanType>("ScanType"),
    number<&WdpeAspmCommonData::dwEnableImageDetection>("EnableImageDetection").onRead(asFlag).onWrite(asFlag),
    number<&WdpeAspmCommonData::dwEnableInTheCloud>("EnableInTheCloud").onRead(asFlag).onWrite(asFlag),
    number<&WdpeAspmCommonData::dwInTheCloudTimeout>("InTheCloudTimeout").onRead(kTimeout).onWriteAndInRecord(kTimeout),
};

// The backslash at its end is the reader's alone.
constexpr ValueRow<WdpeAspmRulePath> kRulePath[] = {
    text<&WdpeAspmRulePath::szRulePath>("RulePath", 259).folder(),
};

template <class Record, std::size_t Count>
std::int32_t readRecord(WdchHelper& helper, const ValueRow<Record> (&rows)[Count], void* data) {
    CallersRecord<Record> record(data);
    record.clear();
    return readValues({helper, kAspmReport}, rows, *record);
}

template <class Record, std::size_t Count>
std::int32_t writeRecord(WdchHelper& helper, const ValueRow<Record> (&rows)[Count], void* data) {
    CallersRecord<Record> record(data);
    return writeValues({helper, kAspmReport}, rows, *record);
}

const RegisterHelper<CEngineASpmCommon> kRegistered(HelperKind::CEngineASpmCommon);

} // namespace

std::int32_t CEngineASpmCommon::ReadConfig(std::uint64_t configType, void* data, std::uint64_t* size) {
    if (data == nullptr) {
        WDLOG_ERROR("ReadConfig: pData is NULL");
        return WDLT_E_INVALID_ARGUMENT;
    }
    switch (configType) {
    case WDLT_CONFIG_DEFAULT:
        if (*size == sizeof(WdpeAspmCommonData))
            return readRecord(*this, kSettings, data);
        WDLOG_ERROR("ReadCommonConfig: parameter size error");
        break;
    case WDLT_CONFIG_ASPM_RULE_PATH:
        if (*size == sizeof(WdpeAspmRulePath))
            return readRecord(*this, kRulePath, data);
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
            return writeRecord(*this, kSettings, data);
        WDLOG_ERROR("WriteCommonConfig: parameter size error");
        break;
    case WDLT_CONFIG_ASPM_RULE_PATH:
        if (size == sizeof(WdpeAspmRulePath))
            return writeRecord(*this, kRulePath, data);
        WDLOG_ERROR("WriteRulePathConfig: parameter size error");
        break;
    default:
        WDLOG_ERROR("CEngineASpmCommon::WriteConfig(): invalid value (dwInput=%ld)", static_cast<long>(configType));
        break;
    }
    return WDLT_E_INVALID_ARGUMENT;
}
