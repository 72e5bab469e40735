/* The frame of every tool's main: parses, runs the chosen verb's callback, prints what went wrong behind the tool's
   name and turns it into the exit status. */
#pragma once

namespace CLI {
class App;
}

namespace wdlt {

struct Tool {
    const char* name;
    const char* description;
    const char* footer; /* examples, and what else --help should say */
    /* Adds the verbs and the options that hold for all; options are accepted behind a verb too. */
    void (*addVerbs)(CLI::App& app);
    bool needsVerb = true; /* false: options alone, and a callback of the program itself */
};

int runTool(const Tool& tool, int argc, char** argv);

} // namespace wdlt
