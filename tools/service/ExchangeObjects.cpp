#include "ExchangeObjects.h"

namespace wdlt {
namespace {

constexpr const char* kMemoryEnd = "_WdMemory";

} // namespace

bool hasMemory(const std::string& stem) {
    const Object memory(OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, ("Global\\" + stem + kMemoryEnd).c_str()));
    return memory != nullptr;
}

void ExchangeObjects::makeEvents(const std::string& stem, const char* requestEnd, const char* replyEnd) {
    auto made = createEvent(stem + requestEnd);
    // Left over from a service that is gone, kept open by a sender still waiting for its answer. Where the record of that
    // request is gone too, there is nothing to hear or answer.
    if (made.wasThere && !hasMemory(stem))
        ResetEvent(made.object.get());
    request = std::move(made.object);
    reply = createEvent(stem + replyEnd).object;
}

void ExchangeObjects::makeMemory(const std::string& stem, DWORD bytes) {
    auto made = createMemory(stem + kMemoryEnd, bytes);
    memory = std::move(made.object);
    foundMemory = made.wasThere;
}

} // namespace wdlt
