// drs on|off: switches DRS, and tells from the answer what has become of it. In C++.
#include <wdltcfg/wdltcfg.h>

#include <cstdio>
#include <string_view>

namespace {

// 0: as wanted. 4: stored, and the service will see it at its next start. 1: not stored.
int tell(std::int32_t status, bool on) {
    switch (status) {
    case WDLT_OK: // also where no service runs
        std::printf("DRS is %s\n", on ? "on" : "off");
        return 0;
    case WDLT_E_NO_ANSWER:
        std::printf("DRS is stored as %s, but the service didn't answer\n", on ? "on" : "off");
        return 4;
    default:
        std::fprintf(stderr, "DRS not switched: %s (%s, %d)\n", wdltStatusText(status), wdltStatusName(status), status);
        return 1;
    }
}

} // namespace

int main(int argc, char** argv) {
    const std::string_view word = argc == 2 ? argv[1] : "";
    if (word != "on" && word != "off") {
        std::fprintf(stderr, "drs on|off\n");
        return 2;
    }
    const bool on = word == "on";
    // With 1 it first switches on what DRS needs: the URL filter and the plug-in manager.
    const std::int32_t status = WdltDRSEnable(on ? 1 : 0);
    if (on)
        std::printf("the URL filter is %s\n", WdltUrlfIsEnabled() == 1 ? "on" : "off");
    return tell(status, on);
}
