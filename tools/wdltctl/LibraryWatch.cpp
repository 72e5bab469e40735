#include "LibraryWatch.h"

#include "Display.h"
#include "RegistryKey.h"
#include "RunTool.h"
#include "Verbs.h"

#include <chrono>
#include <csignal>
#include <fmt/format.h>
#include <mutex>
#include <platform/log.h>
#include <pthread.h>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <vector>

namespace wdlt {
namespace {

constexpr DWORD kEntryLines = 1;
constexpr DWORD kErrorLines = 256;
constexpr auto kUntoldWait = std::chrono::milliseconds(500);

struct Heard {
    std::string verb;
    bool isVerbose = false;
    std::mutex mutex; /* of what follows */
    std::string lastError;
    bool isWaiting = false; /* for the service's answer */
    unsigned unanswered = 0;
    bool lasts = false;
    bool isUndone = false; /* what the verb does, by the next one, when it is interrupted */
};

Heard& heard() {
    static Heard all;
    return all;
}

void hear(DWORD level, LPCWSTR message) {
    const std::u16string_view line(message);
    const std::lock_guard lock(heard().mutex);
    if ((level & kErrorLines) != 0) {
        heard().lastError = displayText(line);
        if (heard().isVerbose)
            fmt::print(stderr, "wdltctl: log: {}\n", heard().lastError);
    } else if (line == u"***Waiting response...") {
        heard().isWaiting = true;
    } else if (line == u"***Waiting was successful..." || line == u"***Waiting has timeout...") {
        heard().isWaiting = false;
        heard().unanswered += line == u"***Waiting has timeout..." ? 1 : 0;
    }
}

bool isWaiting() {
    const std::lock_guard lock(heard().mutex);
    return heard().isWaiting;
}

bool lasts() {
    const std::lock_guard lock(heard().mutex);
    return heard().lasts;
}

sigset_t interrupts() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    return set;
}

LibraryWatch::Values storedValues() {
    LibraryWatch::Values values;
    walkKeys(std::u16string(kBasePath), [&](const RegistryKey& key, std::size_t) {
        for (RegValue& value : key.values())
            values.emplace(key.path() + u'\\' + value.name, std::move(value.data));
    });
    return values;
}

std::vector<std::string> changedNames(const LibraryWatch::Values& before, const LibraryWatch::Values& after) {
    std::vector<std::string> names;
    const auto note = [&](const std::u16string& name) {
        names.push_back(displayText(std::u16string_view(name).substr(kBasePath.size() + 1)));
    };
    for (const auto& [name, data] : after)
        if (const auto found = before.find(name); found == before.end() || found->second != data)
            note(name);
    for (const auto& [name, data] : before)
        if (!after.contains(name))
            note(name);
    return names;
}

} // namespace

LibraryWatch::LibraryWatch(const std::string& verb, bool verbose, bool changesAnyway) : m_changesAnyway(changesAnyway) {
    heard().verb = verb;
    heard().isVerbose = verbose;
    WdListenToLog(kEntryLines | kErrorLines, hear);
    const sigset_t set = interrupts();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    m_thread = std::jthread([this](const std::stop_token& stop) { watch(stop); });
}

LibraryWatch::~LibraryWatch() {
    m_thread.request_stop();
    pthread_kill(m_thread.native_handle(), SIGINT); // ends its wait
    m_thread.join();
    WdListenToLog(0, nullptr);
}

void LibraryWatch::expectChanges() {
    Values values = storedValues();
    const std::lock_guard lock(heard().mutex);
    m_before = std::move(values);
}

void LibraryWatch::end() const {
    if (heard().unanswered == 0)
        return;
    printRemark(fmt::format("{}: {}", heard().verb,
                            m_before ? "stored, but the service didn't answer; it may use the old settings until it is "
                                       "started again"
                                     : "the service didn't answer; this is what is stored"));
}

void LibraryWatch::expectToLast() {
    const std::lock_guard lock(heard().mutex);
    heard().lasts = true;
}

void LibraryWatch::expectUndoing(bool isUndone) {
    const std::lock_guard lock(heard().mutex);
    heard().isUndone = isUndone;
}

const std::string& LibraryWatch::verb() {
    return heard().verb;
}

std::string LibraryWatch::takeLastError() {
    const std::lock_guard lock(heard().mutex);
    return std::exchange(heard().lastError, {});
}

void LibraryWatch::watch(const std::stop_token& stop) {
    constexpr timespec kPause{0, 100'000'000};
    const sigset_t set = interrupts();
    const auto begin = std::chrono::steady_clock::now();
    bool isTold = ::isatty(STDERR_FILENO) != 1;
    for (;;) {
        const int signal = sigtimedwait(&set, nullptr, &kPause);
        if (stop.stop_requested())
            return;
        if (signal == SIGINT)
            interrupted();
        if (!isTold && !lasts() && std::chrono::steady_clock::now() - begin >= kUntoldWait) {
            fmt::print(stderr, "{}\n",
                       isWaiting() ? "waiting for the service (up to 60 s for each record)"
                                   : "waiting for the service, or for another program's change");
            isTold = true;
        }
    }
}

/* The main thread is inside the library all the while; what that has stored stays, as after any other death. */
std::string LibraryWatch::whatIsDone() const {
    std::optional<Values> before;
    {
        const std::lock_guard lock(heard().mutex);
        if (heard().isUndone)
            return "the next command undoes what it has done so far";
        before = m_before;
    }
    if (!before)
        return m_changesAnyway ? "what it has done so far stays" : "nothing is changed";
    try {
        const auto changed = changedNames(*before, storedValues());
        if (!changed.empty())
            return fmt::format("changed so far: {}", fmt::join(changed, ", "));
    } catch (const std::exception&) {
        return "what it has done so far stays";
    }
    return isWaiting() ? "what was to change is stored, but the service hasn't answered"
                       : "no setting is changed, and a list is old or new as a whole";
}

void LibraryWatch::interrupted() {
    endInterrupted(fmt::format("{}: interrupted; {}", heard().verb, whatIsDone()));
}

} // namespace wdlt
