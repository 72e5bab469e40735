#include "EngineASpmCommon.h"

#include "AspmReport.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>

namespace {

using namespace wdlt;

constexpr NumberRule kTimeout = orElse(100, 10000, 2000);

// In the order of reading and writing.
constexpr FieldOf<WdpeAspmCommonData> kSettings[] = {
    text(WDLT_IN(WdpeAspmCommonData, szPrefixSpam), "PrefixSpam"),
    text(WDLT_IN(WdpeAspmCommonData, szPrefixPhishing), "PrefixPhishing"),
    text(WDLT_IN(WdpeAspmCommonData, szPrefixMalicious), "PrefixMalicious"),
    text(WDLT_IN(WdpeAspmCommonData, szPrefixSuspicious), "PrefixSuspicious"),
    text(WDLT_IN(WdpeAspmCommonData, szPrefixBlack), "PrefixBlack"),
    number(WDLT_IN(WdpeAspmCommonData, dwScanType), "ScanType"),
    number(WDLT_IN(WdpeAspmCommonData, dwEnableImageDetection), "EnableImageDetection")
        .reads(asFlag())
        .writes(asFlag()),
    number(WDLT_IN(WdpeAspmCommonData, dwEnableInTheCloud), "EnableInTheCloud").reads(asFlag()).writes(asFlag()),
    number(WDLT_IN(WdpeAspmCommonData, dwInTheCloudTimeout), "InTheCloudTimeout")
        .reads(kTimeout)
        .writesAndCorrects(kTimeout),
};
static_assert(cover(kSettings));

// The backslash at its end is the reader's alone.
constexpr FieldOf<WdpeAspmRulePath> kRulePath[] = {
    text(WDLT_IN(WdpeAspmRulePath, szRulePath), "RulePath", 259).folder(),
};
static_assert(cover(kRulePath, WDLT_IN(WdpeAspmRulePath, byReserved)));

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
