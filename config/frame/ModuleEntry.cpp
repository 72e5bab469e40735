// The library's start and stop with the process that loads it: log first, then the control object. It is never
// unmapped, so it stops at the end of the process alone, when other threads may be inside still: then only the log
// stops, and the process's memory goes as a whole.
#include "ConfigControl.h"
#include "ExportGate.h"
#include "WdCommon/DebugLog.h"
#include "WdCommon/Storage.h"

#include <platform/module.h>
#include <platform/win32.h>

#include <wdltcfg/status.h>

#include <array>
#include <memory>
#include <string>
#include <string_view>

namespace {

constexpr const char* kLogTag = "WdltCfg";
constexpr const char* kSettingsFile = "Wardlet.ini";

HMODULE g_module = nullptr;

// Folder of the module's own file, in the system code page, with its separator. Empty when it can't be told.
std::string moduleFolder(HMODULE module) {
    std::array<WCHAR, MAX_PATH> longPath{};
    std::array<WCHAR, MAX_PATH> path{};
    const DWORD longLength = GetModuleFileNameW(module, longPath.data(), static_cast<DWORD>(longPath.size()));
    if (longLength == 0 || longLength >= longPath.size())
        return {};
    const DWORD length = GetShortPathNameW(longPath.data(), path.data(), static_cast<DWORD>(path.size()));
    if (length == 0 || length >= path.size())
        return {};

    const std::u16string_view whole(path.data(), length);
    const auto separator = whole.find_last_of(std::u16string_view(WTEXT("\\/")));
    if (separator == std::u16string_view::npos)
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

// Memory may give out at any step: nothing must leave a constructor of the shared object.
bool attach() {
    try {
        return attachOnce();
    } catch (...) {
        WDLOG_ERROR("Failed to allocate g_pConfigControl");
        return false;
    }
}

// The result matters to loaders that can refuse a module. Where none can, a failed attach leaves the gate shut.
bool moduleEntry(HMODULE module, DWORD reason) {
    switch (reason) {
    case DLL_PROCESS_ATTACH: {
        const int cancellation = WdHoldCancellation();
        g_module = module;
        const bool isAttached = wdlt::g_exportGate.open(attach);
        WdRestoreCancellation(cancellation);
        return isAttached;
    }
    case DLL_PROCESS_DETACH:
        wdlt::stopLog();
        return true;
    default:
        return true;
    }
}

} // namespace

WD_MODULE_ENTRY(moduleEntry);
