// The redirects of one protocol handler: subkeys of its key's "Redirect", one for each session. Every operation holds
// wdlt_config_redirect_mutex, made for that operation alone, so the list is seen whole by all processes.
#pragma once

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

    // One WdchSystemRedirect. WDLT_E_GENERAL for another size, WDLT_E_INVALID_ARGUMENT without a session's name,
    // without data, and without anything that the rule could apply to; else the store's status. An existing session is
    // written over value by value.
    [[nodiscard]] std::int32_t add(const void* data, std::uint64_t size) const;
    // Its sessionType counts. WDLT_E_NOT_FOUND for a session that isn't there.
    [[nodiscard]] std::int32_t remove(const void* data, std::uint64_t size) const;

  private:
    WdchSystemRedirect readOne(const std::string& name) const;
    void readTarget(const char* section, WdchSystemRedirect& redirect) const;
    bool readNumber(const char* section, const char* name, DWORD& number) const;

    WdchHelper& m_handler;
};

} // namespace wdlt
