// The library's start and stop with the process that loads it: log first, then the control object, and back in reverse.
#include "ConfigControl.h"
#include "ExportGate.h"
#include "WdCommon/DebugLog.h"
#include "WdCommon/Storage.h"

#include <platform/module.h>
#include <platform/win32.h>

#include <wdltcfg/status.h>

#include <array>
#include <new>
#include <string>
#include <string_view>

namespace {

constexpr const char* kLogTag = "WdltCfg";
constexpr const char* kSettingsFile = "Wardlet.ini";

// The process that attached: in a forked child the gate's count may hold calls of threads that aren't there.
DWORD g_attachedBy = 0;

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

bool attach(HMODULE module) {
    g_attachedBy = GetCurrentProcessId();
    const std::string folder = moduleFolder(module);
    wdlt::startLog(kLogTag, WdCommon::Storage::Key(WdCommon::Storage::kIniFile, folder.c_str(), kSettingsFile));

    g_pConfigControl = new (std::nothrow) CConfigControl;
    if (g_pConfigControl == nullptr) {
        WDLOG_ERROR("Failed to allocate g_pConfigControl");
        return false;
    }
    if (const std::int32_t status = g_pConfigControl->Initialize(); status != WDLT_OK) {
        WDLOG_ERROR("Failed to initialize g_pConfigConrtol: %d", status);
        return false;
    }
    wdlt::g_exportGate.open();
    return true;
}

// At the end of the process other threads may be inside still, and a forked child can't tell who is: then only the log
// stops, and the process's memory goes as a whole.
void detach(bool processIsEnding) {
    if (!processIsEnding && g_attachedBy == GetCurrentProcessId()) {
        wdlt::g_exportGate.closeAndDrain();
        delete g_pConfigControl;
        g_pConfigControl = nullptr;
    }
    wdlt::stopLog();
}

// The result matters to loaders that can refuse a module. Where none can, a failed attach leaves the gate shut, and
// every export answers -1.
bool moduleEntry(HMODULE module, DWORD reason, bool processIsEnding) {
    switch (reason) {
    case DLL_PROCESS_ATTACH:
        return attach(module);
    case DLL_PROCESS_DETACH:
        detach(processIsEnding);
        return true;
    default:
        return true;
    }
}

} // namespace

WD_MODULE_ENTRY(moduleEntry);
