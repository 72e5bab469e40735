// The registry key of each section of each address, found once and kept while the registry's state proves that nothing
// has changed: which handler serves a protocol, what its scan folder is, the key's path, the key opened for reading.
//
// What makes it right: all that is kept was read in one state of the registry, between two looks that gave that state,
// and each use looks whether a read would still see it. What can't be proved so is used once, for the call that asked:
// inside a batch, after a read that failed for a reason of the moment, and what such a read has logged is logged again.
#pragma once

#include "HandlerDirectory.h"
#include "KeyReading.h"

#include <platform/registry_state.h>

#include <map>
#include <memory>
#include <string>
#include <tuple>

namespace wdlt {

// For one caller at a time.
class Sections {
  public:
    // Valid until the next call.
    const ReadableKey& keyOf(DWORD protocol, DWORD scan, DWORD input, const char* section);

  private:
    using Address = std::tuple<DWORD, DWORD, DWORD, std::string>;

    const ReadableKey& find(const Address& address, bool& isTorn);
    void forget();

    WdRegistryState m_state{}; // of everything below; zeros: not proved
    HandlerDirectory m_handlers;
    std::map<Address, ReadableKey> m_keys;
};

// Those of this process, lent to one caller at a time; without a free one the caller gets a new one. No lock: a child of
// a fork finds all but those that were lent to other threads.
class LentSections {
  public:
    LentSections();
    ~LentSections();
    LentSections(const LentSections&) = delete;
    LentSections& operator=(const LentSections&) = delete;

    Sections* operator->() const { return m_sections.get(); }

  private:
    std::unique_ptr<Sections> m_sections;
};

} // namespace wdlt
