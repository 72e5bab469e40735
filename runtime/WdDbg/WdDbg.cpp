// libWdDbg64.so: a trace library that appends lines to a file.
//
// The file is <LogFolder>/<LogPrefix><LogFile>.<LogExtension>; an empty LogFile is the log's tag. In LogFolder both `\`
// and `/` are separators, and "X:\..." is the folder drive_x of $WARDLET_HOME. An empty LogFolder is $WARDLET_HOME/log,
// or without that variable the system's folder for temporary files, where the file must be the user's own. A folder
// that would depend on the working directory, or leads out of its drive, is refused. Folder and file are created with
// the first line: a log that writes nothing leaves nothing behind. In a folder with the set-group-ID bit they belong to
// its group, elsewhere to their owner alone; a missing home is not created.
//
// Any number of processes share one file: a line is one appending write. Before a line would take the file beyond 4
// MiB, the file is rotated to <file>.1, older ones to .2 and .3, and the oldest is dropped. "Robust" syncs after each
// line, "Debugger" writes each line to stderr too. "LogProcess" and "LogUnitType" are ignored here.
//
// The caller makes sure that a handle is used by one thread at a time. No lock is held between calls, so a forked child
// may go on with its parent's handle.
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

namespace fs = std::filesystem;

// The caller's record: its layout is fixed.
struct SystemTime {
    std::uint16_t year, month, dayOfWeek, day, hour, minute, second, milliseconds;
};
struct Config {
    std::uint8_t serviceSession;
    std::uint8_t robust;
    std::uint8_t debugger;
    std::uint8_t zero;
    SystemTime startTime;
    std::uint32_t logProcess;
    std::uint32_t logUnitType;
    char16_t tag[32];
    char16_t folder[260];
    char16_t prefix[256];
    char16_t file[256];
    char16_t extension[256];
};
static_assert(sizeof(SystemTime) == 16 && sizeof(Config) == 2148);
static_assert(offsetof(Config, startTime) == 4 && offsetof(Config, logProcess) == 20 && offsetof(Config, tag) == 28);
static_assert(offsetof(Config, folder) == 92 && offsetof(Config, prefix) == 612);
static_assert(offsetof(Config, file) == 1124 && offsetof(Config, extension) == 1636);

constexpr int kSuccess = 0;
constexpr int kFailure = -1;
constexpr off_t kMaxFileSize = off_t{4} << 20;
constexpr int kKeptFiles = 3;
constexpr int kRetries = 100; // while others keep rotating the file away

bool sameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// Closes only the file that it was made for: a program that closes all descriptors, as a daemon does, may have reused
// the number by then.
class Descriptor {
  public:
    // Moves off the first three numbers: a program without standard streams may yet open them for what it prints.
    explicit Descriptor(int file) : m_file(file) {
        if (file >= 0 && file <= STDERR_FILENO) {
            m_file = fcntl(file, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
            close(file);
        }
        if (m_file >= 0)
            fstat(m_file, &m_opened);
    }
    ~Descriptor() {
        struct stat now {};
        if (m_file >= 0 && fstat(m_file, &now) == 0 && sameFile(now, m_opened))
            close(m_file);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return m_file; }
    bool valid() const { return m_file >= 0; }
    void swap(Descriptor& other) {
        std::swap(m_file, other.m_file);
        std::swap(m_opened, other.m_opened);
    }

  private:
    int m_file;
    struct stat m_opened {};
};

void appendUtf8(std::string& out, char32_t character) {
    const auto tail = [&](int shift) { out += static_cast<char>(0x80 | ((character >> shift) & 0x3F)); };
    if (character < 0x80) {
        out += static_cast<char>(character);
    } else if (character < 0x800) {
        out += static_cast<char>(0xC0 | (character >> 6));
        tail(0);
    } else if (character < 0x10000) {
        out += static_cast<char>(0xE0 | (character >> 12));
        tail(6);
        tail(0);
    } else {
        out += static_cast<char>(0xF0 | (character >> 18));
        tail(12);
        tail(6);
        tail(0);
    }
}

// A lone surrogate becomes U+FFFD.
std::string utf8Of(std::u16string_view text) {
    constexpr char32_t kReplacement = 0xFFFD;
    std::string out;
    out.reserve(text.size() + text.size() / 8);
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char32_t unit = text[i];
        if (unit < 0xD800 || unit > 0xDFFF) {
            appendUtf8(out, unit);
        } else if (unit < 0xDC00 && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
            appendUtf8(out, 0x10000 + ((unit - 0xD800) << 10) + (text[++i] - 0xDC00u));
        } else {
            appendUtf8(out, kReplacement);
        }
    }
    return out;
}

// A field's text, whether or not it has a terminator.
template <std::size_t size>
std::string fieldText(const char16_t (&field)[size]) {
    const std::u16string_view whole(field, size);
    return utf8Of(whole.substr(0, whole.find(u'\0')));
}

bool hasSeparator(std::string_view text) {
    return text.find_first_of("\\/") != std::string_view::npos;
}

bool leadsUp(const fs::path& path) {
    for (const fs::path& part : path) {
        if (part == "..")
            return true;
    }
    return false;
}

// The folder for the files of the log, and whether strangers write to it as well.
struct Folder {
    fs::path path;
    bool isShared = false;
    fs::path home = {}; // the home that it lies in, if any
};

std::optional<Folder> folderOf(std::string text) {
    const char* const home = secure_getenv("WARDLET_HOME");
    const bool hasHome = home != nullptr && *home == '/';
    if (text.empty()) {
        if (hasHome)
            return Folder{fs::path(home) / "log", false, home};
        const char* const temporary = secure_getenv("TMPDIR");
        return Folder{temporary != nullptr && *temporary == '/' ? temporary : "/tmp", true};
    }
    for (char& c : text) {
        if (c == '\\')
            c = '/';
    }
    const bool hasDrive = text.size() >= 2 && text[1] == ':';
    if (!hasDrive)
        return text.front() == '/' ? std::optional(Folder{text}) : std::nullopt;
    const auto letter = static_cast<char>(text[0] | 0x20);
    const fs::path below = fs::path(text.substr(2)).relative_path();
    if (!hasHome || letter < 'a' || letter > 'z' || leadsUp(below))
        return std::nullopt;
    return Folder{fs::path(home) / (std::string("drive_") + letter) / below, false, home};
}

std::optional<std::string> fileNameOf(const Config& config) {
    const std::string prefix = fieldText(config.prefix);
    std::string name = fieldText(config.file);
    if (name.empty())
        name = fieldText(config.tag);
    const std::string extension = fieldText(config.extension);
    const std::string whole = prefix + name + (extension.empty() ? "" : "." + extension);
    if (whole.empty() || whole == "." || whole == ".." || hasSeparator(whole))
        return std::nullopt;
    return whole;
}

bool belongsToGroup(const fs::path& folder) {
    struct stat status {};
    return stat(folder.c_str(), &status) == 0 && (status.st_mode & S_ISGID) != 0;
}

// Failures are ignored: they show when the file is opened.
void makeFolder(const fs::path& folder) {
    bool isMade = mkdir(folder.c_str(), 0700) == 0;
    if (!isMade && errno == ENOENT && folder.has_relative_path()) {
        makeFolder(folder.parent_path());
        isMade = mkdir(folder.c_str(), 0700) == 0;
    }
    if (isMade && belongsToGroup(folder)) // inherited from the folder above
        chmod(folder.c_str(), 02770);
}

class LogFile {
  public:
    static std::unique_ptr<LogFile> make(const Config& config);
    bool writeLine(std::string_view line);

  private:
    LogFile(const Folder& folder, const std::string& name, const Config& config)
        : m_path(folder.path / name), m_home(folder.home), m_isShared(folder.isShared), m_robust(config.robust != 0),
          m_debugger(config.debugger != 0) {}

    int openPath() const;
    bool isCurrent() const;
    bool reopen();
    bool isFull(off_t size, std::size_t lineSize) const;
    bool rotate(std::size_t lineSize) const;
    bool rotateLocked(int file, std::size_t lineSize) const;
    bool append(std::string_view line) const;
    fs::path kept(int number) const { return m_path.string() + "." + std::to_string(number); }

    fs::path m_path;
    fs::path m_home;
    bool m_isShared;
    bool m_robust;
    bool m_debugger;
    Descriptor m_file{-1};
};

// Opens a regular file only; in a shared folder it must be this user's own, with no other hard link.
int LogFile::openPath() const {
    constexpr int kFlags = O_WRONLY | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    int file = ::open(m_path.c_str(), kFlags);
    if (file < 0 && errno == ENOENT) {
        file = ::open(m_path.c_str(), kFlags | O_CREAT | O_EXCL, 0600);
        if (file < 0 && errno == EEXIST)
            file = ::open(m_path.c_str(), kFlags);
        else if (file >= 0 && !m_isShared && belongsToGroup(m_path.parent_path()))
            fchmod(file, 0660);
    }
    struct stat status {};
    const bool isFile = file >= 0 && fstat(file, &status) == 0 && S_ISREG(status.st_mode);
    if (isFile && (!m_isShared || (status.st_uid == geteuid() && status.st_nlink <= 1)))
        return file;
    if (file >= 0)
        close(file);
    return -1;
}

std::unique_ptr<LogFile> LogFile::make(const Config& config) {
    const std::optional<Folder> folder = folderOf(fieldText(config.folder));
    const std::optional<std::string> name = fileNameOf(config);
    if (!folder || !name)
        return nullptr;
    return std::unique_ptr<LogFile>(new LogFile(*folder, *name, config));
}

// False before the first line, and once anybody has rotated or removed the file.
bool LogFile::isCurrent() const {
    struct stat open {};
    struct stat standing {};
    return m_file.valid() && fstat(m_file.get(), &open) == 0 && stat(m_path.c_str(), &standing) == 0 &&
           sameFile(open, standing);
}

// The new file is in place before the old one is closed, so a child that is forked in between has one of them.
bool LogFile::reopen() {
    struct stat status {};
    if (m_home.empty() || stat(m_home.c_str(), &status) == 0)
        makeFolder(m_path.parent_path());
    Descriptor file(openPath());
    if (!file.valid())
        return false;
    m_file.swap(file);
    return true;
}

bool LogFile::isFull(off_t size, std::size_t lineSize) const {
    return size > 0 && size + static_cast<off_t>(lineSize) > kMaxFileSize;
}

// Rotates under a lock on the file itself, through a descriptor of this call's own: a forked child shares its parent's,
// and both would hold a lock taken through that. Doesn't wait for the lock, since anybody who may read the log could
// hold it for good: the full file then takes the line. After another's rotation, whoever gets the lock finds a
// different file in place. False when the file can't be rotated.
bool LogFile::rotate(std::size_t lineSize) const {
    const Descriptor lock(::open(m_path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (!lock.valid())
        return errno == ENOENT;
    if (flock(lock.get(), LOCK_EX | LOCK_NB) != 0)
        return false;
    const bool rotated = rotateLocked(lock.get(), lineSize);
    flock(lock.get(), LOCK_UN); // a child that was forked meanwhile shares the descriptor
    return rotated;
}

bool LogFile::rotateLocked(int file, std::size_t lineSize) const {
    struct stat locked {};
    struct stat standing {};
    if (fstat(file, &locked) != 0)
        return false;
    if (stat(m_path.c_str(), &standing) != 0 || !sameFile(locked, standing) || !isFull(locked.st_size, lineSize))
        return true;
    for (int number = kKeptFiles; number > 1; --number)
        rename(kept(number - 1).c_str(), kept(number).c_str());
    return rename(m_path.c_str(), kept(1).c_str()) == 0;
}

// One write, so that lines of several processes stay whole. Only a full disk cuts one short.
bool LogFile::append(std::string_view line) const {
    ssize_t written = 0;
    do {
        written = write(m_file.get(), line.data(), line.size());
    } while (written < 0 && errno == EINTR);
    return written == static_cast<ssize_t>(line.size());
}

// If another process rotates the file between the check and the write, the line is whole too, in the rotated file.
bool LogFile::writeLine(std::string_view line) {
    if (m_debugger)
        static_cast<void>(!write(STDERR_FILENO, line.data(), line.size()));
    bool mayRotate = true;
    for (int i = 0; i < kRetries; ++i) {
        if (!isCurrent()) {
            if (!reopen())
                return false;
            continue;
        }
        struct stat status {};
        if (mayRotate && fstat(m_file.get(), &status) == 0 && isFull(status.st_size, line.size())) {
            mayRotate = rotate(line.size());
            continue;
        }
        break;
    }
    return append(line) && (!m_robust || fdatasync(m_file.get()) == 0);
}

} // namespace

#define WDDBG_ENTRY extern "C" __attribute__((visibility("default")))

WDDBG_ENTRY int WdDbgInitialize(void** handle, const void* config) {
    if (handle == nullptr || config == nullptr)
        return kFailure;
    try {
        std::unique_ptr<LogFile> log = LogFile::make(*static_cast<const Config*>(config));
        *handle = log.release();
        return *handle == nullptr ? kFailure : kSuccess;
    } catch (const std::exception&) {
        *handle = nullptr;
        return kFailure;
    }
}

WDDBG_ENTRY int WdDbgUninitialize(void* handle) {
    const std::unique_ptr<LogFile> log(static_cast<LogFile*>(handle));
    return log ? kSuccess : kFailure;
}

WDDBG_ENTRY int WdDbgTrace(void* handle, const void*, const char16_t* line) {
    if (handle == nullptr || line == nullptr)
        return kFailure;
    try {
        return static_cast<LogFile*>(handle)->writeLine(utf8Of(line)) ? kSuccess : kFailure;
    } catch (const std::exception&) {
        return kFailure;
    }
}
