// Settings of privacy data protection: its items and its database.
#pragma once

#include "Field.h"

#include <wdltcfg/records.h>

namespace wdlt {

inline constexpr std::uint32_t kDatabaseNameBytes = 15; // read of a file name: its field keeps a terminator

// In the order of reading. Nothing but the count is ever written.
inline constexpr FieldOf<PrivacyControlData> kPrivacyControlFields[] = {
    number(WDLT_IN(PrivacyControlData, dwCharSetEntry), "CharSetEntry")
        .named("for charset entry")
        .readOnly()
        .is("charsets in which items are searched for, one bit each (charsets.h)")
        .fresh(9),
    number(WDLT_IN(PrivacyControlData, dwExtCharSetEntry), "ExtCharSetEntry")
        .named("for charset extended entry")
        .readOnly()
        .is("not used")
        .fresh(0),
    number(WDLT_IN(PrivacyControlData, dwDefaultCharSet), "DefaultCharSet")
        .named("for default charset")
        .readOnly()
        .is("the one charset of the texts; changed only while there are no items")
        .fresh(8),
    number(WDLT_IN(PrivacyControlData, dwAccessRetryCount), "AccessRetryCount")
        .named("for access retry count of DB")
        .readOnly()
        .is("more tries while another access is under way")
        .fresh(30),
    number(WDLT_IN(PrivacyControlData, dwAccessWaitTime), "AccessWaitTime")
        .named("for access wait time of DB")
        .readOnly()
        .in("ms")
        .is("between tries")
        .fresh(100),
    number(WDLT_IN(PrivacyControlData, dwItemEntryMax), "ItemEntryMax")
        .named("for item entry max")
        .readOnly()
        .takes(1, 32)
        .is("most items")
        .fresh(32),
    number(WDLT_IN(PrivacyControlData, dwItemEntryCount), "ItemEntryCount")
        .named("for item entry count")
        .readOnly()
        .is("items that there are")
        .fresh(0),
    text(WDLT_IN(PrivacyControlData, szDataBaseName), "DataBaseName", kDatabaseNameBytes)
        .fileName()
        .named("for Database name")
        .readOnly()
        .is("the database, at most 14 characters")
        .fresh("Privacy.dat"),
    text(WDLT_IN(PrivacyControlData, szBackUpDBName), "BackUpDBName", kDatabaseNameBytes)
        .fileName()
        .named("for backup Database name")
        .readOnly()
        .is("its copy while it is changed, likewise")
        .fresh("Privacy.bak"),
};
static_assert(cover(kPrivacyControlFields));

// The values of each item, in the order of reading, writing and deleting; the privacy data comes after them. A value's
// name is followed by the item's place as two digits.
inline constexpr FieldOf<PrivacyViewItem> kPrivacyItemFields[] = {
    number(WDLT_IN(PrivacyViewItem, dwItemIndex), "ItemIndex").named("item index"),
    number(WDLT_IN(PrivacyViewItem, dwScanTarget), "ScanTarget").named("scan target"),
    text(WDLT_IN(PrivacyViewItem, szItemName), "ItemName").named("item name"),
    text(WDLT_IN(PrivacyViewItem, szDescription), "Description").named("description"),
};

} // namespace wdlt
