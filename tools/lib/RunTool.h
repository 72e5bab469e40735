/* The frame of every tool's main: parses the command line, runs the chosen verb's callback, prints an error prefixed
   with the tool's name and turns it into the exit status. */
#pragma once

#include "Completion.h"

#include <string>
#include <string_view>

namespace CLI {
class App;
}

namespace wdlt {

struct Tool {
    const char* name;
    const char* description;
    const char* footer; /* examples, and what else --help should say */
    /* Adds the common options, which are accepted after a verb too, and the verb of that name; all verbs where it has
       no name, or none that the tool knows. */
    void (*addVerbs)(CLI::App& app, std::string_view verb);
    bool needsVerb = true;     /* false: the program has options only, and a callback of its own */
    WordsOf wordsOf = nullptr; /* for the completions of the shells */
};

int runTool(const Tool& tool, int argc, char** argv);

/* A warning on standard error, behind what has been printed; with --json an object as an error is. */
void printRemark(const std::string& text);

/* Ends the tool from another thread, with the message and ExitStatus::Interrupted. */
[[noreturn]] void endInterrupted(const std::string& message);

} // namespace wdlt
