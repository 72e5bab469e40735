// The processes of one home: a row for each, whose byte in the table's file it holds a lock on for as long as it lives.
// So the system itself knows who is dead, whatever the table's memory says. The lock is one of the open file, which no
// other code of the program can drop by opening and closing the table; a child of a fork closes it and claims a row of
// its own. A stray copy of that open file (a bare clone has one) may outlive the process: so the row's process must be
// there too. A row is claimed before its generation is raised: until that is done, tags of its dead predecessor look
// alive.
#pragma once

#include "LockDescriptor.h"
#include "SharedWord.h"

#include <platform/base.h>

#include <array>
#include <atomic>
#include <cstdint>

namespace wd {

struct ProcessState;

class ProcessTable {
  public:
    ProcessTable() = default;
    ProcessTable(const ProcessTable&) = delete;
    ProcessTable& operator=(const ProcessTable&) = delete;

    // Claims a row for this process, if it has none yet, in the table of the objects' directory `directory`. Called
    // anew in a child of a fork. 0; 8: all rows are taken; 13: the table in use is of a layout unknown here; 32:
    // another copy of the layer in this process has a row: two would take each other's objects for another process's.
    DWORD claim(int directory);

    // This process; 0 before it has a row.
    Tag own() const { return m_own.load(std::memory_order_relaxed); }
    // Whether the process of a tag lives, whatever role the tag has. What can't be told counts as alive.
    bool isAlive(Tag tag) const;

  private:
    static constexpr std::uint32_t kRows = 4096; // row 0 is nobody's: its byte guards the layout

    struct Row;
    struct Layout;

    static FileDescriptor openFile(int directory);
    DWORD open(int directory);
    DWORD checkLayout();
    bool isGone(const Row& row) const;

    LockDescriptor m_file; // mapped through another open file, which a child may keep
    Layout* m_layout = nullptr;
    std::atomic<Tag> m_own{0};
    const ProcessState* m_claimant = nullptr; // whose tag that is
    std::uint64_t m_namespaces = 0;           // that this process lives in
    // When a row's process was found alive, in milliseconds of the clock.
    mutable std::array<std::atomic<std::uint32_t>, kRows> m_seen{};
};

} // namespace wd
