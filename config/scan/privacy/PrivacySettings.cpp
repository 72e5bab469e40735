#include "PrivacySettings.h"

#include "PrivacyRecords.h"
#include "ValueMap.h"
#include "WdCommon/DebugLog.h"

#include <platform/registry.h>
#include <wdltcfg/status.h>

namespace wdlt {
namespace {

constexpr DWORD kDefaultExclusionItemMax = 100;
constexpr auto kDataBaseName = rowOf(kPrivacyControlFields, WDLT_IN(PrivacyControlData, szDataBaseName));

constexpr ValueReport kControlReport{
    .readFailed = "*** CEnginePDPCommon::GetPrivacyControlData() - Failed to ReadValue() %s. lRtnSts=%ld",
    .readCode = WDLT_E_GENERAL,
};

constexpr ValueReport kOpenReport{
    .readFailed = "*** CEnginePDPCommon::OpenDatabaseToRead() - Failed to ReadValue() %s. lRtnSts=%ld",
};

} // namespace

std::int32_t PrivacySettings::GetPrivacyControlData(PrivacyControlData& control) {
    control = {};
    return readValues({m_helper, kControlReport}, kPrivacyControlFields, control);
}

std::int32_t PrivacySettings::WritePrivacyControlData(const PrivacyControlData& control) {
    const DWORD count = control.dwItemEntryCount;
    const std::int32_t status = m_helper.WriteItem("", "ItemEntryCount", REG_DWORD, &count, sizeof count, false);
    if (status == WDLT_OK)
        return WDLT_OK;
    WDLOG_ERROR("*** CEnginePDPCommon::WritePrivacyControlData() - Failed to WriteValue() for item entry count. "
                "lRtnSts=%ld",
                static_cast<long>(status));
    return WDLT_E_GENERAL;
}

std::int32_t PrivacySettings::GetMaxExclusionCount(DWORD& maximum) {
    const std::int32_t status = readNumber("ExclusionItemMax", maximum);
    if (status == WDLT_E_NOT_FOUND) {
        maximum = kDefaultExclusionItemMax;
        return WDLT_OK;
    }
    if (status != WDLT_OK)
        WDLOG_ERROR("*** CEnginePDPCommon::GetMaxExclusionCount() - Failed to ReadValue(). lRtnSts=%ld",
                    static_cast<long>(status));
    return status;
}

std::int32_t PrivacySettings::findDatabase(std::string& path) {
    PrivacyControlData control{};
    if (const std::int32_t status = readValue({m_helper, kOpenReport}, kDataBaseName, &control, nullptr);
        status != WDLT_OK)
        return status;
    path = m_helper.GetInstallPath().append(control.szDataBaseName);
    return WDLT_OK;
}

std::int32_t PrivacySettings::readNumber(const char* name, DWORD& number) {
    DWORD size = sizeof number;
    return m_helper.ReadItem("", name, &number, &size, false);
}

std::int32_t PrivacySettings::readItemEntryMax(const char* operation, DWORD& maximum) {
    const std::int32_t status = readNumber("ItemEntryMax", maximum);
    if (status != WDLT_OK)
        WDLOG_ERROR("*** CEnginePDPCommon::%s() - Failed to ReadValue() of max count of item entry. lRtnSts=%ld",
                    operation, static_cast<long>(status));
    return status;
}

std::int32_t PrivacySettings::readCharSetEntry(const char* operation, DWORD& charSets) {
    const std::int32_t status = readNumber("CharSetEntry", charSets);
    if (status != WDLT_OK)
        WDLOG_ERROR("*** CEnginePDPCommon::%s() - Failed to ReadValue() of charset entry. lRtnSts=%ld", operation,
                    static_cast<long>(status));
    return status;
}

} // namespace wdlt
