// The exported functions: one-line forwarders, each through the gate to its operation of CConfigControl, which takes
// the locks. No argument checks and no state here.
#include "ConfigControl.h"
#include "ExportGate.h"

#define WDLTCFG_API WD_EXPORT
#include <wdltcfg/wdltcfg.h>

#include <cstdint>

namespace {

// Calls the operation inside the gate; WDLT_E_GENERAL when the library isn't attached.
template <class Operation>
std::int32_t forward(Operation&& operation) {
    const wdlt::ExportCall call;
    return call ? operation(*g_pConfigControl) : WDLT_E_GENERAL;
}

// The same for an export that answers 1 or 0: 0 when not attached, since a failure code would be true in C.
template <class Operation>
std::int32_t ask(Operation&& operation) {
    const wdlt::ExportCall call;
    return call ? operation(*g_pConfigControl) : 0;
}

} // namespace

std::int32_t WdltReadConfig(std::uint32_t protocol, std::uint32_t scan, std::uint64_t configType, void* data,
                            std::uint64_t* size) {
    return forward([&](CConfigControl& control) {
        return control.ReadConfig(protocol, scan, WDLT_INPUT_NONE, configType, data, size);
    });
}

std::int32_t WdltWriteConfig(std::uint32_t protocol, std::uint32_t scan, std::uint64_t configType, void* data,
                             std::uint64_t size) {
    return forward([&](CConfigControl& control) {
        return control.WriteConfig(protocol, scan, WDLT_INPUT_NONE, configType, data, size);
    });
}

std::int32_t WdltReadConfigEx(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input, std::uint64_t configType,
                              void* data, std::uint64_t* size) {
    return forward(
        [&](CConfigControl& control) { return control.ReadConfig(protocol, scan, input, configType, data, size); });
}

std::int32_t WdltWriteConfigEx(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input,
                               std::uint64_t configType, void* data, std::uint64_t size) {
    return forward(
        [&](CConfigControl& control) { return control.WriteConfig(protocol, scan, input, configType, data, size); });
}

// Virus and spyware scan.

std::int32_t WdltPvsEnable(std::int32_t enable) {
    return forward([&](CConfigControl& control) { return control.PvsEnable(enable); });
}

std::int32_t WdltPvsIsEnabled() {
    return ask([&](CConfigControl& control) { return control.PvsIsEnabled(); });
}

std::int32_t WdltPvsReadConfig(WdltVsConfig* config) {
    return forward([&](CConfigControl& control) { return control.PvsReadConfig(config); });
}

std::int32_t WdltPvsWriteConfig(const WdltVsConfig* config) {
    return forward([&](CConfigControl& control) { return control.PvsWriteConfig(config); });
}

std::int32_t WdltSvsEnable(std::int32_t enable) {
    return forward([&](CConfigControl& control) { return control.SvsEnable(enable); });
}

std::int32_t WdltSvsIsEnabled() {
    return ask([&](CConfigControl& control) { return control.SvsIsEnabled(); });
}

std::int32_t WdltSvsReadConfig(WdltVsConfig* config) {
    return forward([&](CConfigControl& control) { return control.SvsReadConfig(config); });
}

std::int32_t WdltSvsWriteConfig(const WdltVsConfig* config) {
    return forward([&](CConfigControl& control) { return control.SvsWriteConfig(config); });
}

std::int32_t WdltWmvsEnable(std::int32_t enable) {
    return forward([&](CConfigControl& control) { return control.WmvsEnable(enable); });
}

std::int32_t WdltWmvsIsEnabled() {
    return ask([&](CConfigControl& control) { return control.WmvsIsEnabled(); });
}

std::int32_t WdltWmvsReadConfig(WdltVsConfig* config) {
    return forward([&](CConfigControl& control) { return control.WmvsReadConfig(config); });
}

std::int32_t WdltWmvsWriteConfig(const WdltVsConfig* config) {
    return forward([&](CConfigControl& control) { return control.WmvsWriteConfig(config); });
}

std::int32_t WdltHfsEnable(std::int32_t enable) {
    return forward([&](CConfigControl& control) { return control.HfsEnable(enable); });
}

std::int32_t WdltHfsIsEnabled() {
    return ask([&](CConfigControl& control) { return control.HfsIsEnabled(); });
}

std::int32_t WdltHfsReadConfig(WdltHfsConfig* config) {
    return forward([&](CConfigControl& control) { return control.HfsReadConfig(config); });
}

std::int32_t WdltHfsWriteConfig(const WdltHfsConfig* config) {
    return forward([&](CConfigControl& control) { return control.HfsWriteConfig(config); });
}

std::int32_t WdltHfsVirusReadConfig(WdltVsConfig* config) {
    return forward([&](CConfigControl& control) { return control.HfsVirusReadConfig(config); });
}

std::int32_t WdltHfsVirusWriteConfig(const WdltVsConfig* config) {
    return forward([&](CConfigControl& control) { return control.HfsVirusWriteConfig(config); });
}

std::int32_t WdltSpyReadRecordList(std::uint32_t listType, WdpeSpyRecord* records, std::int32_t* count) {
    return forward([&](CConfigControl& control) { return control.SpyReadRecordList(listType, records, count); });
}

std::int32_t WdltSpyWriteRecordList(std::uint32_t listType, const WdpeSpyRecord* records, std::int32_t count) {
    return forward([&](CConfigControl& control) { return control.SpyWriteRecordList(listType, records, count); });
}

// URL filter and URL history.

std::int32_t WdltUrlfEnable(std::int32_t enable) {
    return forward([&](CConfigControl& control) { return control.UrlfEnable(enable); });
}

std::int32_t WdltUrlfIsEnabled() {
    return ask([&](CConfigControl& control) { return control.UrlfIsEnabled(); });
}

std::int32_t WdltUrlfReadConfig(WdltUrlfConfig* config) {
    return forward([&](CConfigControl& control) { return control.UrlfReadConfig(config); });
}

std::int32_t WdltUrlfWriteConfig(const WdltUrlfConfig* config) {
    return forward([&](CConfigControl& control) { return control.UrlfWriteConfig(config); });
}

std::int32_t WdltUrlfReadRecordList(std::uint32_t listType, WdpeUrlfUrlRecord* records, std::int32_t* count) {
    return forward([&](CConfigControl& control) { return control.UrlfReadRecordList(listType, records, count); });
}

std::int32_t WdltUrlfWriteRecordList(std::uint32_t listType, const WdpeUrlfUrlRecord* records, std::int32_t count) {
    return forward([&](CConfigControl& control) { return control.UrlfWriteRecordList(listType, records, count); });
}

std::int32_t WdltUrlfReadCategoryGroup(WdpeUrlfCategoryGroup* groups, std::int32_t* count) {
    return forward([&](CConfigControl& control) { return control.UrlfReadCategoryGroup(groups, count); });
}

std::int32_t WdltUrlfReadCategory(WdpeUrlfCategory* categories, std::int32_t* count) {
    return forward([&](CConfigControl& control) { return control.UrlfReadCategory(categories, count); });
}

std::int32_t WdltUrlfReadProxy(WdltUrlfProxy* proxy) {
    return forward([&](CConfigControl& control) { return control.UrlfReadProxy(proxy); });
}

std::int32_t WdltUrlfWriteProxy(const WdltUrlfProxy* proxy) {
    return forward([&](CConfigControl& control) { return control.UrlfWriteProxy(proxy); });
}

std::int32_t WdltUrlfIsRecordExists(std::uint32_t listType, const WdpeUrlfUrlRecord* url) {
    return ask([&](CConfigControl& control) { return control.UrlfIsUrlRecordExists(listType, url); });
}

std::int32_t WdltUrlfSetExtraHeader(const WdpeUrlfExtraHeader* header) {
    return forward([&](CConfigControl& control) { return control.UrlfSetExtraHeader(header); });
}

std::int32_t WdltUrlfReadRSInfo(WdpeUrlfRSInfo* server) {
    return forward([&](CConfigControl& control) { return control.UrlfReadRSInfo(server); });
}

std::int32_t WdltUrlfWriteRSInfo(const WdpeUrlfRSInfo* server) {
    return forward([&](CConfigControl& control) { return control.UrlfWriteRSInfo(server); });
}

std::int32_t WdltUrlfReadUUC(WdpeUrlfUUC* settings) {
    return forward([&](CConfigControl& control) { return control.UrlfReadUUC(settings); });
}

std::int32_t WdltUrlfWriteUUC(const WdpeUrlfUUC* settings) {
    return forward([&](CConfigControl& control) { return control.UrlfWriteUUC(settings); });
}

std::int32_t WdltUrlfEnableBackupLKQRetry(std::uint32_t enable) {
    return forward([&](CConfigControl& control) { return control.UrlfEnableBackupLKQRetry(enable); });
}

std::int32_t WdltUrlfIsBackupLKQRetryEnabled() {
    return ask([&](CConfigControl& control) { return control.UrlfIsBackupLKQRetryEnabled(); });
}

std::int32_t WdltUrlfSetSocketFamily(std::uint32_t family) {
    return forward([&](CConfigControl& control) { return control.UrlfSetSocketFamily(family); });
}

std::int32_t WdltUrlfGetSocketFamily(std::uint32_t* family) {
    return forward([&](CConfigControl& control) { return control.UrlfGetSocketFamily(family); });
}

std::int32_t WdltUrlfSetQXNGuid(const char* text) {
    return forward([&](CConfigControl& control) { return control.UrlfSetQXNGuid(text); });
}

std::int32_t WdltUrlhReadRecordList(void* records, std::int32_t* count) {
    return forward([&](CConfigControl& control) { return control.UrlhReadRecordList(records, count); });
}

// Host filter.

std::int32_t WdltHosfEnable(std::int32_t enable) {
    return forward([&](CConfigControl& control) { return control.HosfEnable(enable); });
}

std::int32_t WdltHosfIsEnabled() {
    return ask([&](CConfigControl& control) { return control.HosfIsEnabled(); });
}

std::int32_t WdltHosfReadConfig(WdpeHosfData* config) {
    return forward([&](CConfigControl& control) { return control.HosfReadConfig(config); });
}

std::int32_t WdltHosfWriteConfig(const WdpeHosfData* config) {
    return forward([&](CConfigControl& control) { return control.HosfWriteConfig(config); });
}

std::int32_t WdltHosfReadRecordList(WdpeHosfHostRecord* records, std::int32_t* count) {
    return forward([&](CConfigControl& control) { return control.HosfReadRecordList(records, count); });
}

std::int32_t WdltHosfWriteRecordList(const WdpeHosfHostRecord* records, std::int32_t count) {
    return forward([&](CConfigControl& control) { return control.HosfWriteRecordList(records, count); });
}

// Address cache.

std::int32_t WdltMahReadRecordList(MailAddressRecord* records, std::int32_t* count) {
    return forward([&](CConfigControl& control) { return control.MahReadRecordList(records, count); });
}

// Anti-spam.

std::int32_t WdltAspmEnable(std::int32_t enable) {
    return forward([&](CConfigControl& control) { return control.AspmEnable(enable); });
}

std::int32_t WdltAspmIsEnabled() {
    return ask([&](CConfigControl& control) { return control.AspmIsEnabled(); });
}

std::int32_t WdltAspmReadConfig(WdltAspmConfig* config) {
    return forward([&](CConfigControl& control) { return control.AspmReadConfig(config); });
}

std::int32_t WdltAspmWriteConfig(const WdltAspmConfig* config) {
    return forward([&](CConfigControl& control) { return control.AspmWriteConfig(config); });
}

std::int32_t WdltAspmReadRecordList(std::uint32_t listType, WdpeAspmEntry* records, std::int32_t* count) {
    return forward([&](CConfigControl& control) { return control.AspmReadRecordList(listType, records, count); });
}

std::int32_t WdltAspmWriteRecordList(std::uint32_t listType, const WdpeAspmEntry* records, std::int32_t count) {
    return forward([&](CConfigControl& control) { return control.AspmWriteRecordList(listType, records, count); });
}

// HTTP file events.

std::int32_t WdltHfeEnable(std::uint32_t enable) {
    return forward([&](CConfigControl& control) { return control.HfeEnable(enable); });
}

std::int32_t WdltHfeIsEnabled() {
    return ask([&](CConfigControl& control) { return control.HfeIsEnabled(); });
}

std::int32_t WdltHfeReadConfig(WdpeHfeData* config) {
    return forward([&](CConfigControl& control) { return control.HfeReadConfig(config); });
}

std::int32_t WdltHfeWriteConfig(const WdpeHfeData* config) {
    return forward([&](CConfigControl& control) { return control.HfeWriteConfig(config); });
}

std::int32_t WdltHfeEnablePluginEvent(std::int32_t enable) {
    return forward([&](CConfigControl& control) { return control.HfeEnablePluginEvent(enable); });
}

std::int32_t WdltHfeIsEnablePluginEvent() {
    return ask([&](CConfigControl& control) { return control.HfeIsEnablePluginEvent(); });
}

// HTTPS filter and plug-ins; two of their exports have aliases.

std::int32_t WdltHttpsReadConfig(WdltHttpsConfig* config) {
    return forward([&](CConfigControl& control) { return control.PluginReadConfig(config); });
}

std::int32_t WdltHttpsWriteConfig(const WdltHttpsConfig* config) {
    return forward([&](CConfigControl& control) { return control.PluginWriteConfig(config); });
}

std::int32_t WdltHttpsScanEnable(std::uint32_t enable) {
    return forward([&](CConfigControl& control) { return control.HttpsScanEnable(enable); });
}

std::int32_t WdltHttpsScanIsEnabled() {
    return ask([&](CConfigControl& control) { return control.HttpsScanIsEnabled(); });
}

std::int32_t WdltPluginScanSetEnableFlag(std::uint32_t flags) {
    return forward([&](CConfigControl& control) { return control.BrowserPluginScanSetEnableFlag(flags); });
}

std::int32_t WdltPluginScanGetEnableFlag(std::uint32_t* flags) {
    return forward([&](CConfigControl& control) { return control.BrowserPluginScanGetEnableFlag(flags); });
}

std::int32_t WdltPluginManagerReadConfig(WdltPluginManagerConfig* config) {
    return forward([&](CConfigControl& control) { return control.PluginManagerReadConfig(config); });
}

std::int32_t WdltPluginManagerWriteConfig(const WdltPluginManagerConfig* config) {
    return forward([&](CConfigControl& control) { return control.PluginManagerWriteConfig(config); });
}

std::int32_t WdltIEPlugInEnable(std::uint32_t enable) {
    return forward([&](CConfigControl& control) { return control.IEPlugInEnable(enable); });
}

std::int32_t WdltIEPlugInIsEnabled() {
    return ask([&](CConfigControl& control) { return control.IEPlugInIsEnabled(); });
}

std::int32_t WdltFirefoxExtensionEnable(std::uint32_t enable) {
    return forward([&](CConfigControl& control) { return control.FirefoxExtensionEnable(enable); });
}

std::int32_t WdltFirefoxExtensionIsEnabled() {
    return ask([&](CConfigControl& control) { return control.FirefoxExtensionIsEnabled(); });
}

std::int32_t WdltChromeExtensionEnable(std::uint32_t enable) {
    return forward([&](CConfigControl& control) { return control.ChromeExtensionEnable(enable); });
}

std::int32_t WdltChromeExtensionIsEnabled() {
    return ask([&](CConfigControl& control) { return control.ChromeExtensionIsEnabled(); });
}

// DRS.

std::int32_t WdltDRSEnable(std::uint32_t enable) {
    return forward([&](CConfigControl& control) { return control.DRSEnable(enable); });
}

std::int32_t WdltDRSIsEnabled() {
    return ask([&](CConfigControl& control) { return control.DRSIsEnabled(); });
}

std::int32_t WdltDRSReadConfig(WdltDrsConfig* config) {
    return forward([&](CConfigControl& control) { return control.DRSReadConfig(config); });
}

std::int32_t WdltDRSWriteConfig(const WdltDrsConfig* config) {
    return forward([&](CConfigControl& control) { return control.DRSWriteConfig(config); });
}

std::int32_t WdltEnableDRSWhiteList(std::uint32_t enable, std::uint32_t option) {
    return forward([&](CConfigControl& control) { return control.EnableDRSWhiteListItem(enable, option); });
}

std::int32_t WdltIsDRSWhiteListEnabled() {
    return ask([&](CConfigControl& control) { return control.IsDRSWhiteListEnabled(); });
}

std::int32_t WdltAddDRSWhiteListItem(const WdltDrsWhiteListItem* item) {
    return forward([&](CConfigControl& control) { return control.AddDRSWhiteListItem(item); });
}

std::int32_t WdltDeleteDRSWhiteListItem(std::uint32_t index) {
    return forward([&](CConfigControl& control) { return control.DeleteDRSWhiteListItem(index); });
}

std::int32_t WdltGetAllDRSWhiteListItem(WdltDrsWhiteListItem* items, std::int32_t* count) {
    return forward([&](CConfigControl& control) { return control.GetAllDRSWhiteListItem(items, count); });
}

// SAL.

std::int32_t WdltSalEnable(std::uint32_t enable) {
    return forward([&](CConfigControl& control) { return control.SalEnable(enable); });
}

std::int32_t WdltSalIsEnabled() {
    return ask([&](CConfigControl& control) { return control.SalIsEnabled(); });
}

std::int32_t WdltSalReadConfig(WdltSalConfig* config) {
    return forward([&](CConfigControl& control) { return control.SalReadConfig(config); });
}

std::int32_t WdltSalWriteConfig(const WdltSalConfig* config) {
    return forward([&](CConfigControl& control) { return control.SalWriteConfig(config); });
}

// Privacy data protection.

std::int32_t WdltPdpEnable(std::int32_t enable) {
    return forward([&](CConfigControl& control) { return control.PdpEnable(enable); });
}

std::int32_t WdltPdpProtocolEnable(std::int32_t enable, std::uint32_t types) {
    return forward([&](CConfigControl& control) { return control.PdpEnable(enable, types); });
}

std::int32_t WdltPdpIsEnabled() {
    return ask([&](CConfigControl& control) { return control.PdpIsEnabled(); });
}

std::int32_t WdltPdpIsProtocolEnabled(std::uint32_t types) {
    return ask([&](CConfigControl& control) { return control.PdpIsEnabled(types); });
}

std::int32_t WdltPdpReadItemList(PrivacyViewItem* items, std::int32_t* count) {
    return forward([&](CConfigControl& control) { return control.PdpReadItemList(items, count); });
}

std::int32_t WdltPdpWriteItemList(const PrivacyViewItem* items, std::int32_t count) {
    return forward([&](CConfigControl& control) { return control.PdpWriteItemList(items, count); });
}

std::int32_t WdltPdpReadExItemList(PrivacyExclusionItem* items, std::int32_t* count) {
    return forward([&](CConfigControl& control) { return control.PdpReadExItemList(items, count); });
}

std::int32_t WdltPdpWriteExItemList(const PrivacyExclusionItem* items, std::int32_t count) {
    return forward([&](CConfigControl& control) { return control.PdpWriteExItemList(items, count); });
}

std::int32_t WdltPdpVerifyItems(const PrivacyViewItem* items, std::int32_t count, std::uint32_t* results) {
    return forward([&](CConfigControl& control) { return control.PdpVerifyItems(items, count, results); });
}

// Aliases, for callers that know the HTTPS filter as a plug-in.
extern "C" std::int32_t WdltPluginReadConfig(WdltHttpsConfig*) __attribute__((alias("WdltHttpsReadConfig")));
extern "C" std::int32_t WdltPluginWriteConfig(const WdltHttpsConfig*) __attribute__((alias("WdltHttpsWriteConfig")));
