/* wdltctl: the control panel on the command line. It uses only the library's exports, so that any caller can do the
   same; only init and reset work on the registry directly, since the library has no call that creates a tree or mends
   it. */

#include "ChangeLock.h"
#include "HomeLook.h"
#include "LayDown.h"
#include "LibraryWatch.h"
#include "RegistryKey.h"
#include "RunTool.h"
#include "ToolError.h"
#include "Verbs.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <optional>
#include <utility>

namespace wdlt {

bool hasTree() {
    const auto base = RegistryKey::openIfThere(std::u16string(kBasePath));
    return base && !base->values().empty();
}

namespace {

void lookAtTree(Needs needs) {
    std::string path;
    const bool isHome = lookAtHome(path, needs == Needs::Change ? HomeUse::Change : HomeUse::Read);
    if (isHome && hasTree())
        return;
    // Merely asking for the plug-in manager's switches makes keys: only values are an installation.
    const bool isPart = isHome && holdsValues(std::u16string(kBasePath));
    throw ToolError(ExitStatus::Unknown,
                    isPart ? fmt::format("the settings in {} are incomplete: wdltctl init --upgrade", path)
                           : fmt::format("nothing is laid down in {}: wdltctl init", path),
                    {.path = path});
}

constexpr const char* kToolName = "wdltctl";

using AddVerb = void (*)(CLI::App& app, const Options& options);

constexpr AddVerb kVerbs[] = {addInit, addWhere, addCheck, addStatus,   addSwitch, addDescribe, addGet,
                              addSet,  addReset, addLists, addCheckUrl, addVerify, addRaw};

constexpr const char* kExamples =
    "Examples:\n"
    "  wdltctl init --install /opt/wardlet\n"
    "  wdltctl status\n"
    "  wdltctl enable pvs\n"
    "  wdltctl enable pdp --protocol smtp\n"
    "  wdltctl list records\n"
    "  wdltctl describe system proxy-port\n"
    "  wdltctl get system\n"
    "  wdltctl set system proxy-port=8080 bm-flag=0\n"
    "  wdltctl get handler POP3 enable\n"
    "  wdltctl reset system proxyPort\n"
    "  wdltctl add redirects POP3 Mail --port 110\n"
    "  wdltctl add urls black '*example.com/*'\n"
    "  wdltctl check-url http://example.com/page --list black\n"
    "  wdltctl add items 'My card' '4711 0815'\n"
    "  wdltctl raw read 10000 0 --json\n"
    "  wdltctl check --repair\n"
    "Exit status: 0 done or yes, 1 no, 2 the words or the input are wrong, 3 it can't be told "
    "or isn't permitted, 4 stored but the service wasn't told, 5 failed and nothing "
    "changed, 6 failed half way, 130 interrupted.";

/* The callbacks refer to it for as long as the program runs. */
Options& options() {
    static Options all;
    return all;
}

void addVerbs(CLI::App& app) {
    app.add_flag("--json", options().json, "Print JSON");
    app.add_flag("--secrets", options().secrets, "Show passwords and keys");
    app.add_flag("-v,--verbose", options().verbose, "Show the library's errors as it logs them");
    for (const auto addVerb : kVerbs)
        addVerb(app, options());
}

} // namespace

void runs(CLI::App& verb, Needs needs, std::function<void()> body) {
    const std::string parent = verb.get_parent()->get_name();
    const std::string name = parent == kToolName ? verb.get_name() : parent + " " + verb.get_name();
    verb.callback([name, needs, body = std::move(body)] {
        if (needs != Needs::Nothing)
            lookAtTree(needs);
        LibraryWatch watch(name, options().verbose);
        std::optional<ChangeLock> lock;
        if (needs == Needs::Change) {
            lock.emplace();
            watch.expectChanges();
        }
        body();
        watch.end();
    });
}

} // namespace wdlt

int main(int argc, char** argv) {
    return wdlt::runTool({wdlt::kToolName, "Shows and changes the settings of the content-scanning service.",
                          wdlt::kExamples, wdlt::addVerbs},
                         argc, argv);
}
