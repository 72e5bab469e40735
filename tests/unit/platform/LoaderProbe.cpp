// A library for the loader's tests: counts the calls of its entry point, and can refuse to be loaded.
#include <cstdint>
#include <cstdlib>

#include <platform/module.h>

namespace {

int attached = 0;

} // namespace

WD_API int WdLibraryEntry(void*, std::uint32_t reason) {
    attached += reason == DLL_PROCESS_ATTACH ? 1 : -1;
    return std::getenv("PROBE_REFUSES") == nullptr ? 1 : 0;
}

WD_API int probeAttached() {
    return attached;
}
