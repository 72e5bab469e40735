// A home's disk after a power cut: records the changes of one run, and can restore the home as after any number of
// them, without some or all of those that weren't synced by then.
#pragma once

#include "TracedChild.h"

#include <filesystem>
#include <map>
#include <string>
#include <vector>

class DiskRecord final : public TracedChild::Watcher {
  public:
    // Takes the home's present content as synced.
    explicit DiskRecord(std::filesystem::path home);

    TracedChild::Fate before(const TracedChild&, const SystemCall&) override { return {}; }
    void behind(const TracedChild& child, const SystemCall& call, std::int64_t result) override;

    std::size_t count() const { return m_events.size(); }
    // Indexes of those of the first `count` events that a power cut at that point may lose.
    std::vector<std::size_t> unsynced(std::size_t count) const;
    void lay(std::size_t count, const std::vector<std::size_t>& lost) const;

  private:
    struct Event {
        enum What { Bytes, Size, Named, Unnamed, Synced, FolderSynced } what;
        ino_t node = 0;        // the file's inode
        std::string name = {}; // relative to the home
        std::string bytes = {};
        std::size_t at = 0; // offset, or the new size
        bool isOnDisk = false;
    };

    std::string below(const std::filesystem::path& path) const;
    std::string pathOf(const TracedChild& child, std::uint64_t folder, std::uint64_t text) const;
    void rename(const std::string& from, const std::string& to);

    const std::filesystem::path m_home;
    std::map<ino_t, std::string> m_nodes; // content before the run
    std::map<std::string, ino_t> m_names;
    std::vector<std::string> m_folders;
    std::vector<Event> m_events;
};
