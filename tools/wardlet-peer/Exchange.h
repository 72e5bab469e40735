/* The service's side of one exchange. Each has its own waiting thread, since a wait takes only one object. */
#pragma once

#include "ExchangeObjects.h"
#include "Journal.h"

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

    /* Answers until `stopping` is set and wake() was called; calls `served` after each exchange. */
    void serve(Journal& journal, HANDLE stopping, const std::function<void()>& served);
    void wake();
    bool hasEvents() const { return m_objects.request != nullptr; }

  private:
    /* Journals the request and returns the reply to it. */
    std::int32_t hear(Journal& journal) const;
    bool asksForUrl() const;
    static std::int32_t tellUrlAnswer(nlohmann::ordered_json& rest);
    void answer(std::int32_t reply);

    const ExchangeKind& m_kind;
    const Behaviour m_behaviour;
    ExchangeObjects m_objects;
};

} // namespace wdlt
