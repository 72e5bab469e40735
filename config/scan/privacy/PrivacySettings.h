// The settings of the privacy items, in the registry at their address. None has a default but ExclusionItemMax.
#pragma once

#include "WdchHelper.h"

#include <wdltcfg/records.h>

#include <cstdint>

namespace wdlt {

class PrivacySettings {
  public:
    explicit PrivacySettings(WdchHelper& helper) : m_helper(helper) {}

    // WDLT_E_GENERAL for the first value that can't be read. File names come without a path.
    [[nodiscard]] std::int32_t GetPrivacyControlData(PrivacyControlData& control);
    // Writes only the count of items. WDLT_E_GENERAL when it can't be written.
    [[nodiscard]] std::int32_t WritePrivacyControlData(const PrivacyControlData& control);
    [[nodiscard]] std::int32_t GetMaxExclusionCount(DWORD& maximum);
    // The path of the database; a bare name if the install directory is unknown.
    [[nodiscard]] std::int32_t findDatabase(std::string& path);

    // The store's status; a failure is logged in the name of `operation`.
    [[nodiscard]] std::int32_t readItemEntryMax(const char* operation, DWORD& maximum);
    [[nodiscard]] std::int32_t readCharSetEntry(const char* operation, DWORD& charSets);
    // Doesn't log.
    [[nodiscard]] std::int32_t readNumber(const char* name, DWORD& number);

  private:
    WdchHelper& m_helper;
};

} // namespace wdlt
