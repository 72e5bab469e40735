// The privacy lists through the exports, with the library's log.
#pragma once

#include "FreshLog.h"
#include "LoadedLibrary.h"
#include "PrivacyFiles.h"
#include "TimeScale.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/wdltcfg.h>

class PrivacyLists : public privacy_files::PrivacyTest {
  protected:
    template <class Head, class Item>
    struct List {
        std::int32_t status = 0;
        Head head{};
        std::vector<Item> items;
    };

    // Asks for the size, then reads.
    template <class Head, class Item>
    List<Head, Item> read(std::uint64_t type) {
        List<Head, Item> list;
        std::uint64_t size = 0;
        list.status = readInto(type, nullptr, size);
        if (list.status != WDLT_E_BUFFER_SIZE)
            return list;
        std::vector<char> buffer(size + 1); // read to an unaligned address
        list.status = readInto(type, buffer.data() + 1, size);
        if (list.status != WDLT_OK)
            return list;
        std::memcpy(&list.head, buffer.data() + 1, sizeof list.head);
        list.items.resize((size - sizeof list.head) / sizeof(Item));
        std::copy_n(buffer.data() + 1 + sizeof list.head, size - sizeof list.head,
                    reinterpret_cast<char*>(list.items.data()));
        return list;
    }
    auto readItems() { return read<PrivacyControlData, PrivacyViewItem>(WDLT_CONFIG_PRIVACY_ITEMS); }
    auto readSearch() { return read<PrivacyDBHeader, PrivacySearchRecord>(WDLT_CONFIG_PRIVACY_SEARCH); }
    auto readExclusions() {
        return read<PrivacyExclusionListHead, PrivacyExclusionItem>(WDLT_CONFIG_PRIVACY_EXCLUSIONS);
    }
    std::int32_t readInto(std::uint64_t type, void* data, std::uint64_t& size) {
        return WDLT_CALL(library, WdltReadConfig)(0, WDLT_SCAN_PRIVACY, type, data, &size);
    }

    std::int32_t writeItems(const std::vector<PrivacyViewItem>& items,
                            PrivacyControlData with = privacy_files::control()) {
        with.dwItemEntryCount = static_cast<std::uint32_t>(items.size());
        return write(WDLT_CONFIG_PRIVACY_ITEMS, privacy_files::bufferOf(with, items));
    }
    std::int32_t writeExclusions(const std::vector<PrivacyExclusionItem>& items) {
        return write(WDLT_CONFIG_PRIVACY_EXCLUSIONS, privacy_files::bufferOf(items));
    }
    std::int32_t write(std::uint64_t type, std::vector<char> buffer) {
        return WDLT_CALL(library, WdltWriteConfig)(0, WDLT_SCAN_PRIVACY, type, buffer.data() + 1, buffer.size() - 1);
    }
    // Expects a row's log line, or no error; then clears the log for the next row.
    void expectLine(const char* line) {
        EXPECT_TRUE(line != nullptr ? library.logged(line) : !library.logged("!!! ")) << line;
        clearLog();
    }

    const TimeScale patient{"0.1"};
    const FreshLog log;
    LoadedLibrary library{LoadedLibrary::withLog};
};
