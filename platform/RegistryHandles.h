// The open registry keys.
#pragma once

#include "HandleTable.h"

#include <platform/registry.h>

#include <array>
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

// An open key with its path's text in the slot; only a longer one needs the heap.
class KeptKey {
  public:
    void keep(const OpenKey& key) {
        m_key = key;
        if (key.path.size() <= m_path.size()) {
            key.path.copy(m_path.data(), key.path.size());
            m_key.path = {m_path.data(), key.path.size()};
        } else {
            m_longPath = key.path;
            m_key.path = m_longPath;
        }
    }
    const OpenKey& key() const { return m_key; }
    void closed() {}

  private:
    OpenKey m_key;
    std::string m_longPath;
    std::array<char, 160> m_path;
};

using RegistryHandles = HandleTable<KeptKey, 0xA6>;

class HandleUse : public RegistryHandles::Use {
  public:
    const OpenKey& key() const { return payload().key(); }
};

inline HKEY openHandle(const OpenKey& key) {
    return static_cast<HKEY>(RegistryHandles::open([&](KeptKey& kept) { kept.keep(key); }));
}
inline bool closeHandle(HKEY handle) {
    return RegistryHandles::close(handle);
}

} // namespace wd
