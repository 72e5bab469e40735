// A caller among many, for ExportStormTest.cpp. `export_storm storm SEED SECONDS` makes any of its calls at random for
// a while, then prints how often each was made; `export_storm one NAME NUMBER` makes one, with NUMBER in place of
// chance; `export_storm names` lists them, with a mark before those whose notifications depend on what is stored. A
// call that answers as it never should ends the program with 1.
#include <wdltcfg/wdltcfg.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

std::optional<std::uint32_t> g_fixedNumber;

enum class Told : std::uint8_t {
    Always,  // the same, each time
    Depends, // on what is stored: a switch is told when it changes
};

struct Call {
    std::string_view name;
    Told told;
    std::function<std::int32_t()> make;
    std::vector<std::int32_t> allowed;
};

// What a call has of chance: whether it switches on, and what it writes.
std::uint32_t number() {
    static std::minstd_rand dice(std::random_device{}());
    return g_fixedNumber ? *g_fixedNumber : static_cast<std::uint32_t>(dice());
}

template <class T>
T& zeroed() {
    static T record{};
    return record;
}

// A record as it is read is written back; what others wrote in between is lost, as with any two callers.
template <class T, auto Read, auto Write>
Call writtenBack(std::string_view name) {
    return {name,
            Told::Always,
            [] {
                const std::int32_t status = Read(&zeroed<T>());
                return status != WDLT_OK ? status : Write(&zeroed<T>());
            },
            {WDLT_OK}};
}
template <class T, auto Read>
Call onlyRead(std::string_view name) {
    return {name, Told::Always, [] { return Read(&zeroed<T>()); }, {WDLT_OK}};
}
template <auto Ask>
Call asked(std::string_view name) {
    return {name, Told::Always, [] { return Ask(); }, {0, 1}};
}
template <auto Switch>
Call switched(std::string_view name) {
    return {name, Told::Depends, [] { return Switch(number() % 2); }, {WDLT_OK}};
}

template <class T, auto Read>
Call listRead(std::string_view name, std::size_t room, std::initializer_list<std::int32_t> allowed) {
    return {name, Told::Always,
            [room] {
                std::vector<T> records(room);
                auto count = static_cast<std::int32_t>(room);
                return Read(records.data(), &count);
            },
            allowed};
}

template <std::size_t Size>
void put(char (&field)[Size], const std::string& text) {
    std::memset(field, 0, Size);
    text.copy(field, Size - 1);
}

std::string numbered(std::string before) {
    return before.append(std::to_string(number() % 1000));
}

std::vector<Call> calls() {
    std::vector<Call> all = {
        writtenBack<WdltVsConfig, WdltPvsReadConfig, WdltPvsWriteConfig>("Pvs"),
        writtenBack<WdltVsConfig, WdltSvsReadConfig, WdltSvsWriteConfig>("Svs"),
        writtenBack<WdltVsConfig, WdltWmvsReadConfig, WdltWmvsWriteConfig>("Wmvs"),
        writtenBack<WdltVsConfig, WdltHfsVirusReadConfig, WdltHfsVirusWriteConfig>("HfsVirus"),
        writtenBack<WdltHfsConfig, WdltHfsReadConfig, WdltHfsWriteConfig>("Hfs"),
        writtenBack<WdltUrlfConfig, WdltUrlfReadConfig, WdltUrlfWriteConfig>("Urlf"),
        writtenBack<WdltUrlfProxy, WdltUrlfReadProxy, WdltUrlfWriteProxy>("UrlfProxy"),
        writtenBack<WdpeUrlfUUC, WdltUrlfReadUUC, WdltUrlfWriteUUC>("UrlfUUC"),
        writtenBack<WdpeHosfData, WdltHosfReadConfig, WdltHosfWriteConfig>("Hosf"),
        writtenBack<WdltDrsConfig, WdltDRSReadConfig, WdltDRSWriteConfig>("DRS"),
        writtenBack<WdltAspmConfig, WdltAspmReadConfig, WdltAspmWriteConfig>("Aspm"),
        writtenBack<WdpeHfeData, WdltHfeReadConfig, WdltHfeWriteConfig>("Hfe"),
        onlyRead<WdpeUrlfRSInfo, WdltUrlfReadRSInfo>("UrlfRSInfo"),
        onlyRead<WdltHttpsConfig, WdltHttpsReadConfig>("Https"),
        onlyRead<WdltHttpsConfig, WdltPluginReadConfig>("Plugin"),
        onlyRead<WdltPluginManagerConfig, WdltPluginManagerReadConfig>("PluginManager"),
        onlyRead<WdltSalConfig, WdltSalReadConfig>("Sal"),
        onlyRead<std::uint32_t, WdltPluginScanGetEnableFlag>("PluginScanGetEnableFlag"),
        onlyRead<std::uint32_t, WdltUrlfGetSocketFamily>("UrlfGetSocketFamily"),
        asked<WdltPvsIsEnabled>("PvsIsEnabled"),
        asked<WdltSvsIsEnabled>("SvsIsEnabled"),
        asked<WdltWmvsIsEnabled>("WmvsIsEnabled"),
        asked<WdltHfsIsEnabled>("HfsIsEnabled"),
        asked<WdltUrlfIsEnabled>("UrlfIsEnabled"),
        asked<WdltUrlfIsBackupLKQRetryEnabled>("UrlfIsBackupLKQRetryEnabled"),
        asked<WdltHosfIsEnabled>("HosfIsEnabled"),
        asked<WdltDRSIsEnabled>("DRSIsEnabled"),
        asked<WdltIsDRSWhiteListEnabled>("IsDRSWhiteListEnabled"),
        asked<WdltPdpIsEnabled>("PdpIsEnabled"),
        asked<WdltAspmIsEnabled>("AspmIsEnabled"),
        asked<WdltHfeIsEnabled>("HfeIsEnabled"),
        asked<WdltHfeIsEnablePluginEvent>("HfeIsEnablePluginEvent"),
        asked<WdltHttpsScanIsEnabled>("HttpsScanIsEnabled"),
        asked<WdltIEPlugInIsEnabled>("IEPlugInIsEnabled"),
        asked<WdltFirefoxExtensionIsEnabled>("FirefoxExtensionIsEnabled"),
        asked<WdltChromeExtensionIsEnabled>("ChromeExtensionIsEnabled"),
        asked<WdltSalIsEnabled>("SalIsEnabled"),
        switched<WdltPvsEnable>("PvsEnable"),
        switched<WdltSvsEnable>("SvsEnable"),
        switched<WdltWmvsEnable>("WmvsEnable"),
        switched<WdltHfsEnable>("HfsEnable"),
        switched<WdltUrlfEnable>("UrlfEnable"),
        switched<WdltHosfEnable>("HosfEnable"),
        switched<WdltAspmEnable>("AspmEnable"),
        switched<WdltHfeEnable>("HfeEnable"),
        switched<WdltSalEnable>("SalEnable"),
        switched<WdltDRSEnable>("DRSEnable"),
        switched<WdltHttpsScanEnable>("HttpsScanEnable"),
        switched<WdltPluginScanSetEnableFlag>("PluginScanSetEnableFlag"),
        switched<WdltHfeEnablePluginEvent>("HfeEnablePluginEvent"),
        switched<WdltIEPlugInEnable>("IEPlugInEnable"),
        switched<WdltFirefoxExtensionEnable>("FirefoxExtensionEnable"),
        switched<WdltChromeExtensionEnable>("ChromeExtensionEnable"),
        listRead<WdpeHosfHostRecord, WdltHosfReadRecordList>("HosfReadRecordList", 3, {WDLT_OK, WDLT_E_FILE_NOT_FOUND}),
        listRead<WdpeUrlfCategory, WdltUrlfReadCategory>("UrlfReadCategory", 1, {WDLT_E_FILE_NOT_FOUND}),
        listRead<WdpeUrlfCategoryGroup, WdltUrlfReadCategoryGroup>("UrlfReadCategoryGroup", 1, {WDLT_E_FILE_NOT_FOUND}),
        listRead<MailAddressRecord, WdltMahReadRecordList>("MahReadRecordList", 1, {WDLT_E_FILE_NOT_FOUND}),
        listRead<PrivacyViewItem, WdltPdpReadItemList>("PdpReadItemList", 4, {WDLT_OK}),
        listRead<PrivacyExclusionItem, WdltPdpReadExItemList>("PdpReadExItemList", 4, {WDLT_OK}),
        listRead<WdltDrsWhiteListItem, WdltGetAllDRSWhiteListItem>("GetAllDRSWhiteListItem", 1000, {WDLT_OK}),
    };
    const auto add = [&](std::string_view name, Told told, std::function<std::int32_t()> make,
                         std::vector<std::int32_t> allowed = {WDLT_OK}) {
        all.push_back({name, told, std::move(make), std::move(allowed)});
    };
    add("SpyReadRecordList", Told::Always, [] {
        WdpeSpyRecord records[3];
        std::int32_t count = 3;
        return WdltSpyReadRecordList(0, records, &count);
    });
    add("SpyWriteRecordList", Told::Always, [] {
        WdpeSpyRecord record{};
        put(record.szText, numbered("ware"));
        return WdltSpyWriteRecordList(0, &record, 1);
    });
    add("UrlfWriteRecordList", Told::Always, [] {
        std::vector<WdpeUrlfUrlRecord> records(2);
        for (WdpeUrlfUrlRecord& record : records)
            put(record.szUrl, numbered("http://host"));
        return WdltUrlfWriteRecordList(WDLT_LIST_WHITE, records.data(), 2);
    });
    add("UrlfReadRecordList", Told::Always,
        [] {
            std::vector<WdpeUrlfUrlRecord> records(2);
            std::int32_t count = 2;
            return WdltUrlfReadRecordList(WDLT_LIST_WHITE, records.data(), &count);
        },
        {WDLT_OK, WDLT_E_FILE_NOT_FOUND});
    add("UrlfIsRecordExists", Told::Always,
        [] {
            WdpeUrlfUrlRecord url;
            put(url.szUrl, numbered("http://host"));
            return WdltUrlfIsRecordExists(WDLT_LIST_WHITE, &url);
        },
        {0, 1});
    add("UrlfSetExtraHeader", Told::Always, [] {
        const WdpeUrlfExtraHeader header[2] = {{WDLT_EXTRA_HEADER_VERSION, 4, {1, 2, 3, 4}}, {}};
        return WdltUrlfSetExtraHeader(header);
    });
    add("UrlfWriteRSInfo", Told::Always, [] {
        WdpeUrlfRSInfo server{};
        put(server.szRatingServer, numbered("rating"));
        server.dwRatingPort = 80;
        return WdltUrlfWriteRSInfo(&server);
    });
    add("UrlfEnableBackupLKQRetry", Told::Always, [] { return WdltUrlfEnableBackupLKQRetry(number() % 2); });
    add("UrlfSetSocketFamily", Told::Always, [] { return WdltUrlfSetSocketFamily(number() % 3); });
    add("UrlfSetQXNGuid", Told::Always, [] { return WdltUrlfSetQXNGuid(numbered("guid").c_str()); });
    add("UrlhReadRecordList", Told::Always, [] { return WdltUrlhReadRecordList(nullptr, nullptr); });
    add("HosfWriteRecordList", Told::Always, [] {
        WdpeHosfHostRecord host{};
        host.byHost[0] = static_cast<std::uint8_t>(number());
        return WdltHosfWriteRecordList(&host, 1);
    });
    add("EnableDRSWhiteList", Told::Always, [] { return WdltEnableDRSWhiteList(number() % 2, 0); });
    add("AddDRSWhiteListItem", Told::Depends,
        [] {
            WdltDrsWhiteListItem rule{};
            rule.Index = 1 + number() % 20;
            rule.RuleName[0] = static_cast<wdlt_wchar>('a' + rule.Index);
            return WdltAddDRSWhiteListItem(&rule);
        },
        {WDLT_OK, WDLT_E_INVALID_ARGUMENT}); // there already
    add("DeleteDRSWhiteListItem", Told::Depends, [] { return WdltDeleteDRSWhiteListItem(1 + number() % 20); });
    add("PdpEnable", Told::Depends, [] { return WdltPdpEnable(0); });
    add("PdpProtocolEnable", Told::Depends, [] {
        return WdltPdpProtocolEnable(static_cast<std::int32_t>(number() % 2), WDLT_PRIVACY_SMTP | WDLT_PRIVACY_HTTP);
    });
    add("PdpIsProtocolEnabled", Told::Always, [] { return WdltPdpIsProtocolEnabled(WDLT_PRIVACY_HTTP); }, {0, 1});
    add("PdpWriteItemList", Told::Always, [] {
        PrivacyViewItem item{};
        item.dwItemIndex = number() % 32;
        put(item.szItemName, "name");
        put(item.szPrivacyData, numbered("secret"));
        return WdltPdpWriteItemList(&item, 1);
    });
    add("PdpWriteExItemList", Told::Always, [] {
        PrivacyExclusionItem item{1, WDLT_PRIVACY_EXCLUSION_TARGET, {}};
        put(item.szText, numbered("http://host"));
        return WdltPdpWriteExItemList(&item, 1);
    });
    add("PdpVerifyItems", Told::Always, [] {
        PrivacyViewItem item{};
        put(item.szPrivacyData, "text");
        std::uint32_t result = 9;
        return WdltPdpVerifyItems(&item, 1, &result);
    });
    add("AspmReadRecordList", Told::Always, [] {
        std::vector<WdpeAspmEntry> entries(WDLT_MAX_ASPM_RECORDS);
        std::int32_t count = WDLT_MAX_ASPM_RECORDS;
        return WdltAspmReadRecordList(WDLT_LIST_BLACK, entries.data(), &count);
    });
    add("AspmWriteRecordList", Told::Always, [] {
        WdpeAspmEntry entry{};
        put(entry.szEntry, numbered("a@b"));
        return WdltAspmWriteRecordList(WDLT_LIST_BLACK, &entry, 1);
    });
    add("HttpsWriteConfig", Told::Depends, [] {
        const std::int32_t status = WdltHttpsReadConfig(&zeroed<WdltHttpsConfig>());
        return status != WDLT_OK ? status : WdltHttpsWriteConfig(&zeroed<WdltHttpsConfig>());
    });
    add("PluginWriteConfig", Told::Depends, [] {
        const std::int32_t status = WdltPluginReadConfig(&zeroed<WdltHttpsConfig>());
        return status != WDLT_OK ? status : WdltPluginWriteConfig(&zeroed<WdltHttpsConfig>());
    });
    add("PluginManagerWriteConfig", Told::Depends, [] {
        const std::int32_t status = WdltPluginManagerReadConfig(&zeroed<WdltPluginManagerConfig>());
        return status != WDLT_OK ? status : WdltPluginManagerWriteConfig(&zeroed<WdltPluginManagerConfig>());
    });
    add("SalWriteConfig", Told::Depends, [] {
        const std::int32_t status = WdltSalReadConfig(&zeroed<WdltSalConfig>());
        return status != WDLT_OK ? status : WdltSalWriteConfig(&zeroed<WdltSalConfig>());
    });
    add("WriteConfig", Told::Always, [] {
        WdchSystemData& system = zeroed<WdchSystemData>();
        std::uint64_t size = sizeof system;
        const std::int32_t status = WdltReadConfig(WDLT_PROTOCOL_SYSTEM, 0, 0, &system, &size);
        return status != WDLT_OK ? status : WdltWriteConfig(WDLT_PROTOCOL_SYSTEM, 0, 0, &system, size);
    });
    add("WriteConfigEx", Told::Always, [] {
        WdpeVsCommon& common = zeroed<WdpeVsCommon>();
        std::uint64_t size = sizeof common;
        const std::int32_t status = WdltReadConfigEx(0, WDLT_SCAN_VIRUS, 0, 0, &common, &size);
        return status != WDLT_OK ? status : WdltWriteConfigEx(0, WDLT_SCAN_VIRUS, 0, 0, &common, size);
    });
    return all;
}

bool answersWell(const Call& call) {
    const std::int32_t status = call.make();
    for (const std::int32_t allowed : call.allowed)
        if (status == allowed)
            return true;
    std::fprintf(stderr, "%s gave %d (%s)\n", call.name.data(), status, wdltStatusName(status));
    return false;
}

int storm(const std::vector<Call>& all, unsigned seed, long seconds) {
    std::minstd_rand dice(seed);
    std::map<std::string_view, std::uint64_t> counts;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (std::chrono::steady_clock::now() < end) {
        const Call& call = all[dice() % all.size()];
        ++counts[call.name];
        if (!answersWell(call))
            return 1;
    }
    for (const auto& [name, count] : counts)
        std::printf("%s %lu\n", name.data(), static_cast<unsigned long>(count));
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string_view> words(argv, argv + argc);
    const std::vector<Call> all = calls();
    if (words.size() == 2 && words[1] == "names") {
        for (const Call& call : all)
            std::printf("%s%s\n", call.told == Told::Depends ? "?" : "", call.name.data());
        return 0;
    }
    if (words.size() == 4 && words[1] == "one") {
        g_fixedNumber = static_cast<std::uint32_t>(std::strtoul(argv[3], nullptr, 10));
        for (const Call& call : all)
            if (call.name == words[2])
                return answersWell(call) ? 0 : 1;
        return 2;
    }
    if (words.size() == 4 && words[1] == "storm")
        return storm(all, static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10)), std::strtol(argv[3], nullptr, 10));
    return 2;
}
