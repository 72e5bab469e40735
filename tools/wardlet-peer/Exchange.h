/* The service's side of one exchange: the memory in which a sender lays its record, the event with which it asks, and
   the event that answers it. A thread of its own waits for each exchange, since a wait takes one object. */
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

/* A record is 32-bit little-endian numbers, from the memory's start; without numbers there is no memory. */
struct ExchangeKind {
    std::string_view name;
    std::string (*stem)(); /* of its objects' names */
    const char* request;   /* what the events' names end in */
    const char* reply;
    std::span<const std::string_view> numbers;
    bool hasReply; /* the first number is the service's to write */
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
    /* Makes the objects; a LayerError when that fails. */
    Exchange(const ExchangeKind& kind, const Behaviour& behaviour);

    /* The memory of a notification is in a sender's hands only for a moment: who finds it there has found another
       service. */
    bool foundMemory() const { return m_foundMemory; }

    /* Answers until `stopping` is set and wake() was called; `served` is called behind each exchange. */
    void serve(Journal& journal, HANDLE stopping, const std::function<void()>& served);
    void wake();
    bool hasEvents() const { return m_request != nullptr; }

  private:
    /* What to reply. */
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
