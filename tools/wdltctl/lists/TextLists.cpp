#include "TextLists.h"

#include "FieldText.h"
#include "LayerError.h"
#include "LibraryStatus.h"
#include "PrivacyStore.h"
#include "RegistryKey.h"
#include "Utf.h"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <limits>
#include <memory>
#include <optional>
#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {
namespace {

/* The limit is a setting in the registry; the list's write function checks and reports it. */
constexpr std::size_t kLimitInStore = std::numeric_limits<std::size_t>::max();

/* Reads a list of at most `most` records. `call` is the export, with its list type bound. */
template <class Record, class Call>
std::int32_t readRecords(std::size_t most, std::vector<Record>& records, Call&& call) {
    records.resize(most);
    auto count = static_cast<std::int32_t>(most);
    const std::int32_t status = call(records.data(), &count);
    records.resize(status == WDLT_OK ? static_cast<std::size_t>(count) : 0);
    return status;
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

/* The library reads a spyware list whose file can't be opened as an empty one, and what is added to it would replace the
   file. So the file is opened first, and held while the list is read. */
class HeldSpywareFile {
  public:
    HeldSpywareFile() {
        WdchSystemData system{};
        std::uint64_t size = sizeof system;
        checkStatus(WdltReadConfig(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, WDLT_CONFIG_DEFAULT, &system, &size),
                    "system");
        std::string name = "SpyAList.dat";
        if (const auto key = RegistryKey::openIfThere(std::u16string(kBasePath) + u"\\Scan\\Common\\Virus\\config"))
            if (const auto value = key->value(u"WhiteList"); value && value->type == REG_SZ)
                narrowFromUtf8(utf8FromUtf16(textOf(value->data)), name);
        const std::string file = narrowOf(system.installPath) + name;
        m_file = CreateFileA(file.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
        const DWORD error = m_file == INVALID_HANDLE_VALUE ? GetLastError() : DWORD{ERROR_SUCCESS};
        if (error != ERROR_SUCCESS && error != ERROR_FILE_NOT_FOUND && error != ERROR_PATH_NOT_FOUND)
            throw LayerError(displayNarrow(file), static_cast<LONG>(error));
    }
    ~HeldSpywareFile() {
        if (m_file != INVALID_HANDLE_VALUE)
            CloseHandle(m_file);
    }
    HeldSpywareFile(const HeldSpywareFile&) = delete;
    HeldSpywareFile& operator=(const HeldSpywareFile&) = delete;

  private:
    HANDLE m_file;
};

std::int32_t readSpyware(std::uint32_t type, Texts& texts) {
    const HeldSpywareFile held;
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
    std::uint64_t size = sizeof *record;
    const std::int32_t status =
        WdltReadConfig(WDLT_PROTOCOL_POP3, WDLT_SCAN_ANTI_SPAM, WDLT_CONFIG_DEFAULT, record.get(), &size);
    if (status != WDLT_OK)
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
   hexadecimal digits after this word. */
constexpr std::string_view kHexWord = "hex:";
constexpr std::size_t kHostBytes = sizeof(WdpeHosfHostRecord::byHost);

std::optional<WdpeHosfHostRecord> hostOfDigits(std::string_view text) {
    if (!text.starts_with(kHexWord) || text.size() != kHexWord.size() + 2 * kHostBytes)
        return std::nullopt;
    WdpeHosfHostRecord host{};
    for (std::size_t i = 0; i < 2 * kHostBytes; ++i) {
        constexpr std::string_view kDigits = "0123456789abcdef";
        const std::size_t digit = kDigits.find(text[kHexWord.size() + i]);
        if (digit == std::string_view::npos)
            return std::nullopt;
        host.byHost[i / 2] = static_cast<BYTE>(std::size_t{host.byHost[i / 2]} << 4 | digit);
    }
    return host;
}

bool isHostOfDigits(std::string_view text) {
    return hostOfDigits(text).has_value();
}

WdpeHosfHostRecord hostOf(const std::string& text) {
    if (const auto host = hostOfDigits(text))
        return *host;
    WdpeHosfHostRecord host{};
    std::copy(text.begin(), text.end(), host.byHost);
    return host;
}

std::string shownHost(const WdpeHosfHostRecord& host) {
    const std::span bytes(host.byHost);
    const auto end = std::find(bytes.begin(), bytes.end(), BYTE{0});
    const auto isControl = [](BYTE byte) { return byte < 0x20 || byte == 0x7F; };
    std::string text(bytes.begin(), end);
    if (!text.empty() && std::count(end, bytes.end(), BYTE{0}) == bytes.end() - end && end != bytes.end() &&
        std::none_of(bytes.begin(), end, isControl) && !text.starts_with(kHexWord))
        return text;
    return fmt::format("{}{:02x}", kHexWord, fmt::join(bytes, ""));
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

constexpr TextList kTextLists[] = {
    {"urls", "URL", "the URL filter's patterns, in which * stands for any text", sizeof(WdpeUrlfUrlRecord::szUrl) - 1,
     WDLT_MAX_URL_RECORDS, readUrls, writeUrls, kWhiteAndBlack},
    {"hosts",
     "HOST",
     "the host filter's white list",
     kHostBytes - 1,
     WDLT_MAX_HOST_RECORDS,
     readHosts,
     writeHosts,
     {},
     isHostOfDigits},
    {"spyware", "NAME", "spyware that the virus scan lets pass", sizeof(WdpeSpyRecord::szText) - 1,
     WDLT_MAX_SPYWARE_RECORDS, readSpyware, writeSpyware},
    {"exclusions", "TEXT", "what privacy protection lets pass", sizeof(PrivacyExclusionItem::szText) - 1, kLimitInStore,
     readExclusions, writeExclusions},
    {"spam", "ENTRY", "what anti-spam of POP3 lets pass or holds back", sizeof(WdpeAspmEntry::szEntry) - 1,
     WDLT_MAX_ASPM_RECORDS, readSpam, writeSpam, kWhiteAndBlack},
};

} // namespace

std::span<const TextList> allTextLists() {
    return kTextLists;
}

} // namespace wdlt
