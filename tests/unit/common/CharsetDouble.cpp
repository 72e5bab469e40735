// A charset library for tests: counts its locators and refuses a chosen call.
#include <cstdint>
#include <cstdlib>

#define DOUBLE_ENTRY extern "C" __attribute__((visibility("default")))

namespace {

int callsToRefusal = 0; // 0: none is refused
int locators = 0;       // that exist

bool isRefused() {
    return callsToRefusal > 0 && --callsToRefusal == 0;
}

} // namespace

DOUBLE_ENTRY void refuseCall(int nth) {
    callsToRefusal = nth;
}

DOUBLE_ENTRY int livingLocators() {
    return locators;
}

DOUBLE_ENTRY int WdLibraryEntry(void*, std::uint32_t) {
    return std::getenv("CHARSET_DOUBLE_REFUSES_LOADING") == nullptr ? 1 : 0;
}

DOUBLE_ENTRY std::uint8_t WdMsg_Initialize() {
    return isRefused() ? 0 : 0x80;
}

DOUBLE_ENTRY std::uint8_t WdMsg_UnInitialize() {
    return isRefused() ? 0 : 0x80;
}

DOUBLE_ENTRY void* WdMsg_CreateResourceLocator(void* buffer, int, std::uint32_t, std::uint32_t, std::uint8_t) {
    if (isRefused())
        return nullptr;
    ++locators;
    return buffer;
}

DOUBLE_ENTRY void WdMsg_DeleteResourceLocator(void*) {
    --locators;
}

DOUBLE_ENTRY std::int32_t WdMsg_CharsetConverterResource(void*, const char*, void*, const char*, std::uint32_t*,
                                                         std::uint8_t, std::uint8_t) {
    return isRefused() ? 77 : 0;
}
