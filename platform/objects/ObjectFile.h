// A named kernel object as a file in the objects' directory, mapped shared. Each process that has the object open holds
// an OFD read lock on its file, so the object exists as long as one of them lives. A creator tries for the write lock.
// If it gets it, nobody has the object: it initialises it and turns the lock into a read lock, atomically. Otherwise it
// joins. A crash in between leaves a file that nobody has locked, which the next creator initialises anew.
//
// The file of an object that everybody may open stays when the object ends, with its disk space: a reader's lock needs
// no new space on a full disk. Any other file goes with its object, since it would shut out the next user of the name.
//
// An object that this process closed may stay mapped without its lock, for the next creation under the name; until then
// it exists for nobody. It is mapped through a separate open file: a mapping keeps its open file alive, with the locks
// on it, even in the child of a fork. Not thread-safe by itself; its owner's lock guards it.
#pragma once

#include "LockDescriptor.h"
#include "SharedWord.h"

#include <platform/base.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <sys/stat.h>

namespace wd {

enum class ObjectKind : std::uint16_t { Any, Mutex, Event, Semaphore, Mapping };

constexpr std::size_t kObjectPage = 4096;
constexpr std::uint64_t kObjectBytesLimit = std::uint64_t{1} << 30;

// File size of an object with so many bytes of its own: the header's page, then whole pages.
constexpr std::size_t objectBytes(std::uint64_t bytes) {
    return kObjectPage + static_cast<std::size_t>((bytes + kObjectPage - 1) / kObjectPage * kObjectPage);
}

// The first page of an object; the bytes of a mapping follow it. Numbers only, any of which a stranger may change: a
// process copies those that it must rely on when it joins.
struct ObjectHeader {
    static constexpr std::uint32_t kMagic = 0x4F4B4457; // "WDKO"
    static constexpr std::uint16_t kVersion = 1;
    static constexpr std::size_t kTextBytes = 2048;

    std::atomic<std::uint32_t> magic; // stored last: makes the object valid
    std::atomic<std::uint16_t> version;
    std::atomic<std::uint16_t> kind;
    std::atomic<std::uint32_t> parameter; // event: 1 manual reset; semaphore: its maximum
    std::atomic<std::uint32_t> reserved;
    std::atomic<std::uint64_t> bytes;                   // of a mapping
    alignas(64) SharedWord word;                        // of a mapping: its mark (WdSetMappingMark)
    alignas(64) std::atomic<std::uint32_t> textChanges; // odd while the text changes
    std::atomic<std::uint32_t> textLength;
    std::atomic<char> text[kTextBytes]; // security descriptor as SDDL
};
static_assert(sizeof(ObjectHeader) <= kObjectPage && sizeof(std::atomic<char>) == 1);
static_assert(std::atomic<std::uint64_t>::is_always_lock_free);

// The object's security descriptor as text. A writer that died midway leaves garbage, which is read as an empty text.
void storeText(ObjectHeader& header, std::string_view text);
std::string loadText(const ObjectHeader& header);

// What to create, or what to expect of an existing object.
struct ObjectPlan {
    static constexpr mode_t kEverybody = 0666;
    static constexpr mode_t kCreatorAlone = 0; // ObjectSpace makes it 0600, or 0660 in a home with a group

    ObjectKind kind = ObjectKind::Any;
    bool mayCreate = false;
    bool ownedByCreator = false; // of a mutex: its creator holds it
    std::uint32_t parameter = 0;
    std::uint64_t bytes = 0;
    std::uint64_t word = 0;
    mode_t mode = kCreatorAlone;
    std::string_view text;
};

class ObjectFile {
  public:
    ObjectFile() = default;
    // `name` is the file's name in the directory.
    ObjectFile(int directory, std::string name) : m_directory(directory), m_name(std::move(name)) {}
    ObjectFile(ObjectFile&& other) noexcept;
    ObjectFile& operator=(ObjectFile&& other) noexcept;
    ~ObjectFile() { forget(); }

    // Creates or joins. 0 with `existed`; ERROR_FILE_NOT_FOUND: nobody has it and it may not be created;
    // ERROR_ACCESS_DENIED: no permission, or fewer bytes than planned; ERROR_INVALID_HANDLE: another kind;
    // ERROR_INVALID_DATA: in use with an unknown layout; ERROR_SHARING_VIOLATION: a creator that doesn't finish.
    DWORD acquire(const ObjectPlan& plan, bool& existed);
    // Closes the object; its file and memory stay for the next acquire.
    void leave();
    // Closes the object for good, and removes its file unless somebody else has it or it is one that stays.
    void discard();
    // Whether another process has a lock on the file: it has the object open, or is about to.
    bool isOpenElsewhere() const;
    // Removes the file of an object that nobody else has. The lock stays, so that whoever has opened the file already
    // starts over.
    void removeIfAlone() const;
    // Drops file and memory without touching a lock, as a child of a fork does with its parent's.
    void forget();

    const std::string& name() const { return m_name; }
    // The file's mode when this process last looked.
    mode_t mode() const { return m_mode; }
    DWORD readMode(mode_t& mode);
    DWORD changeMode(mode_t mode);
    // Somebody has removed the file by hand: newcomers make another object of the name.
    bool wasRemoved() const;
    ObjectHeader* header() const { return static_cast<ObjectHeader*>(m_memory); }
    std::size_t mappedBytes() const { return m_mapped; }
    // Of a mapping: its actual bytes, whatever the header says by now.
    std::uint64_t bytes() const { return m_bytes; }
    std::uint32_t parameter() const { return m_parameter; }
    ObjectKind kind() const { return m_kind; }

    // Maps this object over `old`, which has the same size, so that addresses inside it stay valid; `old` becomes this
    // object, and this one is empty then. Touches no lock of `old`.
    DWORD takePlaceOf(ObjectFile& old);

  private:
    enum class Step { Done, StartOver, Failed };

    DWORD openOrMake(const ObjectPlan& plan);
    Step settle(const ObjectPlan& plan, bool& existed, DWORD& error);
    Step examine(struct stat& status, DWORD& error) const;
    Step create(const ObjectPlan& plan, DWORD& error);
    Step join(const ObjectPlan& plan, DWORD& error);
    void invalidate(const struct stat& status) const;
    DWORD layDown(const ObjectPlan& plan, const struct stat& status);
    void* mapAt(void* place, std::size_t size) const;
    DWORD map(std::size_t size);
    void unmap();
    void removeName() const;

    int m_directory = -1;
    std::string m_name;
    LockDescriptor m_file;
    mode_t m_mode = 0;
    void* m_memory = nullptr;
    std::size_t m_mapped = 0;
    ObjectKind m_kind = ObjectKind::Any;
    std::uint32_t m_parameter = 0;
    std::uint64_t m_bytes = 0;
};

// The file name for an object's name; awkward bytes are escaped. Empty when it would be too long.
std::string objectFileName(std::string_view name);

} // namespace wd
