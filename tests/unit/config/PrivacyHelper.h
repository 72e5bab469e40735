// The helper of the privacy items as the manager makes it, with the buffers that its tests read.
#pragma once

#include "ConfigManager.h"
#include "PrivacyFiles.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

namespace privacy_files {

class PrivacyHelperTest : public PrivacyTest {
  protected:
    template <class Head, class Item>
    struct List {
        std::int32_t status = 0;
        Head head{};
        std::vector<Item> items;
    };

    std::int32_t write(std::uint64_t type, std::vector<char> buffer) {
        return manager.WriteConfig(0, WDLT_SCAN_PRIVACY, 0, type, buffer.data() + 1, buffer.size() - 1);
    }
    std::int32_t writeItems(const std::vector<PrivacyViewItem>& items, const PrivacyControlData& with = control()) {
        return write(WDLT_CONFIG_PRIVACY_ITEMS, bufferOf(with, items));
    }
    std::int32_t writeExclusions(const std::vector<PrivacyExclusionItem>& items) {
        return write(WDLT_CONFIG_PRIVACY_EXCLUSIONS, bufferOf(items));
    }

    std::int32_t readInto(std::uint64_t type, void* data, std::uint64_t& size) {
        return manager.ReadConfig(0, WDLT_SCAN_PRIVACY, 0, type, data, &size);
    }
    // As callers read: the size first.
    template <class Head, class Item>
    List<Head, Item> read(std::uint64_t type) {
        List<Head, Item> list;
        std::uint64_t size = 0;
        list.status = readInto(type, nullptr, size);
        if (list.status != WDLT_E_BUFFER_SIZE)
            return list;
        std::vector<char> buffer(size + 1);
        list.status = readInto(type, buffer.data() + 1, size);
        if (list.status != WDLT_OK)
            return list;
        std::memcpy(&list.head, buffer.data() + 1, sizeof list.head);
        list.items.resize((size - sizeof list.head) / sizeof(Item));
        if (!list.items.empty())
            std::memcpy(list.items.data(), buffer.data() + 1 + sizeof list.head, list.items.size() * sizeof(Item));
        return list;
    }
    auto readItems() { return read<PrivacyControlData, PrivacyViewItem>(WDLT_CONFIG_PRIVACY_ITEMS); }
    auto readSearch() { return read<PrivacyDBHeader, PrivacySearchRecord>(WDLT_CONFIG_PRIVACY_SEARCH); }
    auto readExclusions() {
        return read<PrivacyExclusionListHead, PrivacyExclusionItem>(WDLT_CONFIG_PRIVACY_EXCLUSIONS);
    }

    CConfigManager manager;
};

inline std::string patternOf(const PrivacySearchRecord& record) {
    return reinterpret_cast<const char*>(record.byPattern);
}

} // namespace privacy_files
