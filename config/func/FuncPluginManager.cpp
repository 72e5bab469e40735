#include "FuncPluginManager.h"

#include "ChangeNotice.h"
#include "FamilyRecords.h"
#include "FeatureSwitch.h"
#include "Mutex.h"
#include "OpenKey.h"

#include <platform/registry_batch.h>
#include <platform/win32.h>
#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

#include <cstring>

namespace {

using namespace wdlt;

constexpr const char* kKey = "SOFTWARE\\Halvermoor\\PLK\\Wardlet\\PluginManager";
constexpr const char* kEnable = "enable";
constexpr const char* kFileName = "filename";

// The protocol that means the plug-in manager in a notification, and nowhere else.
constexpr std::uint32_t kNoticeProtocol = 8;

// Creates a missing key, for a read too.
LONG open(REGSAM access, OpenKey& key) {
    return RegCreateKeyExA(HKEY_LOCAL_MACHINE, kKey, 0, nullptr, REG_OPTION_NON_VOLATILE, access, nullptr, key.out(),
                           nullptr);
}

LONG query(const OpenKey& key, const char* name, DWORD& type, void* data, DWORD size) {
    return RegQueryValueExA(key.get(), name, nullptr, &type, static_cast<BYTE*>(data), &size);
}

LONG set(const OpenKey& key, const char* name, DWORD type, const void* data, DWORD size) {
    return RegSetValueExA(key.get(), name, 0, type, static_cast<const BYTE*>(data), size);
}

std::int32_t readValues(const OpenKey& key, WdltPluginManagerConfig& config) {
    DWORD type = REG_NONE;
    if (const LONG error = query(key, kEnable, type, &config.dwEnable, sizeof config.dwEnable)) {
        WDLOG_ERROR("CFuncPluginManager::ReadConfig(): RegGetValue enable error %ld", static_cast<long>(error));
        return WDLT_E_REGISTRY;
    }
    if (type != REG_DWORD) {
        WDLOG_ERROR("CFuncPluginManager::ReadConfig(): RegGetValue enable invalid type %lu",
                    static_cast<unsigned long>(type));
        return WDLT_E_NOT_FOUND;
    }
    if (const LONG error = query(key, kFileName, type, config.szFilename, sizeof config.szFilename)) {
        WDLOG_ERROR("CFuncPluginManager::ReadConfig(): RegGetValue filename error %ld", static_cast<long>(error));
        return WDLT_E_REGISTRY;
    }
    if (type != REG_SZ) {
        WDLOG_ERROR("CFuncPluginManager::ReadConfig(): RegGetValue filename invalid type %lu",
                    static_cast<unsigned long>(type));
        return WDLT_E_NOT_FOUND;
    }
    config.szFilename[sizeof config.szFilename - 1] = '\0';
    return WDLT_OK;
}

// The first failure ends it; what was written before it stays. The name is stored with its whole field, whose last byte
// is 0, as after a read: the store would add a terminator to a text without one, and a read wouldn't have room for that
// byte.
std::int32_t writeValues(const OpenKey& key, const WdltPluginManagerConfig& config) {
    RegistryBatch batch; // failures are logged after it
    const LONG enableError = set(key, kEnable, REG_DWORD, &config.dwEnable, sizeof config.dwEnable);
    LONG nameError =
        enableError == 0 ? set(key, kFileName, REG_SZ, config.szFilename, sizeof config.szFilename) : enableError;
    if (const LONG error = batch.end(); nameError == 0)
        nameError = error;
    if (enableError != 0)
        WDLOG_ERROR("CFuncPluginManager::WriteConfig(): RegSetValueEx enable error %ld",
                    static_cast<long>(enableError));
    else if (nameError != 0)
        WDLOG_ERROR("CFuncPluginManager::WriteConfig(): RegSetValueEx filename error %ld",
                    static_cast<long>(nameError));
    return nameError == 0 ? WDLT_OK : WDLT_E_REGISTRY;
}

} // namespace

std::int32_t CFuncPluginManager::NotifyChange() {
    CWdMutex mutex(createConfigMutex());
    const WdltSingleLock lock(&mutex);
    if (!lock.isHeld()) {
        WDLOG_ERROR("CFuncPluginManager::NotifyChange(): Failed to send in ConfigChangeSender");
        return WDLT_E_NO_ANSWER;
    }
    return noticeChange(kNoticeProtocol, WDLT_SCAN_NONE,
                        {
                            .noService = "CFuncPluginManager::NotifyChange(): Failed to open memory in "
                                         "ConfigChangeSender or Wardlet is not running",
                            .noAnswer = "CFuncPluginManager::NotifyChange(): Failed to send in ConfigChangeSender",
                        });
}

// Logs everything as errors, even the result, so that the log shows why a plug-in manager doesn't run.
std::int32_t CFuncPluginManager::ReadConfig(WdltPluginManagerConfig* pConfig) {
    const FamilyCall call("CFuncPluginManager", "ReadConfig");
    if (pConfig == nullptr)
        return call.isNull("pConfig");
    std::int32_t status = WDLT_OK;
    WdltPluginManagerConfig config{};
    {
        OpenKey key;
        if (const LONG error = open(KEY_READ, key)) {
            WDLOG_ERROR("CFuncPluginManager::ReadConfig(): RegCreateKeyEx error %ld", static_cast<long>(error));
            return WDLT_E_REGISTRY;
        }
        status = readValues(key, config);
    }
    if (status == WDLT_OK)
        std::memcpy(pConfig, &config, sizeof config);
    WDLOG_ERROR("CFuncPluginManager::ReadConfig(): result %ld", static_cast<long>(status));
    return status;
}

std::int32_t CFuncPluginManager::WriteConfig(const WdltPluginManagerConfig* pConfig) {
    const FamilyCall call("CFuncPluginManager", "WriteConfig");
    if (pConfig == nullptr)
        return call.isNull("pConfig");
    WdltPluginManagerConfig config = copyOf(pConfig);
    config.szFilename[sizeof config.szFilename - 1] = '\0';
    if (config.dwEnable == 1)
        if (const std::int32_t status = EnableItem(1, WDLT_PROTOCOL_HTTP, WDLT_SCAN_NONE, WDLT_INPUT_NONE);
            status != WDLT_OK) {
            WDLOG_ERROR("CFuncPluginManager::WriteConfig(): Failed to %s HTTP PH: %d", switchVerb(1), status);
            return status;
        }
    OpenKey key;
    if (const LONG error = open(KEY_WRITE, key)) {
        WDLOG_ERROR("CFuncPluginManager::WriteConfig(): RegCreateKeyEx error %ld", static_cast<long>(error));
        return WDLT_E_REGISTRY;
    }
    std::int32_t status = writeValues(key, config);
    if (status == WDLT_OK)
        status = NotifyChange();
    WDLOG_ENTRY("CFuncPluginManager::WriteConfig(): return %ld", static_cast<long>(status));
    return status;
}

std::int32_t CFuncPluginManager::PlugInEnable(const char* pValue, std::uint32_t enable) {
    const FamilyCall call("CFuncPluginManager", "PlugInEnable");
    if (pValue == nullptr) {
        WDLOG_ERROR("CFuncPluginManager::PlugInEnable: pValue is NULL");
        return WDLT_E_GENERAL;
    }
    OpenKey key;
    if (const LONG error = open(KEY_WRITE, key)) {
        WDLOG_ERROR("CFuncPluginManager::PlugInEnable(): RegCreateKeyEx [%s] error %ld", pValue,
                    static_cast<long>(error));
        return WDLT_E_REGISTRY;
    }
    const DWORD flag = enable != 0 ? 1 : 0;
    if (const LONG error = set(key, pValue, REG_DWORD, &flag, sizeof flag)) {
        WDLOG_ERROR("CFuncPluginManager::PlugInEnable(): RegSetValueEx [%s] error %ld", pValue,
                    static_cast<long>(error));
        return WDLT_E_REGISTRY;
    }
    return NotifyChange();
}

std::int32_t CFuncPluginManager::PlugInIsEnabled(const char* pValue, std::uint32_t standard) {
    const FamilyCall call("CFuncPluginManager", "PlugInIsEnabled");
    const auto unread = static_cast<std::int32_t>(standard);
    if (pValue == nullptr) {
        WDLOG_ERROR("CFuncPluginManager::PlugInIsEnabled: pValue is NULL");
        return unread;
    }
    OpenKey key;
    if (const LONG error = answered(open(KEY_READ, key))) {
        WDLOG_ERROR("CFuncPluginManager::PlugInIsEnabled(): RegCreateKeyEx [%s] error %d. Return default %lu", pValue,
                    error, static_cast<unsigned long>(standard));
        return unread;
    }
    DWORD type = REG_NONE;
    DWORD number = 0;
    if (const LONG error = answered(query(key, pValue, type, &number, sizeof number))) {
        WDLOG_ERROR("CFuncPluginManager::PlugInIsEnabled(): RegQueryValueEx [%s] error %d. Return default %lu", pValue,
                    error, static_cast<unsigned long>(standard));
        return unread;
    }
    if (type != REG_DWORD) {
        WDLOG_ERROR("CFuncPluginManager::PlugInIsEnabled(): RegGetValue [%s] invalid type %d. Return default %lu",
                    pValue, type, static_cast<unsigned long>(standard));
        return unread;
    }
    return number != 0 ? 1 : 0;
}
