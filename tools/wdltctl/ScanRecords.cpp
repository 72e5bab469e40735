/* Settings of the virus scans, the file scan and file events. */

#include "Records.h"
#include "ToolError.h"

#include <algorithm>
#include <fmt/format.h>
#include <wdltcfg/addresses.h>
#include <wdltcfg/records.h>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {
namespace {

/* What a caller's record and the engine's have in common. */
template <class T>
struct ScanFields {
    static constexpr Field kFirstAction =
        numberField(WDLT_MEMBER(T, dwFirstAction), "action on a find, a number of the engine's");
    static constexpr Field kSecondAction =
        numberField(WDLT_MEMBER(T, dwSecondAction), "action where the first one fails");
    static constexpr Field kZipClean = flagField(WDLT_MEMBER(T, dwZipClean), "1: archives are cleaned inside");
    static constexpr Field kZipScan = flagField(WDLT_MEMBER(T, dwZipScan), "1: archives are scanned inside");
    static constexpr Field kZipLayer =
        numberField(WDLT_MEMBER(T, dwZipLayer), "layers of archives in archives, counted as 1 to 6");
    static constexpr Field kPackerSnare =
        flagField(WDLT_MEMBER(T, dwPackerSnare), "1: suspicious packers are looked for");
    static constexpr Field kSpywareScan = flagField(WDLT_MEMBER(T, dwSpywareScan), "1: spyware is looked for");
    static constexpr Field kSpywareAction = numberField(WDLT_MEMBER(T, dwSpywareAction), "action on spyware");
};

using Scan = ScanFields<WdltVsConfig>;
constexpr Field kVirusScan[] = {
    Scan::kFirstAction,
    Scan::kSecondAction,
    Scan::kZipClean,
    Scan::kZipScan,
    Scan::kZipLayer,
    Scan::kPackerSnare,
    numberField(WDLT_MEMBER(WdltVsConfig, dwLimitSize), "largest that is scanned, counted as at most 655359"),
    Scan::kSpywareScan,
    Scan::kSpywareAction,
};

using Engine = ScanFields<WdpeVsData>;
constexpr Field kEngine[] = {
    Engine::kFirstAction,
    Engine::kSecondAction,
    Engine::kZipClean,
    Engine::kZipScan,
    Engine::kZipLayer,
    numberField(WDLT_MEMBER(WdpeVsData, dwExtractFileSizeLimit), "largest file that is extracted"),
    Engine::kPackerSnare,
    numberField(WDLT_MEMBER(WdpeVsData, dwMultiInfection), "finds in one file after which the scan ends").readOnly(),
    Engine::kSpywareScan,
    Engine::kSpywareAction,
};

constexpr Field kFileScan[] = {
    numberField(WDLT_MEMBER(WdltHfsConfig, dwHttpActionMode), "what is done with a file while it is scanned"),
    numberField(WDLT_MEMBER(WdltHfsConfig, dwActionSizeThreshold), "size from which that counts, at most 655359"),
    textField(WDLT_MEMBER(WdltHfsConfig, szTargetTypes), "types of files that are scanned"),
};

constexpr Field kFileEvents[] = {
    numberField(WDLT_MEMBER(WdpeHfeData, dwHfeTargetMethod), "methods that raise an event"),
    numberField(WDLT_MEMBER(WdpeHfeData, dwHfeMaxDecompressSize), "most bytes unpacked for it, 1 to 65536"),
};

constexpr Field kEngineCommon[] = {
    numberField(WDLT_MEMBER(WdpeVsCommon, dwLanguage), "language of the engine, a number of its own"),
    textField(WDLT_MEMBER(WdpeVsCommon, szPatternPath), "folder of the pattern files; empty: the install directory"),
    numberField(WDLT_MEMBER(WdpeVsCommon, dwKeepNumber), "old pattern files that are kept"),
    flagField(WDLT_MEMBER(WdpeVsCommon, dwPurgeBadPattern), "1: pattern files that don't load are deleted"),
    numberField(WDLT_MEMBER(WdpeVsCommon, dwEngineType), "kind of engine").readOnly(),
};

struct EnginePlace {
    std::string_view name;
    std::uint32_t protocol;
    std::uint32_t input;
};
constexpr EnginePlace kEnginePlaces[] = {
    {"pop3", WDLT_PROTOCOL_POP3, WDLT_INPUT_NONE},
    {"smtp", WDLT_PROTOCOL_SMTP, WDLT_INPUT_NONE},
    {"http", WDLT_PROTOCOL_HTTP, WDLT_INPUT_NONE},
    {"files", WDLT_PROTOCOL_HTTP, WDLT_INPUT_HTTP_FILE_SCAN},
};

const EnginePlace& findEnginePlace(std::string_view name) {
    const auto* const place = std::find_if(std::begin(kEnginePlaces), std::end(kEnginePlaces),
                                           [&](const EnginePlace& each) { return each.name == name; });
    if (place == std::end(kEnginePlaces))
        throw ToolError(ExitStatus::Usage, fmt::format("{}: no such place; there are pop3, smtp, http, files", name));
    return *place;
}

std::int32_t readEngine(const std::string& which, std::span<BYTE> record) {
    const EnginePlace& place = findEnginePlace(which);
    std::uint64_t size = record.size();
    return WdltReadConfigEx(place.protocol, WDLT_SCAN_VIRUS, place.input, WDLT_CONFIG_DEFAULT, record.data(), &size);
}

std::int32_t writeEngine(const std::string& which, std::span<BYTE> record) {
    const EnginePlace& place = findEnginePlace(which);
    return WdltWriteConfigEx(place.protocol, WDLT_SCAN_VIRUS, place.input, WDLT_CONFIG_DEFAULT, record.data(),
                             record.size());
}

} // namespace

const Record kPop3ScanRecord =
    exportedRecord<WdltVsConfig, WdltPvsReadConfig, WdltPvsWriteConfig>("pvs", "the virus scan of POP3", kVirusScan);
const Record kSmtpScanRecord =
    exportedRecord<WdltVsConfig, WdltSvsReadConfig, WdltSvsWriteConfig>("svs", "the virus scan of SMTP", kVirusScan);
const Record kWebMailScanRecord = exportedRecord<WdltVsConfig, WdltWmvsReadConfig, WdltWmvsWriteConfig>(
    "wmvs", "the virus scan of web mail", kVirusScan);
const Record kFileVirusScanRecord = exportedRecord<WdltVsConfig, WdltHfsVirusReadConfig, WdltHfsVirusWriteConfig>(
    "hfs-virus", "the virus scan of files over HTTP", kVirusScan);
const Record kFileScanRecord = exportedRecord<WdltHfsConfig, WdltHfsReadConfig, WdltHfsWriteConfig>(
    "hfs", "how files over HTTP are scanned", kFileScan);
const Record kFileEventsRecord =
    exportedRecord<WdpeHfeData, WdltHfeReadConfig, WdltHfeWriteConfig>("hfe", "HTTP file events", kFileEvents);
const Record kEngineRecord = {"virus",
                              "all that the scan engine is told in one place",
                              sizeof(WdpeVsData),
                              kEngine,
                              readEngine,
                              writeEngine,
                              "PLACE",
                              "pop3, smtp, http or files"};
const Record kEngineCommonRecord = addressedRecord<WdpeVsCommon, WDLT_PROTOCOL_COMMON, WDLT_SCAN_VIRUS>(
    "virus-common", "what the virus scans of all places have in common", kEngineCommon);

} // namespace wdlt
