/* wdltctl: the control panel on the command line. It uses only the library's exports, so that any caller can do the
   same; only init and reset work on the registry directly, since the library has no call that creates a tree or mends
   it. */

#include "ChangeLock.h"
#include "Display.h"
#include "HomeLook.h"
#include "Installation.h"
#include "Interrupted.h"
#include "Journal.h"
#include "LayDown.h"
#include "LayerError.h"
#include "LibraryWatch.h"
#include "Owner.h"
#include "RegistryKey.h"
#include "RunTool.h"
#include "ToolError.h"
#include "Verbs.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cstdio>
#include <fmt/format.h>
#include <string_view>
#include <utility>

namespace wdlt {

bool hasTree() {
    const auto base = RegistryKey::openIfThere(std::u16string(kBasePath));
    return base && !base->values().empty();
}

namespace {

/* The library takes a value that it can't read for one that isn't there: a damaged page would be told as "off". */
void lookAtAllValues(const std::string& home) {
    try {
        walkKeys(std::u16string(kBasePath), [](const RegistryKey& key, std::size_t) { key.values(); });
    } catch (const LayerError& error) {
        if (error.status() != ExitStatus::Unknown)
            throw;
        throw ToolError(ExitStatus::Unknown, fmt::format("damaged: {}/registry; wdltctl check tells more", home),
                        {.path = home + "/registry"});
    }
}

bool changes(Needs needs) {
    return needs == Needs::Change || needs == Needs::Files;
}

/* Returns the home. */
std::string lookAtTree(Needs needs) {
    std::string path;
    finishInterrupted();
    const bool isHome = lookAtHome(path, changes(needs) ? HomeUse::Change : HomeUse::Read);
    if (isHome && hasTree()) {
        lookAtAllValues(path);
        return path;
    }
    // Merely asking for the plug-in manager's switches makes keys: only values are an installation.
    const bool isPart = isHome && holdsValues(std::u16string(kBasePath));
    throw ToolError(ExitStatus::Unknown,
                    isPart ? fmt::format("the settings in {} are incomplete: wdltctl init --upgrade", path)
                           : fmt::format("nothing is laid down in {}: wdltctl init", path),
                    {.path = path});
}

/* Whether the install directory is this home's, or may become it. */
void lookAtOwner(const std::string& home, Needs needs) {
    const std::string install = storedInstall();
    if (needs == Needs::Files)
        refuseOthers(home, install);
    if (const std::string warning = ownerWarning(home, install); !warning.empty())
        printRemark(fmt::format("{} {}", displayFile(install), warning));
    else if (const std::string gone = changes(needs) ? takeInstall(home, install) : ""; !gone.empty())
        printRemark(fmt::format("{} belonged to the home {}, which is gone; it is this home's now",
                                displayFile(install), displayFile(gone)));
}

void changeIn(const std::string& home, Needs needs, const std::function<void()>& body) {
    const ChangeLock lock;
    finishInterrupted(); // of who had the lock until now
    settle(true);
    lookAtOwner(home, needs);
    body();
}

constexpr const char* kToolName = "wdltctl";

/* In the order of --help. */
constexpr struct {
    std::array<std::string_view, 5> names; /* of the verbs that it adds */
    void (*add)(CLI::App& app, const Options& options);
} kVerbs[] = {
    {{"init"}, addInit},
    {{"where"}, addWhere},
    {{"check"}, addCheck},
    {{"status"}, addStatus},
    {{"enable", "disable"}, addSwitch},
    {{"describe"}, addDescribe},
    {{"get"}, addGet},
    {{"set"}, addSet},
    {{"reset"}, addReset},
    {{"list", "add", "remove", "import", "export"}, addLists},
    {{"dump"}, addDump},
    {{"diff"}, addDiff},
    {{"load"}, addLoad},
    {{"confirm", "await-confirmation"}, addConfirm},
    {{"watch"}, addWatch},
    {{"follow"}, addFollow},
    {{"fleet"}, addFleet},
    {{"check-url"}, addCheckUrl},
    {{"verify"}, addVerify},
    {{"raw"}, addRaw},
    {{"backup"}, addBackup},
    {{"restore"}, addRestore},
};

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
    "  wdltctl dump machine.json\n"
    "  wdltctl diff machine.json\n"
    "  wdltctl load machine.json --confirm-within 60s\n"
    "  wdltctl follow etcds://store1,store2/wardlet --group branch --token-file /etc/wardlet.token\n"
    "  wdltctl fleet status etcds://store1/wardlet\n"
    "  wdltctl raw read 10000 0 --json\n"
    "  wdltctl check --repair\n"
    "  wdltctl backup wardlet.backup\n"
    "Exit status: 0 done or yes, 1 no, 2 the words or the input are wrong, 3 it can't be told "
    "or isn't permitted, 4 stored but the service wasn't told, 5 failed and nothing "
    "changed, 6 failed half way, 130 interrupted.";

/* The callbacks refer to it for as long as the program runs. */
Options& options() {
    static Options all;
    return all;
}

/* To make all of them takes longer than most of them run. */
void addVerbs(CLI::App& app, std::string_view verb) {
    app.add_flag("--json", options().json, "Print JSON");
    app.add_flag("--secrets", options().secrets, "Show passwords and keys");
    app.add_flag("-v,--verbose", options().verbose, "Show the library's errors as it logs them");
    for (const auto& each : kVerbs)
        if (!verb.empty() && std::ranges::find(each.names, verb) != each.names.end())
            return each.add(app, options());
    for (const auto& each : kVerbs)
        each.add(app, options());
}

} // namespace

/* A load that was killed is undone by the next verb; one that is at work holds the lock, and is left alone; and so
   is one of the home that this one is a copy of. */
void settle(bool changes) {
    if ((!Journal::isThere() && !isNoteThere()) || !otherOwner(homePath(), storedInstall()).empty())
        return;
    try {
        ChangeLock::ifFree([] {
            if (isNoteThere())
                printRemark(takeNote());
            undoAbandonedLoad(printRemark);
        });
    } catch (const ToolError& error) {
        if (changes) // what is changed now would be lost by the undoing
            throw ToolError(ExitStatus::Unknown, error.what(), error.place());
        printRemark(error.what());
    }
}

void needTree() {
    const std::string home = lookAtTree(Needs::Tree);
    settle();
    lookAtOwner(home, Needs::Tree);
}

void changeHere(Needs needs, const std::function<void()>& body) {
    changeIn(lookAtTree(needs), needs, body);
}

void runs(CLI::App& verb, Needs needs, std::function<void()> body, std::function<void()> before) {
    const std::string parent = verb.get_parent()->get_name();
    const std::string name = parent == kToolName ? verb.get_name() : parent + " " + verb.get_name();
    verb.callback([name, needs, body = std::move(body), before = std::move(before)] {
        const std::string home = needs != Needs::Nothing ? lookAtTree(needs) : "";
        if (before)
            before();
        LibraryWatch watch(name, options().verbose, needs == Needs::Nothing);
        if (changes(needs)) {
            changeIn(home, needs, [&] {
                watch.expectChanges();
                body();
                if (std::fflush(stdout) != 0)
                    throw ToolError(ExitStatus::Partial, "it is stored, but the output can't be written");
            });
        } else {
            if (needs == Needs::Tree) {
                settle();
                lookAtOwner(home, needs);
            }
            body();
        }
        watch.end();
    });
}

} // namespace wdlt

int main(int argc, char** argv) {
    return wdlt::runTool({wdlt::kToolName, "Shows and changes the settings of the content-scanning service.",
                          wdlt::kExamples, wdlt::addVerbs, /* needsVerb = */ true, wdlt::wordsOf},
                         argc, argv);
}
