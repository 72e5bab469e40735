// The operations that are walked. WDLT_WALK_STRIDE=N tests every Nth point (default 11); 1 tests all.
#include "FaultWalk.h"

#include "Child.h"
#include "ExhaustedMemory.h"
#include "Sanitizers.h"
#include "TestHome.h"
#include "TestKey.h"
#include "TracedChild.h"
#include "Tree.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

#include <platform/files.h>
#include <platform/registry_batch.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <new>
#include <string>
#include <system_error>
#include <vector>

namespace {

namespace fs = std::filesystem;
using walk::Operation;

// The whole table takes 40 seconds on two cores; sanitizers are slow, and let only allocations fail.
constexpr std::size_t kStride = kIsSanitized ? 37 : 11;

// A call of an export with its arguments.
#define EXPORT(function, ...)                                                                                          \
    Operation {                                                                                                        \
        .name = #function,                                                                                             \
        .call = [](const LoadedLibrary& library) -> std::int32_t { return WDLT_CALL(library, function)(__VA_ARGS__); } \
    }
// A call of an export whose argument is a record.
#define RECORD(function, ...)                                                                                          \
    Operation {                                                                                                        \
        .name = #function, .call = [](const LoadedLibrary& library) -> std::int32_t {                                  \
            const auto record = __VA_ARGS__;                                                                           \
            return WDLT_CALL(library, function)(&record);                                                              \
        }                                                                                                              \
    }
// An operation that makes several writes to the registry.
Operation inSteps(Operation operation) {
    operation.inSteps = true;
    return operation;
}

// An operation that returns WDLT_OK whatever happens.
Operation tellingNothing(Operation operation) {
    operation.tellsNothing = true;
    return operation;
}

// Writes the record of an address, all zeros but for a few fields.
template <class Record>
Operation address(const char* name, std::uint32_t protocol, std::uint32_t scan, std::uint64_t type,
                  const Record& record) {
    return {.name = name, .call = [=](const LoadedLibrary& library) {
                Record copy = record;
                return WDLT_CALL(library, WdltWriteConfig)(protocol, scan, type, &copy, sizeof copy);
            }};
}
// Overwrites one record with another.
Operation over(const Operation& before, Operation operation) {
    operation.layDown = before.call;
    return operation;
}

// Overwrites a list of two with one of three; `fill` makes each record from its number.
template <class Record, class Write>
Operation list(const char* name, void (*fill)(Record&, std::uint32_t), Write write) {
    const auto writes = [=](std::uint32_t count, std::uint32_t number) {
        return [=](const LoadedLibrary& library) mutable {
            std::vector<Record> records(count);
            for (std::uint32_t i = 0; i < count; ++i)
                fill(records[i], number + i);
            return write(library, records.data(), static_cast<std::int32_t>(count));
        };
    };
    return {.name = name, .call = writes(3, 'n'), .layDown = writes(2, 'b')};
}
#define LIST(function, Record, fill, ...)                                                                              \
    list<Record>(#function, fill, [](auto& library, auto* records, std::int32_t count) {                               \
        return WDLT_CALL(library, function)(__VA_ARGS__ records, count);                                               \
    })

template <class Record>
void fillText(Record& record, std::uint32_t number) {
    std::memset(&record, static_cast<int>(number), 9);
}
void fillItem(PrivacyViewItem& item, std::uint32_t number) {
    item.dwItemIndex = number % 32;
    std::memset(item.szItemName, static_cast<int>(number), 5);
    std::memset(item.szPrivacyData, static_cast<int>(number), 7);
}
void fillExclusion(PrivacyExclusionItem& item, std::uint32_t number) {
    item.dwScanTarget = WDLT_PRIVACY_EXCLUSION_TARGET;
    std::memset(item.szText, static_cast<int>(number), 7);
}
// A new file that can't replace the old one stays.
Operation privacy(Operation operation, std::int32_t stuck) {
    operation.keepsWork = true;
    operation.stuck = stuck;
    return operation;
}

std::int32_t setExtraHeader(const LoadedLibrary& library) {
    // A read takes twelve bytes more than the header's data.
    constexpr struct {
        WdpeUrlfExtraHeader header{WDLT_EXTRA_HEADER_VERSION, 4, {'a', ':', 'b', 0}};
        std::uint8_t rest[4]{};
    } kRecord;
    return WDLT_CALL(library, WdltUrlfSetExtraHeader)(&kRecord.header);
}

std::int32_t writeAddresses(const LoadedLibrary& library, const MailAddressRecord* records, std::int32_t count) {
    std::vector<char> buffer(sizeof count + static_cast<std::size_t>(count) * sizeof *records);
    std::memcpy(buffer.data(), &count, sizeof count);
    std::memcpy(buffer.data() + sizeof count, records, buffer.size() - sizeof count);
    return WDLT_CALL(library, WdltWriteConfig)(WDLT_PROTOCOL_COMMON, WDLT_SCAN_MAIL_MANAGER,
                                               WDLT_CONFIG_MAIL_ADDRESS_CACHE, buffer.data(), buffer.size());
}

// A rule that was stored only partly still occupies its name and index.
Operation rule(Operation operation, std::int32_t again, std::int32_t stuck) {
    operation.layDown = RECORD(WdltAddDRSWhiteListItem, WdltDrsWhiteListItem{1, u"old", u"old", u"old"}).call;
    operation.again = again;
    operation.stuck = stuck;
    return operation;
}

Operation redirect(std::uint64_t type, std::uint16_t port) {
    return address("Redirect", WDLT_PROTOCOL_SYSTEM_HTTP, WDLT_SCAN_NONE, type,
                   WdchSystemRedirect{.sessionType = u"S", .port = port});
}

// The layer's own replacements of files, for a file in the home.
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
std::int32_t replaceBy(const fs::path& from) {
    return ReplaceFileA(homeFile("target").c_str(), from.c_str(), nullptr, 1, nullptr, nullptr) ? 0 : 2;
}
// The source is in a folder open to everybody, on the disk, while the home may be in memory.
std::int32_t replaceFromElsewhere(const LoadedLibrary&) {
    const fs::path folder = TestHome::instance().path() / "elsewhere";
    std::error_code unremoved;
    fs::remove(folder / "from", unremoved);
    if (unremoved || put(folder / "from", kNew) != 0)
        return 1;
    return replaceBy(folder / "from");
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

std::int32_t removeInstallation(const LoadedLibrary&) {
    for (const auto& entry : fs::directory_iterator(std::getenv("WARDLET_HOME")))
        fs::remove_all(entry);
    return 0;
}
std::int32_t layImport(const LoadedLibrary&) {
    return put(homeFile("import.reg"), "Windows Registry Editor Version 5.00\r\n\r\n"
                                       "[HKEY_LOCAL_MACHINE\\SOFTWARE\\One]\r\n\"a\"=dword:00000001\r\n\r\n"
                                       "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Two]\r\n\"b\"=\"text\"\r\n");
}

const std::string kSaved = "saved.backup";
std::int32_t runTool(std::vector<std::string> words) {
    words.insert(words.begin(), fs::read_symlink("/proc/self/exe").parent_path() / "wdltctl");
    return Child::run(std::move(words)).wait();
}
// What is restored has one list more and one less.
std::int32_t layRestore(const LoadedLibrary&) {
    const std::string file = fs::path(std::getenv("WARDLET_HOME")) / kSaved;
    return runTool({"add", "hosts", "old"}) + runTool({"add", "items", "card", "4711"}) + runTool({"backup", file}) +
           runTool({"remove", "items", "0"}) + runTool({"add", "urls", "black", "new"}) +
           runTool({"add", "hosts", "new"}) + runTool({"set", "system", "proxyPort=1"});
}

std::int32_t layLoad(const LoadedLibrary&) {
    return runTool({"add", "hosts", "old"}) + runTool({"add", "items", "card", "4711"}) +
           put(homeFile("document.json"), R"({"records": {"urlf": {"mode": 2}}, "features": {"hosf": true},
               "lists": {"hosts": ["new"], "items": {"3": {"text": "0815"}}}})");
}

const std::vector<Operation> kOperations{
    // The slowest comes first.
    {.name = "ToolInit",
     .layDown = removeInstallation,
     .program = {"wdltctl", "init", "--force", "--install", "$HOME/install"},
     .every = 2},
    {.name = "ToolInitAgain",
     .layDown = EXPORT(WdltPvsEnable, 1).call,
     .program = {"wdltctl", "init", "--force", "--install", "$HOME/install"},
     .every = 2,
     .inSteps = true},
    {.name = "ToolRestore",
     .layDown = layRestore,
     .program = {"wdltctl", "restore", "--yes", "$HOME/" + kSaved},
     .settle = {"wdltctl", "status"},
     .every = 9},
    {.name = "ToolLoad",
     .layDown = layLoad,
     .program = {"wdltctl", "load", "$HOME/install/document.json"},
     .settle = {"wdltctl", "status"},
     .every = 16},
    {.name = "ToolSet", .program = {"wdltctl", "set", "system", "proxyPort=8080"}},
    {.name = "ToolImport", .layDown = layImport, .program = {"wdltreg", "import", "$HOME/install/import.reg"}},
    {.name = "Load", .call = EXPORT(WdltIEPlugInEnable, 1).call, .loadsInside = true},

    address("System", WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, 0, WdchSystemData{.proxyPort = 8080}),
    address("Handler", WDLT_PROTOCOL_SYSTEM_HTTP, WDLT_SCAN_NONE, 0,
            WdchSystemProtocolHandler{.filename = "walked", .type = WDLT_PROTOCOL_HTTP, .enable = 1, .scan = "HTTP"}),
    address("Scan", WDLT_PROTOCOL_SYSTEM_POP3, WDLT_SCAN_VIRUS, 0, WdchSystemScan{1, "walked"}),
    address("ScanCommon", WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_VIRUS, 0, WdchSystemScanCommon{"walked"}),
    address("Pop3", WDLT_PROTOCOL_POP3, WDLT_SCAN_NONE, 0, WdphPop3{5, 5, 5}),
    address("Smtp", WDLT_PROTOCOL_SMTP, WDLT_SCAN_NONE, 0, WdphSmtp{5, 5, 5, 5}),
    address("Http", WDLT_PROTOCOL_HTTP, WDLT_SCAN_NONE, 0, WdphHttp{.dwMaxLineSize = 5}),
    address("Virus", WDLT_PROTOCOL_POP3, WDLT_SCAN_VIRUS, 0, WdpeVsData{.dwZipLayer = 5}),
    address("VirusCommon", WDLT_PROTOCOL_COMMON, WDLT_SCAN_VIRUS, 0, WdpeVsCommon{.dwKeepNumber = 5}),
    address("Mail", WDLT_PROTOCOL_COMMON, WDLT_SCAN_MAIL_MANAGER, 0, WdsmMailConfig{.dwAddressCacheDirection = 1}),
    address("HttpManager", WDLT_PROTOCOL_COMMON, WDLT_SCAN_HTTP_MANAGER, 0, WdsmHttpConfig{.dwMaxUrlHistoryCount = 5}),
    address("WebMail", WDLT_PROTOCOL_COMMON, WDLT_SCAN_HTTP_MANAGER, WDLT_CONFIG_HTTP_WEB_MAIL,
            WdsmWebMailData{0, 5, 5}),
    address("RulePath", WDLT_PROTOCOL_COMMON, WDLT_SCAN_ANTI_SPAM, WDLT_CONFIG_ASPM_RULE_PATH,
            WdpeAspmRulePath{"walked", {}}),
    address("PrivacyTable", WDLT_PROTOCOL_HTTP, WDLT_SCAN_PRIVACY, WDLT_CONFIG_PRIVACY_TABLE_WRITE, std::uint32_t{1}),
    over(redirect(WDLT_CONFIG_REDIRECT_ADD, 90), redirect(WDLT_CONFIG_REDIRECT_ADD, 80)),
    list<MailAddressRecord>("Addresses", fillText, writeAddresses),
    inSteps(RECORD(WdltPvsWriteConfig, WdltVsConfig{.dwLimitSize = 5})),  // also writes the protocol's limit
    inSteps(RECORD(WdltSvsWriteConfig, WdltVsConfig{.dwLimitSize = 5})),  // also writes the protocol's limit
    inSteps(RECORD(WdltWmvsWriteConfig, WdltVsConfig{.dwLimitSize = 5})), // also writes the protocol's limit
    RECORD(WdltHfsWriteConfig, WdltHfsConfig{.dwActionSizeThreshold = 5}),
    inSteps(RECORD(WdltHfsVirusWriteConfig, WdltVsConfig{.dwLimitSize = 5})), // also writes the protocol's limit
    RECORD(WdltUrlfWriteConfig, WdltUrlfConfig{.dwMode = 1}),
    RECORD(WdltUrlfWriteProxy,
           WdltUrlfProxy{.dwEnableProxy = 1, .szProxyServer = "walked", .szProxyPassword = "walked"}),
    {.name = "WdltUrlfSetExtraHeader", .call = setExtraHeader},
    RECORD(WdltUrlfWriteRSInfo, WdpeUrlfRSInfo{"walked", 5}),
    RECORD(WdltUrlfWriteUUC, WdpeUrlfUUC{1, 1, 1}),
    EXPORT(WdltUrlfEnableBackupLKQRetry, 0),
    tellingNothing(EXPORT(WdltUrlfSetSocketFamily, 2)),
    tellingNothing(EXPORT(WdltUrlfSetQXNGuid, "walked")),
    RECORD(WdltHosfWriteConfig, WdpeHosfData{1, 1, "walked"}),
    RECORD(WdltDRSWriteConfig, WdltDrsConfig{0, 5}),
    EXPORT(WdltEnableDRSWhiteList, 1, 1),
    rule(RECORD(WdltAddDRSWhiteListItem, WdltDrsWhiteListItem{2, u"new", u"new", u"new"}), WDLT_E_INVALID_ARGUMENT,
         WDLT_E_INVALID_ARGUMENT),
    rule(EXPORT(WdltDeleteDRSWhiteListItem, 1), 0, 0),
    inSteps(RECORD(WdltAspmWriteConfig, WdltAspmConfig{.dwScanType = 5, .dwLevel = 2})),
    RECORD(WdltHfeWriteConfig, WdpeHfeData{2, 5}),
    EXPORT(WdltHfeEnablePluginEvent, 1),
    inSteps(RECORD(WdltHttpsWriteConfig, WdltHttpsConfig{1, "a", "b", "c", "d", "e"})),
    inSteps(RECORD(WdltPluginManagerWriteConfig, WdltPluginManagerConfig{1, "walked"})),
    inSteps(RECORD(WdltSalWriteConfig, WdltSalConfig{1, 1, 1, 1, "walked"})),
    inSteps(EXPORT(WdltPvsEnable, 1)),
    inSteps(EXPORT(WdltSvsEnable, 1)),
    inSteps(EXPORT(WdltWmvsEnable, 1)),
    inSteps(EXPORT(WdltHfsEnable, 1)),
    inSteps(EXPORT(WdltUrlfEnable, 1)),
    inSteps(EXPORT(WdltHosfEnable, 1)),
    inSteps(EXPORT(WdltDRSEnable, 1)),
    inSteps(EXPORT(WdltPdpProtocolEnable, 1, WDLT_PRIVACY_SMTP | WDLT_PRIVACY_HTTP)),
    inSteps(EXPORT(WdltAspmEnable, 1)),
    inSteps(EXPORT(WdltHfeEnable, 1)),
    inSteps(EXPORT(WdltHttpsScanEnable, 1)),
    inSteps(EXPORT(WdltPluginScanSetEnableFlag, 2)),
    inSteps(EXPORT(WdltSalEnable, 1)),
    EXPORT(WdltIEPlugInEnable, 1),
    EXPORT(WdltFirefoxExtensionEnable, 1),
    EXPORT(WdltChromeExtensionEnable, 1),

    LIST(WdltSpyWriteRecordList, WdpeSpyRecord, fillText, 0, ),
    LIST(WdltUrlfWriteRecordList, WdpeUrlfUrlRecord, fillText, WDLT_LIST_WHITE, ),
    LIST(WdltHosfWriteRecordList, WdpeHosfHostRecord, fillText, ),
    LIST(WdltAspmWriteRecordList, WdpeAspmEntry, fillText, WDLT_LIST_BLACK, ),
    privacy(LIST(WdltPdpWriteItemList, PrivacyViewItem, fillItem, ), WDLT_E_NOT_FOUND),
    privacy(LIST(WdltPdpWriteExItemList, PrivacyExclusionItem, fillExclusion, ), 0),

    {.name = "FreshThread", .call = EXPORT(WdltIEPlugInEnable, 1).call, .onFreshThread = true},

    {.name = "LayersCopy",
     .call = [](auto&) { return CopyFileA(homeFile("from").c_str(), homeFile("target").c_str(), FALSE) ? 0 : 2; },
     .layDown = layFiles},
    {.name = "LayersReplacement",
     .call = [](auto&) { return replaceBy(homeFile("from")); },
     .layDown = layFiles,
     .again = 2},
    {.name = "LayersReplacementFromElsewhere", .call = replaceFromElsewhere, .layDown = layFolder},
    {.name = "LayersBatch", .call = writeBatch},
};

class FaultWalk : public testing::TestWithParam<Operation> {};

TEST_P(FaultWalk, OldOrNewWhole) {
    if (!TracedChild::isPossible())
        GTEST_SKIP() << "no process can be traced here";
    if (kIsSanitized && (!ExhaustedMemory::kIsPossible || !GetParam().program.empty()))
        GTEST_SKIP() << "nothing can fail under the sanitizer here";
    const char* const stride = std::getenv("WDLT_WALK_STRIDE");
    const auto wanted = stride == nullptr ? kStride : static_cast<std::size_t>(std::max(1, std::atoi(stride)));
    walk::walk(GetParam(), std::max(wanted, GetParam().every));
}

INSTANTIATE_TEST_SUITE_P(Of, FaultWalk, testing::ValuesIn(kOperations),
                         [](const auto& test) { return test.param.name; });

// However little memory there is, a read gives what is stored or fails: it never falls back to the default.
TEST(Reads, WithoutMemoryTellNothingElse) {
    if (!ExhaustedMemory::kIsPossible)
        GTEST_SKIP() << "no operator new of our own";
    tree::setNumber("PluginManager\\DRS", "enable", 1);
    tree::setNumber("Scan\\Common\\URLFilter\\config", "DRSCredBlock", 1);
    tree::setNumber("Scan\\Common\\URLFilter\\config", "DRSScoreThreshold", 50);
    const LoadedLibrary library;
    const struct {
        const char* name;
        std::function<std::int32_t()> read;
        std::int32_t stored;
    } rows[] = {
        {"WdltDRSIsEnabled", [&] { return WDLT_CALL(library, WdltDRSIsEnabled)(); }, 1},
        {"WdltDRSReadConfig",
         [&] {
             WdltDrsConfig config{};
             const std::int32_t status = WDLT_CALL(library, WdltDRSReadConfig)(&config);
             return status != WDLT_OK ? status : static_cast<std::int32_t>(config.ActionMode + config.ScoreThreshold);
         },
         51},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.read(), row.stored) << row.name;
        int failures = 0;
        for (bool isMet = true; isMet; failures += isMet ? 1 : 0) {
            const ExhaustedMemory exhausted(failures);
            try {
                EXPECT_EQ(row.read(), row.stored) << row.name << ", allocation " << failures;
            } catch (const std::bad_alloc&) {
            }
            isMet = ExhaustedMemory::wasMet();
        }
        EXPECT_GT(failures, 0) << row.name;
    }
}

} // namespace
