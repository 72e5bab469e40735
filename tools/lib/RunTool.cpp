#include "RunTool.h"

#include "ManualPage.h"
#include "Process.h"
#include "Suggestion.h"
#include "ToolError.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <fmt/format.h>
#include <new>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>

namespace wdlt {
namespace {

/* Before a --, which may precede operands of that name. An error may come before the command line is understood. */
bool asksForJson(int argc, char** argv) {
    const std::span<char*> words(argv, static_cast<std::size_t>(argc));
    const auto end =
        std::ranges::find(words, std::string_view("--"), [](const char* word) { return std::string_view(word); });
    return std::any_of(words.begin(), end,
                       [](const std::string_view word) { return word == "--json" || word == "--json=true"; });
}

std::string errorJson(ExitStatus status, const char* message, const ErrorPlace& place) {
    nlohmann::ordered_json error = {{"status", static_cast<int>(status)}};
    if (!place.name.empty())
        error["name"] = place.name;
    error["message"] = message;
    if (!place.path.empty())
        error["path"] = place.path;
    if (!place.where.empty())
        error["where"] = place.where;
    return nlohmann::ordered_json{{"error", error}}.dump(2, ' ', false,
                                                         nlohmann::ordered_json::error_handler_t::replace);
}

int fail(const Tool& tool, bool asJson, ExitStatus status, const char* message, const ErrorPlace& place = {}) {
    // Keeps the output in order when stdout and stderr go to the same place.
    std::fflush(stdout);
    if (asJson)
        fmt::print(stderr, "{}\n", errorJson(status, message, place));
    else
        fmt::print(stderr, "{}: {}\n", tool.name, message);
    return static_cast<int>(status);
}

/* The one run of this process, for an end that comes from another thread. */
struct Run {
    const Tool* tool = nullptr;
    bool asJson = false;
};
Run g_run;

/* The first word that is no option: no option that a tool's verbs share has a value. Nothing for what has to know all
   verbs. */
std::string_view verbAmong(std::span<const std::string> words) {
    for (const std::string_view word : words) {
        if (!word.starts_with('-'))
            return word;
        if (word == "--complete" || word == "--manual-page")
            break;
    }
    return {};
}

/* What shells and packages ask a tool for, before a word is understood: --complete WORD..., and --manual-page DATE. */
bool tellsOfItself(const Tool& tool, const CLI::App& app, const std::vector<std::string>& words) {
    const std::string asked = words.empty() ? "" : words.front();
    if (asked == "--manual-page" && words.size() == 2)
        fmt::print("{}", manualPage(app, WDLT_VERSION, words[1]));
    else if (asked == "--complete")
        for (const auto& [word, help] : completions(app, std::span(words).subspan(1), tool.wordsOf))
            fmt::print("{}{}{}\n", word, help.empty() ? "" : "\t", help);
    else
        return false;
    return true;
}

int parseAndRun(const Tool& tool, int argc, char** argv) {
    CLI::App app(tool.description, tool.name);
    app.fallthrough();
    app.ignore_case(); // of the verbs' names
    app.set_version_flag("--version", fmt::format("{} {}", tool.name, WDLT_VERSION), "Print the version");
    if (tool.needsVerb)
        app.require_subcommand(1);
    app.get_formatter()->column_width(34);
    const std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
    tool.addVerbs(app, verbAmong(words));
    app.footer(tool.footer); // behind them, since a verb takes over what is there when it is added
    try {
        if (!tellsOfItself(tool, app, words))
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
    const bool asJson = asksForJson(argc, argv);
    startProcess();
    g_run = {&tool, asJson};
    try {
        return parseAndRun(tool, argc, argv);
    } catch (const ToolError& error) {
        return fail(tool, asJson, error.status(), error.what(), error.place());
    } catch (const std::bad_alloc&) {
        return fail(tool, asJson, ExitStatus::Failed, "out of memory");
    } catch (const std::exception& error) {
        return fail(tool, asJson, ExitStatus::Failed, error.what());
    }
}

void printRemark(const std::string& text) {
    std::fflush(stdout);
    if (g_run.asJson)
        fmt::print(stderr, "{}\n",
                   nlohmann::ordered_json{{"warning", text}}.dump(-1, ' ', false,
                                                                  nlohmann::ordered_json::error_handler_t::replace));
    else
        fmt::print(stderr, "{}: {}\n", g_run.tool->name, text);
}

void endInterrupted(const std::string& message) {
    const std::string line = g_run.asJson ? errorJson(ExitStatus::Interrupted, message.c_str(), {}) + "\n"
                                          : fmt::format("{}: {}\n", g_run.tool->name, message);
    endProcess(line, static_cast<int>(ExitStatus::Interrupted));
}

} // namespace wdlt
