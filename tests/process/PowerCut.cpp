#include "PowerCut.h"

#include <algorithm>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>

namespace {

namespace fs = std::filesystem;

struct stat statusOf(const fs::path& path) {
    struct stat status {};
    stat(path.c_str(), &status);
    return status;
}

// The position and flags of a process's open file.
std::pair<std::size_t, int> stateOf(const fs::path& descriptor) {
    std::ifstream info(descriptor.parent_path().parent_path() / "fdinfo" / descriptor.filename());
    std::string word;
    std::size_t position = 0;
    int flags = 0;
    info >> word >> position >> word >> std::oct >> flags;
    return {position, flags};
}

std::string written(const TracedChild& child, const SystemCall& call, std::size_t count) {
    if (call.number != SYS_writev)
        return child.bytes(call.arguments[1], count);
    std::string bytes;
    for (std::uint64_t i = 0; i < call.arguments[2]; ++i) {
        iovec piece{};
        child.bytes(call.arguments[1] + i * sizeof piece, sizeof piece)
            .copy(reinterpret_cast<char*>(&piece), sizeof piece);
        bytes += child.bytes(reinterpret_cast<std::uint64_t>(piece.iov_base), piece.iov_len);
    }
    return bytes.substr(0, count);
}

} // namespace

DiskRecord::DiskRecord(fs::path home) : m_home(std::move(home)) {
    for (const auto& entry : fs::recursive_directory_iterator(m_home)) {
        if (!entry.is_regular_file()) {
            m_folders.push_back(below(entry.path()));
            continue;
        }
        const ino_t node = m_names[below(entry.path())] = statusOf(entry.path()).st_ino;
        std::ifstream file(entry.path(), std::ios::binary);
        m_nodes[node].assign(std::istreambuf_iterator<char>(file), {});
    }
}

std::string DiskRecord::below(const fs::path& path) const {
    return path.lexically_normal().lexically_relative(m_home);
}

std::string DiskRecord::pathOf(const TracedChild& child, std::uint64_t folder, std::uint64_t text) const {
    const bool isCurrent = static_cast<int>(folder) == AT_FDCWD;
    return below((isCurrent ? fs::path() : fs::read_symlink(child.descriptor(folder))) / child.text(text));
}

void DiskRecord::rename(const std::string& from, const std::string& to) {
    if (fs::is_regular_file(m_home / to))
        m_events.push_back({Event::Named, statusOf(m_home / to).st_ino, to, from});
}

// New folders are assumed to be durable at once. Calls that aren't handled here are never made on a home's files.
void DiskRecord::behind(const TracedChild& child, const SystemCall& call, std::int64_t result) {
    const auto& a = call.arguments;
    const auto here = static_cast<std::uint64_t>(AT_FDCWD);
    const bool isOpen = call.number == SYS_open || call.number == SYS_openat;
    const fs::path file = child.descriptor(isOpen ? static_cast<std::uint64_t>(result) : a[0]);
    const struct stat status = statusOf(file);
    const auto size = static_cast<std::size_t>(status.st_size);
    switch (call.number) {
    case SYS_open:
    case SYS_openat: {
        const auto flags = a[call.number == SYS_open ? 1 : 2];
        if (S_ISREG(status.st_mode) && size == 0 && (flags & (O_CREAT | O_TRUNC)) != 0) {
            m_events.push_back({Event::Size, status.st_ino});
            m_events.push_back({Event::Named, status.st_ino, below(fs::read_symlink(file))});
        }
        return;
    }
    case SYS_write:
    case SYS_writev:
    case SYS_pwrite64: {
        if (!S_ISREG(status.st_mode))
            return;
        const auto [position, flags] = stateOf(file);
        const auto count = static_cast<std::size_t>(result);
        const std::size_t at = call.number == SYS_pwrite64 ? a[3] : position - count;
        return m_events.push_back(
            {Event::Bytes, status.st_ino, {}, written(child, call, count), at, (flags & O_DSYNC) != 0});
    }
    case SYS_ftruncate:
    case SYS_fallocate:
        return m_events.push_back({Event::Size, status.st_ino, {}, {}, size});
    case SYS_rename:
        return rename(pathOf(child, here, a[0]), pathOf(child, here, a[1]));
    case SYS_linkat:
        return rename({}, pathOf(child, a[2], a[3]));
    case SYS_unlink:
        return m_events.push_back({Event::Unnamed, 0, pathOf(child, here, a[0])});
    case SYS_unlinkat:
        return m_events.push_back({Event::Unnamed, 0, pathOf(child, a[0], a[1])});
    case SYS_fsync:
    case SYS_fdatasync:
        return m_events.push_back({S_ISDIR(status.st_mode) ? Event::FolderSynced : Event::Synced, status.st_ino,
                                   below(fs::read_symlink(file))});
    default:
        return;
    }
}

std::vector<std::size_t> DiskRecord::unsynced(std::size_t count) const {
    std::vector<std::size_t> found;
    const auto end = m_events.begin() + static_cast<std::ptrdiff_t>(count);
    for (auto event = m_events.begin(); event != end; ++event) {
        const bool isOfFile = event->what == Event::Bytes || event->what == Event::Size;
        const fs::path folder = fs::path(event->name).parent_path();
        const bool isBrought =
            event->isOnDisk || std::any_of(event, end, [&](const Event& later) {
                return isOfFile ? later.what == Event::Synced && later.node == event->node
                                : later.what == Event::FolderSynced && later.name == (folder.empty() ? "." : folder);
            });
        if (!isBrought && event->what != Event::Synced && event->what != Event::FolderSynced)
            found.push_back(static_cast<std::size_t>(event - m_events.begin()));
    }
    return found;
}

void DiskRecord::lay(std::size_t count, const std::vector<std::size_t>& lost) const {
    auto nodes = m_nodes;
    auto names = m_names;
    for (std::size_t i = 0; i < count; ++i) {
        const Event& event = m_events[i];
        if (std::ranges::count(lost, i) != 0)
            continue;
        std::string& content = nodes[event.node];
        if (event.what == Event::Bytes) {
            content.resize(std::max(content.size(), event.at + event.bytes.size()));
            content.replace(event.at, event.bytes.size(), event.bytes);
        } else if (event.what == Event::Size)
            content.resize(event.at);
        else if (event.what == Event::Named) {
            names.erase(event.bytes);
            names[event.name] = event.node;
        } else if (event.what == Event::Unnamed)
            names.erase(event.name);
    }
    for (const auto& entry : fs::directory_iterator(m_home))
        fs::remove_all(entry);
    const auto makeFolder = [&](const fs::path& folder) {
        if (fs::create_directories(folder))
            fs::permissions(folder, fs::perms(02770));
    };
    for (const std::string& folder : m_folders)
        if (!folder.starts_with("objects"))
            makeFolder(m_home / folder);
    for (const auto& [name, node] : names)
        if (!name.starts_with("objects") && !name.starts_with("..")) {
            makeFolder((m_home / name).parent_path());
            std::ofstream(m_home / name, std::ios::binary) << nodes[node];
            fs::permissions(m_home / name, fs::perms(name == "settings" ? 0664 : 0660));
        }
}
