// libWdMsg.so: a charset library. A locator wraps a caller's buffer; a conversion goes from the content of one to the
// buffer of another.
//
// Any number of callers in a process may start and stop it, each start with its own stop; any thread may convert in
// between. A conversion that fails zeroes the whole target buffer, unless an argument was null.
#include "Charsets.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <exception>
#include <memory>
#include <optional>
#include <string>

namespace {

constexpr int kMemory = 1; // the only kind of locator
constexpr std::uint32_t kLoading = 1;

constexpr std::uint8_t kYes = 1;
constexpr std::uint8_t kNo = 0;

constexpr std::int32_t kConverted = 0;
constexpr std::int32_t kNotStarted = 1;
constexpr std::int32_t kInvalidArgument = 2;
constexpr std::int32_t kRefused = 3;
constexpr std::int32_t kTooSmall = 4;
constexpr std::int32_t kNoMemory = 5;

std::atomic<std::uint32_t> starts{0};

struct Locator {
    char* buffer;
    std::uint32_t bufferSize;
    std::uint32_t contentSize;
};

std::int32_t convertContent(const Locator& source, const char* from, Locator& target, const char* to,
                            std::uint32_t& size) {
    const std::uint32_t room = std::min(size, target.bufferSize);
    std::optional<wdmsg::Text> text;
    try {
        text = wdmsg::convert({source.buffer, source.contentSize}, from, to);
    } catch (const std::exception&) {
        return kNoMemory;
    }
    if (!text)
        return kRefused;
    if (text->size() > room)
        return kTooSmall;
    text->copy(target.buffer, room);
    size = target.contentSize = static_cast<std::uint32_t>(text->size());
    return kConverted;
}

} // namespace

#ifndef WDMSG_ENTRY
#define WDMSG_ENTRY extern "C" __attribute__((visibility("default")))
#endif

// Called by the layer's loader. Without ICU's tables the library doesn't load.
WDMSG_ENTRY int WdLibraryEntry(void*, std::uint32_t reason) {
    return reason != kLoading || wdmsg::startCharsets() ? 1 : 0;
}

WDMSG_ENTRY std::uint8_t WdMsg_Initialize() {
    ++starts;
    return kYes;
}

// A stop without a start is refused.
WDMSG_ENTRY std::uint8_t WdMsg_UnInitialize() {
    std::uint32_t count = starts;
    while (count != 0 && !starts.compare_exchange_weak(count, count - 1)) {
    }
    return count != 0 ? kYes : kNo;
}

// The last argument is ignored. Null for a null buffer, an unknown kind, or more content than buffer.
WDMSG_ENTRY void* WdMsg_CreateResourceLocator(void* buffer, int kind, std::uint32_t bufferSize,
                                              std::uint32_t contentSize, std::uint8_t) {
    if (buffer == nullptr || kind != kMemory || contentSize > bufferSize)
        return nullptr;
    return new (std::nothrow) Locator{static_cast<char*>(buffer), bufferSize, contentSize};
}

WDMSG_ENTRY void WdMsg_DeleteResourceLocator(void* locator) {
    const std::unique_ptr<Locator> owned(static_cast<Locator*>(locator));
}

// `size` limits the use of the target buffer, and receives the number of bytes written. What can't be converted is
// refused, so the substitute is never used.
WDMSG_ENTRY std::int32_t WdMsg_CharsetConverterResource(void* source, const char* from, void* target, const char* to,
                                                        std::uint32_t* size, std::uint8_t,
                                                        std::uint8_t /*substitute*/) {
    if (source == nullptr || from == nullptr || target == nullptr || to == nullptr || size == nullptr)
        return kInvalidArgument;
    auto& output = *static_cast<Locator*>(target);
    const std::int32_t result =
        starts == 0 ? kNotStarted : convertContent(*static_cast<const Locator*>(source), from, output, to, *size);
    if (result != kConverted) {
        std::memset(output.buffer, 0, output.bufferSize);
        output.contentSize = 0;
    }
    return result;
}
