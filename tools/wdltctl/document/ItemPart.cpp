/* The items of privacy protection in the document, by their indexes. */

#include "Entries.h"
#include "FieldText.h"
#include "ItemCharset.h"
#include "Numbers.h"
#include "Part.h"
#include "PrivacyItems.h"
#include "ToolError.h"

#include <algorithm>
#include <fmt/format.h>
#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

namespace wdlt {
namespace {

constexpr const char* kItemName = "name";
constexpr const char* kItemDescription = "description";
constexpr const char* kItemTarget = "scan-target";
constexpr const char* kItemText = "text";

constexpr Column kItemColumns[] = {
    {.name = kItemName, .kind = Column::Kind::Narrow, .most = sizeof(PrivacyViewItem::szItemName) - 1},
    {.name = kItemDescription, .kind = Column::Kind::Narrow, .most = sizeof(PrivacyViewItem::szDescription) - 1},
    {.name = kItemTarget, .kind = Column::Kind::Number, .most = UINT32_MAX, .absent = WDLT_PRIVACY_EXCLUSION_TARGET},
    {.name = kItemText, .kind = Column::Kind::Free, .mayBeAbsent = true},
};

class ItemPart : public Part {
  public:
    ItemPart() : Part({"lists", "items"}, "the items of privacy protection, by their indexes") {}

    Json read() const override {
        PrivacyItems store = readItems();
        const ItemCharset charset(store.head.dwDefaultCharSet);
        Json state = Json::object();
        std::ranges::sort(store.items, {}, &PrivacyViewItem::dwItemIndex);
        for (const PrivacyViewItem& item : store.items)
            state[fmt::format("{}", item.dwItemIndex)] = {
                {kItemName, utf8FromNarrow(narrowOf(item.szItemName))},
                {kItemDescription, utf8FromNarrow(narrowOf(item.szDescription))},
                {kItemTarget, item.dwScanTarget},
                {kItemText, shownText(item, charset, true)}};
        return state;
    }

    Json wanted(const Json& given, const Json& now, Complaints& complaints) const override {
        Json wanted = Json::object();
        const bool isList = eachEntry(given, path(), complaints, [&](const std::string& index, const Json& entry) {
            const DocumentPath place = below(path(), index);
            const auto number = parseNumber(index);
            if (!number || *number >= kItemIndexes || index != fmt::format("{}", *number))
                return complaints.add(place, fmt::format("an index is 0 to {}", kItemIndexes - 1));
            Json& item = wanted[index] = wantedEntry(kItemColumns, entry, place, complaints);
            if (item.contains(kItemText) && item.at(kItemText) != kHiddenSecret)
                return;
            item.erase(kItemText);
            if (now.contains(index) && now[index].contains(kItemText))
                item[kItemText] = now[index][kItemText];
        });
        return isList ? wanted : now;
    }

    void check(const Json& wanted, bool, Complaints& complaints) const override {
        const PrivacyItems store = readItems();
        const ItemCharset charset(store.head.dwDefaultCharSet);
        PrivacyItems items{store.head, {}};
        for (auto entry = wanted.begin(); entry != wanted.end(); ++entry) {
            const DocumentPath place = below(below(path(), entry.key()), kItemText);
            if (entry->contains(kItemText))
                complaints.collect(place, [&] { items.items.push_back(itemOf(entry.key(), *entry, charset)); });
            else
                complaints.add(place, "left out, and there is no item with that index");
        }
        if (items.items.size() > store.head.dwItemEntryMax)
            complaints.add(path(),
                           fmt::format("{} entries, at most {}", items.items.size(), store.head.dwItemEntryMax));
        const std::vector<std::uint32_t> results = verifyItems(items.items);
        for (std::size_t i = 0; i < results.size(); ++i)
            if (results[i] != WDLT_OK)
                complaints.add(below(below(path(), fmt::format("{}", items.items[i].dwItemIndex)), kItemText),
                               "can't be in each charset that is searched");
    }

    std::int32_t write(const Json&, const Json& wanted) const override {
        PrivacyItems store = readItems();
        const ItemCharset charset(store.head.dwDefaultCharSet);
        store.items.clear();
        for (const auto& [index, entry] : wanted.items())
            store.items.push_back(itemOf(index, entry, charset));
        writeItems(store);
        return WDLT_OK;
    }

    bool isStoredTwice() const override { return true; } // in the registry and in the privacy database

    Json schema() const override { return schemaOf(entriesSchema(kItemColumns, "^([0-9]|[12][0-9]|3[01])$")); }

    bool isSecret(std::span<const std::string> inside) const override { return inside.back() == kItemText; }

  private:
    static PrivacyViewItem itemOf(const std::string& index, const Json& entry, const ItemCharset& charset) {
        PrivacyViewItem item{};
        item.dwItemIndex = static_cast<std::uint32_t>(*parseNumber(index));
        item.dwScanTarget = entry.at(kItemTarget).get<std::uint32_t>();
        setNarrow(item.szItemName, kItemName, entry.at(kItemName).get<std::string>());
        setNarrow(item.szDescription, kItemDescription, entry.at(kItemDescription).get<std::string>());
        setItemText(item, charset, entry.at(kItemText).get<std::string>(), "its text");
        return item;
    }
};

} // namespace

const Part* itemPart() {
    static const ItemPart part;
    return &part;
}

} // namespace wdlt
