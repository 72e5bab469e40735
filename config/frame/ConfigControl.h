// CConfigControl, the one object of the library: every export arrives here. An operation holds the cross-process lock
// in the mode that stands with it, calls the family, and logs an exception that passes through.
#pragma once

#include "CfgDirectIF.h"
#include "ConfigManager.h"
#include "FuncAspm.h"
#include "FuncBrowserPlugin.h"
#include "FuncDRSCfg.h"
#include "FuncHfe.h"
#include "FuncHfs.h"
#include "FuncHosf.h"
#include "FuncMah.h"
#include "FuncPdp.h"
#include "FuncPluginManager.h"
#include "FuncPvs.h"
#include "FuncSal.h"
#include "FuncSpy.h"
#include "FuncSvs.h"
#include "FuncUrlf.h"
#include "FuncWmvs.h"
#include "RWLock.h"
#include "WdCommon/DebugLog.h"

#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

#include <cstdint>
#include <optional>
#include <utility>

// How an operation holds m_rwLock.
enum class LockMode { None, Read, Write };

class CConfigControl {
  public:
    CConfigControl() = default;
    virtual ~CConfigControl();
    CConfigControl(const CConfigControl&) = delete;
    CConfigControl& operator=(const CConfigControl&) = delete;

    // Called once, by the module entry, before the first export: the lock, then the families' way to the manager. 0, or
    // WDLT_E_GENERAL when the lock can't be set up.
    std::int32_t Initialize();

    // Raw addresses: outside m_rwLock.
    std::int32_t ReadConfig(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input, std::uint64_t configType,
                            void* data, std::uint64_t* size);
    std::int32_t WriteConfig(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input, std::uint64_t configType,
                             void* data, std::uint64_t size);

    // The families' operations, each with the line for an exception that passes through it.

    // Virus and spyware scan.
    std::int32_t PvsEnable(std::int32_t enable) {
        return guarded(LockMode::Write, "ConfigControl::PvsEnable(): Caught exception",
                       [&] { return m_pvs.Enable(enable); });
    }
    std::int32_t PvsIsEnabled() {
        return guarded(LockMode::Read, "ConfigControl::PvsIsEnabled(): Caught exception",
                       [&] { return m_pvs.IsEnabled(); });
    }
    std::int32_t PvsReadConfig(WdltVsConfig* config) {
        return guarded(LockMode::Read, "ConfigControl::PvsReadConfig(): Caught exception",
                       [&] { return m_pvs.ConfigRead(config); });
    }
    std::int32_t PvsWriteConfig(const WdltVsConfig* config) {
        return guarded(LockMode::Write, "ConfigControl::PvsWriteConfig(): Caught exception",
                       [&] { return m_pvs.ConfigWrite(config); });
    }
    std::int32_t SvsEnable(std::int32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::SvsEnable(): Caught exception",
                       [&] { return m_svs.Enable(enable); });
    }
    std::int32_t SvsIsEnabled() {
        return guarded(LockMode::Read, "CConfigControl::SvsIsEnabled(): Caught exception",
                       [&] { return m_svs.IsEnabled(); });
    }
    std::int32_t SvsReadConfig(WdltVsConfig* config) {
        return guarded(LockMode::Read, "CConfigControl::SvsReadConfig(): Caught exception",
                       [&] { return m_svs.ConfigRead(config); });
    }
    std::int32_t SvsWriteConfig(const WdltVsConfig* config) {
        return guarded(LockMode::Write, "CConfigControl::SvsWriteConfig(): Caught exception",
                       [&] { return m_svs.ConfigWrite(config); });
    }
    std::int32_t WmvsEnable(std::int32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::WmvsEnable(): Caught exception",
                       [&] { return m_wmvs.Enable(enable); });
    }
    std::int32_t WmvsIsEnabled() {
        return guarded(LockMode::Read, "CConfigControl::WmvsIsEnabled(): Caught exception",
                       [&] { return m_wmvs.IsEnabled(); });
    }
    std::int32_t WmvsReadConfig(WdltVsConfig* config) {
        return guarded(LockMode::Read, "CConfigControl::WmvsReadConfig(): Caught exception",
                       [&] { return m_wmvs.ConfigRead(config); });
    }
    std::int32_t WmvsWriteConfig(const WdltVsConfig* config) {
        return guarded(LockMode::Write, "CConfigControl::WmvsWriteConfig(): Caught exception",
                       [&] { return m_wmvs.ConfigWrite(config); });
    }
    std::int32_t HfsEnable(std::int32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::HfsEnable(): Caught exception",
                       [&] { return m_hfs.Enable(enable); });
    }
    std::int32_t HfsIsEnabled() {
        return guarded(LockMode::Write, "CConfigControl::HfsIsEnabled(): Caught exception",
                       [&] { return m_hfs.IsEnabled(); });
    }
    std::int32_t HfsReadConfig(WdltHfsConfig* config) {
        return guarded(LockMode::Write, "CConfigControl::HfsReadConfig(): Caught exception",
                       [&] { return m_hfs.ConfigRead(config); });
    }
    std::int32_t HfsWriteConfig(const WdltHfsConfig* config) {
        return guarded(LockMode::Write, "CConfigControl::HfsWriteConfig(): Caught exception",
                       [&] { return m_hfs.ConfigWrite(config); });
    }
    std::int32_t HfsVirusReadConfig(WdltVsConfig* config) {
        return guarded(LockMode::Write, "CConfigControl::HfsVirusReadConfig(): Caught exception",
                       [&] { return m_hfs.ConfigVirusRead(config); });
    }
    std::int32_t HfsVirusWriteConfig(const WdltVsConfig* config) {
        return guarded(LockMode::Write, "CConfigControl::HfsVirusWriteConfig(): Caught exception",
                       [&] { return m_hfs.ConfigVirusWrite(config); });
    }
    std::int32_t SpyReadRecordList(std::uint32_t listType, WdpeSpyRecord* records, std::int32_t* count) {
        return guarded(LockMode::Read, "CConfigControl::SpyReadRecordList(): Caught exception",
                       [&] { return m_spy.RecordListRead(listType, records, count); });
    }
    std::int32_t SpyWriteRecordList(std::uint32_t listType, const WdpeSpyRecord* records, std::int32_t count) {
        return guarded(LockMode::Write, "CConfigControl::SpyWriteRecordList(): Caught exception",
                       [&] { return m_spy.RecordListWrite(listType, records, count); });
    }

    // URL filter and URL history. The settings that hold the lock for reading write single values.
    std::int32_t UrlfEnable(std::int32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::UrlfEnable(): Caught exception",
                       [&] { return m_urlf.Enable(enable); });
    }
    std::int32_t UrlfIsEnabled() {
        return guarded(LockMode::Read, "CConfigControl::UrlfIsEnabled(): Caught exception",
                       [&] { return m_urlf.IsEnabled(); });
    }
    std::int32_t UrlfReadConfig(WdltUrlfConfig* config) {
        return guarded(LockMode::Read, "CConfigControl::UrlfReadConfig(): Caught exception",
                       [&] { return m_urlf.ConfigRead(config); });
    }
    std::int32_t UrlfWriteConfig(const WdltUrlfConfig* config) {
        return guarded(LockMode::Write, "CConfigControl::UrlfWriteConfig(): Caught exception",
                       [&] { return m_urlf.ConfigWrite(config); });
    }
    std::int32_t UrlfReadRecordList(std::uint32_t listType, WdpeUrlfUrlRecord* records, std::int32_t* count) {
        return guarded(LockMode::Read, "CConfigControl::UrlfReadRecordList(): Caught exception",
                       [&] { return m_urlf.RecordListRead(listType, records, count); });
    }
    std::int32_t UrlfWriteRecordList(std::uint32_t listType, const WdpeUrlfUrlRecord* records, std::int32_t count) {
        return guarded(LockMode::Write, "CConfigControl::UrlfWriteRecordList(): Caught exception",
                       [&] { return m_urlf.RecordListWrite(listType, records, count); });
    }
    std::int32_t UrlfReadCategoryGroup(WdpeUrlfCategoryGroup* groups, std::int32_t* count) {
        return guarded(LockMode::Read, "CConfigControl::UrlfReadCategoryGroup(): Caught exception",
                       [&] { return m_urlf.CategoryGroupRead(groups, count); });
    }
    std::int32_t UrlfReadCategory(WdpeUrlfCategory* categories, std::int32_t* count) {
        return guarded(LockMode::Read, "CConfigControl::UrlfReadCategory(): Caught exception",
                       [&] { return m_urlf.CategoryRead(categories, count); });
    }
    std::int32_t UrlfReadProxy(WdltUrlfProxy* proxy) {
        return guarded(LockMode::Read, "CConfigControl::UrlfReadProxy(): Caught exception",
                       [&] { return m_urlf.ProxyRead(proxy); });
    }
    std::int32_t UrlfWriteProxy(const WdltUrlfProxy* proxy) {
        return guarded(LockMode::Write, "CConfigControl::UrlfWriteProxy(): Caught exception",
                       [&] { return m_urlf.ProxyWrite(proxy); });
    }
    std::int32_t UrlfIsUrlRecordExists(std::uint32_t listType, const WdpeUrlfUrlRecord* url) {
        return guarded(LockMode::Read, "CConfigControl::UrlfIsUrlRecordExists(): Caught exception",
                       [&] { return m_urlf.IsUrlRecordExists(listType, url); });
    }
    std::int32_t UrlfSetExtraHeader(const WdpeUrlfExtraHeader* header) {
        return guarded(LockMode::Read, "CConfigControl::UrlfSetExtraHeader(): Caught exception",
                       [&] { return m_urlf.SetExtraHeader(header); });
    }
    std::int32_t UrlfReadRSInfo(WdpeUrlfRSInfo* server) {
        return guarded(LockMode::Read, "CConfigControl::UrlfReadRSInfo(): Caught exception",
                       [&] { return m_urlf.RSInfoRead(server); });
    }
    std::int32_t UrlfWriteRSInfo(const WdpeUrlfRSInfo* server) {
        return guarded(LockMode::Write, "CConfigControl::UrlfWriteRSInfo(): Caught exception",
                       [&] { return m_urlf.RSInfoWrite(server); });
    }
    std::int32_t UrlfReadUUC(WdpeUrlfUUC* settings) {
        return guarded(LockMode::Read, "CConfigControl::UrlfReadUUC(): Caught exception",
                       [&] { return m_urlf.UUCRead(settings); });
    }
    std::int32_t UrlfWriteUUC(const WdpeUrlfUUC* settings) {
        return guarded(LockMode::Write, "CConfigControl::UrlfWriteUUC(): Caught exception",
                       [&] { return m_urlf.UUCWrite(settings); });
    }
    std::int32_t UrlfEnableBackupLKQRetry(std::uint32_t enable) {
        return guarded(LockMode::Read, "CConfigControl::UrlfEnableBackupLKQRetry(): Caught exception",
                       [&] { return m_urlf.EnableBackupLKQRetry(enable); });
    }
    std::int32_t UrlfIsBackupLKQRetryEnabled() {
        return guarded(LockMode::Write, "CConfigControl::UrlfIsBackupLKQRetryEnabled(): Caught exception",
                       [&] { return m_urlf.IsBackupLKQRetryEnabled(); });
    }
    std::int32_t UrlfSetSocketFamily(std::uint32_t family) {
        return guarded(LockMode::Read, "CConfigControl::UrlfSetSocketFamily(): Caught exception",
                       [&] { return m_urlf.SetSocketFamily(family); });
    }
    std::int32_t UrlfGetSocketFamily(std::uint32_t* family) {
        return guarded(LockMode::Read, "CConfigControl::UrlfGetSocketFamily(): Caught exception",
                       [&] { return m_urlf.GetSocketFamily(family); });
    }
    std::int32_t UrlfSetQXNGuid(const char* text) {
        return guarded(LockMode::Read, "CConfigControl::UrlfSetQXNGuid(): Caught exception",
                       [&] { return m_urlf.SetQXNGuid(text); });
    }
    std::int32_t UrlhReadRecordList(void* records, std::int32_t* count) {
        return guarded(LockMode::Read, "CConfigControl::UrlhReadRecordList(): Caught exception",
                       [&] { return m_urlh.RecordListRead(records, count); });
    }

    // Host filter.
    std::int32_t HosfEnable(std::int32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::HosfEnable(): Caught exception",
                       [&] { return m_hosf.Enable(enable); });
    }
    std::int32_t HosfIsEnabled() {
        return guarded(LockMode::Read, "CConfigControl::HosfIsEnabled(): Caught exception",
                       [&] { return m_hosf.IsEnabled(); });
    }
    std::int32_t HosfReadConfig(WdpeHosfData* config) {
        return guarded(LockMode::Read, "CConfigControl::HosfReadConfig(): Caught exception",
                       [&] { return m_hosf.ConfigRead(config); });
    }
    std::int32_t HosfWriteConfig(const WdpeHosfData* config) {
        return guarded(LockMode::Write, "CConfigControl::HosfWriteConfig(): Caught exception",
                       [&] { return m_hosf.ConfigWrite(config); });
    }
    std::int32_t HosfReadRecordList(WdpeHosfHostRecord* records, std::int32_t* count) {
        return guarded(LockMode::Read, "CConfigControl::HosfReadRecordList(): Caught exception",
                       [&] { return m_hosf.RecordListRead(records, count); });
    }
    std::int32_t HosfWriteRecordList(const WdpeHosfHostRecord* records, std::int32_t count) {
        return guarded(LockMode::Write, "CConfigControl::HosfWriteRecordList(): Caught exception",
                       [&] { return m_hosf.RecordListWrite(records, count); });
    }

    // Address cache.
    std::int32_t MahReadRecordList(MailAddressRecord* records, std::int32_t* count) {
        return guarded(LockMode::Read, "CConfigControl::MahReadRecordList(): Caught exception",
                       [&] { return m_mah.RecordListRead(records, count); });
    }

    // Anti-spam.
    std::int32_t AspmEnable(std::int32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::AspmEnable(): Caught exception",
                       [&] { return m_aspm.Enable(enable); });
    }
    std::int32_t AspmIsEnabled() {
        return guarded(LockMode::Read, "CConfigControl::AspmIsEnabled(): Caught exception",
                       [&] { return m_aspm.IsEnabled(); });
    }
    std::int32_t AspmReadConfig(WdltAspmConfig* config) {
        return guarded(LockMode::Read, "CConfigControl::AspmReadConfig(): Caught exception",
                       [&] { return m_aspm.ConfigRead(config); });
    }
    std::int32_t AspmWriteConfig(const WdltAspmConfig* config) {
        return guarded(LockMode::Write, "CConfigControl::AspmWriteConfig(): Caught exception",
                       [&] { return m_aspm.ConfigWrite(config); });
    }
    std::int32_t AspmReadRecordList(std::uint32_t listType, WdpeAspmEntry* records, std::int32_t* count) {
        return guarded(LockMode::Read, "CConfigControl::AspmReadRecordList(): Caught exception",
                       [&] { return m_aspm.RecordListRead(listType, records, count); });
    }
    std::int32_t AspmWriteRecordList(std::uint32_t listType, const WdpeAspmEntry* records, std::int32_t count) {
        return guarded(LockMode::Write, "CConfigControl::AspmWriteRecordList(): Caught exception",
                       [&] { return m_aspm.RecordListWrite(listType, records, count); });
    }

    // HTTP file events.
    std::int32_t HfeEnable(std::uint32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::HefEnable(): Caught exception",
                       [&] { return m_hfe.Enable(static_cast<std::int32_t>(enable)); });
    }
    std::int32_t HfeIsEnabled() {
        return guarded(LockMode::None, "CConfigControl::HefIsEnabled(): Caught exception",
                       [&] { return m_hfe.IsEnabled(); });
    }
    std::int32_t HfeReadConfig(WdpeHfeData* config) {
        return guarded(LockMode::None, "CConfigControl::HfeReadConfig(): Caught exception",
                       [&] { return m_hfe.ConfigRead(config); });
    }
    std::int32_t HfeWriteConfig(const WdpeHfeData* config) {
        return guarded(LockMode::Write, "CConfigControl::HfeWriteConfig(): Caught exception",
                       [&] { return m_hfe.ConfigWrite(config); });
    }
    std::int32_t HfeEnablePluginEvent(std::int32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::HfeEnablePluginEvent(): Caught exception",
                       [&] { return m_hfe.EnablePluginEvent(enable); });
    }
    std::int32_t HfeIsEnablePluginEvent() {
        return guarded(LockMode::None, "CConfigControl::HfeIsEnablePluginEvent(): Caught exception",
                       [&] { return m_hfe.IsEnabledPluginEvent(); });
    }

    // HTTPS filter and plug-ins; two of their exports have second names. Switching one on needs what it leans on.
    std::int32_t PluginReadConfig(WdltHttpsConfig* config) {
        return guarded(LockMode::Write, "CConfigControl::PluginReadConfig(): Caught exception",
                       [&] { return m_browserPlugin.ConfigRead(config); });
    }
    std::int32_t PluginWriteConfig(const WdltHttpsConfig* config) {
        return guarded(LockMode::Write, "CConfigControl::PluginWriteConfig(): Caught exception", [&] {
            return withWebDependencies(CFuncBrowserPlugin::isOnIn(config),
                                       [&] { return m_browserPlugin.ConfigWrite(config); });
        });
    }
    std::int32_t HttpsScanEnable(std::uint32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::HttpsScanEnable(): Caught exception", [&] {
            return withWebDependencies(enable == 1, [&] { return m_browserPlugin.ScanEnable(enable); });
        });
    }
    std::int32_t HttpsScanIsEnabled() {
        return guarded(LockMode::Write, "CConfigControl::HttpsScanIsEnabled(): Caught exception",
                       [&] { return m_browserPlugin.IsEnabled(); });
    }
    std::int32_t BrowserPluginScanSetEnableFlag(std::uint32_t flags) {
        return guarded(LockMode::Write, "CConfigControl::BrowserPluginScanSetEnableFlag(): Caught exception", [&] {
            return withWebDependencies(flags != 0, [&] { return m_browserPlugin.SetEnableFlag(flags); });
        });
    }
    std::int32_t BrowserPluginScanGetEnableFlag(std::uint32_t* flags) {
        return guarded(LockMode::None, "CConfigControl::BrowserPluginScanGetEnableFlag(): Caught exception",
                       [&] { return m_browserPlugin.GetEnableFlag(flags); });
    }
    std::int32_t PluginManagerReadConfig(WdltPluginManagerConfig* config) {
        return guarded(LockMode::None, "CConfigControl::PluginManagerReadConfig(): Caught exception",
                       [&] { return m_pluginManager.ReadConfig(config); });
    }
    std::int32_t PluginManagerWriteConfig(const WdltPluginManagerConfig* config) {
        return guarded(LockMode::Write, "CConfigControl::PluginManagerWriteConfig(): Caught exception",
                       [&] { return m_pluginManager.WriteConfig(config); });
    }
    std::int32_t IEPlugInEnable(std::uint32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::IEPlugInEnable(): Caught exception",
                       [&] { return m_pluginManager.PlugInEnable("enableIE", enable); });
    }
    std::int32_t IEPlugInIsEnabled() {
        return guarded(LockMode::None, "CConfigControl::IEPlugInIsEnabled(): Caught exception",
                       [&] { return m_pluginManager.PlugInIsEnabled("enableIE", 1); });
    }
    std::int32_t FirefoxExtensionEnable(std::uint32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::FirefoxExtensionEnable(): Caught exception",
                       [&] { return m_pluginManager.PlugInEnable("enableFirefox", enable); });
    }
    std::int32_t FirefoxExtensionIsEnabled() {
        return guarded(LockMode::None, "CConfigControl::FirefoxExtensionIsEnabled(): Caught exception",
                       [&] { return m_pluginManager.PlugInIsEnabled("enableFirefox", 1); });
    }
    std::int32_t ChromeExtensionEnable(std::uint32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::ChromeExtensionEnable(): Caught exception",
                       [&] { return m_pluginManager.PlugInEnable("enableChrome", enable); });
    }
    std::int32_t ChromeExtensionIsEnabled() {
        return guarded(LockMode::None, "CConfigControl::ChromeExtensionIsEnabled(): Caught exception",
                       [&] { return m_pluginManager.PlugInIsEnabled("enableChrome", 1); });
    }

    // DRS.
    std::int32_t DRSEnable(std::uint32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::DRSEnable(): Caught exception",
                       [&] { return withWebDependencies(enable == 1, [&] { return m_drsCfg.DRSEnable(enable); }); });
    }
    std::int32_t DRSIsEnabled() {
        return guarded(LockMode::None, "CConfigControl::DRSIsEnabled(): Caught exception",
                       [&] { return m_drsCfg.IsEnabled(); });
    }
    std::int32_t DRSReadConfig(WdltDrsConfig* config) {
        return guarded(LockMode::None, "CConfigControl::DRSReadConfig(): Caught exception",
                       [&] { return m_drsCfg.ReadConfig(config); });
    }
    std::int32_t DRSWriteConfig(const WdltDrsConfig* config) {
        return guarded(LockMode::Write, "CConfigControl::DRSWriteConfig(): Caught exception",
                       [&] { return m_drsCfg.WriteConfig(config); });
    }
    std::int32_t EnableDRSWhiteListItem(std::uint32_t enable, std::uint32_t option) {
        return guarded(LockMode::Write, "CConfigControl::EnableDRSWhiteListItem(): Caught exception",
                       [&] { return m_drsCfg.EnableWhiteListItem(enable, option); });
    }
    std::int32_t IsDRSWhiteListEnabled() {
        return guarded(LockMode::None, "CConfigControl::IsDRSWhiteListEnabled(): Caught exception",
                       [&] { return m_drsCfg.IsWhiteListEnabled(); });
    }
    std::int32_t AddDRSWhiteListItem(const WdltDrsWhiteListItem* item) {
        return guarded(LockMode::Write, "CConfigControl::AddDRSWhiteListItem(): Caught exception",
                       [&] { return m_drsCfg.AddWhiteListItem(item); });
    }
    std::int32_t DeleteDRSWhiteListItem(std::uint32_t index) {
        return guarded(LockMode::Write, "CConfigControl::DeleteDRSWhiteListItem(): Caught exception",
                       [&] { return m_drsCfg.DeleteWhiteListItem(index); });
    }
    std::int32_t GetAllDRSWhiteListItem(WdltDrsWhiteListItem* items, std::int32_t* count) {
        return guarded(LockMode::None, "CConfigControl::GetAllDRSWhiteListItem(): Caught exception",
                       [&] { return m_drsCfg.GetAllWhiteListItem(items, count); });
    }

    // SAL.
    std::int32_t SalEnable(std::uint32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::SalEnable(): Caught exception",
                       [&] { return m_sal.Enable(static_cast<std::int32_t>(enable)); });
    }
    std::int32_t SalIsEnabled() {
        return guarded(LockMode::None, "CConfigControl::SalIsEnabled(): Caught exception",
                       [&] { return m_sal.IsEnabled(); });
    }
    std::int32_t SalReadConfig(WdltSalConfig* config) {
        return guarded(LockMode::None, "CConfigControl::SalReadConfig(): Caught exception",
                       [&] { return m_sal.ConfigRead(config); });
    }
    std::int32_t SalWriteConfig(const WdltSalConfig* config) {
        return guarded(LockMode::Write, "CConfigControl::SalWriteConfig(): Caught exception",
                       [&] { return m_sal.ConfigWrite(config); });
    }

    // Privacy data protection.
    std::int32_t PdpEnable(std::int32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::PdpEnable(): Caught exception",
                       [&] { return m_pdp.Enable(enable, WDLT_PRIVACY_ALL); });
    }
    std::int32_t PdpEnable(std::int32_t enable, std::uint32_t types) {
        return guarded(LockMode::Write, "CConfigControl::PdpEnable(): Caught exception",
                       [&] { return m_pdp.Enable(enable, types); });
    }
    std::int32_t PdpIsEnabled() {
        return guarded(LockMode::Read, "CConfigControl::PdpIsEnabled(): Caught exception",
                       [&] { return m_pdp.IsEnabled(WDLT_PRIVACY_ALL); });
    }
    std::int32_t PdpIsEnabled(std::uint32_t types) {
        return guarded(LockMode::Read, "CConfigControl::PdpIsEnabled(): Caught exception",
                       [&] { return m_pdp.IsEnabled(types); });
    }
    std::int32_t PdpReadItemList(PrivacyViewItem* items, std::int32_t* count) {
        return guarded(LockMode::Read, "CConfigControl::PdpReadItemList(): Caught exception",
                       [&] { return m_pdp.ItemListRead(items, count); });
    }
    std::int32_t PdpWriteItemList(const PrivacyViewItem* items, std::int32_t count) {
        return guarded(LockMode::Write, "CConfigControl::PdpWriteItemList(): Caught exception",
                       [&] { return m_pdp.ItemListWrite(items, count); });
    }
    std::int32_t PdpReadExItemList(PrivacyExclusionItem* items, std::int32_t* count) {
        return guarded(LockMode::Read, "CConfigControl::PdpReadExItemList(): Caught exception",
                       [&] { return m_pdp.ExItemListRead(items, count); });
    }
    std::int32_t PdpWriteExItemList(const PrivacyExclusionItem* items, std::int32_t count) {
        return guarded(LockMode::Write, "CConfigControl::PdpWriteExItemList(): Caught exception",
                       [&] { return m_pdp.ExItemListWrite(items, count); });
    }
    std::int32_t PdpVerifyItems(const PrivacyViewItem* items, std::int32_t count, std::uint32_t* results) {
        return guarded(LockMode::Write, "CConfigControl::PdpVerifyItems(): Caught exception",
                       [&] { return CConfigManager::VerifyPrivacyItems(items, count, results); });
    }

  private:
    // m_rwLock in one of the three modes, released when the scope ends.
    class OperationLock {
      public:
        OperationLock(LockMode mode, CWdRWLock& lock);

      private:
        std::optional<CWdRWReadLock> m_read;
        std::optional<CWdRWWriteLock> m_write;
    };

    // Guard, lock, call: how every operation runs. `caught` is the line for an exception, which goes on to the caller.
    template <class Operation>
    std::int32_t guarded(LockMode mode, const char* caught, Operation&& operation) {
        try {
            const OperationLock lock(mode, m_rwLock);
            return std::forward<Operation>(operation)();
        } catch (...) {
            WDLOG_ERROR("%s", caught);
            throw;
        }
    }

    // Switches what the web plug-in features lean on: the URL filter, then the plug-in manager. The first failure ends
    // it with its status. Called under the write lock.
    std::int32_t EnsureWebDependencies(std::uint32_t value);
    // The operation, behind that step when it is needed; a failure there is the result.
    template <class Operation>
    std::int32_t withWebDependencies(bool areNeeded, Operation&& operation) {
        if (areNeeded)
            if (const std::int32_t status = EnsureWebDependencies(1); status != WDLT_OK)
                return status;
        return std::forward<Operation>(operation)();
    }

    // In the order of construction; destruction runs the reverse.
    CWdRWLockEx m_rwLock;
    CCfgDirectIF m_cfgIF{m_configManager}; // holds a reference alone, so that it may stand before it
    CConfigManager m_configManager;
    CFuncPvs m_pvs;
    CFuncSvs m_svs;
    CFuncWmvs m_wmvs;
    CFuncSpy m_spy;
    CFuncAspm m_aspm;
    CFuncUrlf m_urlf;
    CFuncHosf m_hosf;
    CFuncPdp m_pdp;
    CFuncMah m_mah;
    CFuncUrlh m_urlh;
    CFuncHfs m_hfs;
    CFuncBrowserPlugin m_browserPlugin;
    CFuncPluginManager m_pluginManager;
    CFuncDRSCfg m_drsCfg;
    CFuncHfe m_hfe;
    CFuncSal m_sal;
};
