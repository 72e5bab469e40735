#include "PowerCut.h"

#include <algorithm>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <sys/syscall.h>
#include <sys/uio.h>

namespace {

namespace fs = std::filesystem;

ino_t nodeOf(const fs::path& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

} // namespace

DiskRecord::DiskRecord(fs::path home) : m_home(std::move(home)) {
    for (const auto& entry : fs::recursive_directory_iterator(m_home)) {
        if (!entry.is_regular_file()) {
            m_folders.insert(below(entry.path()));
            continue;
        }
        const ino_t node = m_names[below(entry.path())] = nodeOf(entry.path());
        std::ifstream file(entry.path(), std::ios::binary);
        m_nodes[node].assign(std::istreambuf_iterator<char>(file), {});
        m_known.insert(node);
    }
}

std::string DiskRecord::below(const fs::path& path) const {
    return path.lexically_normal().lexically_relative(m_home);
}

DiskRecord::Open DiskRecord::open(const TracedChild& child, std::uint64_t file) const {
    Open open{};
    const fs::path link = child.descriptor(file);
    stat(link.c_str(), &open.status);
    open.name = below(fs::read_symlink(link));
    std::ifstream info(link.parent_path().parent_path() / "fdinfo" / link.filename());
    std::string word;
    info >> word >> open.position >> word >> std::oct >> open.flags;
    return open;
}

std::string DiskRecord::path(const TracedChild& child, std::uint64_t folder, std::uint64_t text) const {
    const bool isInCurrent = static_cast<int>(folder) == AT_FDCWD;
    return below((isInCurrent ? fs::path() : fs::read_symlink(child.descriptor(folder))) / child.text(text));
}

void DiskRecord::written(const TracedChild& child, const SystemCall& call, off_t at, std::int64_t count) {
    const Open file = open(child, call.arguments[0]);
    if (!S_ISREG(file.status.st_mode))
        return;
    std::string bytes;
    if (call.number == SYS_writev) {
        std::vector<iovec> pieces(call.arguments[2]);
        child.bytes(call.arguments[1], pieces.size() * sizeof(iovec))
            .copy(reinterpret_cast<char*>(pieces.data()), ~std::size_t{0});
        for (const iovec& piece : pieces)
            bytes += child.bytes(reinterpret_cast<std::uint64_t>(piece.iov_base), piece.iov_len);
    } else
        bytes = child.bytes(call.arguments[1], static_cast<std::size_t>(count));
    bytes.resize(static_cast<std::size_t>(count));
    m_events.push_back({Event::Bytes,
                        file.status.st_ino,
                        {},
                        bytes,
                        at < 0 ? file.position - count : at,
                        (file.flags & O_DSYNC) != 0});
}

void DiskRecord::opened(const TracedChild& child, const SystemCall& call, std::int64_t file) {
    const bool isAt = call.number == SYS_openat;
    const auto flags = static_cast<int>(call.arguments[isAt ? 2 : 1]);
    const Open made = open(child, static_cast<std::uint64_t>(file));
    if (!S_ISREG(made.status.st_mode))
        return;
    if (m_known.insert(made.status.st_ino).second && (flags & O_CREAT) != 0)
        m_events.push_back({Event::Named, made.status.st_ino, made.name, {}});
    else if ((flags & O_TRUNC) != 0)
        m_events.push_back({Event::Size, made.status.st_ino, {}, {}});
}

void DiskRecord::named(const std::string& name, const std::string& before) {
    if (fs::is_directory(m_home / name)) {
        m_events.push_back({Event::Folder, 0, name, before});
    } else
        m_events.push_back({Event::Named, nodeOf(m_home / name), name, before});
}

// What a call that isn't here does, no file of a home has done to it.
void DiskRecord::behind(const TracedChild& child, const SystemCall& call, std::int64_t result) {
    const auto& a = call.arguments;
    const auto here = static_cast<std::uint64_t>(AT_FDCWD);
    const auto node = [&](std::uint64_t file) { return open(child, file).status.st_ino; };
    switch (call.number) {
    case SYS_open:
    case SYS_openat:
        return opened(child, call, result);
    case SYS_write:
    case SYS_writev:
        return written(child, call, -1, result);
    case SYS_pwrite64:
        return written(child, call, static_cast<off_t>(a[3]), result);
    case SYS_ftruncate:
        return m_events.push_back({Event::Size, node(a[0]), {}, {}, static_cast<off_t>(a[1])});
    case SYS_fallocate:
        return m_events.push_back({Event::Size, node(a[0]), {}, {}, open(child, a[0]).status.st_size});
    case SYS_rename:
        return named(path(child, here, a[1]), path(child, here, a[0]));
    case SYS_linkat:
        return named(path(child, a[2], a[3]), {});
    case SYS_mkdir:
        return named(path(child, here, a[0]), {});
    case SYS_unlink:
        return m_events.push_back({Event::Unnamed, 0, path(child, here, a[0]), {}});
    case SYS_unlinkat:
        return m_events.push_back({Event::Unnamed, 0, path(child, a[0], a[1]), {}});
    case SYS_fsync:
    case SYS_fdatasync: {
        const Open file = open(child, a[0]);
        const bool isFolder = S_ISDIR(file.status.st_mode);
        return m_events.push_back({isFolder ? Event::FolderSynced : Event::Synced, file.status.st_ino, file.name, {}});
    }
    default:
        return;
    }
}

std::vector<std::size_t> DiskRecord::unsynced(std::size_t count) const {
    std::vector<std::size_t> found;
    for (std::size_t i = 0; i < count; ++i) {
        const Event& event = m_events[i];
        const bool isOfFile = event.what == Event::Bytes || event.what == Event::Size;
        const std::string folder = fs::path(event.name).has_parent_path() ? fs::path(event.name).parent_path() : ".";
        const auto brings = [&](const Event& later) {
            return isOfFile ? later.what == Event::Synced && later.node == event.node
                            : later.what == Event::FolderSynced && later.name == folder;
        };
        if (event.what != Event::Synced && event.what != Event::FolderSynced && !event.isOnDisk &&
            std::none_of(m_events.begin() + static_cast<std::ptrdiff_t>(i),
                         m_events.begin() + static_cast<std::ptrdiff_t>(count), brings))
            found.push_back(i);
    }
    return found;
}

void DiskRecord::lay(std::size_t count, const std::vector<std::size_t>& lost) const {
    auto nodes = m_nodes;
    auto names = m_names;
    auto folders = m_folders;
    for (std::size_t i = 0; i < count; ++i) {
        const Event& event = m_events[i];
        std::string& content = nodes[event.node];
        const auto at = static_cast<std::size_t>(event.at);
        if (std::ranges::count(lost, i) != 0)
            continue;
        if (event.what == Event::Bytes) {
            content.resize(std::max(content.size(), at + event.bytes.size()));
            content.replace(at, event.bytes.size(), event.bytes);
        } else if (event.what == Event::Size)
            content.resize(at);
        else if (event.what == Event::Named)
            names[event.name] = event.node;
        else if (event.what == Event::Folder)
            folders.insert(event.name);
        if (event.what == Event::Unnamed)
            names.erase(event.name);
        if (event.what == Event::Named || event.what == Event::Folder) {
            names.erase(event.bytes);
            folders.erase(event.bytes);
        }
    }
    for (const auto& entry : fs::directory_iterator(m_home))
        fs::remove_all(entry);
    for (const std::string& folder : folders) // parents come first
        if (fs::create_directory(m_home / folder))
            fs::permissions(m_home / folder, fs::perms(folder == "objects" ? 03777 : 02770));
    for (const auto& [name, node] : names)
        if (!name.starts_with("objects/") && fs::exists((m_home / name).parent_path())) {
            std::ofstream(m_home / name, std::ios::binary) << nodes[node];
            fs::permissions(m_home / name, fs::perms(name == "settings" ? 0664 : 0660));
        }
}
