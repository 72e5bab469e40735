/* watch: prints each change of the configuration as it comes. */

#include "ChangeLock.h"
#include "Changes.h"
#include "Display.h"
#include "Document.h"
#include "FileNotice.h"
#include "LibraryWatch.h"
#include "RunTool.h"
#include "ToolError.h"
#include "Verbs.h"

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <fmt/format.h>
#include <memory>
#include <poll.h>
#include <thread>

namespace wdlt {
namespace {

constexpr auto kBetweenLooks = std::chrono::milliseconds(100);
constexpr int kLongestWait = 1000; // milliseconds: for what the file system doesn't tell, as of another machine

Json look() {
    const ChangeLock lock;
    return takeSnapshot().state;
}

void print(const std::vector<Change>& changes, const Options& options) {
    if (options.json)
        for (const Json& change : changesJson(changes, options.secrets))
            fmt::print("{}\n", change.dump(-1, ' ', false, Json::error_handler_t::replace));
    else
        fmt::print("{}", changeLines(changes, options.secrets));
    if (std::fflush(stdout) != 0)
        throw ToolError(ExitStatus::Failed, "the output can't be written");
}

void watchChanges(std::size_t most, const Options& options) {
    LibraryWatch::expectToLast();
    std::size_t printed = 0;
    std::string marks = changeMarks();
    Json state = look();
    auto notice = std::make_unique<FileNotice>();
    while (most == 0 || printed < most) {
        pollfd waiting{notice->descriptor(), POLLIN, 0};
        ::poll(&waiting, waiting.fd < 0 ? 0 : 1, kLongestWait);
        notice->drain();
        std::this_thread::sleep_for(kBetweenLooks);
        // The marks come first: what changes behind them is looked at next time.
        const std::string found = changeMarks();
        if (found == marks)
            continue;
        marks = found;
        Json next;
        try {
            next = look();
        } catch (const ToolError& error) { // it may pass
            printRemark(error.what());
            continue;
        }
        const std::vector<Change> changes = changesBetween(state, next);
        print(changes, options);
        printed += changes.size();
        state = std::move(next);
        notice = std::make_unique<FileNotice>(); // files have been replaced, or the directory is another
    }
}

} // namespace

void addWatch(CLI::App& app, const Options& options) {
    auto* verb = app.add_subcommand("watch", "Print each change of the configuration as it comes, until interrupted");
    const auto most = std::make_shared<std::size_t>(0);
    verb->add_option("--count", *most, "End after so many changes");
    verb->footer("A line a change, as diff prints it; with --json an object a line. What is changed and changed back "
                 "within a tenth of a second isn't seen.");
    runs(*verb, Needs::Tree, [most, &options] { watchChanges(*most, options); });
}

} // namespace wdlt
