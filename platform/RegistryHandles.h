// The table of open registry keys. A handle is a number (slot, generation), checked at each use and never followed, so
// a closed or made-up one is told from an open one. Lock-free: any thread, and a child of a fork goes on with the
// handles of its parent. Slots are never freed; one in use by another thread at the moment of a fork is lost to the
// child.
#pragma once

#include <platform/registry.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

namespace wd {

class RegistryStore;

// What an open key stands for: a record of a store, by path and identity, and what its holder may do.
struct OpenKey {
    RegistryStore* store = nullptr;
    std::string_view path; // folded, from the root
    std::uint64_t identity = 0;
    REGSAM access = 0;
};

struct HandleSlot;

// Keeps a handle's slot from being used again while a call works with it.
class HandleUse {
  public:
    HandleUse() = default;
    ~HandleUse();
    HandleUse(const HandleUse&) = delete;
    HandleUse& operator=(const HandleUse&) = delete;

    // False for a handle that isn't open. Once an object.
    bool acquire(HKEY handle);
    const OpenKey& key() const;

  private:
    HandleSlot* m_slot = nullptr;
};

// Null when memory or the table's range is exhausted.
HKEY openHandle(const OpenKey& key);
// False for a handle that isn't open. The slot is free once nobody uses it any more.
bool closeHandle(HKEY handle);

} // namespace wd
