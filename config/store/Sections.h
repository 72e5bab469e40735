// The registry key of each section of each address, found once and kept while the registry's state proves that nothing
// has changed: which handler serves a protocol, what its scan folder is, the key's path, the key opened for reading.
//
// What makes it right: all that is kept was read in one state of the registry, between two looks that gave that state,
// and each use looks before and behind its read whether that state is still the one. What can't be proved so is used
// once, for the call that asked: inside a batch, after a read that failed for a reason of the moment, and what such a
// read has logged is logged again.
#pragma once

#include "HandlerDirectory.h"
#include "KeyReading.h"

#include <platform/registry_state.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <tuple>

namespace wdlt {

// For one caller at a time.
class Sections {
  public:
    // What `read` gives of the key. It begins anew, with the key as it is then, when somebody wrote meanwhile: what was
    // read could be of a key that was no longer the one, or was gone.
    template <class Read>
    std::int32_t read(DWORD protocol, DWORD scan, DWORD input, const char* section, Read&& read) {
        for (int tries = 1;; ++tries) {
            const std::int32_t status = read(keyOf(protocol, scan, input, section));
            if (m_state.opening == 0 || tries == kTries || WdIsRegistryState(&m_state) != FALSE)
                return status;
        }
    }

  private:
    static constexpr int kTries = 16; // for an answer of one state
    using Address = std::tuple<DWORD, DWORD, DWORD, std::string>;

    // Valid until the next call.
    const ReadableKey& keyOf(DWORD protocol, DWORD scan, DWORD input, const char* section);
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
