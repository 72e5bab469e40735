// The open registry keys.
#pragma once

#include "HandleTable.h"

#include <platform/registry.h>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace wd {

class RegistryStore;

// What an open key stands for: a record of a store, by path and identity, and the access that it gives.
struct OpenKey {
    RegistryStore* store = nullptr;
    std::string_view path; // folded, from the root
    std::uint64_t identity = 0;
    REGSAM access = 0;
};

// An open key with its path's text in the slot; only a longer path needs the heap.
class KeptKey {
  public:
    static constexpr std::size_t kInlineBytes = 160;

    // `longPath` holds the path when it is too long for the slot.
    void keep(const OpenKey& key, std::string&& longPath) noexcept {
        m_key = key;
        if (key.path.size() <= m_path.size()) {
            key.path.copy(m_path.data(), key.path.size());
            m_key.path = {m_path.data(), key.path.size()};
        } else {
            m_longPath = std::move(longPath);
            m_key.path = m_longPath;
        }
    }
    const OpenKey& key() const { return m_key; }
    void closed() {}

  private:
    OpenKey m_key;
    std::string m_longPath;
    std::array<char, kInlineBytes> m_path;
};

using RegistryHandles = HandleTable<KeptKey, 0xA8>;

class HandleUse : public RegistryHandles::Use {
  public:
    const OpenKey& key() const { return payload().key(); }
};

inline HKEY openHandle(const OpenKey& key) {
    std::string longPath(key.path.size() <= KeptKey::kInlineBytes ? std::string_view() : key.path);
    return static_cast<HKEY>(RegistryHandles::open([&](KeptKey& kept) { kept.keep(key, std::move(longPath)); }));
}
inline bool closeHandle(HKEY handle) {
    return RegistryHandles::close(handle);
}

} // namespace wd
