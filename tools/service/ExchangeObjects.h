/* The objects of one exchange, which the service creates: the memory into which a sender writes its record, the event
   that it sets to ask, and the event that answers it. Whoever creates them while others have them shares them. */
#pragma once

#include "Objects.h"

#include <string>

namespace wdlt {

/* What the names of the two exchanges that have a memory begin with. */
inline constexpr const char* kConfigStem = "wdlt_config_change_evt";
inline constexpr const char* kActionStem = "wdlt_action";

inline constexpr const char* kRequestEnd = "_WdEvent";
inline constexpr const char* kReplyEnd = "_WdEvent_ret";
inline constexpr DWORD kConfigBytes = 8; /* protocol and scan */

/* Each member may be null: there is no such object. */
struct ExchangeObjects {
    /* Both are LayerErrors when they fail. The events first: a sender that finds the memory must find them too. */
    void makeEvents(const std::string& stem, const char* requestEnd, const char* replyEnd);
    void makeMemory(const std::string& stem, DWORD bytes);

    Object request;
    Object reply;
    Memory memory;
    /* The memory existed before: somebody else serves it, or a sender has it until its change is answered. */
    bool foundMemory = false;
};

/* Somebody has the memory of that exchange open. */
bool hasMemory(const std::string& stem);

/* Held by the program that hears change notifications for as long as no service does. It shares the objects with a
   service that starts, and leaves them to it. */
inline constexpr const char* kStandInMutex = "wardlet_acl_mutex";

} // namespace wdlt
