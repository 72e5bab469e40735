// The home: the directory of the layer's state, what its `settings` file says, and the environment variables that
// override it. One object a process, made at the first call of home(); never destroyed, since open keys and locks refer
// to it. Safe from any thread and in the child of a fork: no lock of this process is involved.
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

    // Unknown names are passed over, so that a newer library may add some; no value for a text that isn't settings.
    static std::optional<HomeSettings> parse(std::string_view text);
    std::string text() const;
};

class Home {
  public:
    // Looks at the environment and at the settings, makes nothing.
    Home();
    explicit Home(std::filesystem::path path);
    Home(const Home&) = delete;
    Home& operator=(const Home&) = delete;

    const std::filesystem::path& path() const { return m_path; }
    std::filesystem::path registryPath() const { return m_path / "registry"; }
    std::filesystem::path objectsPath() const { return m_path / "objects"; }

    unsigned codePage() const { return m_codePage.load(std::memory_order_relaxed); }
    bool durable() const { return m_durable.load(std::memory_order_relaxed); }
    // Factor for the waits of the system (60 s, 100 ms); 1 without WARDLET_TIME_SCALE.
    double timeScale() const { return m_timeScale; }

    // Makes what is missing: the directory, its settings, the registry's directory. However many processes do so at
    // once, each thing appears whole and all agree. 0, or the error; a home with a newer layout is refused with a line
    // on stderr.
    DWORD ensure() const;
    // The same for the objects' directory too, which is everybody's; a home made before there were any lacks it.
    DWORD ensureObjects() const;

    // The file that a path means: `\` and `/` separate, a leading "X:" is the directory drive_x of the home, which ".."
    // doesn't leave; other paths are the system's own. `path` is in the system code page.
    std::filesystem::path mapPath(std::string_view path) const;

    // Whether the home has a group of its own (its set-group-id bit), to which what is made in it then belongs, and the
    // modes that follow from it. Without one everything is its owner's alone.
    struct Modes {
        mode_t directory = 0700;
        mode_t file = 0600;
        gid_t group = static_cast<gid_t>(-1);

        bool hasGroup() const { return group != static_cast<gid_t>(-1); }
    };
    DWORD registryModes(Modes& modes) const;
    // Of files and folders that are made for callers, in the home or elsewhere. A home that isn't there, or that this
    // account doesn't get to, has no group.
    DWORD fileModes(Modes& modes) const;
    bool hasGroup() const;
    // Gives a new file, its maker's alone so far, to whom the home's files belong; but to nobody who has no rights in
    // the `source` of its content. False with errno.
    bool admit(int file, const struct stat* source = nullptr) const;
    // Of the objects' directory, and of an object that is its creator's alone.
    DWORD objectModes(Modes& modes) const;

  private:
    void adopt(const HomeSettings& settings) const;
    DWORD loadSettings() const;
    DWORD create() const;
    bool mayReport() const;

    std::filesystem::path m_path;
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
// mkdir -p; 0 or an error. A directory that another process makes meanwhile is as good.
DWORD makeDirectories(const std::filesystem::path& path, const Home::Modes& modes);

// mapPath of the home of this process.
std::filesystem::path mapPath(std::string_view path);

} // namespace wd
