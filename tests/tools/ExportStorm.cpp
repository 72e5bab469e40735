// A caller among many, for ExportStormTest.cpp. `export_storm storm SEED SECONDS` makes any of its calls at random for
// a while, then prints how often each was made; `export_storm one NAME NUMBER` makes one, with NUMBER in place of
// chance; `export_storm names` lists them, each by the exports in it, with a mark before those whose notifications
// depend on what is stored. A call that answers as it never should ends the program with 1.
#include <wdltcfg/wdltcfg.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

std::optional<std::uint32_t> g_fixedNumber;
std::minstd_rand g_dice;

// What a call has of chance: whether it switches on, and what it writes.
std::uint32_t number() {
    return g_fixedNumber ? *g_fixedNumber : static_cast<std::uint32_t>(g_dice());
}

enum Told : std::uint8_t {
    Always,  // the same, each time
    Depends, // on what is stored: a switch is told when it changes
};

using Statuses = std::vector<std::int32_t>;
const Statuses kDone = {WDLT_OK};
const Statuses kAnswer = {0, 1};
const Statuses kNoFile = {WDLT_E_FILE_NOT_FOUND};
const Statuses kDoneOrNoFile = {WDLT_OK, WDLT_E_FILE_NOT_FOUND};
const Statuses kDoneOrThereAlready = {WDLT_OK, WDLT_E_INVALID_ARGUMENT};

struct Call {
    std::string name;
    Told told;
    Statuses allowed;
    std::function<std::int32_t()> make;
};

#define CALL(told, allowed, call)                                                                                      \
    Call {                                                                                                             \
        std::string(#call).substr(0, std::string_view(#call).find('(')), told, allowed, [] { return call; }            \
    }

// A record as it is read is written back; what others wrote in between is lost, as with any two callers.
#define WRITTEN_BACK(told, read, write) writtenBack(#read "+" #write, told, read, write)
template <class T>
Call writtenBack(const char* name, Told told, std::int32_t (*read)(T*), std::int32_t (*write)(const T*)) {
    return {name, told, kDone, [=] {
                static T record;
                const std::int32_t status = read(&record);
                return status != WDLT_OK ? status : write(&record);
            }};
}

#define SWITCHED(enable, isEnabled) switched(#enable "+" #isEnabled, enable, isEnabled)
template <class T>
Call switched(const char* name, std::int32_t (*enable)(T), std::int32_t (*isEnabled)()) {
    return {name, Depends, kAnswer, [=] {
                const std::int32_t status = enable(number() % 2);
                return status != WDLT_OK ? status : isEnabled();
            }};
}

// A record of its own and a switch of its own.
#define FEATURE(told, name)                                                                                            \
    WRITTEN_BACK(told, Wdlt##name##ReadConfig, Wdlt##name##WriteConfig),                                               \
        SWITCHED(Wdlt##name##Enable, Wdlt##name##IsEnabled)

// What a call is given: zeros to read into, how many of them there are, a record to write.
template <class T>
T* zeros(std::size_t count) {
    static std::vector<T> records;
    records.assign(count, T{});
    return records.data();
}
std::int32_t* counted(std::int32_t count) {
    static std::int32_t place;
    place = count;
    return &place;
}
std::uint64_t* sized(std::uint64_t size) {
    static std::uint64_t place;
    place = size;
    return &place;
}
template <class Char, std::size_t Size>
void put(Char (&field)[Size], std::string text) {
    text.append(std::to_string(number() % 1000));
    std::copy(text.begin(), text.end(), field);
}
template <class T, class Char, std::size_t Size>
T* named(Char (T::*field)[Size], const char* text) {
    T* const record = zeros<T>(1);
    put(record->*field, text);
    return record;
}
WdpeUrlfExtraHeader* extraHeader() {
    auto* const header = zeros<WdpeUrlfExtraHeader>(2);
    *header = {WDLT_EXTRA_HEADER_VERSION, 4, {1, 2, 3, 4}};
    return header;
}
WdltDrsWhiteListItem* rule() {
    auto* const rule = zeros<WdltDrsWhiteListItem>(1);
    rule->Index = 1 + number() % 20;
    rule->RuleName[0] = static_cast<wdlt_wchar>('a' + rule->Index);
    return rule;
}
PrivacyViewItem* privacyItem() {
    auto* const item = named(&PrivacyViewItem::szItemName, "name");
    item->dwItemIndex = number() % 32;
    put(item->szPrivacyData, "secret");
    return item;
}
PrivacyExclusionItem* exclusion() {
    auto* const item = named(&PrivacyExclusionItem::szText, "http://host");
    item->dwScanTarget = WDLT_PRIVACY_EXCLUSION_TARGET;
    return item;
}

constexpr std::uint32_t kPrivacyTypes = WDLT_PRIVACY_SMTP | WDLT_PRIVACY_HTTP; // those that a fresh tree serves

const std::vector<Call> kCalls = {
    {"WdltReadConfig+WdltWriteConfig", Always, kDone,
     [] {
         auto* const record = zeros<WdchSystemData>(1);
         const std::int32_t status = WdltReadConfig(WDLT_PROTOCOL_SYSTEM, 0, 0, record, sized(sizeof *record));
         return status != WDLT_OK ? status : WdltWriteConfig(WDLT_PROTOCOL_SYSTEM, 0, 0, record, sizeof *record);
     }},
    {"WdltReadConfigEx+WdltWriteConfigEx", Always, kDone,
     [] {
         auto* const record = zeros<WdpeVsCommon>(1);
         const std::int32_t status = WdltReadConfigEx(0, WDLT_SCAN_VIRUS, 0, 0, record, sized(sizeof *record));
         return status != WDLT_OK ? status : WdltWriteConfigEx(0, WDLT_SCAN_VIRUS, 0, 0, record, sizeof *record);
     }},
    FEATURE(Always, Pvs),
    FEATURE(Always, Svs),
    FEATURE(Always, Wmvs),
    FEATURE(Always, Hfs),
    FEATURE(Always, Urlf),
    FEATURE(Always, Hosf),
    FEATURE(Always, DRS),
    FEATURE(Always, Aspm),
    FEATURE(Always, Hfe),
    FEATURE(Depends, Sal),
    WRITTEN_BACK(Always, WdltHfsVirusReadConfig, WdltHfsVirusWriteConfig),
    WRITTEN_BACK(Always, WdltUrlfReadProxy, WdltUrlfWriteProxy),
    WRITTEN_BACK(Always, WdltUrlfReadUUC, WdltUrlfWriteUUC),
    WRITTEN_BACK(Depends, WdltHttpsReadConfig, WdltHttpsWriteConfig),
    WRITTEN_BACK(Depends, WdltPluginReadConfig, WdltPluginWriteConfig),
    WRITTEN_BACK(Depends, WdltPluginManagerReadConfig, WdltPluginManagerWriteConfig),
    SWITCHED(WdltHfeEnablePluginEvent, WdltHfeIsEnablePluginEvent),
    SWITCHED(WdltHttpsScanEnable, WdltHttpsScanIsEnabled),
    SWITCHED(WdltIEPlugInEnable, WdltIEPlugInIsEnabled),
    SWITCHED(WdltFirefoxExtensionEnable, WdltFirefoxExtensionIsEnabled),
    SWITCHED(WdltChromeExtensionEnable, WdltChromeExtensionIsEnabled),
    CALL(Depends, kDone, WdltPluginScanSetEnableFlag(number() % 2)),
    CALL(Always, kDone, WdltPluginScanGetEnableFlag(zeros<std::uint32_t>(1))),
    CALL(Always, kDone, WdltEnableDRSWhiteList(number() % 2, 0)),
    CALL(Always, kAnswer, WdltIsDRSWhiteListEnabled()),
    CALL(Depends, kDoneOrThereAlready, WdltAddDRSWhiteListItem(rule())),
    CALL(Depends, kDone, WdltDeleteDRSWhiteListItem(1 + number() % 20)),
    CALL(Always, kDone, WdltGetAllDRSWhiteListItem(zeros<WdltDrsWhiteListItem>(1000), counted(1000))),
    CALL(Always, kDone, WdltSpyReadRecordList(0, zeros<WdpeSpyRecord>(3), counted(3))),
    CALL(Always, kDone, WdltSpyWriteRecordList(0, named(&WdpeSpyRecord::szText, "ware"), 1)),
    CALL(Always, kDoneOrNoFile, WdltUrlfReadRecordList(0, zeros<WdpeUrlfUrlRecord>(2), counted(2))),
    CALL(Always, kDone, WdltUrlfWriteRecordList(0, named(&WdpeUrlfUrlRecord::szUrl, "http://host"), 1)),
    CALL(Always, kAnswer, WdltUrlfIsRecordExists(0, named(&WdpeUrlfUrlRecord::szUrl, "http://host"))),
    CALL(Always, kNoFile, WdltUrlfReadCategory(zeros<WdpeUrlfCategory>(1), counted(1))),
    CALL(Always, kNoFile, WdltUrlfReadCategoryGroup(zeros<WdpeUrlfCategoryGroup>(1), counted(1))),
    CALL(Always, kDone, WdltUrlfSetExtraHeader(extraHeader())),
    CALL(Always, kDone, WdltUrlfReadRSInfo(zeros<WdpeUrlfRSInfo>(1))),
    CALL(Always, kDone, WdltUrlfWriteRSInfo(named(&WdpeUrlfRSInfo::szRatingServer, "rating"))),
    CALL(Always, kDone, WdltUrlfEnableBackupLKQRetry(number() % 2)),
    CALL(Always, kAnswer, WdltUrlfIsBackupLKQRetryEnabled()),
    CALL(Always, kDone, WdltUrlfSetSocketFamily(number() % 3)),
    CALL(Always, kDone, WdltUrlfGetSocketFamily(zeros<std::uint32_t>(1))),
    CALL(Always, kDone, WdltUrlfSetQXNGuid(std::to_string(number()).c_str())),
    CALL(Always, kDone, WdltUrlhReadRecordList(nullptr, nullptr)),
    CALL(Always, kDoneOrNoFile, WdltHosfReadRecordList(zeros<WdpeHosfHostRecord>(3), counted(3))),
    CALL(Always, kDone, WdltHosfWriteRecordList(named(&WdpeHosfHostRecord::byHost, "host"), 1)),
    CALL(Depends, kDone, WdltPdpEnable(0)),
    CALL(Always, kAnswer, WdltPdpIsEnabled()),
    CALL(Depends, kDone, WdltPdpProtocolEnable(static_cast<std::int32_t>(number() % 2), kPrivacyTypes)),
    CALL(Always, kAnswer, WdltPdpIsProtocolEnabled(WDLT_PRIVACY_HTTP)),
    CALL(Always, kDone, WdltPdpReadItemList(zeros<PrivacyViewItem>(4), counted(4))),
    CALL(Always, kDone, WdltPdpWriteItemList(privacyItem(), 1)),
    CALL(Always, kDone, WdltPdpVerifyItems(privacyItem(), 1, zeros<std::uint32_t>(1))),
    CALL(Always, kDone, WdltPdpReadExItemList(zeros<PrivacyExclusionItem>(4), counted(4))),
    CALL(Always, kDone, WdltPdpWriteExItemList(exclusion(), 1)),
    CALL(Always, kDone, WdltAspmReadRecordList(1, zeros<WdpeAspmEntry>(500), counted(500))),
    CALL(Always, kDone, WdltAspmWriteRecordList(1, named(&WdpeAspmEntry::szEntry, "a@b"), 1)),
    CALL(Always, kNoFile, WdltMahReadRecordList(zeros<MailAddressRecord>(1), counted(1))),
};

bool answersWell(const Call& call) {
    const std::int32_t status = call.make();
    for (const std::int32_t allowed : call.allowed)
        if (status == allowed)
            return true;
    std::fprintf(stderr, "%s gave %d (%s)\n", call.name.c_str(), status, wdltStatusName(status));
    return false;
}

int storm(unsigned seed, long seconds) {
    g_dice.seed(seed);
    std::map<std::string, std::uint64_t> counts;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (std::chrono::steady_clock::now() < end) {
        const Call& call = kCalls[g_dice() % kCalls.size()];
        ++counts[call.name];
        if (!answersWell(call))
            return 1;
    }
    for (const auto& [name, count] : counts)
        std::printf("%s %lu\n", name.c_str(), static_cast<unsigned long>(count));
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string_view> words(argv, argv + argc);
    if (words.size() == 2 && words[1] == "names") {
        for (const Call& call : kCalls)
            std::printf("%s%s\n", call.told == Depends ? "?" : "", call.name.c_str());
        return 0;
    }
    if (words.size() == 4 && words[1] == "one") {
        g_fixedNumber = static_cast<std::uint32_t>(std::strtoul(argv[3], nullptr, 10));
        for (const Call& call : kCalls)
            if (call.name == words[2])
                return answersWell(call) ? 0 : 1;
        return 2;
    }
    if (words.size() == 4 && words[1] == "storm")
        return storm(static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10)), std::strtol(argv[3], nullptr, 10));
    return 2;
}
