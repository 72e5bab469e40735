#include "FuncPdp.h"

#include "FamilyRecords.h"
#include "FeatureSwitch.h"
#include "WdCommon/DebugLog.h"
#include "Wiped.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

#include <cstring>
#include <new>

namespace {

using namespace wdlt;

constexpr FeatureSwitch switchOf(std::uint32_t protocol) {
    return {
        .protocol = protocol,
        .scan = WDLT_SCAN_PRIVACY,
        .input = WDLT_INPUT_NONE,
        .itemFailed = "Failed to %s PDP PE for PH %d: %d",
        .handlerFailed = "Failed to %s PH %d: %d",
    };
}

// One of the two lists: records after a head, which has their count and the largest count allowed.
template <class ListHead, class ListItem>
struct ItemList {
    using Head = ListHead;
    using Item = ListItem;

    std::uint64_t configType;
    std::uint32_t Head::*count;
    std::uint32_t Head::*maximum;
    const char* read; // the operations' names in log lines
    const char* write;
};

constexpr ItemList<PrivacyControlData, PrivacyViewItem> kItems{
    WDLT_CONFIG_PRIVACY_ITEMS, &PrivacyControlData::dwItemEntryCount, &PrivacyControlData::dwItemEntryMax,
    "ItemListRead", "ItemListWrite"};
constexpr ItemList<PrivacyExclusionListHead, PrivacyExclusionItem> kExclusions{
    WDLT_CONFIG_PRIVACY_EXCLUSIONS, &PrivacyExclusionListHead::dwExclusionCount,
    &PrivacyExclusionListHead::dwExclusionItemMax, "ExItemListRead", "ExItemListWrite"};

class ListData final : public CCfgData {
  public:
    template <class List>
    explicit ListData(const List& list) : CCfgData(WDLT_PROTOCOL_COMMON, WDLT_SCAN_PRIVACY, list.configType) {}
};

// Reads the whole list into `cfgData`, and its head into `head` too.
template <class Head>
std::int32_t readAll(CCfgHelper& family, const char* operation, CCfgData& cfgData, Head& head) {
    if (const std::int32_t status = family.Read(cfgData); status != WDLT_OK) {
        WDLOG_ERROR("CFuncPdp::%s(): Failed to read config: %d", operation, status);
        return status;
    }
    std::memcpy(&head, cfgData.GetData(), sizeof head);
    return WDLT_OK;
}

template <class List>
std::int32_t readItems(CCfgHelper& family, const List& list, typename List::Item* items, std::int32_t* count) {
    FamilyCall call("CFuncPdp", list.read);
    if (count == nullptr)
        return call.withoutRecords();
    ListData cfgData(list);
    typename List::Head head{};
    if (const std::int32_t status = readAll(family, list.read, cfgData, head); status != WDLT_OK)
        return status;
    takeSome(static_cast<std::int32_t>(head.*list.count), cfgData.GetData() + sizeof head, items, count, call);
    return WDLT_OK;
}

template <class List>
std::int32_t writeItems(CCfgHelper& family, const List& list, const typename List::Item* items, std::int32_t count) {
    const FamilyCall call("CFuncPdp", list.write);
    if (items == nullptr) {
        WDLOG_ERROR("CFuncPdp::%s(): Invalid parameter NULL", list.write);
        return WDLT_E_INVALID_ARGUMENT;
    }
    typename List::Head head{};
    {
        ListData stored(list);
        if (const std::int32_t status = readAll(family, list.write, stored, head); status != WDLT_OK)
            return status;
    }
    const std::uint32_t maximum = head.*list.maximum;
    if (count < 0 || static_cast<std::uint32_t>(count) > maximum) {
        WDLOG_ERROR("CFuncPdp::%s(): count %d exceeds the maximum %d", list.write, count, maximum);
        return WDLT_E_INVALID_ARGUMENT;
    }
    head.*list.count = static_cast<std::uint32_t>(count);
    const std::size_t itemBytes = static_cast<std::size_t>(count) * sizeof *items;
    WipedVector<BYTE> bytes;
    try {
        bytes.resize(sizeof head + itemBytes);
    } catch (const std::bad_alloc&) {
        WDLOG_ERROR("CFuncPdp::%s(): Not enough memory", list.write);
        return WDLT_E_NO_MEMORY;
    }
    std::memcpy(bytes.data(), &head, sizeof head);
    std::memcpy(bytes.data() + sizeof head, items, itemBytes);
    ListData cfgData(list);
    if (const std::int32_t status = cfgData.SetData(bytes.data(), bytes.size()); status != WDLT_OK) {
        WDLOG_ERROR("CFuncPdp::%s(): Failed to set data to config: %d", list.write, status);
        return status;
    }
    const std::int32_t status = family.Write(cfgData);
    if (status != WDLT_OK)
        WDLOG_ERROR("CFuncPdp::%s(): Failed to write config: %d", list.write, status);
    return status;
}

} // namespace

// POP3 has no type bit: the feature can't be switched there.
CFuncPdp::CFuncPdp()
    : m_types{
          {WDLT_PROTOCOL_SMTP, WDLT_PRIVACY_SMTP},
          {WDLT_PROTOCOL_HTTP, WDLT_PRIVACY_HTTP},
          {4, WDLT_PRIVACY_PROTOCOL_4},
          {5, WDLT_PRIVACY_PROTOCOL_5},
          {6, WDLT_PRIVACY_PROTOCOL_6},
          {7, WDLT_PRIVACY_PROTOCOL_7},
      } {}

std::int32_t CFuncPdp::Enable(std::int32_t enable, std::uint32_t types) {
    WDLOG_ENTRY("CFuncPdp::Enable(): IN: %s, type=%08x", enable != 0 ? "On" : "Off", types);
    std::int32_t status = WDLT_OK;
    for (const auto& [protocol, type] : m_types) {
        if ((types & type) != 0)
            status = switchOf(protocol).enable(*this, enable);
        if (status != WDLT_OK)
            break;
    }
    WDLOG_ENTRY("CFuncPdp::Enable(): OUT");
    return status;
}

std::int32_t CFuncPdp::IsEnabled(std::uint32_t types) {
    WDLOG_ENTRY("CFuncPdp::IsEnabled(): IN");
    std::int32_t enabled = 0;
    for (const auto& [protocol, type] : m_types) {
        if ((types & type) == 0)
            continue;
        enabled = switchOf(protocol).isEnabled(*this);
        if (enabled == 0)
            break;
    }
    WDLOG_ENTRY("CFuncPdp::IsEnabled(): OUT");
    return enabled;
}

std::int32_t CFuncPdp::ItemListRead(PrivacyViewItem* items, std::int32_t* count) {
    return readItems(*this, kItems, items, count);
}

std::int32_t CFuncPdp::ExItemListRead(PrivacyExclusionItem* items, std::int32_t* count) {
    return readItems(*this, kExclusions, items, count);
}

std::int32_t CFuncPdp::ItemListWrite(const PrivacyViewItem* items, std::int32_t count) {
    return writeItems(*this, kItems, items, count);
}

std::int32_t CFuncPdp::ExItemListWrite(const PrivacyExclusionItem* items, std::int32_t count) {
    return writeItems(*this, kExclusions, items, count);
}
