// CConfigControl, the library's one object: every export ends up here. An operation takes the cross-process lock in the
// mode given with it, calls the family, and logs an exception that passes through.
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

    // Called once, by the module entry, before the first export: sets up the lock, then connects the families to the
    // manager. 0, or WDLT_E_GENERAL when the lock can't be set up.
    [[nodiscard]] std::int32_t Initialize();

    // Raw addresses: without m_rwLock.
    [[nodiscard]] std::int32_t ReadConfig(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input,
                                          std::uint64_t configType, void* data, std::uint64_t* size);
    [[nodiscard]] std::int32_t WriteConfig(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input,
                                           std::uint64_t configType, void* data, std::uint64_t size);

    // The families' operations, each with the log line for an exception that passes through it.

    // Virus and spyware scan.
    [[nodiscard]] std::int32_t PvsEnable(std::int32_t enable) {
        return guarded(LockMode::Write, "ConfigControl::PvsEnable(): Caught exception",
                       [&] { return m_pvs.Enable(enable); });
    }
    [[nodiscard]] std::int32_t PvsIsEnabled() {
        return guarded(LockMode::Read, "ConfigControl::PvsIsEnabled(): Caught exception",
                       [&] { return m_pvs.IsEnabled(); });
    }
    [[nodiscard]] std::int32_t PvsReadConfig(WdltVsConfig* config) {
        return guarded(LockMode::Read, "ConfigControl::PvsReadConfig(): Caught exception",
                       [&] { return m_pvs.ConfigRead(config); });
    }
    [[nodiscard]] std::int32_t PvsWriteConfig(const WdltVsConfig* config) {
        return guarded(LockMode::Write, "ConfigControl::PvsWriteConfig(): Caught exception",
                       [&] { return m_pvs.ConfigWrite(config); });
    }
    [[nodiscard]] std::int32_t SvsEnable(std::int32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::SvsEnable(): Caught exception",
                       [&] { return m_svs.Enable(enable); });
    }
    [[nodiscard]] std::int32_t SvsIsEnabled() {
        return guarded(LockMode::Read, "CConfigControl::SvsIsEnabled(): Caught exception",
                       [&] { return m_svs.IsEnabled(); });
    }
    [[nodiscard]] std::int32_t SvsReadConfig(WdltVsConfig* config) {
        return guarded(LockMode::Read, "CConfigControl::SvsReadConfig(): Caught exception",
                       [&] { return m_svs.ConfigRead(config); });
    }
    [[nodiscard]] std::int32_t SvsWriteConfig(const WdltVsConfig* config) {
        return guarded(LockMode::Write, "CConfigControl::SvsWriteConfig(): Caught exception",
                       [&] { return m_svs.ConfigWrite(config); });
    }
    [[nodiscard]] std::int32_t WmvsEnable(std::int32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::WmvsEnable(): Caught exception",
                       [&] { return m_wmvs.Enable(enable); });
    }
    [[nodiscard]] std::int32_t WmvsIsEnabled() {
        return guarded(LockMode::Read, "CConfigControl::WmvsIsEnabled(): Caught exception",
                       [&] { return m_wmvs.IsEnabled(); });
    }
    [[nodiscard]] std::int32_t WmvsReadConfig(WdltVsConfig* config) {
        return guarded(LockMode::Read, "CConfigControl::WmvsReadConfig(): Caught exception",
                       [&] { return m_wmvs.ConfigRead(config); });
    }
    [[nodiscard]] std::int32_t WmvsWriteConfig(const WdltVsConfig* config) {
        return guarded(LockMode::Write, "CConfigControl::WmvsWriteConfig(): Caught exception",
                       [&] { return m_wmvs.ConfigWrite(config); });
    }
    [[nodiscard]] std::int32_t HfsEnable(std::int32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::HfsEnable(): Caught exception",
                       [&] { return m_hfs.Enable(enable); });
    }
    [[nodiscard]] std::int32_t HfsIsEnabled() {
        return guarded(LockMode::Write, "CConfigControl::HfsIsEnabled(): Caught exception",
                       [&] { return m_hfs.IsEnabled(); });
    }
    [[nodiscard]] std::int32_t HfsReadConfig(WdltHfsConfig* config) {
        return guarded(LockMode::Write, "CConfigControl::HfsReadConfig(): Caught exception",
                       [&] { return m_hfs.ConfigRead(config); });
    }
    [[nodiscard]] std::int32_t HfsWriteConfig(const WdltHfsConfig* config) {
        return guarded(LockMode::Write, "CConfigControl::HfsWriteConfig(): Caught exception",
                       [&] { return m_hfs.ConfigWrite(config); });
    }
    [[nodiscard]] std::int32_t HfsVirusReadConfig(WdltVsConfig* config) {
        return guarded(LockMode::Write, "CConfigControl::HfsVirusReadConfig(): Caught exception",
                       [&] { return m_hfs.ConfigVirusRead(config); });
    }
    [[nodiscard]] std::int32_t HfsVirusWriteConfig(const WdltVsConfig* config) {
        return guarded(LockMode::Write, "CConfigControl::HfsVirusWriteConfig(): Caught exception",
                       [&] { return m_hfs.ConfigVirusWrite(config); });
    }
    [[nodiscard]] std::int32_t SpyReadRecordList(std::uint32_t listType, WdpeSpyRecord* records, std::int32_t* count) {
        return guarded(LockMode::Read, "CConfigControl::SpyReadRecordList(): Caught exception",
                       [&] { return m_spy.RecordListRead(listType, records, count); });
    }
    [[nodiscard]] std::int32_t SpyWriteRecordList(std::uint32_t listType, const WdpeSpyRecord* records,
                                                  std::int32_t count) {
        return guarded(LockMode::Write, "CConfigControl::SpyWriteRecordList(): Caught exception",
                       [&] { return m_spy.RecordListWrite(listType, records, count); });
    }

    // URL filter and URL history. Setters that hold the lock only for reading store their value without reading first.
    [[nodiscard]] std::int32_t UrlfEnable(std::int32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::UrlfEnable(): Caught exception",
                       [&] { return m_urlf.Enable(enable); });
    }
    [[nodiscard]] std::int32_t UrlfIsEnabled() {
        return guarded(LockMode::Read, "CConfigControl::UrlfIsEnabled(): Caught exception",
                       [&] { return m_urlf.IsEnabled(); });
    }
    [[nodiscard]] std::int32_t UrlfReadConfig(WdltUrlfConfig* config) {
        return guarded(LockMode::Read, "CConfigControl::UrlfReadConfig(): Caught exception",
                       [&] { return m_urlf.ConfigRead(config); });
    }
    [[nodiscard]] std::int32_t UrlfWriteConfig(const WdltUrlfConfig* config) {
        return guarded(LockMode::Write, "CConfigControl::UrlfWriteConfig(): Caught exception",
                       [&] { return m_urlf.ConfigWrite(config); });
    }
    [[nodiscard]] std::int32_t UrlfReadRecordList(std::uint32_t listType, WdpeUrlfUrlRecord* records,
                                                  std::int32_t* count) {
        return guarded(LockMode::Read, "CConfigControl::UrlfReadRecordList(): Caught exception",
                       [&] { return m_urlf.RecordListRead(listType, records, count); });
    }
    [[nodiscard]] std::int32_t UrlfWriteRecordList(std::uint32_t listType, const WdpeUrlfUrlRecord* records,
                                                   std::int32_t count) {
        return guarded(LockMode::Write, "CConfigControl::UrlfWriteRecordList(): Caught exception",
                       [&] { return m_urlf.RecordListWrite(listType, records, count); });
    }
    [[nodiscard]] std::int32_t UrlfReadCategoryGroup(WdpeUrlfCategoryGroup* groups, std::int32_t* count) {
        return guarded(LockMode::Read, "CConfigControl::UrlfReadCategoryGroup(): Caught exception",
                       [&] { return m_urlf.CategoryGroupRead(groups, count); });
    }
    [[nodiscard]] std::int32_t UrlfReadCategory(WdpeUrlfCategory* categories, std::int32_t* count) {
        return guarded(LockMode::Read, "CConfigControl::UrlfReadCategory(): Caught exception",
                       [&] { return m_urlf.CategoryRead(categories, count); });
    }
    [[nodiscard]] std::int32_t UrlfReadProxy(WdltUrlfProxy* proxy) {
        return guarded(LockMode::Read, "CConfigControl::UrlfReadProxy(): Caught exception",
                       [&] { return m_urlf.ProxyRead(proxy); });
    }
    [[nodiscard]] std::int32_t UrlfWriteProxy(const WdltUrlfProxy* proxy) {
        return guarded(LockMode::Write, "CConfigControl::UrlfWriteProxy(): Caught exception",
                       [&] { return m_urlf.ProxyWrite(proxy); });
    }
    [[nodiscard]] std::int32_t UrlfIsUrlRecordExists(std::uint32_t listType, const WdpeUrlfUrlRecord* url) {
        return guarded(LockMode::Read, "CConfigControl::UrlfIsUrlRecordExists(): Caught exception",
                       [&] { return m_urlf.IsUrlRecordExists(listType, url); });
    }
    [[nodiscard]] std::int32_t UrlfSetExtraHeader(const WdpeUrlfExtraHeader* header) {
        return guarded(LockMode::Read, "CConfigControl::UrlfSetExtraHeader(): Caught exception",
                       [&] { return m_urlf.SetExtraHeader(header); });
    }
    [[nodiscard]] std::int32_t UrlfReadRSInfo(WdpeUrlfRSInfo* server) {
        return guarded(LockMode::Read, "CConfigControl::UrlfReadRSInfo(): Caught exception",
                       [&] { return m_urlf.RSInfoRead(server); });
    }
    [[nodiscard]] std::int32_t UrlfWriteRSInfo(const WdpeUrlfRSInfo* server) {
        return guarded(LockMode::Write, "CConfigControl::UrlfWriteRSInfo(): Caught exception",
                       [&] { return m_urlf.RSInfoWrite(server); });
    }
    [[nodiscard]] std::int32_t UrlfReadUUC(WdpeUrlfUUC* settings) {
        return guarded(LockMode::Read, "CConfigControl::UrlfReadUUC(): Caught exception",
                       [&] { return m_urlf.UUCRead(settings); });
    }
    [[nodiscard]] std::int32_t UrlfWriteUUC(const WdpeUrlfUUC* settings) {
        return guarded(LockMode::Write, "CConfigControl::UrlfWriteUUC(): Caught exception",
                       [&] { return m_urlf.UUCWrite(settings); });
    }
    [[nodiscard]] std::int32_t UrlfEnableBackupLKQRetry(std::uint32_t enable) {
        return guarded(LockMode::Read, "CConfigControl::UrlfEnableBackupLKQRetry(): Caught exception",
                       [&] { return m_urlf.EnableBackupLKQRetry(enable); });
    }
    [[nodiscard]] std::int32_t UrlfIsBackupLKQRetryEnabled() {
        return guarded(LockMode::Write, "CConfigControl::UrlfIsBackupLKQRetryEnabled(): Caught exception",
                       [&] { return m_urlf.IsBackupLKQRetryEnabled(); });
    }
    [[nodiscard]] std::int32_t UrlfSetSocketFamily(std::uint32_t family) {
        return guarded(LockMode::Read, "CConfigControl::UrlfSetSocketFamily(): Caught exception",
                       [&] { return m_urlf.SetSocketFamily(family); });
    }
    [[nodiscard]] std::int32_t UrlfGetSocketFamily(std::uint32_t* family) {
        return guarded(LockMode::Read, "CConfigControl::UrlfGetSocketFamily(): Caught exception",
                       [&] { return m_urlf.GetSocketFamily(family); });
    }
    [[nodiscard]] std::int32_t UrlfSetQXNGuid(const char* text) {
        return guarded(LockMode::Read, "CConfigControl::UrlfSetQXNGuid(): Caught exception",
                       [&] { return m_urlf.SetQXNGuid(text); });
    }
    [[nodiscard]] std::int32_t UrlhReadRecordList(void* records, std::int32_t* count) {
        return guarded(LockMode::Read, "CConfigControl::UrlhReadRecordList(): Caught exception",
                       [&] { return m_urlh.RecordListRead(records, count); });
    }

    // Host filter.
    [[nodiscard]] std::int32_t HosfEnable(std::int32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::HosfEnable(): Caught exception",
                       [&] { return m_hosf.Enable(enable); });
    }
    [[nodiscard]] std::int32_t HosfIsEnabled() {
        return guarded(LockMode::Read, "CConfigControl::HosfIsEnabled(): Caught exception",
                       [&] { return m_hosf.IsEnabled(); });
    }
    [[nodiscard]] std::int32_t HosfReadConfig(WdpeHosfData* config) {
        return guarded(LockMode::Read, "CConfigControl::HosfReadConfig(): Caught exception",
                       [&] { return m_hosf.ConfigRead(config); });
    }
    [[nodiscard]] std::int32_t HosfWriteConfig(const WdpeHosfData* config) {
        return guarded(LockMode::Write, "CConfigControl::HosfWriteConfig(): Caught exception",
                       [&] { return m_hosf.ConfigWrite(config); });
    }
    [[nodiscard]] std::int32_t HosfReadRecordList(WdpeHosfHostRecord* records, std::int32_t* count) {
        return guarded(LockMode::Read, "CConfigControl::HosfReadRecordList(): Caught exception",
                       [&] { return m_hosf.RecordListRead(records, count); });
    }
    [[nodiscard]] std::int32_t HosfWriteRecordList(const WdpeHosfHostRecord* records, std::int32_t count) {
        return guarded(LockMode::Write, "CConfigControl::HosfWriteRecordList(): Caught exception",
                       [&] { return m_hosf.RecordListWrite(records, count); });
    }

    // Address cache.
    [[nodiscard]] std::int32_t MahReadRecordList(MailAddressRecord* records, std::int32_t* count) {
        return guarded(LockMode::Read, "CConfigControl::MahReadRecordList(): Caught exception",
                       [&] { return m_mah.RecordListRead(records, count); });
    }

    // Anti-spam.
    [[nodiscard]] std::int32_t AspmEnable(std::int32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::AspmEnable(): Caught exception",
                       [&] { return m_aspm.Enable(enable); });
    }
    [[nodiscard]] std::int32_t AspmIsEnabled() {
        return guarded(LockMode::Read, "CConfigControl::AspmIsEnabled(): Caught exception",
                       [&] { return m_aspm.IsEnabled(); });
    }
    [[nodiscard]] std::int32_t AspmReadConfig(WdltAspmConfig* config) {
        return guarded(LockMode::Read, "CConfigControl::AspmReadConfig(): Caught exception",
                       [&] { return m_aspm.ConfigRead(config); });
    }
    [[nodiscard]] std::int32_t AspmWriteConfig(const WdltAspmConfig* config) {
        return guarded(LockMode::Write, "CConfigControl::AspmWriteConfig(): Caught exception",
                       [&] { return m_aspm.ConfigWrite(config); });
    }
    [[nodiscard]] std::int32_t AspmReadRecordList(std::uint32_t listType, WdpeAspmEntry* records, std::int32_t* count) {
        return guarded(LockMode::Read, "CConfigControl::AspmReadRecordList(): Caught exception",
                       [&] { return m_aspm.RecordListRead(listType, records, count); });
    }
    [[nodiscard]] std::int32_t AspmWriteRecordList(std::uint32_t listType, const WdpeAspmEntry* records,
                                                   std::int32_t count) {
        return guarded(LockMode::Write, "CConfigControl::AspmWriteRecordList(): Caught exception",
                       [&] { return m_aspm.RecordListWrite(listType, records, count); });
    }

    // HTTP file events.
    [[nodiscard]] std::int32_t HfeEnable(std::uint32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::HefEnable(): Caught exception",
                       [&] { return m_hfe.Enable(static_cast<std::int32_t>(enable)); });
    }
    [[nodiscard]] std::int32_t HfeIsEnabled() {
        return guarded(LockMode::None, "CConfigControl::HefIsEnabled(): Caught exception",
                       [&] { return m_hfe.IsEnabled(); });
    }
    [[nodiscard]] std::int32_t HfeReadConfig(WdpeHfeData* config) {
        return guarded(LockMode::None, "CConfigControl::HfeReadConfig(): Caught exception",
                       [&] { return m_hfe.ConfigRead(config); });
    }
    [[nodiscard]] std::int32_t HfeWriteConfig(const WdpeHfeData* config) {
        return guarded(LockMode::Write, "CConfigControl::HfeWriteConfig(): Caught exception",
                       [&] { return m_hfe.ConfigWrite(config); });
    }
    [[nodiscard]] std::int32_t HfeEnablePluginEvent(std::int32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::HfeEnablePluginEvent(): Caught exception",
                       [&] { return m_hfe.EnablePluginEvent(enable); });
    }
    [[nodiscard]] std::int32_t HfeIsEnablePluginEvent() {
        return guarded(LockMode::None, "CConfigControl::HfeIsEnablePluginEvent(): Caught exception",
                       [&] { return m_hfe.IsEnabledPluginEvent(); });
    }

    // HTTPS filter and plug-ins; two of their exports have aliases. Switching one on first switches on what it depends
    // on.
    [[nodiscard]] std::int32_t PluginReadConfig(WdltHttpsConfig* config) {
        return guarded(LockMode::Write, "CConfigControl::PluginReadConfig(): Caught exception",
                       [&] { return m_browserPlugin.ConfigRead(config); });
    }
    [[nodiscard]] std::int32_t PluginWriteConfig(const WdltHttpsConfig* config) {
        return guarded(LockMode::Write, "CConfigControl::PluginWriteConfig(): Caught exception", [&] {
            return withWebDependencies(CFuncBrowserPlugin::isOnIn(config),
                                       [&] { return m_browserPlugin.ConfigWrite(config); });
        });
    }
    [[nodiscard]] std::int32_t HttpsScanEnable(std::uint32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::HttpsScanEnable(): Caught exception", [&] {
            return withWebDependencies(enable == 1, [&] { return m_browserPlugin.ScanEnable(enable); });
        });
    }
    [[nodiscard]] std::int32_t HttpsScanIsEnabled() {
        return guarded(LockMode::Write, "CConfigControl::HttpsScanIsEnabled(): Caught exception",
                       [&] { return m_browserPlugin.IsEnabled(); });
    }
    [[nodiscard]] std::int32_t BrowserPluginScanSetEnableFlag(std::uint32_t flags) {
        return guarded(LockMode::Write, "CConfigControl::BrowserPluginScanSetEnableFlag(): Caught exception", [&] {
            return withWebDependencies(flags != 0, [&] { return m_browserPlugin.SetEnableFlag(flags); });
        });
    }
    [[nodiscard]] std::int32_t BrowserPluginScanGetEnableFlag(std::uint32_t* flags) {
        return guarded(LockMode::None, "CConfigControl::BrowserPluginScanGetEnableFlag(): Caught exception",
                       [&] { return m_browserPlugin.GetEnableFlag(flags); });
    }
    [[nodiscard]] std::int32_t PluginManagerReadConfig(WdltPluginManagerConfig* config) {
        return guarded(LockMode::None, "CConfigControl::PluginManagerReadConfig(): Caught exception",
                       [&] { return m_pluginManager.ReadConfig(config); });
    }
    [[nodiscard]] std::int32_t PluginManagerWriteConfig(const WdltPluginManagerConfig* config) {
        return guarded(LockMode::Write, "CConfigControl::PluginManagerWriteConfig(): Caught exception",
                       [&] { return m_pluginManager.WriteConfig(config); });
    }
    [[nodiscard]] std::int32_t IEPlugInEnable(std::uint32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::IEPlugInEnable(): Caught exception",
                       [&] { return m_pluginManager.PlugInEnable("enableIE", enable); });
    }
    [[nodiscard]] std::int32_t IEPlugInIsEnabled() {
        return guarded(LockMode::None, "CConfigControl::IEPlugInIsEnabled(): Caught exception",
                       [&] { return m_pluginManager.PlugInIsEnabled("enableIE", 1); });
    }
    [[nodiscard]] std::int32_t FirefoxExtensionEnable(std::uint32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::FirefoxExtensionEnable(): Caught exception",
                       [&] { return m_pluginManager.PlugInEnable("enableFirefox", enable); });
    }
    [[nodiscard]] std::int32_t FirefoxExtensionIsEnabled() {
        return guarded(LockMode::None, "CConfigControl::FirefoxExtensionIsEnabled(): Caught exception",
                       [&] { return m_pluginManager.PlugInIsEnabled("enableFirefox", 1); });
    }
    [[nodiscard]] std::int32_t ChromeExtensionEnable(std::uint32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::ChromeExtensionEnable(): Caught exception",
                       [&] { return m_pluginManager.PlugInEnable("enableChrome", enable); });
    }
    [[nodiscard]] std::int32_t ChromeExtensionIsEnabled() {
        return guarded(LockMode::None, "CConfigControl::ChromeExtensionIsEnabled(): Caught exception",
                       [&] { return m_pluginManager.PlugInIsEnabled("enableChrome", 1); });
    }

    // DRS.
    [[nodiscard]] std::int32_t DRSEnable(std::uint32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::DRSEnable(): Caught exception",
                       [&] { return withWebDependencies(enable == 1, [&] { return m_drsCfg.DRSEnable(enable); }); });
    }
    [[nodiscard]] std::int32_t DRSIsEnabled() {
        return guarded(LockMode::None, "CConfigControl::DRSIsEnabled(): Caught exception",
                       [&] { return m_drsCfg.IsEnabled(); });
    }
    [[nodiscard]] std::int32_t DRSReadConfig(WdltDrsConfig* config) {
        return guarded(LockMode::None, "CConfigControl::DRSReadConfig(): Caught exception",
                       [&] { return m_drsCfg.ReadConfig(config); });
    }
    [[nodiscard]] std::int32_t DRSWriteConfig(const WdltDrsConfig* config) {
        return guarded(LockMode::Write, "CConfigControl::DRSWriteConfig(): Caught exception",
                       [&] { return m_drsCfg.WriteConfig(config); });
    }
    [[nodiscard]] std::int32_t EnableDRSWhiteListItem(std::uint32_t enable, std::uint32_t option) {
        return guarded(LockMode::Write, "CConfigControl::EnableDRSWhiteListItem(): Caught exception",
                       [&] { return m_drsCfg.EnableWhiteListItem(enable, option); });
    }
    [[nodiscard]] std::int32_t IsDRSWhiteListEnabled() {
        return guarded(LockMode::None, "CConfigControl::IsDRSWhiteListEnabled(): Caught exception",
                       [&] { return m_drsCfg.IsWhiteListEnabled(); });
    }
    [[nodiscard]] std::int32_t AddDRSWhiteListItem(const WdltDrsWhiteListItem* item) {
        return guarded(LockMode::Write, "CConfigControl::AddDRSWhiteListItem(): Caught exception",
                       [&] { return m_drsCfg.AddWhiteListItem(item); });
    }
    [[nodiscard]] std::int32_t DeleteDRSWhiteListItem(std::uint32_t index) {
        return guarded(LockMode::Write, "CConfigControl::DeleteDRSWhiteListItem(): Caught exception",
                       [&] { return m_drsCfg.DeleteWhiteListItem(index); });
    }
    [[nodiscard]] std::int32_t GetAllDRSWhiteListItem(WdltDrsWhiteListItem* items, std::int32_t* count) {
        return guarded(LockMode::None, "CConfigControl::GetAllDRSWhiteListItem(): Caught exception",
                       [&] { return m_drsCfg.GetAllWhiteListItem(items, count); });
    }

    // SAL.
    [[nodiscard]] std::int32_t SalEnable(std::uint32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::SalEnable(): Caught exception",
                       [&] { return m_sal.Enable(static_cast<std::int32_t>(enable)); });
    }
    [[nodiscard]] std::int32_t SalIsEnabled() {
        return guarded(LockMode::None, "CConfigControl::SalIsEnabled(): Caught exception",
                       [&] { return m_sal.IsEnabled(); });
    }
    [[nodiscard]] std::int32_t SalReadConfig(WdltSalConfig* config) {
        return guarded(LockMode::None, "CConfigControl::SalReadConfig(): Caught exception",
                       [&] { return m_sal.ConfigRead(config); });
    }
    [[nodiscard]] std::int32_t SalWriteConfig(const WdltSalConfig* config) {
        return guarded(LockMode::Write, "CConfigControl::SalWriteConfig(): Caught exception",
                       [&] { return m_sal.ConfigWrite(config); });
    }

    // Privacy data protection.
    [[nodiscard]] std::int32_t PdpEnable(std::int32_t enable) {
        return guarded(LockMode::Write, "CConfigControl::PdpEnable(): Caught exception",
                       [&] { return m_pdp.Enable(enable, WDLT_PRIVACY_ALL); });
    }
    [[nodiscard]] std::int32_t PdpEnable(std::int32_t enable, std::uint32_t types) {
        return guarded(LockMode::Write, "CConfigControl::PdpEnable(): Caught exception",
                       [&] { return m_pdp.Enable(enable, types); });
    }
    [[nodiscard]] std::int32_t PdpIsEnabled() {
        return guarded(LockMode::Read, "CConfigControl::PdpIsEnabled(): Caught exception",
                       [&] { return m_pdp.IsEnabled(WDLT_PRIVACY_ALL); });
    }
    [[nodiscard]] std::int32_t PdpIsEnabled(std::uint32_t types) {
        return guarded(LockMode::Read, "CConfigControl::PdpIsEnabled(): Caught exception",
                       [&] { return m_pdp.IsEnabled(types); });
    }
    [[nodiscard]] std::int32_t PdpReadItemList(PrivacyViewItem* items, std::int32_t* count) {
        return guarded(LockMode::Read, "CConfigControl::PdpReadItemList(): Caught exception",
                       [&] { return m_pdp.ItemListRead(items, count); });
    }
    [[nodiscard]] std::int32_t PdpWriteItemList(const PrivacyViewItem* items, std::int32_t count) {
        return guarded(LockMode::Write, "CConfigControl::PdpWriteItemList(): Caught exception",
                       [&] { return m_pdp.ItemListWrite(items, count); });
    }
    [[nodiscard]] std::int32_t PdpReadExItemList(PrivacyExclusionItem* items, std::int32_t* count) {
        return guarded(LockMode::Read, "CConfigControl::PdpReadExItemList(): Caught exception",
                       [&] { return m_pdp.ExItemListRead(items, count); });
    }
    [[nodiscard]] std::int32_t PdpWriteExItemList(const PrivacyExclusionItem* items, std::int32_t count) {
        return guarded(LockMode::Write, "CConfigControl::PdpWriteExItemList(): Caught exception",
                       [&] { return m_pdp.ExItemListWrite(items, count); });
    }
    [[nodiscard]] std::int32_t PdpVerifyItems(const PrivacyViewItem* items, std::int32_t count,
                                              std::uint32_t* results) {
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

    // How every operation runs: takes the lock, calls, and logs an exception with `caught` before passing it on.
    template <class Operation>
    [[nodiscard]] std::int32_t guarded(LockMode mode, const char* caught, Operation&& operation) {
        try {
            const OperationLock lock(mode, m_rwLock);
            return std::forward<Operation>(operation)();
        } catch (...) {
            WDLOG_ERROR("%s", caught);
            throw;
        }
    }

    // Switches what the web plug-in features depend on: the URL filter, then the plug-in manager. The first failure
    // ends it with its status. Called under the write lock.
    [[nodiscard]] std::int32_t EnsureWebDependencies(std::uint32_t value);
    // Runs the operation, after that step if it is needed; a failure of the step is the result.
    template <class Operation>
    [[nodiscard]] std::int32_t withWebDependencies(bool areNeeded, Operation&& operation) {
        if (areNeeded)
            if (const std::int32_t status = EnsureWebDependencies(1); status != WDLT_OK)
                return status;
        return std::forward<Operation>(operation)();
    }

    CWdRWLockEx m_rwLock;
    CCfgDirectIF m_cfgIF{m_configManager}; // only keeps the reference, so it may come before the object
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
