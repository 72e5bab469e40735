// The view items in the registry: five numbered values for each, by its place in the list. The privacy data is kept
// enciphered, 32 bytes of it.
#pragma once

#include "WdchHelper.h"
#include "Wiped.h"

#include <wdltcfg/records.h>

#include <cstdint>
#include <span>

namespace wdlt {

class PrivacyItems {
  public:
    // Of the helper's own address.
    explicit PrivacyItems(WdchHelper& helper) : m_helper(helper) {}

    // Appends the first `count` items. The first value that can't be read ends it.
    [[nodiscard]] std::int32_t GetPrivacyViewData(DWORD count, WipedVector<PrivacyViewItem>& items);
    // The first value that can't be written ends it; those before it stay.
    [[nodiscard]] std::int32_t WritePrivacyViewData(std::span<const PrivacyViewItem> items);
    // The items from the place `from` up to but without `to`. A privacy data that can't be deleted doesn't end it; the
    // status is that of the last one.
    [[nodiscard]] std::int32_t DeletePrivacyViewData(DWORD from, DWORD to);

  private:
    [[nodiscard]] std::int32_t readData(const char* name, PrivacyViewItem& item);
    [[nodiscard]] std::int32_t writeData(const char* name, const PrivacyViewItem& item);

    WdchHelper& m_helper;
};

} // namespace wdlt
