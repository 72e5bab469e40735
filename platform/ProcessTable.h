// The processes of one home: a row for each, whose byte in the table's file it holds a POSIX record lock on for as long
// as it lives. So the system itself knows who is dead, whatever the table's memory says. The file is never closed,
// since any close of it in this process drops the lock; a child of a fork inherits no lock and claims a row of its own.
// A row is claimed before its generation is raised: until that is done, tags of its dead predecessor look alive.
#pragma once

#include "FileDescriptor.h"
#include "SharedWord.h"

#include <platform/base.h>

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
    // another copy of the layer in this process has a row, and closing or locking the file twice would undo its lock.
    DWORD claim(int directory);

    // This process; 0 before it has a row.
    Tag own() const { return m_own.load(std::memory_order_relaxed); }
    // Whether the process of a tag lives, whatever role the tag has. What can't be told counts as alive.
    bool isAlive(Tag tag) const;

  private:
    struct Layout;

    DWORD open(int directory);
    DWORD checkLayout();

    FileDescriptor m_file;
    Layout* m_layout = nullptr;
    std::atomic<Tag> m_own{0};
    const ProcessState* m_claimant = nullptr; // whose tag that is
};

} // namespace wd
