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
    // The count of items alone. WDLT_E_GENERAL when it can't be written.
    [[nodiscard]] std::int32_t WritePrivacyControlData(const PrivacyControlData& control);
    [[nodiscard]] std::int32_t GetMaxExclusionCount(DWORD& maximum);
    // Where the database lies. The install directory may be unknown: then this is a bare name.
    [[nodiscard]] std::int32_t findDatabase(std::string& path);

    // The store's status; `operation` is whose lines tell of a failure.
    [[nodiscard]] std::int32_t readItemEntryMax(const char* operation, DWORD& maximum);
    [[nodiscard]] std::int32_t readCharSetEntry(const char* operation, DWORD& charSets);
    // No line.
    [[nodiscard]] std::int32_t readNumber(const char* name, DWORD& number);

  private:
    WdchHelper& m_helper;
};

} // namespace wdlt
