// The operations that are walked. WDLT_WALK_STRIDE: every how many points (7); 1 for all.
#include "FaultWalk.h"

#include "TestHome.h"
#include "TestKey.h"
#include "TracedChild.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

#include <platform/file_content.h>
#include <platform/files.h>
#include <platform/registry_batch.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using walk::Operation;

// An export with its arguments.
#define CALL(name, ...)                                                                                                \
    [](const LoadedLibrary& library) -> std::int32_t { return WDLT_CALL(library, name)(__VA_ARGS__); }
#define SWITCH(family, value)                                                                                          \
    Operation {                                                                                                        \
        .name = #family "Enable", .call = CALL(Wdlt##family##Enable, value), .inSteps = true                           \
    }

// A record is read, changed in one field and written.
template <class Record>
Operation rewrite(std::string name, std::function<std::int32_t(const LoadedLibrary&, Record&)> read,
                  std::function<std::int32_t(const LoadedLibrary&, Record&)> write, void (*change)(Record&)) {
    const auto record = std::make_shared<Record>();
    return {.name = std::move(name),
            .call = [=](const LoadedLibrary& library) { return write(library, *record); },
            .read =
                [=](const LoadedLibrary& library) {
                    const std::int32_t status = read(library, *record);
                    change(*record);
                    return status;
                }};
}
#define RECORD(family, type, change)                                                                                   \
    rewrite<type>(                                                                                                     \
        #family "WriteConfig",                                                                                         \
        [](auto& library, auto& r) { return WDLT_CALL(library, Wdlt##family##ReadConfig)(&r); },                       \
        [](auto& library, auto& r) { return WDLT_CALL(library, Wdlt##family##WriteConfig)(&r); },                      \
        [](type& r) { change; })
template <class Record>
Operation address(const char* name, std::uint32_t protocol, std::uint32_t scan, std::uint64_t type,
                  void (*change)(Record&)) {
    return rewrite<Record>(
        name,
        [=](auto& library, Record& record) {
            std::uint64_t size = sizeof record;
            return WDLT_CALL(library, WdltReadConfig)(protocol, scan, type, &record, &size);
        },
        [=](auto& library, Record& record) {
            return WDLT_CALL(library, WdltWriteConfig)(protocol, scan, type, &record, sizeof record);
        },
        change);
}

// Bytes for an address of which nothing is read before.
template <class Record>
Operation::Call write(std::uint32_t protocol, std::uint32_t scan, std::uint64_t type, const Record& record) {
    return [=](const LoadedLibrary& library) {
        Record copy = record;
        return WDLT_CALL(library, WdltWriteConfig)(protocol, scan, type, &copy, sizeof copy);
    };
}

// Texts, of a list's first records.
template <class Record>
std::vector<Record> texts(std::uint32_t count, char letter) {
    std::vector<Record> records(count);
    for (Record& record : records)
        std::memset(&record, letter++, 9);
    return records;
}

template <class Record>
Operation list(const char* name, std::int32_t (*write)(const LoadedLibrary&, const Record*, std::int32_t)) {
    const auto writes = [=](std::uint32_t count, char letter) {
        return [=](const LoadedLibrary& library) {
            const std::vector<Record> records = texts<Record>(count, letter);
            return write(library, records.data(), static_cast<std::int32_t>(count));
        };
    };
    return {.name = name, .call = writes(3, 'n'), .layDown = writes(2, 'b')};
}
#define LIST(name, type, ...)                                                                                          \
    list<type>(#name, [](const LoadedLibrary& library, const type* records, std::int32_t count) {                      \
        return WDLT_CALL(library, name)(__VA_ARGS__ records, count);                                                   \
    })

std::int32_t writeItems(const LoadedLibrary& library, std::int32_t count, char letter) {
    std::vector<PrivacyViewItem> items(static_cast<std::size_t>(count));
    for (PrivacyViewItem& item : items) {
        item.dwItemIndex = static_cast<std::uint32_t>(&item - items.data());
        std::memset(item.szItemName, letter, 5);
        std::memset(item.szPrivacyData, letter++, 7);
    }
    return WDLT_CALL(library, WdltPdpWriteItemList)(items.data(), count);
}
std::int32_t writeExclusions(const LoadedLibrary& library, std::int32_t count, char letter) {
    std::vector<PrivacyExclusionItem> items(static_cast<std::size_t>(count));
    for (PrivacyExclusionItem& item : items) {
        item.dwScanTarget = WDLT_PRIVACY_EXCLUSION_TARGET;
        std::memset(item.szText, letter++, 7);
    }
    return WDLT_CALL(library, WdltPdpWriteExItemList)(items.data(), count);
}

std::int32_t writeAddresses(const LoadedLibrary& library, std::uint32_t count, char letter) {
    std::vector<char> buffer(sizeof count + count * sizeof(MailAddressRecord), letter);
    std::memcpy(buffer.data(), &count, sizeof count);
    return WDLT_CALL(library, WdltWriteConfig)(WDLT_PROTOCOL_COMMON, WDLT_SCAN_MAIL_MANAGER,
                                               WDLT_CONFIG_MAIL_ADDRESS_CACHE, buffer.data(), buffer.size());
}

WdltDrsWhiteListItem rule(std::uint32_t index) {
    WdltDrsWhiteListItem rule{};
    rule.Index = index;
    rule.RuleName[0] = static_cast<char16_t>(u'a' + index);
    return rule;
}
// All others go first: a rule that was stored by half has no index to delete it by, and keeps its name taken.
std::int32_t replaceRule(const LoadedLibrary& library) {
    const WdltDrsWhiteListItem made = rule(2);
    const std::int32_t removed = WDLT_CALL(library, WdltDeleteDRSWhiteListItem)(0);
    return removed != WDLT_OK ? removed : WDLT_CALL(library, WdltAddDRSWhiteListItem)(&made);
}
std::int32_t addRule(const LoadedLibrary& library) {
    const WdltDrsWhiteListItem made = rule(1);
    return WDLT_CALL(library, WdltAddDRSWhiteListItem)(&made);
}

WdchSystemRedirect redirect(std::uint16_t port) {
    WdchSystemRedirect redirect{};
    redirect.sessionType[0] = u'S';
    redirect.port = port;
    return redirect;
}

constexpr WdpeUrlfExtraHeader kHeader{WDLT_EXTRA_HEADER_VERSION, 4, {'a', ':', 'b', 0}};
constexpr WdpeUrlfRSInfo kServer{"walked", 5};
constexpr WdpeUrlfUUC kUntested{1, 1, 1};
constexpr WdltHttpsConfig kHttps{1, "a", "b", "c", "d", "e"};

// The layer's own replacements, of a file in the home.
fs::path homeFile(const char* name) {
    return fs::path(std::getenv("WARDLET_HOME")) / "install" / name;
}
std::int32_t put(const fs::path& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary);
    return file << content && file.flush() ? 0 : 1;
}
const std::string kOld(150'000, 'o');
const std::string kNew(150'001, 'n');
std::int32_t layFiles(const LoadedLibrary&) {
    return put(homeFile("target"), kOld) + put(homeFile("from"), kNew);
}
// In everybody's folder, on the disk, where the home is in memory.
std::int32_t replaceFromElsewhere(const LoadedLibrary&) {
    const fs::path folder = TestHome::instance().path() / "elsewhere";
    fs::remove(folder / "from");
    if (put(folder / "from", kNew) != 0)
        return 1;
    return ReplaceFileA(homeFile("target").c_str(), (folder / "from").c_str(), nullptr, 1, nullptr, nullptr) ? 0 : 2;
}
std::int32_t layFolder(const LoadedLibrary& library) {
    const fs::path folder = TestHome::instance().path() / "elsewhere";
    fs::create_directory(folder);
    fs::permissions(folder, fs::perms(0777));
    fs::permissions(TestHome::instance().path(), fs::perms(0755));
    return layFiles(library);
}
std::int32_t writeBatch(const LoadedLibrary&) {
    RegistryBatch batch(WD_BATCH_ALL_OR_NOTHING);
    for (const char* const path : {"SOFTWARE\\One", "SOFTWARE\\Two"}) {
        const TestKey key = TestKey::create(path);
        for (const char* const name : {"a", "b"})
            key.setBytes(name, std::string(3000, 'x'));
    }
    return batch.end();
}

std::int32_t layImport(const LoadedLibrary&) {
    return put(homeFile("import.reg"), "Windows Registry Editor Version 5.00\r\n\r\n"
                                       "[HKEY_LOCAL_MACHINE\\SOFTWARE\\One]\r\n\"a\"=dword:00000001\r\n\r\n"
                                       "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Two]\r\n\"b\"=\"text\"\r\n");
}

const std::vector<Operation> kOperations{
    address<WdchSystemData>("System", WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, 0, [](auto& r) { r.proxyPort = 8080; }),
    address<WdchSystemProtocolHandler>("Handler", WDLT_PROTOCOL_SYSTEM_HTTP, WDLT_SCAN_NONE, 0,
                                       [](auto& r) { std::strcpy(r.filename, "walked"); }),
    address<WdchSystemScan>("Scan", WDLT_PROTOCOL_SYSTEM_POP3, WDLT_SCAN_VIRUS, 0, [](auto& r) { r.enable = 1; }),
    address<WdchSystemScanCommon>("ScanCommon", WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_VIRUS, 0,
                                  [](auto& r) { std::strcpy(r.filename, "walked"); }),
    address<WdphPop3>("Pop3", WDLT_PROTOCOL_POP3, WDLT_SCAN_NONE, 0, [](auto& r) { r.dwWaitTime = 5; }),
    address<WdphSmtp>("Smtp", WDLT_PROTOCOL_SMTP, WDLT_SCAN_NONE, 0, [](auto& r) { r.dwWaitTime = 5; }),
    address<WdphHttp>("Http", WDLT_PROTOCOL_HTTP, WDLT_SCAN_NONE, 0, [](auto& r) { r.dwMaxLineSize = 5; }),
    address<WdpeVsData>("Virus", WDLT_PROTOCOL_POP3, WDLT_SCAN_VIRUS, 0, [](auto& r) { r.dwZipLayer = 5; }),
    address<WdpeVsCommon>("VirusCommon", WDLT_PROTOCOL_COMMON, WDLT_SCAN_VIRUS, 0, [](auto& r) { r.dwKeepNumber = 5; }),
    address<WdsmMailConfig>("Mail", WDLT_PROTOCOL_COMMON, WDLT_SCAN_MAIL_MANAGER, 0,
                            [](auto& r) { r.dwAddressCacheDirection = 1; }),
    address<WdsmHttpConfig>("HttpManager", WDLT_PROTOCOL_COMMON, WDLT_SCAN_HTTP_MANAGER, 0,
                            [](auto& r) { r.dwMaxUrlHistoryCount = 5; }),
    address<WdsmWebMailData>("WebMail", WDLT_PROTOCOL_COMMON, WDLT_SCAN_HTTP_MANAGER, WDLT_CONFIG_HTTP_WEB_MAIL,
                             [](auto& r) { r.dwMaxWebMailScanSize = 5; }),
    address<WdpeAspmRulePath>("RulePath", WDLT_PROTOCOL_COMMON, WDLT_SCAN_ANTI_SPAM, WDLT_CONFIG_ASPM_RULE_PATH,
                              [](auto& r) { std::strcpy(r.szRulePath, "walked"); }),
    {.name = "Redirect",
     .call = write(WDLT_PROTOCOL_SYSTEM_HTTP, WDLT_SCAN_NONE, WDLT_CONFIG_REDIRECT_ADD, redirect(80)),
     .layDown = write(WDLT_PROTOCOL_SYSTEM_HTTP, WDLT_SCAN_NONE, WDLT_CONFIG_REDIRECT_ADD, redirect(90))},
    {.name = "RedirectGoes",
     .call = write(WDLT_PROTOCOL_SYSTEM_HTTP, WDLT_SCAN_NONE, WDLT_CONFIG_REDIRECT_DELETE, redirect(80)),
     .layDown = write(WDLT_PROTOCOL_SYSTEM_HTTP, WDLT_SCAN_NONE, WDLT_CONFIG_REDIRECT_ADD, redirect(90)),
     .again = WDLT_E_NOT_FOUND},
    {.name = "PrivacyTable",
     .call = write(WDLT_PROTOCOL_HTTP, WDLT_SCAN_PRIVACY, WDLT_CONFIG_PRIVACY_TABLE_WRITE, std::uint32_t{1})},
    {.name = "Addresses",
     .call = [](const LoadedLibrary& library) { return writeAddresses(library, 3, 'n'); },
     .layDown = [](const LoadedLibrary& library) { return writeAddresses(library, 2, 'o'); }},

    SWITCH(Pvs, 1),
    RECORD(Pvs, WdltVsConfig, r.dwLimitSize = 5),
    SWITCH(Svs, 1),
    RECORD(Svs, WdltVsConfig, r.dwLimitSize = 5),
    SWITCH(Wmvs, 1),
    RECORD(Wmvs, WdltVsConfig, r.dwLimitSize = 5),
    SWITCH(Hfs, 1),
    RECORD(Hfs, WdltHfsConfig, r.dwActionSizeThreshold = 5),
    RECORD(HfsVirus, WdltVsConfig, r.dwZipLayer = 5),
    LIST(WdltSpyWriteRecordList, WdpeSpyRecord, 0, ),
    SWITCH(Urlf, 1),
    RECORD(Urlf, WdltUrlfConfig, r.dwNotifyAll = 5),
    LIST(WdltUrlfWriteRecordList, WdpeUrlfUrlRecord, WDLT_LIST_WHITE, ),
    {.name = "FirstUrls",
     .call =
         [](const LoadedLibrary& library) {
             return WDLT_CALL(library, WdltUrlfWriteRecordList)(WDLT_LIST_BLACK,
                                                                texts<WdpeUrlfUrlRecord>(1, 'n').data(), 1);
         }},
    rewrite<WdltUrlfProxy>(
        "UrlfWriteProxy", [](auto& library, auto& r) { return WDLT_CALL(library, WdltUrlfReadProxy)(&r); },
        [](auto& library, auto& r) { return WDLT_CALL(library, WdltUrlfWriteProxy)(&r); },
        [](WdltUrlfProxy& r) { std::strcpy(r.szProxyPassword, "walked"); }),
    {.name = "UrlfSetExtraHeader", .call = CALL(WdltUrlfSetExtraHeader, &kHeader)},
    {.name = "UrlfWriteRSInfo", .call = CALL(WdltUrlfWriteRSInfo, &kServer)},
    {.name = "UrlfWriteUUC", .call = CALL(WdltUrlfWriteUUC, &kUntested)},
    {.name = "UrlfBackupRetry", .call = CALL(WdltUrlfEnableBackupLKQRetry, 0)},
    {.name = "UrlfSocketFamily", .call = CALL(WdltUrlfSetSocketFamily, 2), .tellsNothing = true},
    {.name = "UrlfGuid", .call = CALL(WdltUrlfSetQXNGuid, "walked"), .tellsNothing = true},
    SWITCH(Hosf, 1),
    RECORD(Hosf, WdpeHosfData, r.dwNonBlock = 5),
    LIST(WdltHosfWriteRecordList, WdpeHosfHostRecord, ),
    SWITCH(DRS, 1),
    RECORD(DRS, WdltDrsConfig, r.ScoreThreshold = 5),
    {.name = "DrsWhiteList", .call = CALL(WdltEnableDRSWhiteList, 1, 1)},
    {.name = "Rule", .call = replaceRule, .layDown = addRule, .inSteps = true},
    {.name = "RuleGoes", .call = CALL(WdltDeleteDRSWhiteListItem, 1), .layDown = addRule},
    {.name = "PdpProtocol", .call = CALL(WdltPdpProtocolEnable, 1, WDLT_PRIVACY_HTTP), .inSteps = true},
    {.name = "Items",
     .call = [](const LoadedLibrary& library) { return writeItems(library, 3, 'n'); },
     .layDown = [](const LoadedLibrary& library) { return writeItems(library, 2, 'b'); },
     .keepsWork = true},
    {.name = "Exclusions",
     .call = [](const LoadedLibrary& library) { return writeExclusions(library, 3, 'n'); },
     .layDown = [](const LoadedLibrary& library) { return writeExclusions(library, 2, 'b'); },
     .keepsWork = true},
    SWITCH(Aspm, 1),
    RECORD(Aspm, WdltAspmConfig, r.dwScanType = 5),
    LIST(WdltAspmWriteRecordList, WdpeAspmEntry, WDLT_LIST_BLACK, ),
    SWITCH(Hfe, 1),
    RECORD(Hfe, WdpeHfeData, r.dwHfeTargetMethod = 5),
    {.name = "HfePluginEvent", .call = CALL(WdltHfeEnablePluginEvent, 1)},
    {.name = "HttpsWriteConfig", .call = CALL(WdltHttpsWriteConfig, &kHttps), .inSteps = true},
    {.name = "HttpsScan", .call = CALL(WdltHttpsScanEnable, 1), .inSteps = true},
    {.name = "PluginScanFlags", .call = CALL(WdltPluginScanSetEnableFlag, 2), .inSteps = true},
    RECORD(PluginManager, WdltPluginManagerConfig, r.dwEnable = 1),
    SWITCH(IEPlugIn, 0),
    SWITCH(FirefoxExtension, 0),
    SWITCH(ChromeExtension, 0),
    SWITCH(Sal, 1),
    RECORD(Sal, WdltSalConfig, r.dwQueryIP = 1),

    {.name = "FreshThread", .call = CALL(WdltIEPlugInEnable, 0), .onFreshThread = true},
    {.name = "Load", .call = CALL(WdltIEPlugInEnable, 0), .loadsInside = true},

    {.name = "LayersCopy",
     .call = [](auto&) { return CopyFileA(homeFile("from").c_str(), homeFile("target").c_str(), FALSE) ? 0 : 2; },
     .layDown = layFiles},
    {.name = "LayersReplacement",
     .call =
         [](auto&) {
             return ReplaceFileA(homeFile("target").c_str(), homeFile("from").c_str(), nullptr, 1, nullptr, nullptr)
                        ? 0
                        : 2;
         },
     .layDown = layFiles,
     .again = 2},
    {.name = "LayersReplacementFromElsewhere", .call = replaceFromElsewhere, .layDown = layFolder},
    {.name = "LayersContent",
     .call =
         [](auto&) {
             return WdReplaceContent(homeFile("target").c_str(), kNew.data(), static_cast<DWORD>(kNew.size())) ? 0 : 2;
         },
     .layDown = layFiles},
    {.name = "LayersBatch", .call = writeBatch},

    {.name = "ToolInit", .program = {"wdltctl", "init", "--force", "--install", "$HOME/install"}, .onEmptyHome = true},
    {.name = "ToolInitAgain",
     .program = {"wdltctl", "init", "--force", "--install", "$HOME/install"},
     .layDown = [](const LoadedLibrary& library) { return writeItems(library, 2, 'b'); }},
    {.name = "ToolSet", .program = {"wdltctl", "set", "system", "proxyPort=8080"}},
    {.name = "ToolImport", .program = {"wdltreg", "import", "$HOME/install/import.reg"}, .layDown = layImport},
};

class FaultWalk : public testing::TestWithParam<Operation> {};

TEST_P(FaultWalk, OldOrNewWhole) {
    if (!TracedChild::isPossible())
        GTEST_SKIP() << "no process can be traced here";
    const char* const stride = std::getenv("WDLT_WALK_STRIDE");
    walk::walk(GetParam(), stride == nullptr ? 7 : static_cast<std::size_t>(std::max(1, std::atoi(stride))));
}

INSTANTIATE_TEST_SUITE_P(Of, FaultWalk, testing::ValuesIn(kOperations),
                         [](const auto& test) { return test.param.name; });

} // namespace
