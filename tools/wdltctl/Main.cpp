/* wdltctl: the control panel on the command line. It uses only the library's exports, so that any caller can do the
   same; only init works on the registry directly, since the library has no call that creates a tree. */

#include "ChangeLock.h"
#include "Files.h"
#include "HomeLook.h"
#include "LayDown.h"
#include "RegistryKey.h"
#include "RunTool.h"
#include "ToolError.h"
#include "Verbs.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

namespace wdlt {

void printJson(const Json& document) {
    writeFile(std::string(kStandardStream), document.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
}

bool hasTree() {
    const auto base = RegistryKey::openIfThere(std::u16string(kBasePath));
    return base && !base->values().empty();
}

namespace {

void lookAtTree() {
    std::string path;
    const bool isHome = lookAtHome(path);
    if (isHome && hasTree())
        return;
    if (isHome && holdsValues(std::u16string(kBasePath)))
        throw ToolError(ExitStatus::Unknown,
                        fmt::format("the settings in {} are incomplete: wdltctl init --upgrade", path));
    throw ToolError(ExitStatus::Unknown, fmt::format("nothing is laid down in {}: wdltctl init", path));
}

using AddVerb = void (*)(CLI::App& app, const Options& options);

constexpr AddVerb kVerbs[] = {addInit,  addStatus,   addSwitch, addGet, addSet,
                              addLists, addCheckUrl, addVerify, addRaw, addCheck};

constexpr const char* kExamples =
    "Examples:\n"
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
    "  wdltctl check --repair\n"
    "Exit status: 0 done or yes, 1 no, 2 the words or the input are wrong, 3 it can't be told "
    "or isn't permitted, 4 stored but the service wasn't told, 5 failed and nothing "
    "changed, 6 failed half way.";

void addVerbs(CLI::App& app) {
    // Static: the callbacks refer to it for as long as the program runs.
    static Options options;
    app.add_flag("--json", options.json, "Print JSON");
    app.add_flag("--secrets", options.secrets, "Show passwords and keys");
    for (const auto addVerb : kVerbs)
        addVerb(app, options);
}

} // namespace

void runs(CLI::App& verb, Needs needs, std::function<void()> body) {
    verb.callback([needs, body = std::move(body)] {
        lookAtTree();
        std::optional<ChangeLock> lock;
        if (needs == Needs::Change)
            lock.emplace();
        body();
    });
}

} // namespace wdlt

int main(int argc, char** argv) {
    return wdlt::runTool(
        {"wdltctl", "Shows and changes the settings of the content-scanning service.", wdlt::kExamples, wdlt::addVerbs},
        argc, argv);
}
