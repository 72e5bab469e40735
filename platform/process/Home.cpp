#include "Home.h"

#include "CodePage.h"
#include "LastError.h"
#include "LockedFile.h"

#include <platform/testing.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <memory>
#include <pwd.h>
#include <unistd.h>
#include <vector>

namespace wd {

namespace fs = std::filesystem;

namespace {

constexpr unsigned kUtf8 = 65001;
constexpr std::size_t kSettingsLimit = std::size_t{64} * 1024;
constexpr auto kSame = static_cast<gid_t>(-1);
constexpr Home::Modes kSharedHome{0755, 0600};
constexpr Home::Modes kPrivateHome{0700, 0600}; // a user's own state directory

constinit std::atomic<const Home*> currentHome{nullptr};

const char* variable(const char* name) {
    const char* value = ::secure_getenv(name);
    return value != nullptr && *value != '\0' ? value : nullptr;
}

template <typename Number>
std::optional<Number> numericVariable(const char* name) {
    const char* value = variable(name);
    if (value == nullptr)
        return std::nullopt;
    Number number{};
    const char* end = value + std::char_traits<char>::length(value);
    const auto [stop, error] = std::from_chars(value, end, number);
    if (error != std::errc() || stop != end)
        return std::nullopt;
    return number;
}

fs::path locksOfReadOnly(const fs::path& home) {
    struct statvfs system {};
    struct stat status {};
    if (sys::statvfs(home.c_str(), &system) != 0 || (system.f_flag & ST_RDONLY) == 0 ||
        sys::stat(home.c_str(), &status) != 0)
        return {};
    return "/dev/shm/wardlet-" + std::to_string(::geteuid()) + '-' + std::to_string(status.st_dev) + '-' +
           std::to_string(status.st_ino);
}

bool isDirectory(const fs::path& path) {
    struct stat status {};
    return sys::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

fs::path userDirectory() {
    if (const char* home = variable("HOME"))
        return home;
    std::vector<char> buffer(std::size_t{16} * 1024);
    struct passwd entry {};
    struct passwd* found = nullptr;
    if (::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr)
        return found->pw_dir;
    return "/";
}

fs::path homeFromEnvironment() {
    if (const char* path = variable("WARDLET_HOME")) {
        std::error_code failure; // a relative path must not follow a later change of the working directory
        const fs::path absolute = fs::absolute(path, failure);
        return failure ? fs::path(path) : absolute;
    }
    fs::path system = "/var/lib/wardlet";
    if (isDirectory(system))
        return system;
    const char* state = variable("XDG_STATE_HOME");
    if (state != nullptr && *state == '/') // its rules say that a relative one counts as unset
        return fs::path(state) / "wardlet";
    return userDirectory() / ".local/state/wardlet";
}

// A lone surrogate U+DC80–U+DCFF stands for the byte 80–FF; everything else becomes UTF-8.
std::string fileNameFromWide(std::u16string_view text) {
    std::string name;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t point = text[i];
        if (point >= 0xD800 && point < 0xDC00 && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000)
            point = 0x10000 + ((point - 0xD800) << 10) + (text[++i] - 0xDC00u);
        if (point < 0x80 || (point >= 0xDC80 && point <= 0xDCFF)) {
            name += static_cast<char>(point & 0xFF);
        } else if (point < 0x800) {
            name += static_cast<char>(0xC0 | (point >> 6));
            name += static_cast<char>(0x80 | (point & 0x3F));
        } else if (point < 0x10000) {
            name += static_cast<char>(0xE0 | (point >> 12));
            name += static_cast<char>(0x80 | ((point >> 6) & 0x3F));
            name += static_cast<char>(0x80 | (point & 0x3F));
        } else {
            name += static_cast<char>(0xF0 | (point >> 18));
            name += static_cast<char>(0x80 | ((point >> 12) & 0x3F));
            name += static_cast<char>(0x80 | ((point >> 6) & 0x3F));
            name += static_cast<char>(0x80 | (point & 0x3F));
        }
    }
    return name;
}

// The path with `/` as its only separator, in the file system's bytes. A trail byte of a double-byte character may look
// like a backslash, so paths in code pages other than UTF-8 are split as UTF-16.
std::string withSlashes(std::string_view path, unsigned codePage) {
    const bool plain =
        codePage == kUtf8 || std::all_of(path.begin(), path.end(), [](char c) { return (c & 0x80) == 0; });
    if (plain) {
        std::string mapped(path);
        std::replace(mapped.begin(), mapped.end(), '\\', '/');
        return mapped;
    }
    std::u16string wide = wideFromCodePage(path);
    std::replace(wide.begin(), wide.end(), u'\\', u'/');
    return fileNameFromWide(wide);
}

bool hasDrive(std::string_view path) {
    return path.size() >= 2 && path[1] == ':' && std::isalpha(static_cast<unsigned char>(path[0])) != 0;
}

// `..` at the top of a drive stays there.
fs::path belowDrive(const fs::path& drive, std::string_view rest) {
    std::vector<std::string_view> parts;
    while (!rest.empty()) {
        const auto part = rest.substr(0, rest.find('/'));
        rest.remove_prefix(std::min(part.size() + 1, rest.size()));
        if (part.empty() || part == ".")
            continue;
        if (part != "..")
            parts.push_back(part);
        else if (!parts.empty())
            parts.pop_back();
    }
    fs::path path = drive;
    for (const auto part : parts)
        path /= part;
    return path;
}

} // namespace

DWORD makeDirectories(const fs::path& path, const Home::Modes& modes) {
    if (isDirectory(path))
        return ERROR_SUCCESS;
    if (path.has_parent_path() && path.parent_path() != path)
        if (const DWORD error = makeDirectories(path.parent_path(), modes))
            return error;
    if (sys::mkdir(path.c_str(), modes.directory & 0777) != 0) {
        if (errno == EEXIST)
            return isDirectory(path) ? ERROR_SUCCESS : ERROR_PATH_NOT_FOUND;
        return systemError();
    }
    if (!modes.hasGroup())
        return ERROR_SUCCESS;
    // A change of the group clears the set-group-ID bit, and the process's umask must not keep members out.
    const FileDescriptor made(sys::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW, 0));
    return made.valid() && sys::fchown(made.get(), kSame, modes.group) == 0 &&
                   sys::fchmod(made.get(), modes.directory) == 0
               ? ERROR_SUCCESS
               : systemError();
}

Home::Home() : Home(homeFromEnvironment()) {}

Home::Home(fs::path path) : m_path(std::move(path)), m_locks(locksOfReadOnly(m_path)) {
    if (const auto codePage = numericVariable<unsigned>("WARDLET_ACP"); codePage && isKnownCodePage(*codePage))
        m_codePageOverride = codePage;
    if (const char* durability = variable("WARDLET_DURABILITY"))
        m_durableOverride = std::string_view(durability) != "process";
    const auto scale = numericVariable<double>("WARDLET_TIME_SCALE");
    if (scale && *scale > 0.0 && *scale <= 1e6)
        m_timeScale = *scale;
    adopt(HomeSettings{});
    loadSettings();
}

// Every call on a refused home fails, but one line on stderr is enough.
bool Home::mayReport() const {
    return !m_reported.exchange(true, std::memory_order_relaxed);
}

void Home::adopt(const HomeSettings& settings) const {
    m_codePage.store(m_codePageOverride.value_or(settings.codePage), std::memory_order_relaxed);
    m_durable.store(m_durableOverride.value_or(settings.durable), std::memory_order_relaxed);
}

DWORD Home::loadSettings() const {
    const fs::path file = m_path / "settings";
    const FileDescriptor settingsFile(sys::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC, 0));
    if (!settingsFile.valid())
        return systemError();
    const auto text = readWhole(settingsFile.get(), kSettingsLimit);
    if (!text && errno != EFBIG)
        return systemError();
    const auto settings = text ? HomeSettings::parse(*text) : std::nullopt;
    if (!settings) {
        if (mayReport())
            std::fprintf(stderr, "wdltcfg: %s isn't the settings of a home\n", file.c_str());
        return ERROR_INVALID_DATA;
    }
    if (settings->layout > HomeSettings::kLayout || settings->folding > HomeSettings::kFolding) {
        if (mayReport())
            std::fprintf(
                stderr,
                "wdltcfg: %s has layout %u, folding %u; this library knows layouts up to %u, folding up to %u: a "
                "newer library is needed\n",
                m_path.c_str(), settings->layout, settings->folding, HomeSettings::kLayout, HomeSettings::kFolding);
        return ERROR_BADDB;
    }
    if (!isKnownCodePage(settings->codePage)) { // texts would be stored in another
        if (mayReport())
            std::fprintf(stderr, "wdltcfg: %s names code page %u, which this library lacks\n", file.c_str(),
                         settings->codePage);
        return ERROR_INVALID_DATA;
    }
    adopt(*settings);
    return ERROR_SUCCESS;
}

DWORD Home::registryModes(Modes& modes) const {
    struct stat status {};
    if (sys::stat(m_path.c_str(), &status) != 0)
        return systemError();
    modes = (status.st_mode & S_ISGID) != 0 ? Modes{02770, 0660, status.st_gid} : Modes{};
    return ERROR_SUCCESS;
}

DWORD Home::fileModes(Modes& modes) const {
    const DWORD error = registryModes(modes);
    const bool isNoHome = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
    return isNoHome || error == ERROR_ACCESS_DENIED ? DWORD{ERROR_SUCCESS} : error; // denied: not a member
}

bool Home::hasGroup() const {
    Modes modes;
    return registryModes(modes) == ERROR_SUCCESS && modes.hasGroup();
}

// The group first: a change of it clears special bits of the mode. A user who isn't in the group keeps the file to
// himself.
bool Home::admit(int file, const struct stat* source) const {
    Modes modes;
    if (fileModes(modes) != ERROR_SUCCESS)
        return false; // the file would keep the group out
    if (!modes.hasGroup())
        return true;
    if (sys::fchown(file, kSame, modes.group) != 0)
        return errno == EPERM;
    mode_t mode = modes.file;
    if (source != nullptr) // the group gets what it may do there, or what others may
        mode &= S_IRWXU | (source->st_gid == modes.group ? source->st_mode : (source->st_mode & S_IRWXO) << 3);
    return sys::fchmod(file, mode) == 0;
}

// Sticky, so that nobody removes another user's object. The objects inherit the group as the registry does.
DWORD Home::objectModes(Modes& modes) const {
    const DWORD error = registryModes(modes);
    modes.directory = 01777 | (modes.directory & S_ISGID);
    return error;
}

DWORD Home::ensure() const {
    if (m_ready.load(std::memory_order_acquire))
        return ERROR_SUCCESS;
    DWORD error = loadSettings();
    if (error == ERROR_SUCCESS && isReadOnly())
        error = createLocks();
    else if (error == ERROR_FILE_NOT_FOUND || (error == ERROR_SUCCESS && !isDirectory(registryPath())))
        error = create();
    if (error == ERROR_SUCCESS)
        m_ready.store(true, std::memory_order_release);
    return error;
}

DWORD Home::ensureObjects() const {
    const DWORD error = ensure();
    return error == ERROR_SUCCESS && !isDirectory(objectsPath()) ? create() : error;
}

namespace {

// Makes the settings appear complete: written beside, then renamed. Runs under the home's lock, so the name beside them
// can be fixed: what a crash left there is removed.
DWORD placeSettings(const fs::path& home, bool durable, mode_t mode) {
    const fs::path beside = home / "settings.new";
    if (sys::unlink(beside.c_str()) != 0 && errno != ENOENT)
        return systemError();
    const FileDescriptor file(sys::open(beside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, mode));
    if (!file.valid() || sys::fchmod(file.get(), mode) != 0)
        return systemError();
    if (!writeWhole(file.get(), HomeSettings{}.text()) || (durable && sys::fsync(file.get()) != 0))
        return systemError();
    return sys::rename(beside.c_str(), (home / "settings").c_str()) == 0 ? ERROR_SUCCESS : systemError();
}

DWORD placeDirectory(const fs::path& target, mode_t mode) {
    fs::path beside = target;
    beside += ".new";
    // What a dead process was making may be another user's, whose mode only that user can change. If it isn't empty, it
    // has its mode already and only its name is missing.
    const bool isLeft = sys::rmdir(beside.c_str()) != 0 && errno != ENOENT;
    if (isLeft && errno != ENOTEMPTY && errno != EEXIST)
        return systemError();
    if (!isLeft && sys::mkdir(beside.c_str(), 0700) != 0)
        return systemError();
    if ((isLeft || sys::chmod(beside.c_str(), mode) == 0) && sys::rename(beside.c_str(), target.c_str()) == 0)
        return ERROR_SUCCESS;
    const DWORD error = systemError();
    sys::rmdir(beside.c_str());
    return error;
}

} // namespace

// Anybody may make directories there: one that isn't this account's alone is refused.
DWORD Home::createLocks() const {
    if (sys::mkdir(m_locks.c_str(), 0700) != 0 && errno != EEXIST)
        return systemError();
    struct stat status {};
    if (sys::lstat(m_locks.c_str(), &status) != 0)
        return systemError();
    if (!S_ISDIR(status.st_mode) || status.st_uid != ::geteuid() || (status.st_mode & 0077) != 0)
        return ERROR_ACCESS_DENIED;
    return sys::mkdir(objectsPath().c_str(), 0700) == 0 || errno == EEXIST ? DWORD{ERROR_SUCCESS} : systemError();
}

DWORD Home::create() const {
    const bool isPrivate = variable("WARDLET_HOME") == nullptr;
    if (const DWORD error = makeDirectories(m_path, isPrivate ? kPrivateHome : kSharedHome))
        return error;
    // A lock on the directory itself is released with its holder, however that dies.
    LockedFile directory = LockedFile::from(
        [this] { return FileDescriptor(sys::open(m_path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0)); });
    if (!directory.valid() || !directory.lock(LOCK_EX))
        return systemError();

    DWORD error = loadSettings();
    if (error == ERROR_FILE_NOT_FOUND) {
        struct stat status {};
        if (sys::fstat(directory.get(), &status) != 0)
            return systemError();
        // The settings hold no secret: whoever may enter the home, for the objects that are everybody's, needs them.
        const mode_t enterable = status.st_mode & (S_IXGRP | S_IXOTH);
        Modes modes;
        error = registryModes(modes);
        if (error == ERROR_SUCCESS)
            error = placeSettings(m_path, durable(), modes.file | enterable << 2);
        if (error == ERROR_SUCCESS)
            error = loadSettings();
    }
    if (error != ERROR_SUCCESS)
        return error;
    const std::pair<fs::path, DWORD (Home::*)(Modes&) const> directories[] = {
        {registryPath(), &Home::registryModes},
        {objectsPath(), &Home::objectModes},
    };
    for (const auto& [path, modesOf] : directories) {
        if (isDirectory(path))
            continue;
        Modes modes{};
        error = (this->*modesOf)(modes);
        if (error == ERROR_SUCCESS)
            error = placeDirectory(path, modes.directory);
        if (error != ERROR_SUCCESS)
            return error;
    }
    if (durable() && sys::fsync(directory.get()) != 0)
        return systemError();
    return ERROR_SUCCESS;
}

fs::path Home::mapPath(std::string_view path) const {
    const std::string mapped = withSlashes(path, codePage());
    if (!hasDrive(mapped))
        return mapped;
    const auto letter = static_cast<char>(std::tolower(static_cast<unsigned char>(mapped[0])));
    return belowDrive(m_path / (std::string("drive_") + letter), std::string_view(mapped).substr(2));
}

const Home& home() {
    if (const Home* current = currentHome.load(std::memory_order_acquire))
        return *current;
    auto made = std::make_unique<const Home>();
    const Home* expected = nullptr;
    if (currentHome.compare_exchange_strong(expected, made.get(), std::memory_order_acq_rel))
        return *made.release();
    return *expected;
}

fs::path mapPath(std::string_view path) {
    return home().mapPath(path);
}

} // namespace wd

void WdTestRereadEnvironment() {
    // Old homes stay to the end: keys opened before still belong to them.
    static auto* const homes = std::make_unique<std::deque<wd::Home>>().release();
    wd::currentHome.store(&homes->emplace_back(), std::memory_order_release);
}
