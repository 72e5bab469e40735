#include "CharsetDouble.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

CharsetDouble state;

struct Locator {
    char* buffer;
    std::uint32_t size;
    std::uint32_t content;
};

} // namespace

#define DOUBLE_ENTRY extern "C" __attribute__((visibility("default")))

DOUBLE_ENTRY CharsetDouble* charsetDouble() {
    return &state;
}

DOUBLE_ENTRY int WdLibraryEntry(void*, std::uint32_t) {
    return std::getenv(kRefuseLoading) == nullptr ? 1 : 0;
}

DOUBLE_ENTRY std::uint8_t WdMsg_Initialize() {
    state.calls += "start ";
    return state.refusesStart ? 0 : 0x80;
}

DOUBLE_ENTRY std::uint8_t WdMsg_UnInitialize() {
    state.calls += "stop ";
    return state.refusesStop ? 0 : 0x80;
}

DOUBLE_ENTRY void* WdMsg_CreateResourceLocator(void* buffer, int kind, std::uint32_t size, std::uint32_t content,
                                               std::uint8_t option) {
    state.calls += "create(" + std::to_string(kind) + "," + std::to_string(size) + "," + std::to_string(content) + "," +
                   std::to_string(option) + ") ";
    if (state.refusedLocator > 0 && --state.refusedLocator == 0)
        return nullptr;
    ++state.locators;
    return new Locator{static_cast<char*>(buffer), size, content};
}

DOUBLE_ENTRY void WdMsg_DeleteResourceLocator(void* locator) {
    state.calls += static_cast<Locator*>(locator)->content != 0 ? "delete-source " : "delete-target ";
    --state.locators;
    delete static_cast<Locator*>(locator);
}

// Converts nothing: a copy with the names in front, and what a library may leave behind when it refuses.
DOUBLE_ENTRY std::int32_t WdMsg_CharsetConverterResource(void* source, const char* from, void* target, const char* to,
                                                         std::uint32_t* size, std::uint8_t option,
                                                         std::uint8_t substitute) {
    const auto* const in = static_cast<const Locator*>(source);
    const auto* const out = static_cast<const Locator*>(target);
    state.calls +=
        "convert(" + std::to_string(*size) + "," + std::to_string(option) + "," + std::to_string(substitute) + ") ";
    const std::string text = std::string(from) + ">" + to + ":" + std::string(in->buffer, in->content);
    std::memcpy(out->buffer, text.data(), text.size() < out->size ? text.size() : out->size);
    *size = 0;
    return state.refusesConversion ? 77 : 0;
}
