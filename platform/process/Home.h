// The home: the directory with the layer's state, what its `settings` file says, and the environment variables that
// override it. One object per process, made at the first call of home(); never destroyed, since open keys and locks
// refer to it. Safe from any thread and in the child of a fork: it takes no lock of this process.
#pragma once

#include <platform/base.h>

#include <atomic>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>

namespace wd {

// Content of <home>/settings: "name = value" lines.
struct HomeSettings {
    static constexpr unsigned kLayout = 1;  // newest layout of the home that this library knows
    static constexpr unsigned kFolding = 1; // simple upper-casing of one UTF-16 unit

    unsigned layout = kLayout;
    unsigned codePage = 65001;
    unsigned folding = kFolding;
    bool durable = true; // commits are on the disk when they return; else safe against killed processes only

    // Ignores unknown names, so that a newer library may add some; no value for a text that isn't settings.
    static std::optional<HomeSettings> parse(std::string_view text);
    std::string text() const;
};

class Home {
  public:
    // Reads the environment and the settings, makes nothing.
    Home();
    explicit Home(std::filesystem::path path);
    Home(const Home&) = delete;
    Home& operator=(const Home&) = delete;

    const std::filesystem::path& path() const { return m_path; }
    std::filesystem::path registryPath() const { return m_path / "registry"; }
    std::filesystem::path objectsPath() const { return locksPath() / "objects"; }
    // On a read-only file system settings can't be changed from here, but locks and named objects need files: they lie
    // in memory then, in a directory of this account alone, and the registry is read from a copy. Looked at once: a
    // process that is there when the file system becomes writable still reads what it found.
    bool isReadOnly() const { return !m_locks.empty(); }
    const std::filesystem::path& locksPath() const { return isReadOnly() ? m_locks : m_path; }

    unsigned codePage() const { return m_codePage.load(std::memory_order_relaxed); }
    bool durable() const { return m_durable.load(std::memory_order_relaxed); }
    // Factor for the waits of the system (60 s, 100 ms); 1 without WARDLET_TIME_SCALE.
    double timeScale() const { return m_timeScale; }

    // Makes what is missing: the directory, its settings, the registry's directory. However many processes do so at
    // once, each thing appears complete and all agree. 0, or the error; a home with a newer layout is refused with a
    // line on stderr.
    DWORD ensure() const;
    // The same for the objects' directory too, which everybody may use; homes of early versions lack it.
    DWORD ensureObjects() const;
    // Whether the home is there and this account may use it; makes nothing. `path` gets what the result is about.
    DWORD look(std::filesystem::path& path) const;

    // The file that a path means: `\` and `/` separate, a leading "X:" is the directory drive_x of the home, which ".."
    // can't leave; other paths are the system's own. `path` is in the system code page.
    std::filesystem::path mapPath(std::string_view path) const;

    // Whether the home has a group of its own (its set-group-ID bit), which then owns what is made in it, and the modes
    // that follow from that. Without one everything is its owner's alone.
    struct Modes {
        mode_t directory = 0700;
        mode_t file = 0600;
        gid_t group = static_cast<gid_t>(-1);

        bool hasGroup() const { return group != static_cast<gid_t>(-1); }
    };
    DWORD registryModes(Modes& modes) const;
    // For files and folders that are made for callers, in the home or elsewhere. A home that doesn't exist, or that
    // this account can't reach, has no group.
    DWORD fileModes(Modes& modes) const;
    bool hasGroup() const;
    // Gives a new file, so far its creator's alone, the group and mode of the home's files; but nobody gets rights that
    // he doesn't have in the `source` of its content. False with errno.
    bool admit(int file, const struct stat* source = nullptr) const;
    // For the objects' directory, and for an object that is its creator's alone.
    DWORD objectModes(Modes& modes) const;

  private:
    void adopt(const HomeSettings& settings) const;
    DWORD loadSettings() const;
    DWORD create() const;
    DWORD createLocks() const;
    bool mayReport() const;

    std::filesystem::path m_path;
    std::filesystem::path m_locks; // empty: in the home
    double m_timeScale = 1.0;
    std::optional<unsigned> m_codePageOverride;
    std::optional<bool> m_durableOverride;
    // Set while the home is made, by threads that all set the same: relaxed is enough.
    mutable std::atomic<unsigned> m_codePage{65001};
    mutable std::atomic<bool> m_durable{true};
    mutable std::atomic<bool> m_ready{false};
    mutable std::atomic<bool> m_reported{false};
};

// The home of this process.
const Home& home();
// mkdir -p; 0 or an error. A directory that another process makes meanwhile will do.
DWORD makeDirectories(const std::filesystem::path& path, const Home::Modes& modes);

// mapPath of the home of this process.
std::filesystem::path mapPath(std::string_view path);

} // namespace wd
