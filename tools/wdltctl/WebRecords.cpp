/* Settings of the HTTPS filter, the plug-in manager, DRS and SAL. */

#include "Records.h"

#include <wdltcfg/records.h>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {
namespace {

constexpr Field kHttps[] = {
    numberField(WDLT_MEMBER(WdltHttpsConfig, enable), "flags: 1 the scan of HTTPS, the others are the service's"),
    textField(WDLT_MEMBER(WdltHttpsConfig, HostFilterAlertFile), "page for a host that is held back"),
    textField(WDLT_MEMBER(WdltHttpsConfig, HostFilterErrorFile), "page for a host that can't be checked"),
    textField(WDLT_MEMBER(WdltHttpsConfig, PrivacyDataAlertFile), "page for private data that are held back"),
    textField(WDLT_MEMBER(WdltHttpsConfig, UrlFilterAlertFile), "page for a URL that is held back"),
    textField(WDLT_MEMBER(WdltHttpsConfig, UrlFilterCredAlertFile), "page for a URL held back for its credibility"),
};

/* The flags alone: a write of them asks for the HTTP handler too. */
struct HttpsFlags {
    std::uint32_t enable;
};

constexpr Field kHttpsFlags[] = {
    numberField(WDLT_MEMBER(HttpsFlags, enable), "as of https; the HTTP handler is asked to go on"),
};

std::int32_t readFlags(HttpsFlags* flags) {
    return WdltPluginScanGetEnableFlag(&flags->enable);
}

std::int32_t writeFlags(const HttpsFlags* flags) {
    return WdltPluginScanSetEnableFlag(flags->enable);
}

constexpr Field kPluginManager[] = {
    numberField(WDLT_MEMBER(WdltPluginManagerConfig, dwEnable), "1 when it is on; the HTTP handler is asked to go on"),
    textField(WDLT_MEMBER(WdltPluginManagerConfig, szFilename), "file of the plug-in"),
};

constexpr Field kDrs[] = {
    flagField(WDLT_MEMBER(WdltDrsConfig, ActionMode), "0 or 1"),
    numberField(WDLT_MEMBER(WdltDrsConfig, ScoreThreshold), "score from which it acts, 0 to 100").atMost(100),
};

constexpr Field kSal[] = {
    flagField(WDLT_MEMBER(WdltSalConfig, dwEnable), "1 when SAL is on"),
    flagField(WDLT_MEMBER(WdltSalConfig, dwQueryIP), "1: addresses are asked for"),
    flagField(WDLT_MEMBER(WdltSalConfig, dwTakeAction), "1: what is found is acted upon"),
    flagField(WDLT_MEMBER(WdltSalConfig, dwAddandScanMode), "1: add and scan"),
    textField(WDLT_MEMBER(WdltSalConfig, szBlockImages), "images that are held back; an empty text changes none"),
};

} // namespace

const Record kHttpsRecord =
    exportedRecord<WdltHttpsConfig, WdltHttpsReadConfig, WdltHttpsWriteConfig>("https", "the HTTPS filter", kHttps);
const Record kHttpsFlagsRecord =
    exportedRecord<HttpsFlags, readFlags, writeFlags>("https-flags", "the HTTPS filter's flags alone", kHttpsFlags);
const Record kPluginManagerRecord =
    exportedRecord<WdltPluginManagerConfig, WdltPluginManagerReadConfig, WdltPluginManagerWriteConfig>(
        "plugin-manager", "the plug-in manager", kPluginManager);
const Record kDrsRecord =
    exportedRecord<WdltDrsConfig, WdltDRSReadConfig, WdltDRSWriteConfig>("drs", "the settings of DRS", kDrs);
const Record kSalRecord =
    exportedRecord<WdltSalConfig, WdltSalReadConfig, WdltSalWriteConfig>("sal", "SAL and its switch", kSal);

} // namespace wdlt
