/* The verbs of wdltctl. Each has a file of its own and one row in Main's table; it adds its subcommand and runs from
   that subcommand's callback. */
#pragma once

#include "RecordFields.h"

namespace CLI {
class App;
}

namespace wdlt {

/* Options common to all verbs; filled in before a callback runs, alive as long as the program. */
struct Options {
    bool json = false;
    bool secrets = false;
};

void addInit(CLI::App& app, const Options& options);
void addGet(CLI::App& app, const Options& options);
void addSet(CLI::App& app, const Options& options);
void addStatus(CLI::App& app, const Options& options);
void addSwitch(CLI::App& app, const Options& options);
void addLists(CLI::App& app, const Options& options);
void addCheckUrl(CLI::App& app, const Options& options);
void addVerify(CLI::App& app, const Options& options);
void addRaw(CLI::App& app, const Options& options);

/* All JSON output goes through here. */
void printJson(const Json& document);

} // namespace wdlt
