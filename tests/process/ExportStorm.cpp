// One caller among many, for ExportStormTest.cpp. `export_storm SEED SECONDS` makes each of its calls once, then random
// ones for a while; `export_storm names` lists the calls by the exports that they use. A call that returns what it
// never should ends the program with status 1.
#include <wdltcfg/wdltcfg.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

// The random parts of a call: whether it switches on, and what it writes.
std::minstd_rand g_dice;
std::uint32_t number() {
    return static_cast<std::uint32_t>(g_dice());
}

using Statuses = std::vector<std::int32_t>;
const Statuses kDone = {WDLT_OK};
const Statuses kAnswer = {0, 1};
const Statuses kNoFile = {WDLT_E_FILE_NOT_FOUND};
const Statuses kDoneOrNoFile = {WDLT_OK, WDLT_E_FILE_NOT_FOUND};
const Statuses kDoneOrThereAlready = {WDLT_OK, WDLT_E_INVALID_ARGUMENT};

struct Call {
    std::string name;
    Statuses allowed;
    std::function<std::int32_t()> make;
};

#define CALL(allowed, call)                                                                                            \
    Call {                                                                                                             \
        std::string(#call).substr(0, std::string_view(#call).find('(')), allowed, [] { return call; }                  \
    }

// Writes a record back as it was read; what others wrote in between is lost, as with any two callers.
#define WRITTEN_BACK(read, write) writtenBack(#read "+" #write, read, write)
template <class T>
Call writtenBack(const char* name, std::int32_t (*read)(T*), std::int32_t (*write)(const T*)) {
    return {name, kDone, [=] {
                static T record;
                const std::int32_t status = read(&record);
                return status != WDLT_OK ? status : write(&record);
            }};
}

#define SWITCHED(enable, isEnabled) switched(#enable "+" #isEnabled, enable, isEnabled)
template <class T>
Call switched(const char* name, std::int32_t (*enable)(T), std::int32_t (*isEnabled)()) {
    return {name, kAnswer, [=] {
                const std::int32_t status = enable(number() % 2);
                return status != WDLT_OK ? status : isEnabled();
            }};
}

// For a feature with a record and a switch of its own.
#define FEATURE(name)                                                                                                  \
    WRITTEN_BACK(Wdlt##name##ReadConfig, Wdlt##name##WriteConfig), SWITCHED(Wdlt##name##Enable, Wdlt##name##IsEnabled)

// Arguments for calls: zeroed records to read into, their count, a record to write.
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

constexpr std::uint32_t kPrivacyTypes = WDLT_PRIVACY_SMTP | WDLT_PRIVACY_HTTP; // with handlers in a fresh tree

const std::vector<Call> kCalls = {
    {"WdltReadConfig+WdltWriteConfig", kDone,
     [] {
         auto* const record = zeros<WdchSystemData>(1);
         const std::int32_t status = WdltReadConfig(WDLT_PROTOCOL_SYSTEM, 0, 0, record, sized(sizeof *record));
         return status != WDLT_OK ? status : WdltWriteConfig(WDLT_PROTOCOL_SYSTEM, 0, 0, record, sizeof *record);
     }},
    {"WdltReadConfigEx+WdltWriteConfigEx", kDone,
     [] {
         auto* const record = zeros<WdpeVsCommon>(1);
         const std::int32_t status = WdltReadConfigEx(0, WDLT_SCAN_VIRUS, 0, 0, record, sized(sizeof *record));
         return status != WDLT_OK ? status : WdltWriteConfigEx(0, WDLT_SCAN_VIRUS, 0, 0, record, sizeof *record);
     }},
    FEATURE(Pvs),
    FEATURE(Svs),
    FEATURE(Wmvs),
    FEATURE(Hfs),
    FEATURE(Urlf),
    FEATURE(Hosf),
    FEATURE(DRS),
    FEATURE(Aspm),
    FEATURE(Hfe),
    FEATURE(Sal),
    WRITTEN_BACK(WdltHfsVirusReadConfig, WdltHfsVirusWriteConfig),
    WRITTEN_BACK(WdltUrlfReadProxy, WdltUrlfWriteProxy),
    WRITTEN_BACK(WdltUrlfReadUUC, WdltUrlfWriteUUC),
    WRITTEN_BACK(WdltHttpsReadConfig, WdltHttpsWriteConfig),
    WRITTEN_BACK(WdltPluginReadConfig, WdltPluginWriteConfig),
    WRITTEN_BACK(WdltPluginManagerReadConfig, WdltPluginManagerWriteConfig),
    SWITCHED(WdltHfeEnablePluginEvent, WdltHfeIsEnablePluginEvent),
    SWITCHED(WdltHttpsScanEnable, WdltHttpsScanIsEnabled),
    SWITCHED(WdltIEPlugInEnable, WdltIEPlugInIsEnabled),
    SWITCHED(WdltFirefoxExtensionEnable, WdltFirefoxExtensionIsEnabled),
    SWITCHED(WdltChromeExtensionEnable, WdltChromeExtensionIsEnabled),
    CALL(kDone, WdltPluginScanSetEnableFlag(number() % 2)),
    CALL(kDone, WdltPluginScanGetEnableFlag(zeros<std::uint32_t>(1))),
    CALL(kDone, WdltEnableDRSWhiteList(number() % 2, 0)),
    CALL(kAnswer, WdltIsDRSWhiteListEnabled()),
    CALL(kDoneOrThereAlready, WdltAddDRSWhiteListItem(rule())),
    CALL(kDone, WdltDeleteDRSWhiteListItem(1 + number() % 20)),
    CALL(kDone, WdltGetAllDRSWhiteListItem(zeros<WdltDrsWhiteListItem>(1000), counted(1000))),
    CALL(kDone, WdltSpyReadRecordList(0, zeros<WdpeSpyRecord>(3), counted(3))),
    CALL(kDone, WdltSpyWriteRecordList(0, named(&WdpeSpyRecord::szText, "ware"), 1)),
    CALL(kDoneOrNoFile, WdltUrlfReadRecordList(0, zeros<WdpeUrlfUrlRecord>(2), counted(2))),
    CALL(kDone, WdltUrlfWriteRecordList(0, named(&WdpeUrlfUrlRecord::szUrl, "http://host"), 1)),
    CALL(kAnswer, WdltUrlfIsRecordExists(0, named(&WdpeUrlfUrlRecord::szUrl, "http://host"))),
    CALL(kNoFile, WdltUrlfReadCategory(zeros<WdpeUrlfCategory>(1), counted(1))),
    CALL(kNoFile, WdltUrlfReadCategoryGroup(zeros<WdpeUrlfCategoryGroup>(1), counted(1))),
    CALL(kDone, WdltUrlfSetExtraHeader(extraHeader())),
    CALL(kDone, WdltUrlfReadRSInfo(zeros<WdpeUrlfRSInfo>(1))),
    CALL(kDone, WdltUrlfWriteRSInfo(named(&WdpeUrlfRSInfo::szRatingServer, "rating"))),
    CALL(kDone, WdltUrlfEnableBackupLKQRetry(number() % 2)),
    CALL(kAnswer, WdltUrlfIsBackupLKQRetryEnabled()),
    CALL(kDone, WdltUrlfSetSocketFamily(number() % 3)),
    CALL(kDone, WdltUrlfGetSocketFamily(zeros<std::uint32_t>(1))),
    CALL(kDone, WdltUrlfSetQXNGuid(std::to_string(number()).c_str())),
    CALL(kDone, WdltUrlhReadRecordList(nullptr, nullptr)),
    CALL(kDoneOrNoFile, WdltHosfReadRecordList(zeros<WdpeHosfHostRecord>(3), counted(3))),
    CALL(kDone, WdltHosfWriteRecordList(named(&WdpeHosfHostRecord::byHost, "host"), 1)),
    CALL(kDone, WdltPdpEnable(0)),
    CALL(kAnswer, WdltPdpIsEnabled()),
    CALL(kDone, WdltPdpProtocolEnable(static_cast<std::int32_t>(number() % 2), kPrivacyTypes)),
    CALL(kAnswer, WdltPdpIsProtocolEnabled(WDLT_PRIVACY_HTTP)),
    CALL(kDone, WdltPdpReadItemList(zeros<PrivacyViewItem>(4), counted(4))),
    CALL(kDone, WdltPdpWriteItemList(privacyItem(), 1)),
    CALL(kDone, WdltPdpVerifyItems(privacyItem(), 1, zeros<std::uint32_t>(1))),
    CALL(kDone, WdltPdpReadExItemList(zeros<PrivacyExclusionItem>(4), counted(4))),
    CALL(kDone, WdltPdpWriteExItemList(exclusion(), 1)),
    CALL(kDone, WdltAspmReadRecordList(1, zeros<WdpeAspmEntry>(500), counted(500))),
    CALL(kDone, WdltAspmWriteRecordList(1, named(&WdpeAspmEntry::szEntry, "a@b"), 1)),
    CALL(kNoFile, WdltMahReadRecordList(zeros<MailAddressRecord>(1), counted(1))),
};

bool answersWell(const Call& call) {
    const std::int32_t status = call.make();
    for (const std::int32_t allowed : call.allowed)
        if (status == allowed)
            return true;
    std::fprintf(stderr, "%s gave %d (%s)\n", call.name.c_str(), status, wdltStatusName(status));
    return false;
}

} // namespace

int main(int argc, char** argv) {
    const bool isStorm = argc == 3;
    g_dice.seed(isStorm ? static_cast<unsigned>(std::strtoul(argv[1], nullptr, 10)) : 1);
    for (const Call& call : kCalls)
        if (!isStorm)
            std::printf("%s\n", call.name.c_str());
        else if (!answersWell(call))
            return 1;
    const auto end =
        std::chrono::steady_clock::now() + std::chrono::seconds(isStorm ? std::strtol(argv[2], nullptr, 10) : 0);
    while (std::chrono::steady_clock::now() < end)
        if (!answersWell(kCalls[number() % kCalls.size()]))
            return 1;
    return 0;
}
