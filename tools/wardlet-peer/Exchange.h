/* The service's side of one exchange: the memory into which a sender writes its record, the event that it sets to ask,
   and the event that answers it. Each exchange has its own waiting thread, since a wait takes only one object. */
#pragma once

#include "Journal.h"
#include "Objects.h"

#include <array>
#include <cstdint>
#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <span>
#include <string>
#include <string_view>

namespace wdlt {

/* A record is a row of 32-bit little-endian numbers at the start of the memory; without numbers there is no memory. */
struct ExchangeKind {
    std::string_view name;
    std::string (*stem)(); /* what its objects' names begin with */
    const char* request;   /* what the events' names end in */
    const char* reply;
    std::span<const std::string_view> numbers;
    bool hasReply; /* the service writes its reply into the first number */
};

extern const std::array<ExchangeKind, 3> kExchangeKinds; /* change notifications, actions and the DRS signal */

struct Behaviour {
    bool hasMemory = true;
    bool hasEvents = true;
    bool isSilent = false;
    DWORD delay = 0; /* ms */
    std::int32_t reply = 0;
};

class Exchange {
  public:
    /* Creates the objects; throws a LayerError when that fails. */
    Exchange(const ExchangeKind& kind, const Behaviour& behaviour);

    /* Whether the memory existed before. A sender has the memory of a change notification open only for a moment, so
       finding it means that another service is running. */
    bool foundMemory() const { return m_foundMemory; }

    /* Answers until `stopping` is set and wake() was called; calls `served` after each exchange. */
    void serve(Journal& journal, HANDLE stopping, const std::function<void()>& served);
    void wake();
    bool hasEvents() const { return m_request != nullptr; }

  private:
    /* Journals the request and returns the reply to it. */
    std::int32_t hear(Journal& journal) const;
    bool asksForUrl() const;
    static std::int32_t tellUrlAnswer(nlohmann::ordered_json& rest);
    void answer(std::int32_t reply);

    const ExchangeKind& m_kind;
    const Behaviour m_behaviour;
    Object m_request;
    Object m_reply;
    Memory m_memory;
    bool m_foundMemory = false;
};

} // namespace wdlt
