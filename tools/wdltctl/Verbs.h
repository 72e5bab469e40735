/* The verbs of wdltctl. Each has a file of its own and one row in Main's table; it adds its subcommand and runs from
   that subcommand's callback. */
#pragma once

#include "Completion.h"
#include "Json.h"
#include "KeyPath.h"
#include "RecordFields.h"

#include <functional>
#include <string_view>

namespace CLI {
class App;
}

namespace wdlt {

/* Options common to all verbs; filled in before a callback runs, alive as long as the program. */
struct Options {
    bool json = false;
    bool secrets = false;
    bool verbose = false;
};

/* Whether an installation is laid down. Merely asking for the plug-in manager's switches makes keys: only values of the
   settings' own key are one. */
bool hasTree();

/* What a verb needs of the home. */
enum class Needs {
    Nothing, /* it looks itself */
    Tree,    /* that an installation is there and can be read */
    Change,  /* the same, and that nobody else changes its settings meanwhile */
    Files,   /* the same, and that the files of the install directory are this home's to change */
};

/* Runs `body` when the verb is typed, and the home has what it needs; otherwise a ToolError says what is missing.
   `before` comes first: it reads what may keep one waiting, such as the standard input, while others change settings. */
void runs(CLI::App& verb, Needs needs, std::function<void()> body, std::function<void()> before = {});

/* What runs does for Needs::Change and Needs::Files, for a verb that changes something again and again: under the change
   lock, which it doesn't hold in between. */
void changeHere(Needs needs, const std::function<void()>& body);

/* Undoes a load that was killed, or that nobody has confirmed in time. For a verb that looks at the home itself. What
   can't be undone is a remark, but for a verb that changes something a ToolError. */
void settle(bool changes = false);
/* For a verb that needs an installation only in some of its forms: what runs does for Needs::Tree. */
void needTree();
/* The words that the shells complete for operands and options of the verbs. */
Completions wordsOf(const Completed& completed);

void addInit(CLI::App& app, const Options& options);
void addGet(CLI::App& app, const Options& options);
void addSet(CLI::App& app, const Options& options);
void addReset(CLI::App& app, const Options& options);
void addDescribe(CLI::App& app, const Options& options);
void addWhere(CLI::App& app, const Options& options);
void addStatus(CLI::App& app, const Options& options);
void addSwitch(CLI::App& app, const Options& options);
void addLists(CLI::App& app, const Options& options);
void addCheckUrl(CLI::App& app, const Options& options);
void addVerify(CLI::App& app, const Options& options);
void addRaw(CLI::App& app, const Options& options);
void addCheck(CLI::App& app, const Options& options);
void addBackup(CLI::App& app, const Options& options);
void addRestore(CLI::App& app, const Options& options);
void addDump(CLI::App& app, const Options& options);
void addDiff(CLI::App& app, const Options& options);
void addLoad(CLI::App& app, const Options& options);
void addConfirm(CLI::App& app, const Options& options);
void addWatch(CLI::App& app, const Options& options);
void addFollow(CLI::App& app, const Options& options);
void addFleet(CLI::App& app, const Options& options);

} // namespace wdlt
