// A home's disk, as a power cut leaves it: the record of one run, from which the home can be laid down as after any
// number of its changes, less those that nothing had brought to the disk by then.
#pragma once

#include "TracedChild.h"

#include <filesystem>
#include <map>
#include <string>
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
        enum What { Bytes, Size, Named, Unnamed, Synced, FolderSynced } what;
        ino_t node = 0;        // of the file
        std::string name = {}; // below the home
        std::string bytes = {};
        std::size_t at = 0; // or the size
        bool isOnDisk = false;
    };

    std::string below(const std::filesystem::path& path) const;
    std::string pathOf(const TracedChild& child, std::uint64_t folder, std::uint64_t text) const;
    void rename(const std::string& from, const std::string& to);

    const std::filesystem::path m_home;
    std::map<ino_t, std::string> m_nodes; // as it was before
    std::map<std::string, ino_t> m_names;
    std::vector<std::string> m_folders;
    std::vector<Event> m_events;
};
