// Starts and stops the library with the process that loads it: first the log, then the control object; in reverse order
// when a loader unmaps it. At the end of the process other threads may still be inside: then only the log is stopped,
// and everything else ends with the process.
#include "ConfigControl.h"
#include "ExportGate.h"
#include "WdCommon/DebugLog.h"
#include "WdCommon/Storage.h"

#include <platform/home.h>
#include <platform/module.h>
#include <platform/win32.h>

#include <wdltcfg/status.h>

#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace {

constexpr const char* kLogTag = "WdltCfg";
constexpr const char* kSettingsFile = "Wardlet.ini";

HMODULE g_module = nullptr;

// Folder of the module's file, in the system code page, with a trailing separator. Empty when it can't be determined.
std::string moduleFolder(HMODULE module) {
    std::array<WCHAR, MAX_PATH> longPath{};
    std::array<WCHAR, MAX_PATH> path{};
    const DWORD longLength = GetModuleFileNameW(module, longPath.data(), static_cast<DWORD>(longPath.size()));
    if (longLength == 0 || longLength >= longPath.size())
        return {};
    const DWORD length = GetShortPathNameW(longPath.data(), path.data(), static_cast<DWORD>(path.size()));
    if (length == 0 || length >= path.size())
        return {};

    const WideStringView whole(path.data(), length);
    const auto separator = whole.find_last_of(WideStringView(WTEXT("\\/")));
    if (separator == WideStringView::npos)
        return {};
    std::array<char, MAX_PATH> folder{};
    const int bytes = WideCharToMultiByte(CP_ACP, 0, path.data(), static_cast<int>(separator + 1), folder.data(),
                                          static_cast<int>(folder.size()), nullptr, nullptr);
    return {folder.data(), static_cast<std::size_t>(bytes)};
}

bool attachOnce() {
    const std::string folder = moduleFolder(g_module);
    wdlt::startLog(kLogTag, WdCommon::Storage::Key(WdCommon::Storage::kIniFile, folder.c_str(), kSettingsFile));
    auto control = std::make_unique<CConfigControl>();
    if (const std::int32_t status = control->Initialize(); status != WDLT_OK) {
        WDLOG_ERROR("Failed to initialize g_pConfigConrtol: %d", status);
        return false;
    }
    g_pConfigControl = control.release();
    return true;
}

// Any step may run out of memory, and no exception may leave the shared object's constructor.
bool attach() {
    try {
        return attachOnce();
    } catch (...) {
        WDLOG_ERROR("Failed to allocate g_pConfigControl");
        return false;
    }
}

// The result matters only to a loader that can refuse a module. With any other, a failed attach leaves the gate shut.
bool moduleEntry(HMODULE module, DWORD reason) {
    switch (reason) {
    case DLL_PROCESS_ATTACH: {
        const int shield = WdShieldThread();
        wdlt::g_exportGate.set(attach);
        g_module = module;
        // Merely loading the library makes no home: where there is none yet, the first call attaches.
        const bool isAttached = WdLookAtHome(nullptr, 0) == ERROR_FILE_NOT_FOUND || wdlt::g_exportGate.open();
        WdUnshieldThread(shield);
        return isAttached;
    }
    case DLL_PROCESS_DETACH:
        delete std::exchange(g_pConfigControl, nullptr); // made by attachOnce
        [[fallthrough]];
    case WD_PROCESS_ENDS:
        wdlt::stopLog();
        return true;
    default:
        return true;
    }
}

} // namespace

WD_MODULE_ENTRY(moduleEntry);
