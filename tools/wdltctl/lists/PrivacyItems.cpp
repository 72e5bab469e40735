/* The items of privacy protection: list, add, remove, import, export, and verify. Their texts are secrets, shown only
   on request. A file of items is JSON, the same that list prints. */

#include "PrivacyItems.h"

#include "FieldText.h"
#include "Files.h"
#include "ItemCharset.h"
#include "LibraryStatus.h"
#include "Lists.h"
#include "PrivacyStore.h"
#include "Table.h"
#include "Utf.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {
namespace {

/* In the store's charset; the store keeps only this much of the field. */
constexpr std::size_t kMostTextBytes = 32;

bool isVerified(std::uint32_t result) {
    return result == WDLT_OK;
}

} // namespace

PrivacyItems readItems() {
    return PrivacyItems::read();
}

/* Errors don't quote the text: it is a secret. */
void setItemText(PrivacyViewItem& item, const ItemCharset& charset, const std::string& typed,
                 const std::string& where) {
    const auto text = charset.fromUtf8(typed);
    if (!text || text->find('\0') != std::string::npos)
        throw ToolError(ExitStatus::Usage, fmt::format("{}: not a text that {} can hold", where, charset.name()));
    if (text->size() > kMostTextBytes)
        throw ToolError(ExitStatus::Usage, fmt::format("{}: {} bytes in {}, at most {}", where, text->size(),
                                                       charset.name(), kMostTextBytes));
    std::fill(std::copy(text->begin(), text->end(), item.szPrivacyData), std::end(item.szPrivacyData), '\0');
}

/* A stored text that is invalid in the charset is shown as text in the system code page. */
std::string shownText(const PrivacyViewItem& item, const ItemCharset& charset, bool showSecrets) {
    const std::string text = narrowOf(item.szPrivacyData);
    if (text.empty())
        return "";
    return showSecrets ? charset.toUtf8(text).value_or(utf8FromNarrow(text)) : std::string(kHiddenSecret);
}

std::vector<std::uint32_t> verifyItems(const Items& items) {
    std::vector<std::uint32_t> results(items.size());
    if (items.empty())
        return results; // the library asks for one
    checkStatus(WdltPdpVerifyItems(items.data(), static_cast<std::int32_t>(items.size()), results.data()),
                "privacy items");
    return results;
}

void writeItems(const PrivacyItems& store) {
    if (store.items.size() > store.head.dwItemEntryMax)
        throw ToolError(ExitStatus::Usage, fmt::format("privacy items: {} records, at most {}", store.items.size(),
                                                       store.head.dwItemEntryMax));
    Items items = store.items;
    items.reserve(1); // an empty list needs an address too
    const std::int32_t status = WdltPdpWriteItemList(items.data(), static_cast<std::int32_t>(items.size()));
    if (status == WDLT_E_CHARSET)
        for (const std::vector<std::uint32_t> results = verifyItems(items); const PrivacyViewItem& item : items)
            if (!isVerified(results[static_cast<std::size_t>(&item - items.data())]))
                checkStatus(status, fmt::format("the text of item {} can't be in each charset that is searched",
                                                item.dwItemIndex));
    checkStatus(status, "privacy items");
}

namespace {
constexpr const char* kIndex = "index";
constexpr const char* kName = "name";
constexpr const char* kDescription = "description";
constexpr const char* kTarget = "scanTarget";
constexpr const char* kText = "text";

struct ItemArguments {
    std::string name;
    std::optional<std::string> text; /* nullopt: the item has none */
    std::string description;
    std::uint32_t target = WDLT_PRIVACY_EXCLUSION_TARGET;
    std::uint32_t index = kItemIndexes; /* kItemIndexes: take the lowest free one */
    std::vector<std::uint32_t> indexes;
    std::vector<std::string> names;
    std::vector<std::string> texts;
    std::string file;
    std::string content;
    bool allowEmpty = false;
    bool dryRun = false;
};

Json itemsJson(const PrivacyItems& store, bool showSecrets) {
    const ItemCharset charset(store.head.dwDefaultCharSet);
    Json document = Json::array();
    for (const PrivacyViewItem& item : store.items)
        document.push_back({{kIndex, item.dwItemIndex},
                            {kName, utf8FromNarrow(narrowOf(item.szItemName))},
                            {kDescription, utf8FromNarrow(narrowOf(item.szDescription))},
                            {kTarget, item.dwScanTarget},
                            {kText, shownText(item, charset, showSecrets)}});
    return document;
}

void listItems(const Options& options) {
    const PrivacyItems store = readItems();
    if (options.json)
        return printJson(itemsJson(store, options.secrets));
    const ItemCharset charset(store.head.dwDefaultCharSet);
    std::vector<TableRow> rows = {{"INDEX", "NAME", "DESCRIPTION", "TARGET", "TEXT"}};
    for (const PrivacyViewItem& item : store.items) {
        const std::string text = shownText(item, charset, options.secrets);
        rows.push_back({std::to_string(item.dwItemIndex), displayNarrow(narrowOf(item.szItemName)),
                        displayNarrow(narrowOf(item.szDescription)), std::to_string(item.dwScanTarget),
                        displayText(utf16FromUtf8(text).value_or(u"?"))});
    }
    printTable(rows);
}

bool hasIndex(const Items& items, std::uint32_t index) {
    return std::ranges::find(items, index, &PrivacyViewItem::dwItemIndex) != items.end();
}

/* "-" takes the first line of the standard input, so that the secret needn't appear in a command line. */
std::string typedText(const std::string& argument) {
    if (argument != kStandardStream)
        return argument;
    const std::string content = readFile(argument);
    const std::string line = content.substr(0, content.find('\n'));
    return line.ends_with('\r') ? line.substr(0, line.size() - 1) : line;
}

void addItem(const ItemArguments& arguments, const Options& options) {
    PrivacyItems store = readItems();
    PrivacyViewItem item{};
    item.dwItemIndex = arguments.index;
    if (arguments.index == kItemIndexes)
        for (item.dwItemIndex = 0; item.dwItemIndex < kItemIndexes && hasIndex(store.items, item.dwItemIndex);)
            ++item.dwItemIndex;
    else if (hasIndex(store.items, arguments.index))
        throw ToolError(ExitStatus::Usage, fmt::format("index {} has an item already", arguments.index));
    if (item.dwItemIndex == kItemIndexes)
        throw ToolError(ExitStatus::Failed, fmt::format("all {} indexes have an item", kItemIndexes));
    item.dwScanTarget = arguments.target;
    setNarrow(item.szItemName, "NAME", arguments.name);
    setNarrow(item.szDescription, "--description", arguments.description);
    const ItemCharset charset(store.head.dwDefaultCharSet);
    if (arguments.text)
        setItemText(item, charset, typedText(*arguments.text), "TEXT");
    if (arguments.text && item.szPrivacyData[0] == '\0')
        throw ToolError(ExitStatus::Usage, "TEXT: an empty text is never found; without a TEXT, the item is only kept");
    store.items.push_back(item);
    writeItems(store);
    if (options.json)
        printJson({{kIndex, item.dwItemIndex}});
    else
        fmt::print("added with index {}\n", item.dwItemIndex);
}

/* Several items may have one name. */
std::uint32_t indexOfItem(const std::string& name, const Items& items) {
    std::vector<std::uint32_t> indexes;
    for (const PrivacyViewItem& item : items)
        if (utf8FromNarrow(narrowOf(item.szItemName)) == name)
            indexes.push_back(item.dwItemIndex);
    if (indexes.empty())
        throw ToolError(ExitStatus::Usage, fmt::format("no item has the name {}", name));
    if (indexes.size() > 1)
        throw ToolError(ExitStatus::Usage, fmt::format("{} items have the name {}: their indexes are {}",
                                                       indexes.size(), name, fmt::join(indexes, ", ")));
    return indexes.front();
}

void removeItems(const ItemArguments& arguments, const Options& options) {
    if (arguments.indexes.empty() && arguments.names.empty())
        throw ToolError(ExitStatus::Usage, "an INDEX or --name is needed");
    PrivacyItems store = readItems();
    std::vector<std::uint32_t> indexes = arguments.indexes;
    for (const std::string& name : arguments.names)
        indexes.push_back(indexOfItem(name, store.items));
    for (const std::uint32_t index : indexes)
        if (std::erase_if(store.items, [&](const auto& item) { return item.dwItemIndex == index; }) == 0)
            throw ToolError(ExitStatus::Usage, fmt::format("no item has the index {}", index));
    writeItems(store);
    printRemoved(indexes.size(), options);
}

std::uint32_t numberOf(const Json& value, const std::string& where) {
    if (!value.is_number_unsigned() || value.get<std::uint64_t>() > UINT32_MAX)
        throw ToolError(ExitStatus::Usage, where + ": not a number of 32 bits");
    return value.get<std::uint32_t>();
}

std::string stringOf(const Json& value, const std::string& where) {
    if (!value.is_string())
        throw ToolError(ExitStatus::Usage, where + ": not a text");
    return value.get<std::string>();
}

/* A hidden text keeps the one that is stored under the same index. */
void setImportedText(PrivacyViewItem& item, const PrivacyItems& store, const std::string& text,
                     const std::string& where) {
    if (text != kHiddenSecret)
        return setItemText(item, ItemCharset(store.head.dwDefaultCharSet), text, where);
    const auto stored = std::ranges::find(store.items, item.dwItemIndex, &PrivacyViewItem::dwItemIndex);
    if (stored == store.items.end())
        throw ToolError(ExitStatus::Usage,
                        fmt::format("{}: hidden, and no item has the index {}", where, item.dwItemIndex));
    std::copy(std::begin(stored->szPrivacyData), std::end(stored->szPrivacyData), item.szPrivacyData);
}

PrivacyViewItem itemFrom(const Json& element, const PrivacyItems& store, const std::string& where) {
    if (!element.is_object())
        throw ToolError(ExitStatus::Usage, where + ": not an object");
    PrivacyViewItem item{};
    item.dwItemIndex = kItemIndexes;
    item.dwScanTarget = WDLT_PRIVACY_EXCLUSION_TARGET;
    std::string text;
    for (const auto& [key, value] : element.items()) {
        const std::string field = fmt::format("{}, {}", where, key);
        if (key == kIndex)
            item.dwItemIndex = numberOf(value, field);
        else if (key == kTarget)
            item.dwScanTarget = numberOf(value, field);
        else if (key == kName)
            setNarrow(item.szItemName, field, stringOf(value, field));
        else if (key == kDescription)
            setNarrow(item.szDescription, field, stringOf(value, field));
        else if (key == kText)
            text = stringOf(value, field);
        else
            throw ToolError(ExitStatus::Usage, field + ": no such field");
    }
    if (item.dwItemIndex >= kItemIndexes)
        throw ToolError(ExitStatus::Usage, fmt::format("{}: an index is 0 to {}", where, kItemIndexes - 1));
    setImportedText(item, store, text, fmt::format("{}, {}", where, kText));
    return item;
}

void importItems(const ItemArguments& arguments, const Options& options) {
    const Json document = Json::parse(arguments.content, nullptr, false);
    if (!document.is_array())
        throw ToolError(ExitStatus::Usage, arguments.file + ": not a JSON list of items, as export writes it");
    const PrivacyItems old = readItems();
    PrivacyItems store{old.head, {}};
    for (const Json& element : document) {
        const std::string where = fmt::format("item {}", store.items.size() + 1);
        const PrivacyViewItem item = itemFrom(element, old, where);
        if (hasIndex(store.items, item.dwItemIndex))
            throw ToolError(ExitStatus::Usage, fmt::format("{}: index {} is there twice", where, item.dwItemIndex));
        store.items.push_back(item);
    }
    if (store.items.empty() && !arguments.allowEmpty)
        throw ToolError(ExitStatus::Usage, "no item is there; --allow-empty removes all of them");
    if (!arguments.dryRun)
        writeItems(store);
    if (options.json)
        printJson({{"items", store.items.size()}, {"before", old.items.size()}, {"stored", !arguments.dryRun}});
    else
        fmt::print("{} items in place of {}{}\n", store.items.size(), old.items.size(),
                   arguments.dryRun ? "; nothing is stored" : "");
}

void exportItems(const ItemArguments& arguments, const Options& options) {
    const Json document = itemsJson(readItems(), options.secrets);
    writeFile(arguments.file, document.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
}

/* Refers to the texts by position: they are secrets. */
void verifyTexts(const ItemArguments& arguments, const Options& options) {
    const ItemCharset charset(readItems().head.dwDefaultCharSet);
    Items items(arguments.texts.size());
    std::vector<bool> isItem(items.size(), true); // whatever add takes
    for (std::size_t i = 0; i < items.size(); ++i)
        try {
            const std::string text = typedText(arguments.texts[i]);
            setItemText(items[i], charset, text, "");
            isItem[i] = !text.empty();
        } catch (const ToolError&) {
            isItem[i] = false;
        }
    const std::vector<std::uint32_t> results = verifyItems(items);
    Json document = Json::array();
    std::string lines;
    for (std::size_t i = 0; i < items.size(); ++i) {
        const bool inCharsets = isVerified(results[i]);
        lines += fmt::format("{}: {}\n", i + 1,
                             !isItem[i]   ? "can't be an item"
                             : inCharsets ? "can be searched for"
                                          : "can't be in each charset that is searched");
        isItem[i] = isItem[i] && inCharsets;
        document.push_back(bool{isItem[i]});
    }
    if (options.json)
        printJson(document);
    else
        writeFile(std::string(kStandardStream), lines);
    if (const auto bad = std::ranges::count(isItem, false); bad != 0)
        throw ToolError(ExitStatus::No, fmt::format("{} of {} can't be searched for", bad, isItem.size()));
}

CLI::App* addItems(CLI::App& verb, const char* help) {
    return verb.add_subcommand("items", help);
}

void addItemList(CLI::App& verb, const Options& options) {
    auto* items = addItems(verb, "Show the privacy items; their texts with --secrets");
    runs(*items, Needs::Tree, [&options] { listItems(options); });
}

void addItemAdd(CLI::App& verb, const Options& options) {
    const auto arguments = std::make_shared<ItemArguments>();
    auto* items = addItems(verb, "Add a privacy item");
    items->add_option("NAME", arguments->name, "Its name, at most 35 bytes")->required();
    items->add_option("TEXT", arguments->text,
                      "What is searched for, at most 32 bytes in the store's charset; - for a line of the standard "
                      "input; without it, the item is only kept");
    items->add_option("--description", arguments->description, "Its description, at most 67 bytes");
    items->add_option("--target", arguments->target, "Scan target, for the service")->capture_default_str();
    items->add_option("--index", arguments->index, "Its index; else the lowest that is free")
        ->check(CLI::Range(kItemIndexes - 1));
    runs(*items, Needs::Files, [arguments, &options] { addItem(*arguments, options); });
}

void addItemRemove(CLI::App& verb, const Options& options) {
    const auto arguments = std::make_shared<ItemArguments>();
    auto* items = addItems(verb, "Remove privacy items");
    items->add_option("INDEX", arguments->indexes, "Their indexes");
    items->add_option("--name", arguments->names, "Name of an item that no other has; may be repeated")
        ->allow_extra_args(false); // otherwise an index after it would count as another name
    runs(*items, Needs::Files, [arguments, &options] { removeItems(*arguments, options); });
}

void addItemImport(CLI::App& verb, const Options& options) {
    const auto arguments = std::make_shared<ItemArguments>();
    auto* items = addItems(verb, "Replace the privacy items by those of a JSON file; a hidden text stays as it is");
    items->add_option("FILE", arguments->file, "The file, - for the standard input")->required();
    items->add_flag("--allow-empty", arguments->allowEmpty, "Let an empty list remove all items");
    items->add_flag("--dry-run", arguments->dryRun, "Check the file, store nothing");
    runs(
        *items, Needs::Files, [arguments, &options] { importItems(*arguments, options); },
        [arguments] { arguments->content = readFile(arguments->file); });
}

void addItemExport(CLI::App& verb, const Options& options) {
    const auto arguments = std::make_shared<ItemArguments>();
    auto* items = addItems(verb, "Write the privacy items to a JSON file; their texts with --secrets");
    items->add_option("FILE", arguments->file, "The file, - for the standard output")->required();
    runs(*items, Needs::Tree, [arguments, &options] { exportItems(*arguments, options); });
}

} // namespace

const List kPrivacyItemList = {addItemList, addItemAdd, addItemRemove, addItemImport, addItemExport};

void addVerify(CLI::App& app, const Options& options) {
    const auto arguments = std::make_shared<ItemArguments>();
    auto* verb = app.add_subcommand("verify", "Try whether texts could be privacy items; nothing is stored");
    verb->add_option("TEXT", arguments->texts, "The texts; - for a line of the standard input")->required();
    verb->footer("Exit status 0 when all of them can be in each charset that is searched, 1 when not.");
    runs(*verb, Needs::Tree, [arguments, &options] { verifyTexts(*arguments, options); });
}

} // namespace wdlt
