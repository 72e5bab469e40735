#include "WdCommon/DebugLog.h"

#include "WdCommon/Library.h"
#include "WdCommon/Synchronize.h"

#include <platform/log.h>
#include <platform/win32.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <new>
#include <optional>
#include <string_view>
#include <type_traits>

namespace wdlt {

constinit std::atomic<DWORD> g_wantedLevels{0};

} // namespace wdlt

namespace WdCommon {
namespace {

constexpr const char* kTraceLibrary = "WdDbg64.dll";
constexpr std::string_view kFormatError = "(debug log error)";
constexpr const char* kServiceSection = "ServiceSession";
constexpr const char* kInteractiveSection = "InteractiveSession";

struct Settings {
    DWORD enable = 0;
    DWORD level = wdlt::kLogError;
    DWORD logProcess = 0;
    DWORD logUnitType = 0;
    std::string folder;
    std::string prefix = "qxc";
    std::string file;
    std::string extension = "log";
    DWORD robust = 0;
    DWORD debugger = 0;
};

// A member of Settings and the name it is stored under.
struct SettingRow {
    const char* name;
    DWORD Settings::*number = nullptr;
    std::string Settings::*text = nullptr;
};

constexpr SettingRow kSettingRows[] = {
    {"Enable", &Settings::enable},
    {"Level", &Settings::level},
    {"LogProcess", &Settings::logProcess},
    {"LogUnitType", &Settings::logUnitType},
    {"LogFolder", nullptr, &Settings::folder},
    {"LogPrefix", nullptr, &Settings::prefix},
    {"LogFile", nullptr, &Settings::file},
    {"LogExtension", nullptr, &Settings::extension},
    {"Robust", &Settings::robust},
    {"Debugger", &Settings::debugger},
};

bool isLocalSystem() {
    std::array<BYTE, SECURITY_MAX_SID_SIZE> sid{};
    auto size = static_cast<DWORD>(sid.size());
    BOOL isMember = FALSE;
    return CreateWellKnownSid(WinLocalSystemSid, nullptr, sid.data(), &size) != FALSE &&
           CheckTokenMembership(nullptr, sid.data(), &isMember) != FALSE && isMember != FALSE;
}

// Whether this process runs in the session of services. Assumes an interactive one when it can't tell.
bool isServiceSession() {
    OSVERSIONINFOA version{};
    version.dwOSVersionInfoSize = sizeof version;
    if (GetVersionExA(&version) == FALSE || version.dwPlatformId != VER_PLATFORM_WIN32_NT)
        return false;
    if (version.dwMajorVersion < 6)
        return version.dwMajorVersion == 5 && isLocalSystem();
    DWORD session = 0;
    return ProcessIdToSessionId(GetCurrentProcessId(), &session) != FALSE && session == 0;
}

std::unique_ptr<Storage::Base> storageOf(const Storage::Key& key) {
    switch (key.dwKind) {
    case Storage::kIniFile:
        return std::make_unique<Storage::IniFile>();
    case Storage::kRegistry:
    case Storage::kRegistryToo:
        return std::make_unique<Storage::Registry>();
    default:
        return nullptr;
    }
}

// A failure ends the reading; what is unread keeps its default.
Settings readSettings(Storage::Base& storage, const Storage::Key& key, bool serviceSession) {
    Settings settings;
    try {
        storage.OpenRead(key, serviceSession ? kServiceSection : kInteractiveSection);
        for (const SettingRow& row : kSettingRows) {
            if (row.number != nullptr) {
                settings.*row.number = storage.GetNumber(row.name, settings.*row.number);
                continue;
            }
            std::string text;
            storage.GetString(text, row.name, (settings.*row.text).c_str());
            settings.*row.text = std::move(text);
        }
        storage.Close(0);
    } catch (Storage::Exception* thrown) { // NOLINT(misc-throw-by-value-catch-by-reference)
        const std::unique_ptr<Storage::Exception> owned(thrown);
    }
    return settings;
}

// Text of the system code page as UTF-16, at most its first 64 KiB. Empty when it can't be converted.
WideString wideOf(std::string_view text) {
    const auto length = static_cast<int>(std::min<std::size_t>(text.size(), 0x10000));
    WideString wide(static_cast<std::size_t>(length), WTEXT('\0'));
    const int written = length == 0 ? 0 : MultiByteToWideChar(CP_ACP, 0, text.data(), length, wide.data(), length);
    wide.resize(static_cast<std::size_t>(written));
    return wide;
}

// A longer text is cut so that its terminator fits.
template <std::size_t size>
void fill(WCHAR (&field)[size], std::string_view text) {
    const WideString wide = wideOf(text);
    std::copy_n(wide.begin(), std::min(wide.size(), size - 1), field);
}

Library::WdDbgConfig configOf(const Settings& settings, std::string_view tag, bool serviceSession) {
    Library::WdDbgConfig config{};
    config.serviceSession = serviceSession ? 1 : 0;
    config.robust = settings.robust != 0 ? 1 : 0;
    config.debugger = settings.debugger != 0 ? 1 : 0;
    GetLocalTime(&config.startTime);
    config.logProcess = settings.logProcess;
    config.logUnitType = settings.logUnitType;
    fill(config.tag, tag);
    fill(config.folder, settings.folder);
    fill(config.prefix, settings.prefix);
    fill(config.file, settings.file);
    fill(config.extension, settings.extension);
    return config;
}

const char* markOf(DWORD level) {
    switch (level) {
    case wdlt::kLogEntry:
        return ".w.";
    case wdlt::kLogTrace:
        return "@@@";
    case wdlt::kLogError:
        return "!!!";
    default:
        return "???";
    }
}

// Date and head of a line.
std::string beginOf(const SYSTEMTIME& time, DWORD level, const std::string& tag) {
    std::array<char, 80> text{};
    std::snprintf(text.data(), text.size(), "%02d/%02d/%04d %02d:%02d:%02d.%03d", time.wDay, time.wMonth, time.wYear,
                  time.wHour, time.wMinute, time.wSecond, time.wMilliseconds);
    std::string line = text.data();
    std::snprintf(text.data(), text.size(), " %04lx:%04lx %3s <", static_cast<unsigned long>(GetCurrentProcessId()),
                  static_cast<unsigned long>(GetCurrentThreadId()), markOf(level));
    return line.append(text.data()).append(tag).append("> ");
}

std::string_view fileNameOf(const char* file) {
    return PathFindFileNameA(file);
}

WideStringView fileNameOf(const WCHAR* file) {
    const WideStringView path(file);
    const auto separator = path.find_last_of(WTEXT("\\/:"));
    return separator == WideStringView::npos ? path : path.substr(separator + 1);
}

// Appends message and tail to `line`, which has date and head already.
template <class Unit>
void finish(std::basic_string<Unit>& line, const Unit* file, unsigned number, const Unit* format,
            std::span<const wdlt::LogArgument> arguments) {
    // A message that is too long is left out; head and tail stay.
    const std::size_t begin = line.size();
    const wdlt::LogFormatResult result = wdlt::formatLog(line, format, arguments);
    if (result != wdlt::LogFormatResult::Done)
        line.resize(begin);
    if (result == wdlt::LogFormatResult::Failed)
        line.append(kFormatError.begin(), kFormatError.end());
    std::array<char, 24> tail{};
    const int length = std::snprintf(tail.data(), tail.size(), "(%lu)\r\n", static_cast<unsigned long>(number));
    line.append({Unit(' '), Unit('-'), Unit(' ')}).append(fileNameOf(file));
    line.append(tail.data(), tail.data() + length);
}

// What the listener gets: nothing of a message that couldn't be built.
template <class Unit>
WideString messageOf(const Unit* format, std::span<const wdlt::LogArgument> arguments) {
    std::basic_string<Unit> message;
    if (wdlt::formatLog(message, format, arguments) != wdlt::LogFormatResult::Done)
        return {};
    if constexpr (std::is_same_v<Unit, char>)
        return wideOf(message);
    else
        return message;
}

WideString lineOf(const std::string& begin, const char* file, unsigned number, const char* format,
                  std::span<const wdlt::LogArgument> arguments) {
    std::string line = begin;
    finish(line, file, number, format, arguments);
    return wideOf(line);
}

WideString lineOf(const std::string& begin, const WCHAR* file, unsigned number, const WCHAR* format,
                  std::span<const wdlt::LogArgument> arguments) {
    WideString line = wideOf(begin);
    finish(line, file, number, format, arguments);
    return line;
}

// A log line often comes between a failing call and the code that looks at its error.
class KeepLastError {
  public:
    KeepLastError() = default;
    ~KeepLastError() { SetLastError(m_error); }
    KeepLastError(const KeepLastError&) = delete;
    KeepLastError& operator=(const KeepLastError&) = delete;

  private:
    DWORD m_error = GetLastError();
};

} // namespace

// m_traceLock guards the library and each call of it, so that lines don't interleave; m_stateLock guards the flags, for
// a few instructions. m_traceLock is taken before m_stateLock. A line is built under neither.
class DebugLog {
  public:
    DebugLog() = default;
    virtual ~DebugLog() = default;
    DebugLog(const DebugLog&) = delete;
    DebugLog& operator=(const DebugLog&) = delete;

    bool Start(const char* tag, const Storage::Key& key) WD_EXCLUDES(m_traceLock, m_stateLock);
    bool Stop() WD_EXCLUDES(m_traceLock, m_stateLock);
    void listen(DWORD levels) WD_EXCLUDES(m_stateLock);

    template <class Unit>
    bool Trace(const Unit* file, unsigned line, DWORD level, const Unit* format,
               std::span<const wdlt::LogArgument> arguments) WD_EXCLUDES(m_traceLock, m_stateLock);

  private:
    struct State {
        bool started = false;
        bool enabled = false;
        DWORD mask = 0;
    };

    State state() WD_EXCLUDES(m_stateLock);
    void setState(const State& state) WD_EXCLUDES(m_stateLock);
    void storeWanted() WD_REQUIRES(m_stateLock);
    bool startLibrary(const Settings& settings, const Storage::Key& key, bool serviceSession) WD_REQUIRES(m_traceLock)
        WD_EXCLUDES(m_stateLock);
    std::optional<std::string> tagIfWanted(DWORD level, bool& result) WD_EXCLUDES(m_stateLock);

    State m_state WD_GUARDED_BY(m_stateLock);
    std::atomic<DWORD> m_listened{0}; // levels that a listener in this process gets
    Synchronize::CriticalSection m_stateLock;
    std::string m_tag WD_GUARDED_BY(m_stateLock);
    Library::WdDbg m_library WD_GUARDED_BY(m_traceLock);
    void* m_handle WD_GUARDED_BY(m_traceLock) = nullptr;
    Synchronize::CriticalSection m_traceLock;
};

DebugLog::State DebugLog::state() {
    const Synchronize::SingleLock lock(&m_stateLock);
    return m_state;
}

void DebugLog::setState(const State& state) {
    const Synchronize::SingleLock lock(&m_stateLock);
    m_state = state;
    storeWanted();
}

void DebugLog::listen(DWORD levels) {
    const Synchronize::SingleLock lock(&m_stateLock);
    m_listened.store(levels, std::memory_order_relaxed);
    storeWanted();
}

void DebugLog::storeWanted() {
    const DWORD logged = m_state.started && m_state.enabled ? m_state.mask : 0;
    wdlt::g_wantedLevels.store(logged | m_listened.load(std::memory_order_relaxed), std::memory_order_relaxed);
}

bool DebugLog::startLibrary(const Settings& settings, const Storage::Key& key, bool serviceSession) {
    std::string path = key.dwKind == Storage::kIniFile ? Storage::withSeparator(key.pszRoot.folder) : std::string();
    path += kTraceLibrary;
    DWORD error = ERROR_SUCCESS;
    if (!m_library.LoadAndBind(path.c_str(), error))
        return false;
    std::string tag;
    {
        const Synchronize::SingleLock lock(&m_stateLock);
        tag = m_tag;
    }
    const Library::WdDbgConfig config = configOf(settings, tag, serviceSession);
    if (m_library.Initialize(&m_handle, &config) == 0 && m_handle != nullptr)
        return true;
    m_handle = nullptr;
    m_library.Unload();
    return false;
}

bool DebugLog::Start(const char* tag, const Storage::Key& key) {
    const Synchronize::SingleLock lock(&m_traceLock);
    {
        const Synchronize::SingleLock stateLock(&m_stateLock);
        m_tag = tag == nullptr ? "" : tag;
    }
    const std::unique_ptr<Storage::Base> storage = storageOf(key);
    if (storage == nullptr)
        return false;
    const bool serviceSession = isServiceSession();
    const Settings settings = readSettings(*storage, key, serviceSession);
    State now = state();
    now.enabled = settings.enable != 0;
    now.mask = settings.level;
    setState(now);
    if (now.started)
        return true;
    if (!startLibrary(settings, key, serviceSession))
        return false;
    now.started = true;
    setState(now);
    return true;
}

bool DebugLog::Stop() {
    const Synchronize::SingleLock lock(&m_traceLock);
    const bool wasStarted = state().started;
    setState({});
    if (wasStarted && m_library.isLoaded()) {
        m_library.Uninitialize(m_handle);
        m_handle = nullptr;
        m_library.Unload();
    }
    return wasStarted;
}

// The tag if a line of this level is to be written; else nothing, with Trace's result in `result`.
std::optional<std::string> DebugLog::tagIfWanted(DWORD level, bool& result) {
    const Synchronize::SingleLock lock(&m_stateLock);
    result = m_state.started && !m_state.enabled;
    if (!m_state.started || !m_state.enabled || (level & m_state.mask) == 0)
        return std::nullopt;
    return m_tag;
}

template <class Unit>
bool DebugLog::Trace(const Unit* file, unsigned line, DWORD level, const Unit* format,
                     std::span<const wdlt::LogArgument> arguments) {
    if ((m_listened.load(std::memory_order_relaxed) & level) != 0)
        WdTellListener(level, messageOf(format, arguments).c_str());
    bool result = false;
    const std::optional<std::string> tag = tagIfWanted(level, result);
    if (!tag)
        return result;
    SYSTEMTIME time{};
    GetLocalTime(&time);
    const WideString text = lineOf(beginOf(time, level, *tag), file, line, format, arguments);
    const Synchronize::SingleLock lock(&m_traceLock);
    return m_library.isLoaded() && m_library.Trace(m_handle, &time, text.c_str()) == 0;
}

namespace {

// Never destroyed: calls are safe until the process ends, from other threads too.
DebugLog& debugLog() {
    alignas(DebugLog) static std::array<std::byte, sizeof(DebugLog)> memory;
    static DebugLog* const log = std::construct_at(reinterpret_cast<DebugLog*>(memory.data()));
    return *log;
}

template <class Unit>
bool traceNothrow(const Unit* file, unsigned line, DWORD level, const Unit* format,
                  std::span<const wdlt::LogArgument> arguments) noexcept {
    try {
        const KeepLastError keep;
        return debugLog().Trace(file, line, level, format, arguments);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

} // namespace
} // namespace WdCommon

namespace wdlt {

bool startLog(const char* tag, const WdCommon::Storage::Key& key) {
    const WdCommon::KeepLastError keep;
    WdOfferLog([](DWORD levels) { WdCommon::debugLog().listen(levels); });
    try {
        return WdCommon::debugLog().Start(tag, key);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool stopLog() {
    const WdCommon::KeepLastError keep;
    return WdCommon::debugLog().Stop();
}

bool traceLine(const char* file, unsigned line, DWORD level, const char* format,
               std::span<const LogArgument> arguments) noexcept {
    return WdCommon::traceNothrow(file, line, level, format, arguments);
}

bool traceLine(const WCHAR* file, unsigned line, DWORD level, const WCHAR* format,
               std::span<const LogArgument> arguments) noexcept {
    return WdCommon::traceNothrow(file, line, level, format, arguments);
}

} // namespace wdlt
