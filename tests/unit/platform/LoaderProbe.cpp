// A library for the loader's tests: counts the calls of its entry, refuses to be loaded when told so, and sees the end
// of its process.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <platform/module.h>
#include <unistd.h>

namespace {

int attached = 0;

void say(const char* text) {
    if (std::getenv("PROBE_SPEAKS") != nullptr)
        static_cast<void>(!write(STDOUT_FILENO, text, std::strlen(text)));
}

bool entry(HMODULE module, DWORD reason, bool processIsEnding) {
    if (module == nullptr)
        say("no module ");
    else if (reason == DLL_PROCESS_ATTACH)
        say("attach ");
    else
        say(processIsEnding ? "end " : "detach ");
    return true;
}

} // namespace

WD_API int WdLibraryEntry(void*, std::uint32_t reason) {
    say(reason == DLL_PROCESS_ATTACH ? "entry 1 " : "entry 0 ");
    attached += reason == DLL_PROCESS_ATTACH ? 1 : -1;
    return std::getenv("PROBE_REFUSES") == nullptr ? 1 : 0;
}

WD_API int probeAttached() {
    return attached;
}

WD_MODULE_ENTRY(entry);
