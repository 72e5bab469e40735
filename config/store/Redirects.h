// The redirects of one protocol handler: subkeys of its key's "Redirect", one for each session. Every operation takes
// wdlt_config_redirect_mutex, with a handle of its own; if it can't, a change fails and a read goes on without it.
#pragma once

#include "Mutex.h"
#include "WdchHelper.h"

#include <wdltcfg/records.h>

#include <cstdint>
#include <span>

namespace wdlt {

class Redirects {
  public:
    // `handler` is the helper of the handler's address.
    explicit Redirects(WdchHelper& handler) : m_handler(handler) {}

    // 0 for a handler that has no list.
    std::uint32_t count() const;
    // Fills as many records as there is room for, in the registry's order. A value that can't be read takes its
    // default.
    void read(std::span<BYTE> records) const;

    // One WdchSystemRedirect. WDLT_E_GENERAL for another size or without the mutex, WDLT_E_INVALID_ARGUMENT without a
    // session's name, without data, and without anything that the rule could apply to; else the store's status. The
    // values of an existing session are overwritten one by one.
    [[nodiscard]] std::int32_t add(const void* data, std::uint64_t size) const;
    // Deletes the session of its sessionType. WDLT_E_NOT_FOUND when there is none.
    [[nodiscard]] std::int32_t remove(const void* data, std::uint64_t size) const;

  private:
    WdchSystemRedirect readOne(const std::string& name) const;
    void readTarget(const char* section, WdchSystemRedirect& redirect) const;
    bool readNumber(const char* section, const char* name, std::uint32_t& number) const;

    WdchHelper& m_handler;
};

// Keeps the mutex in being over several operations, without holding it: those then find it open in this process, where
// each alone would have to make it anew.
class RedirectMutexKept {
  public:
    RedirectMutexKept();

  private:
    CWdMutex m_mutex;
};

} // namespace wdlt
