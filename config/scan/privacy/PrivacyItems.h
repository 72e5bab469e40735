// The view items in the registry: five values for each, numbered by its place in the list. The privacy data is kept
// enciphered and cut to 32 bytes.
#pragma once

#include "WdchHelper.h"
#include "Wiped.h"

#include <wdltcfg/records.h>

#include <cstdint>
#include <span>

namespace wdlt {

class PrivacyItems {
  public:
    // Uses the helper's own address.
    explicit PrivacyItems(WdchHelper& helper) : m_helper(helper) {}

    // Appends the first `count` items. The first value that can't be read ends it.
    [[nodiscard]] std::int32_t GetPrivacyViewData(DWORD count, WipedVector<PrivacyViewItem>& items);
    // The first value that can't be written ends it; those before it stay.
    [[nodiscard]] std::int32_t WritePrivacyViewData(std::span<const PrivacyViewItem> items);
    // Deletes the items from the place `from` up to, but not including, `to`. A failure ends it, except that of an
    // item's privacy data; the status is then that of the last item.
    [[nodiscard]] std::int32_t DeletePrivacyViewData(DWORD from, DWORD to);

  private:
    [[nodiscard]] std::int32_t readData(const char* name, PrivacyViewItem& item);
    [[nodiscard]] std::int32_t writeData(const char* name, const PrivacyViewItem& item);

    WdchHelper& m_helper;
};

} // namespace wdlt
