// A home's disk, as a power cut leaves it: the record of one run, from which the home can be laid down as after any
// number of its calls, less those that nothing had brought to the disk by then.
#pragma once

#include "TracedChild.h"

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <sys/stat.h>
#include <vector>

class DiskRecord final : public TracedChild::Watcher {
  public:
    // What the home holds now is on the disk.
    explicit DiskRecord(std::filesystem::path home);

    TracedChild::Fate before(const TracedChild&, const SystemCall&) override { return {}; }
    void behind(const TracedChild& child, const SystemCall& call, std::int64_t result) override;

    std::size_t count() const { return m_events.size(); }
    // Those of the first `count` events that the disk may have lost then.
    std::vector<std::size_t> unsynced(std::size_t count) const;
    void lay(std::size_t count, const std::vector<std::size_t>& lost) const;

  private:
    struct Event {
        enum What { Bytes, Size, Named, Unnamed, Folder, Synced, FolderSynced } what;
        ino_t node = 0;    // of a file
        std::string name;  // below the home
        std::string bytes; // or the name that it had before
        off_t at = 0;      // or its size
        bool isOnDisk = false;
    };
    struct Open {
        struct stat status;
        off_t position;
        int flags;
        std::string name;
    };

    Open open(const TracedChild& child, std::uint64_t file) const;
    std::string path(const TracedChild& child, std::uint64_t folder, std::uint64_t text) const;
    std::string below(const std::filesystem::path& path) const;
    void written(const TracedChild& child, const SystemCall& call, off_t at, std::int64_t count);
    void opened(const TracedChild& child, const SystemCall& call, std::int64_t file);
    void named(const std::string& name, const std::string& before);

    const std::filesystem::path m_home;
    std::map<ino_t, std::string> m_nodes; // as it was before
    std::map<std::string, ino_t> m_names;
    std::set<std::string> m_folders;
    std::set<ino_t> m_known;
    std::vector<Event> m_events;
};
