#include "RunTool.h"

#include "Suggestion.h"
#include "ToolError.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <fmt/format.h>

namespace wdlt {
namespace {

int fail(const Tool& tool, ExitStatus status, const char* message) {
    // Keeps the output in order when stdout and stderr go to the same place.
    std::fflush(stdout);
    std::fprintf(stderr, "%s: %s\n", tool.name, message);
    return static_cast<int>(status);
}

int parseAndRun(const Tool& tool, int argc, char** argv) {
    CLI::App app(tool.description, tool.name);
    app.footer(tool.footer);
    app.fallthrough();
    app.ignore_case(); // of the verbs' names
    app.set_version_flag("--version", fmt::format("{} {}", tool.name, WDLT_VERSION), "Print the version");
    if (tool.needsVerb)
        app.require_subcommand(1);
    app.get_formatter()->column_width(34);
    tool.addVerbs(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& request) {
        return app.exit(request);
    } catch (const CLI::ParseError& error) {
        throw usageError(app, error);
    }
    // A full disk, when the output is redirected to a file, shows up here at the latest.
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        throw ToolError(ExitStatus::Failed, "the output can't be written");
    return static_cast<int>(ExitStatus::Done);
}

} // namespace

int runTool(const Tool& tool, int argc, char** argv) {
    try {
        return parseAndRun(tool, argc, argv);
    } catch (const ToolError& error) {
        return fail(tool, error.status(), error.what());
    } catch (const std::exception& error) {
        return fail(tool, ExitStatus::Failed, error.what());
    }
}

} // namespace wdlt
