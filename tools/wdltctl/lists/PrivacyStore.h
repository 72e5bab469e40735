/* The lists of privacy protection, each preceded by its settings, as read at their addresses. */
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>
#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>

namespace wdlt {

/* Reads `configType` of (0, WDLT_SCAN_PRIVACY). A failure is a ToolError. */
std::vector<char> readPrivacy(std::uint64_t configType);

template <class Head, class Item, std::uint64_t ConfigType>
struct PrivacyList {
    Head head;
    std::vector<Item> items;

    static PrivacyList read() {
        const std::vector<char> bytes = readPrivacy(ConfigType);
        PrivacyList list{};
        if (bytes.size() < sizeof(Head))
            return list;
        std::memcpy(&list.head, bytes.data(), sizeof(Head));
        list.items.resize((bytes.size() - sizeof(Head)) / sizeof(Item));
        if (!list.items.empty())
            std::memcpy(list.items.data(), bytes.data() + sizeof(Head), list.items.size() * sizeof(Item));
        return list;
    }
};
using PrivacyItems = PrivacyList<PrivacyControlData, PrivacyViewItem, WDLT_CONFIG_PRIVACY_ITEMS>;
using PrivacyPatterns = PrivacyList<PrivacyDBHeader, PrivacySearchRecord, WDLT_CONFIG_PRIVACY_SEARCH>;
using PrivacyExclusions = PrivacyList<PrivacyExclusionListHead, PrivacyExclusionItem, WDLT_CONFIG_PRIVACY_EXCLUSIONS>;

} // namespace wdlt
