// The processes of one home. Each has a row, and holds a lock on that row's byte of the table's file for as long as it
// lives. So the kernel knows who is dead, whatever the table's memory says. The lock belongs to the open file, so no
// other code of the program can drop it by opening and closing the table; a child of a fork closes it and claims a row
// of its own. A stray copy of that open file (a bare clone has one) may outlive the process: so the row's process must
// exist too. A row is locked before its generation is raised: until then, tags of its dead predecessor look alive.
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

    // Claims a row for this process, if it has none yet, in the table in `directory` (the objects' directory). Called
    // again in a child of a fork. 0; ERROR_NOT_ENOUGH_MEMORY: all rows are taken; ERROR_INVALID_DATA: the table is in
    // use with an unknown layout; ERROR_SHARING_VIOLATION: another copy of the layer in this process has a row; each
    // would take the other's objects for another process's.
    DWORD claim(int directory);

    // This process's tag; 0 before it has a row.
    Tag own() const { return m_own.load(std::memory_order_relaxed); }
    // Whether the process of a tag lives, whatever the tag's role. What can't be told counts as alive.
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
    const ProcessState* m_claimant = nullptr; // the process that m_own stands for
    std::uint64_t m_namespaces = 0;           // of this process
    // When a row's process was last found alive, by GetTickCount64.
    mutable std::array<std::atomic<std::uint32_t>, kRows> m_seen{};
};

} // namespace wd
