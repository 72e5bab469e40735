// Who and where this process is. Nothing is kept between calls but the time zone, which the C library reads under a
// lock of its own.
#include "FileDescriptor.h"
#include "ForkMutex.h"
#include "LastError.h"

#include <platform/identity.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cstring>
#include <nettle/sha2.h>
#include <optional>
#include <string>
#include <string_view>
#include <sys/time.h>
#include <unistd.h>

namespace wd {
namespace {

constexpr std::string_view kSystemDirectory = "C:\\Windows\\System32";
constexpr DWORD kMajorVersion = 10;
constexpr DWORD kBuildNumber = 19045;
constexpr std::size_t kMachineIdLength = 32;
constexpr DWORD kMaxComponentLength = 255;

// A process outside any login session, as services are, has the highest number there.
constexpr DWORD kNoLoginSession = UINT_MAX;

constexpr std::array<BYTE, 12> kLocalSystemSid{1, 1, 0, 0, 0, 0, 0, 5, 18, 0, 0, 0};

std::optional<std::string> readSmallFile(const char* path) {
    const FileDescriptor file(sys::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK, 0));
    if (!file.valid())
        return std::nullopt;
    return readWhole(file.get(), 256);
}

bool isHexDigit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
}

// The machine's id; nothing on a machine that was never given one.
std::optional<std::string> machineId() {
    std::optional<std::string> id = readSmallFile("/etc/machine-id");
    if (!id || id->size() < kMachineIdLength)
        return std::nullopt;
    id->resize(kMachineIdLength);
    return std::all_of(id->begin(), id->end(), isHexDigit) ? id : std::nullopt;
}

std::optional<std::string> rootFileSystemId() {
    struct statvfs status {};
    if (sys::statvfs("/", &status) != 0)
        return std::nullopt;
    return std::to_string(status.f_fsid);
}

// The machine's id is confidential: only a digest of it, salted with a text of our own, leaves this file.
DWORD serialOf(std::string_view machine) {
    const std::string text = "volume serial " + std::string(machine);
    sha256_ctx context{};
    sha256_init(&context);
    sha256_update(&context, text.size(), reinterpret_cast<const std::uint8_t*>(text.data()));
    std::array<std::uint8_t, 4> digest{};
    sha256_digest(&context, digest.size(), digest.data());
    return DWORD{digest[0]} | DWORD{digest[1]} << 8 | DWORD{digest[2]} << 16 | DWORD{digest[3]} << 24;
}

void clearName(LPSTR name, DWORD size) {
    if (name != nullptr && size > 0)
        *name = '\0';
}

// The session's number; nothing when there is no such process.
std::optional<DWORD> sessionOf(DWORD processId) {
    const bool isSelf = processId == static_cast<DWORD>(getpid());
    const std::string folder = isSelf ? "/proc/self" : "/proc/" + std::to_string(processId);
    struct stat status {};
    if (!isSelf && sys::stat(folder.c_str(), &status) != 0)
        return std::nullopt;
    // A kernel without login sessions has no such file.
    const std::optional<std::string> text = readSmallFile((folder + "/sessionid").c_str());
    DWORD session = kNoLoginSession;
    if (text)
        std::from_chars(text->data(), text->data() + text->size(), session);
    return session == kNoLoginSession ? 0 : session;
}

// The C library guards its time zone with a lock that the child of a fork could find taken. With this mutex around the
// call, no thread of ours is in there during a fork.
struct ClockTag;
constinit ForkMutex<ClockTag, ForkOrder::Clock> clockMutex;

tm localTime(time_t seconds) {
    tm broken{};
    const ForkLock lock(clockMutex);
    localtime_r(&seconds, &broken);
    return broken;
}

} // namespace
} // namespace wd

UINT GetSystemDirectoryA(LPSTR buffer, UINT size) {
    const std::string_view path = wd::kSystemDirectory;
    if (buffer == nullptr || size <= path.size())
        return static_cast<UINT>(path.size() + 1);
    std::copy(path.begin(), path.end(), buffer);
    buffer[path.size()] = '\0';
    return static_cast<UINT>(path.size());
}

BOOL GetVolumeInformationA(LPCSTR, LPSTR volumeName, DWORD volumeNameSize, LPDWORD serial, LPDWORD maxComponentLength,
                           LPDWORD flags, LPSTR fileSystemName, DWORD fileSystemNameSize) {
    std::optional<std::string> machine = wd::machineId();
    if (!machine)
        machine = wd::rootFileSystemId();
    if (!machine)
        return wd::fail(wd::systemError());
    wd::clearName(volumeName, volumeNameSize);
    wd::clearName(fileSystemName, fileSystemNameSize);
    if (serial != nullptr)
        *serial = wd::serialOf(*machine);
    if (maxComponentLength != nullptr)
        *maxComponentLength = wd::kMaxComponentLength;
    if (flags != nullptr)
        *flags = 0;
    return TRUE;
}

BOOL GetVersionExA(OSVERSIONINFOA* info) {
    if (info == nullptr)
        return wd::fail(ERROR_INVALID_PARAMETER);
    if (info->dwOSVersionInfoSize < sizeof *info)
        return wd::fail(ERROR_INSUFFICIENT_BUFFER);
    info->dwMajorVersion = wd::kMajorVersion;
    info->dwMinorVersion = 0;
    info->dwBuildNumber = wd::kBuildNumber;
    info->dwPlatformId = VER_PLATFORM_WIN32_NT;
    std::memset(info->szCSDVersion, 0, sizeof info->szCSDVersion);
    return TRUE;
}

BOOL ProcessIdToSessionId(DWORD processId, LPDWORD sessionId) {
    const std::optional<DWORD> session = wd::sessionOf(processId);
    if (sessionId == nullptr || !session)
        return wd::fail(ERROR_INVALID_PARAMETER);
    *sessionId = *session;
    return TRUE;
}

BOOL CreateWellKnownSid(WELL_KNOWN_SID_TYPE type, void* domainSid, void* sid, LPDWORD size) {
    if (type != WinLocalSystemSid || domainSid != nullptr || size == nullptr)
        return wd::fail(ERROR_INVALID_PARAMETER);
    const DWORD room = *size;
    *size = static_cast<DWORD>(wd::kLocalSystemSid.size());
    if (sid == nullptr || room < wd::kLocalSystemSid.size())
        return wd::fail(ERROR_INSUFFICIENT_BUFFER);
    std::memcpy(sid, wd::kLocalSystemSid.data(), wd::kLocalSystemSid.size());
    return TRUE;
}

BOOL CheckTokenMembership(HANDLE token, void* sid, BOOL* isMember) {
    if (token != nullptr || sid == nullptr || isMember == nullptr)
        return wd::fail(ERROR_INVALID_PARAMETER);
    // The first two bytes, revision and number of parts, say how long a SID is.
    const bool sameShape = std::memcmp(sid, wd::kLocalSystemSid.data(), 2) == 0;
    const bool isLocalSystem =
        sameShape && std::memcmp(sid, wd::kLocalSystemSid.data(), wd::kLocalSystemSid.size()) == 0;
    *isMember = isLocalSystem && geteuid() == 0 ? TRUE : FALSE;
    return TRUE;
}

void GetLocalTime(SYSTEMTIME* time) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const tm local = wd::localTime(now.tv_sec);
    const auto word = [](long value) { return static_cast<WORD>(value); };
    *time = {word(local.tm_year + 1900L), word(local.tm_mon + 1L), word(local.tm_wday), word(local.tm_mday),
             word(local.tm_hour),         word(local.tm_min),      word(local.tm_sec),  word(now.tv_nsec / 1000000)};
}

ULONGLONG GetTickCount64() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<ULONGLONG>(now.tv_sec) * 1000 + static_cast<ULONGLONG>(now.tv_nsec) / 1'000'000;
}

DWORD GetCurrentProcessId() {
    return static_cast<DWORD>(getpid());
}

DWORD GetCurrentThreadId() {
    return static_cast<DWORD>(gettid());
}
