/* wdltctl: the control panel on the command line. It uses only the library's exports, so that any caller can do the
   same; only init works on the registry directly, since the library has no call that creates a tree. */

#include "Files.h"
#include "RunTool.h"
#include "Verbs.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

namespace wdlt {

void printJson(const Json& document) {
    writeFile(std::string(kStandardStream), document.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
}

namespace {

using AddVerb = void (*)(CLI::App& app, const Options& options);

constexpr AddVerb kVerbs[] = {addInit, addStatus, addSwitch, addGet, addSet, addLists, addCheckUrl, addVerify, addRaw};

constexpr const char* kExamples = "Examples:\n"
                                  "  wdltctl init --install /opt/wardlet\n"
                                  "  wdltctl status\n"
                                  "  wdltctl enable pvs\n"
                                  "  wdltctl enable pdp --protocol smtp\n"
                                  "  wdltctl get system\n"
                                  "  wdltctl set system proxyPort=8080 bmFlag=0\n"
                                  "  wdltctl get handler POP3 enable\n"
                                  "  wdltctl add redirects POP3 Mail --port 110\n"
                                  "  wdltctl add urls black '*example.com/*'\n"
                                  "  wdltctl check-url http://example.com/page --list black\n"
                                  "  wdltctl add items 'My card' '4711 0815'\n"
                                  "  wdltctl raw read 10000 0 --json\n"
                                  "Exit status: 0 done, 1 failed (the library's status is named), 2 wrong usage.";

void addVerbs(CLI::App& app) {
    // Static: the callbacks refer to it for as long as the program runs.
    static Options options;
    app.add_flag("--json", options.json, "Print JSON");
    app.add_flag("--secrets", options.secrets, "Show passwords and keys");
    for (const auto addVerb : kVerbs)
        addVerb(app, options);
}

} // namespace
} // namespace wdlt

int main(int argc, char** argv) {
    return wdlt::runTool(
        {"wdltctl", "Shows and changes the settings of the content-scanning service.", wdlt::kExamples, wdlt::addVerbs},
        argc, argv);
}
