/* watch: prints each change of the configuration as it comes. */

#include "ChangeLock.h"
#include "Changes.h"
#include "Display.h"
#include "Document.h"
#include "Files.h"
#include "Installation.h"
#include "LibraryWatch.h"
#include "RunTool.h"
#include "ToolError.h"
#include "Verbs.h"

#include <CLI/CLI.hpp>
#include <array>
#include <chrono>
#include <cstdio>
#include <fmt/format.h>
#include <memory>
#include <poll.h>
#include <sys/inotify.h>
#include <thread>
#include <unistd.h>

namespace wdlt {
namespace {

constexpr auto kBetweenLooks = std::chrono::milliseconds(100);
constexpr int kLongestWait = 1000; // milliseconds: for what the file system doesn't tell, as of another machine

/* The file system's notice of a change of the registry or in the install directory. The service's own notices go to one
   listener, for whose answer every writer waits: none for a spectator. */
class FileNotice {
  public:
    FileNotice() : m_descriptor(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
        watch(homePath() + "/registry/data.mdb", IN_MODIFY);
        watch(Installation::read().install, IN_CREATE | IN_MOVED_TO | IN_DELETE | IN_MODIFY | IN_CLOSE_WRITE);
    }
    ~FileNotice() {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }
    FileNotice(const FileNotice&) = delete;
    FileNotice& operator=(const FileNotice&) = delete;

    void wait() const {
        pollfd waiting{m_descriptor, POLLIN, 0};
        if (::poll(&waiting, m_descriptor < 0 ? 0 : 1, kLongestWait) <= 0)
            return;
        std::array<char, 4096> notices{};
        while (::read(m_descriptor, notices.data(), notices.size()) > 0) {
        }
    }

  private:
    void watch(const std::string& path, std::uint32_t what) const {
        if (m_descriptor >= 0 && !path.empty())
            ::inotify_add_watch(m_descriptor, path.c_str(), what);
    }

    const int m_descriptor;
};

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
        notice->wait();
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
