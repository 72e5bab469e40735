#include "TextLists.h"

#include "FieldText.h"
#include "HeldList.h"
#include "LibraryStatus.h"
#include "PrivacyStore.h"
#include "RegistryKey.h"
#include "SpamFiles.h"
#include "Utf.h"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <limits>
#include <memory>
#include <optional>
#include <utility>
#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {
namespace {

/* The limit is a setting in the registry; the list's write function checks and reports it. */
constexpr std::size_t kLimitInStore = std::numeric_limits<std::size_t>::max();

/* Reads a list of at most `most` records, in steps, since room for all that there may be is megabytes to clear. A list
   that fills its room may go on. `call` is the export, with its list type bound. */
template <class Record, class Call>
std::int32_t readRecords(std::size_t most, std::vector<Record>& records, Call&& call) {
    constexpr std::size_t kFirst = 16;
    constexpr std::size_t kFactor = 8;
    for (std::size_t room = std::min(kFirst, most);; room = std::min(room * kFactor, most)) {
        records.resize(room);
        auto count = static_cast<std::int32_t>(room);
        const std::int32_t status = call(records.data(), &count);
        const bool isFull = status == WDLT_E_BUFFER_SIZE || (status == WDLT_OK && std::cmp_greater_equal(count, room));
        if (isFull && room < most)
            continue;
        records.resize(status == WDLT_OK ? static_cast<std::size_t>(count) : 0);
        return status;
    }
}

/* For records whose content is one null-terminated text, in the field `Text`. */
template <class Record, auto Text, class Call>
std::int32_t readTexts(std::size_t most, Texts& texts, Call&& call) {
    std::vector<Record> records;
    const std::int32_t status = readRecords(most, records, call);
    for (const Record& record : records)
        texts.push_back(narrowOf(record.*Text));
    return status;
}

/* Allocates a record even for an empty list, so that the library never gets a null pointer. */
template <class Record, auto Text, class Call>
std::int32_t writeTexts(const Texts& texts, Call&& call) {
    std::vector<Record> records(std::max<std::size_t>(texts.size(), 1));
    for (std::size_t i = 0; i < texts.size(); ++i)
        texts[i].copy(records[i].*Text, sizeof(records[i].*Text) - 1);
    return call(records.data(), static_cast<std::int32_t>(texts.size()));
}

constexpr std::string_view kWhiteAndBlack[] = {"white", "black"};
static_assert(WDLT_LIST_WHITE == 0 && WDLT_LIST_BLACK == 1);

std::int32_t readUrls(std::uint32_t type, Texts& texts) {
    return readTexts<WdpeUrlfUrlRecord, &WdpeUrlfUrlRecord::szUrl>(
        WDLT_MAX_URL_RECORDS, texts,
        [&](auto* records, auto* count) { return WdltUrlfReadRecordList(type, records, count); });
}
std::int32_t writeUrls(std::uint32_t type, const Texts& texts) {
    return writeTexts<WdpeUrlfUrlRecord, &WdpeUrlfUrlRecord::szUrl>(
        texts, [&](const auto* records, auto count) { return WdltUrlfWriteRecordList(type, records, count); });
}

std::string spywareFile() {
    std::string name = "SpyAList.dat";
    if (const auto key = RegistryKey::openIfThere(std::u16string(kBasePath) + u"\\Scan\\Common\\Virus\\config"))
        if (const auto value = key->value(u"WhiteList"); value && value->type == REG_SZ)
            narrowFromUtf8(utf8FromUtf16(textOf(value->data)), name);
    return installedFile(name);
}

/* The library reads a spyware list whose file can't be opened as an empty one, and what is added to it would replace the
   file. So the file is opened first, and held while the list is read. */
std::int32_t readSpyware(std::uint32_t type, Texts& texts) {
    const HeldList held(spywareFile(), FILE_SHARE_READ);
    return readTexts<WdpeSpyRecord, &WdpeSpyRecord::szText>(
        WDLT_MAX_SPYWARE_RECORDS, texts,
        [&](auto* records, auto* count) { return WdltSpyReadRecordList(type, records, count); });
}
std::int32_t writeSpyware(std::uint32_t type, const Texts& texts) {
    return writeTexts<WdpeSpyRecord, &WdpeSpyRecord::szText>(
        texts, [&](const auto* records, auto count) { return WdltSpyWriteRecordList(type, records, count); });
}

/* Reads the anti-spam record, not the list's own export: only the record says that a list is empty because its file
   couldn't be read. Such a list must not be shown as empty, nor replaced by what is added to it. */
std::int32_t readSpam(std::uint32_t type, Texts& texts) {
    const auto record = std::make_unique<WdpeAspmData>();
    if (const std::int32_t status = readSpamRecord(*record); status != WDLT_OK)
        return status;
    const bool isWhite = type == WDLT_LIST_WHITE;
    if ((record->dwUnreadLists & (isWhite ? WDLT_ASPM_UNREAD_WHITE : WDLT_ASPM_UNREAD_BLACK)) != 0)
        return WDLT_E_FILE;
    const std::span entries(isWhite ? record->whitelist : record->blacklist);
    for (const WdpeAspmEntry& entry : entries.first(isWhite ? record->dwWhitelistCount : record->dwBlacklistCount))
        texts.emplace_back(entry.szEntry, strnlen(entry.szEntry, sizeof entry.szEntry));
    return WDLT_OK;
}
std::int32_t writeSpam(std::uint32_t type, const Texts& texts) {
    return writeTexts<WdpeAspmEntry, &WdpeAspmEntry::szEntry>(
        texts, [&](const auto* records, auto count) { return WdltAspmWriteRecordList(type, records, count); });
}

/* To the library a host is a block of bytes: a text padded with zeros. Any other block is shown, and accepted, as
   hexadecimal digits after this word, without the zeros at its end. */
constexpr std::string_view kHexWord = "hex:";
constexpr std::size_t kHostBytes = sizeof(WdpeHosfHostRecord::byHost);

std::optional<WdpeHosfHostRecord> hostOfDigits(std::string_view text) {
    if (!text.starts_with(kHexWord))
        return std::nullopt;
    const std::string_view digits = text.substr(kHexWord.size());
    if (digits.empty() || digits.size() % 2 != 0 || digits.size() > 2 * kHostBytes)
        return std::nullopt;
    WdpeHosfHostRecord host{};
    for (std::size_t i = 0; i < digits.size(); ++i) {
        const std::size_t digit = std::string_view("0123456789abcdef").find(digits[i]);
        if (digit == std::string_view::npos)
            return std::nullopt;
        host.byHost[i / 2] = static_cast<BYTE>(std::size_t{host.byHost[i / 2]} << 4 | digit);
    }
    return host;
}

WdpeHosfHostRecord hostOf(std::string_view text) {
    if (const auto host = hostOfDigits(text))
        return *host;
    WdpeHosfHostRecord host{};
    std::copy(text.begin(), text.end(), host.byHost);
    return host;
}

std::string shownHost(const WdpeHosfHostRecord& host) {
    const std::span bytes(host.byHost);
    const auto isZero = [](BYTE byte) { return byte == 0; };
    const auto isControl = [](BYTE byte) { return byte < 0x20 || byte == 0x7F; };
    const auto end = std::find_if_not(bytes.rbegin(), bytes.rend(), isZero).base();
    std::string text(bytes.begin(), end);
    if (!text.empty() && text.size() < kHostBytes && std::none_of(bytes.begin(), end, isControl) &&
        isCodePageText(text) && !text.starts_with(kHexWord))
        return text;
    return fmt::format("{}{:02x}", kHexWord, fmt::join(bytes.first(std::max<std::size_t>(text.size(), 1)), ""));
}

std::optional<std::string> canonicalHost(std::string_view text) {
    if (text.size() >= kHostBytes && !hostOfDigits(text))
        return std::nullopt;
    return shownHost(hostOf(text));
}

std::int32_t readHosts(std::uint32_t, Texts& texts) {
    std::vector<WdpeHosfHostRecord> hosts;
    const std::int32_t status = readRecords(WDLT_MAX_HOST_RECORDS, hosts, [](auto* records, auto* count) {
        return WdltHosfReadRecordList(records, count);
    });
    for (const WdpeHosfHostRecord& host : hosts)
        texts.push_back(shownHost(host));
    return status;
}
std::int32_t writeHosts(std::uint32_t, const Texts& texts) {
    std::vector<WdpeHosfHostRecord> hosts(std::max<std::size_t>(texts.size(), 1));
    std::transform(texts.begin(), texts.end(), hosts.begin(), hostOf);
    return WdltHosfWriteRecordList(hosts.data(), static_cast<std::int32_t>(texts.size()));
}

/* The library leaves numbering the exclusions to its callers: one that stays keeps its number, a new one gets the
   next. */
std::int32_t readExclusions(std::uint32_t, Texts& texts) {
    for (const PrivacyExclusionItem& item : PrivacyExclusions::read().items)
        texts.push_back(narrowOf(item.szText));
    return WDLT_OK;
}
std::int32_t writeExclusions(std::uint32_t, const Texts& texts) {
    PrivacyExclusions old = PrivacyExclusions::read();
    if (texts.size() > old.head.dwExclusionItemMax)
        throw ToolError(ExitStatus::Usage, fmt::format("exclusions list: {} records, at most {}", texts.size(),
                                                       old.head.dwExclusionItemMax));
    std::uint32_t next = 0;
    for (const PrivacyExclusionItem& item : old.items)
        next = std::max(next, item.dwExclusionId + 1);
    std::vector<PrivacyExclusionItem> items(std::max<std::size_t>(texts.size(), 1));
    for (std::size_t i = 0; i < texts.size(); ++i) {
        texts[i].copy(items[i].szText, sizeof items[i].szText - 1);
        items[i].dwScanTarget = WDLT_PRIVACY_EXCLUSION_TARGET;
        const auto same =
            std::ranges::find_if(old.items, [&](const auto& item) { return narrowOf(item.szText) == texts[i]; });
        items[i].dwExclusionId = same != old.items.end() ? same->dwExclusionId : next++;
        if (same != old.items.end())
            old.items.erase(same); // a later duplicate has a number of its own
    }
    return WdltPdpWriteExItemList(items.data(), static_cast<std::int32_t>(texts.size()));
}

std::size_t limitOfExclusions() {
    return PrivacyExclusions::read().head.dwExclusionItemMax;
}

constexpr TextList kTextLists[] = {
    {"urls", "URL", "the URL filter's patterns, in which * stands for any text", sizeof(WdpeUrlfUrlRecord::szUrl) - 1,
     WDLT_MAX_URL_RECORDS, readUrls, writeUrls, kWhiteAndBlack, Force::Replaces},
    {"hosts",
     "HOST",
     "the host filter's white list",
     kHostBytes - 1,
     WDLT_MAX_HOST_RECORDS,
     readHosts,
     writeHosts,
     {},
     Force::Replaces,
     canonicalHost},
    {"spyware",
     "NAME",
     "spyware that the virus scan lets pass",
     sizeof(WdpeSpyRecord::szText) - 1,
     WDLT_MAX_SPYWARE_RECORDS,
     readSpyware,
     writeSpyware,
     {},
     Force::Replaces},
    {"exclusions",
     "TEXT",
     "what privacy protection lets pass",
     sizeof(PrivacyExclusionItem::szText) - 1,
     kLimitInStore,
     readExclusions,
     writeExclusions,
     {},
     Force::None,
     nullptr,
     nullptr,
     limitOfExclusions},
    {"spam", "ENTRY", "what anti-spam of POP3 lets pass or holds back", sizeof(WdpeAspmEntry::szEntry) - 1,
     WDLT_MAX_ASPM_RECORDS, readSpam, writeSpam, kWhiteAndBlack, Force::Loses, nullptr, lookAtSpamFiles},
};

} // namespace

std::span<const TextList> allTextLists() {
    return kTextLists;
}

} // namespace wdlt
