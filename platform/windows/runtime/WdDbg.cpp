// WdDbg64.dll: the trace library, which appends lines to a file.
//
// The file is <LogFolder>\<LogPrefix><LogFile>.<LogExtension>; an empty LogFile is the log's tag, an empty LogFolder the
// user's folder for temporary files. Folder and file are made with the first line. Any number of processes share one
// file: a line is one appending write. Before a line would take it beyond 4 MiB, the file is moved to <file>.1, older
// ones to .2 and .3. "Robust" flushes after each line, "Debugger" gives each line to a debugger too. "LogProcess" and
// "LogUnitType" are ignored here.
//
// The caller makes sure that a handle is used by one thread at a time.
#include <cstddef>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>

#include <windows.h>

namespace {

namespace fs = std::filesystem;

// The caller's record: its layout is fixed.
struct Config {
    std::uint8_t serviceSession;
    std::uint8_t robust;
    std::uint8_t debugger;
    std::uint8_t zero;
    SYSTEMTIME startTime;
    std::uint32_t logProcess;
    std::uint32_t logUnitType;
    wchar_t tag[32];
    wchar_t folder[260];
    wchar_t prefix[256];
    wchar_t file[256];
    wchar_t extension[256];
};
static_assert(sizeof(Config) == 2148 && offsetof(Config, tag) == 28 && offsetof(Config, extension) == 1636);

constexpr int kSuccess = 0;
constexpr int kFailure = -1;
constexpr std::uintmax_t kMaxFileSize = std::uintmax_t{4} << 20;
constexpr int kKeptFiles = 3;

// A field's text, whether or not it has a terminator.
template <std::size_t size>
std::wstring fieldText(const wchar_t (&field)[size]) {
    const std::wstring_view whole(field, size);
    return std::wstring(whole.substr(0, whole.find(L'\0')));
}

std::string utf8Of(std::wstring_view text) {
    std::string narrow(text.size() * 3, '\0');
    const int length = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), narrow.data(),
                                           static_cast<int>(narrow.size()), nullptr, nullptr);
    narrow.resize(static_cast<std::size_t>(length));
    return narrow;
}

// Nothing for a name that isn't one, and for a folder that would depend on the working directory.
std::optional<fs::path> pathOf(const Config& config) {
    std::wstring name = fieldText(config.file);
    if (name.empty())
        name = fieldText(config.tag);
    const std::wstring extension = fieldText(config.extension);
    name = fieldText(config.prefix) + name + (extension.empty() ? L"" : L"." + extension);
    if (name.empty() || name == L"." || name == L".." || name.find_first_of(L"\\/:") != std::wstring::npos)
        return std::nullopt;
    const std::wstring text = fieldText(config.folder);
    const fs::path folder = text.empty() ? fs::temp_directory_path() : fs::path(text);
    return folder.is_absolute() ? std::optional(folder / name) : std::nullopt;
}

class LogFile {
  public:
    LogFile(fs::path path, const Config& config)
        : m_path(std::move(path)), m_isRobust(config.robust != 0), m_hasDebugger(config.debugger != 0) {}

    bool writeLine(std::wstring_view line) const;

  private:
    bool isFull(std::size_t lineSize) const;
    void rotate(std::size_t lineSize) const;
    void moveOn() const;
    fs::path kept(int number) const { return m_path.native() + L"." + std::to_wstring(number); }

    fs::path m_path;
    bool m_isRobust;
    bool m_hasDebugger;
};

bool LogFile::isFull(std::size_t lineSize) const {
    std::error_code none;
    const std::uintmax_t size = fs::file_size(m_path, none);
    return !none && size != 0 && size + lineSize > kMaxFileSize;
}

// One process at a time, which looks again: another may have moved the file meanwhile. A file that can't be moved takes
// the line.
void LogFile::rotate(std::size_t lineSize) const {
    constexpr DWORD kPatienceMs = 1000;
    if (!isFull(lineSize))
        return;
    const std::unique_ptr<void, decltype(&CloseHandle)> turn(CreateMutexW(nullptr, FALSE, L"WdDbg64_rotation"),
                                                             CloseHandle);
    if (turn == nullptr)
        return;
    const DWORD wait = WaitForSingleObject(turn.get(), kPatienceMs);
    if (wait != WAIT_OBJECT_0 && wait != WAIT_ABANDONED)
        return;
    if (isFull(lineSize))
        moveOn();
    ReleaseMutex(turn.get());
}

void LogFile::moveOn() const {
    for (int number = kKeptFiles; number > 1; --number)
        MoveFileExW(kept(number - 1).c_str(), kept(number).c_str(), MOVEFILE_REPLACE_EXISTING);
    MoveFileExW(m_path.c_str(), kept(1).c_str(), MOVEFILE_REPLACE_EXISTING);
}

bool LogFile::writeLine(std::wstring_view line) const {
    if (m_hasDebugger)
        OutputDebugStringW(std::wstring(line).c_str());
    const std::string text = utf8Of(line);
    std::error_code none;
    fs::create_directories(m_path.parent_path(), none);
    rotate(text.size());
    HANDLE const file =
        CreateFileW(m_path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    DWORD written = 0;
    const bool isWritten = WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) != FALSE &&
                           written == text.size() && (!m_isRobust || FlushFileBuffers(file) != FALSE);
    CloseHandle(file);
    return isWritten;
}

} // namespace

#define WDDBG_ENTRY extern "C" __declspec(dllexport)

WDDBG_ENTRY int WdDbgInitialize(void** handle, const void* config) {
    if (handle == nullptr || config == nullptr)
        return kFailure;
    *handle = nullptr;
    try {
        const auto& given = *static_cast<const Config*>(config);
        if (std::optional<fs::path> path = pathOf(given))
            *handle = std::make_unique<LogFile>(std::move(*path), given).release();
        return *handle == nullptr ? kFailure : kSuccess;
    } catch (const std::exception&) {
        return kFailure;
    }
}

WDDBG_ENTRY int WdDbgUninitialize(void* handle) {
    const std::unique_ptr<LogFile> log(static_cast<LogFile*>(handle));
    return log ? kSuccess : kFailure;
}

WDDBG_ENTRY int WdDbgTrace(void* handle, const void*, const wchar_t* line) {
    if (handle == nullptr || line == nullptr)
        return kFailure;
    try {
        return static_cast<const LogFile*>(handle)->writeLine(line) ? kSuccess : kFailure;
    } catch (const std::exception&) {
        return kFailure;
    }
}
