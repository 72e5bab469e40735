/* wardlet-peer: stands in for the running service. Creates the objects that the library's senders look for, prints what
   it hears to its standard output, and answers; it looks up in the list's file whether a URL is on a list. For
   demonstrations, tests and callers' own experiments; it does nothing else with what it hears. */

#include "Exchange.h"
#include "Journal.h"
#include "RunTool.h"
#include "Signals.h"
#include "ToolError.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <deque>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

namespace wdlt {
namespace {

constexpr const char* kExplanation =
    "Prints one JSON object a line: \"ready\" once its objects are there, \"config\" for each setting that was changed "
    "(a change of a handler or scan item has 10000 added to its protocol), \"action\" for each question, \"drs\" for "
    "each signal that DRS has changed.\n"
    "Examples:\n"
    "  wardlet-peer                            hears and answers until it is ended\n"
    "  wardlet-peer --silent config            a service that hangs: each change takes its caller a minute\n"
    "  wardlet-peer --once --reply 1           answers one question with 1, then ends\n"
    "Ends by SIGTERM or SIGINT, its objects with it. Waits are scaled by WARDLET_TIME_SCALE, --delay too.\n"
    "Exit status: 0 ended, 5 failed (another service runs in this home), 2 wrong usage.";

struct Arguments {
    std::vector<std::string> silent;
    DWORD delay = 0;
    std::int32_t reply = 0;
    bool noEvents = false;
    bool noMemory = false;
    bool once = false;
};

[[noreturn]] void refuse() {
    throw ToolError(ExitStatus::Failed, "a service runs in this home already: its objects exist");
}

/* A mutex of its own: the exchanges' objects don't prove that a peer is running, since a sender may still hold those of
   one that is gone. */
HeldMutex claimHome() {
    HeldMutex claim = takeIfFree("wardlet_peer_mutex");
    if (claim == nullptr)
        refuse();
    return claim;
}

/* A service that is no peer. Its memory for questions tells: that for changes wardlet-acl has too, and so has a sender
   until its change is answered; a sender of a question to a peer that is gone has this one for a moment. */
void refuseBesideService() {
    constexpr int kLooks = 10;
    constexpr DWORD kBetweenMs = 50;
    int looks = 0;
    while (hasMemory(kActionStem)) {
        if (++looks == kLooks)
            refuse();
        Sleep(kBetweenMs);
    }
}

/* Runs one thread per exchange; the destructor ends them, also when the owner leaves by an exception. */
class Servers {
  public:
    Servers(std::deque<Exchange>& exchanges, Journal& journal, const std::function<void()>& served)
        : m_exchanges(exchanges), m_stopping(createLatch()) {
        for (Exchange& exchange : m_exchanges)
            if (exchange.hasEvents())
                m_threads.emplace_back([this, &exchange, &journal, served] { run(exchange, journal, served); });
    }
    ~Servers() {
        SetEvent(m_stopping.get());
        for (Exchange& exchange : m_exchanges)
            exchange.wake();
        for (std::thread& thread : m_threads)
            thread.join();
    }
    Servers(const Servers&) = delete;
    Servers& operator=(const Servers&) = delete;

    bool failed() const { return m_failed; }

  private:
    void run(Exchange& exchange, Journal& journal, const std::function<void()>& served) {
        try {
            exchange.serve(journal, m_stopping.get(), served);
        } catch (const std::exception& error) {
            std::fprintf(stderr, "wardlet-peer: %s\n", error.what());
            m_failed = true;
            sendEndSignal();
        }
    }

    std::deque<Exchange>& m_exchanges;
    Object m_stopping;
    std::atomic<bool> m_failed = false;
    std::vector<std::thread> m_threads;
};

void run(const Arguments& arguments) {
    holdEndSignals();
    const HeldMutex claim = claimHome();
    refuseBesideService();
    std::deque<Exchange> exchanges;
    for (const ExchangeKind& kind : kExchangeKinds)
        exchanges.emplace_back(
            kind, Behaviour{
                      .hasMemory = !arguments.noMemory,
                      .hasEvents = !arguments.noEvents,
                      .isSilent = std::count(arguments.silent.begin(), arguments.silent.end(), kind.name) != 0,
                      .delay = arguments.delay,
                      .reply = arguments.reply,
                  });

    Journal journal;
    journal.tell("ready", nlohmann::ordered_json::object());
    const Servers servers(exchanges, journal, [&arguments] {
        if (arguments.once)
            sendEndSignal();
    });
    waitForEndSignal();
    if (servers.failed())
        throw ToolError(ExitStatus::Failed, "an exchange failed");
}

Completions kindWords(const Completed&) {
    Completions words;
    for (const ExchangeKind& kind : kExchangeKinds)
        words.push_back({std::string(kind.name)});
    return words;
}

Completions peerWords(const Completed& completed) {
    constexpr PlaceWords kWords[] = {{"--silent", kindWords}};
    return wordsFrom(kWords, completed);
}

void addOptions(CLI::App& app, std::string_view) {
    const auto arguments = std::make_shared<Arguments>();
    std::vector<std::string> kinds;
    for (const Completion& kind : kindWords({app, "", {}, ""}))
        kinds.push_back(kind.word);
    app.add_option("--silent", arguments->silent, "Hear this kind, but never answer it: config, action or drs")
        ->check(CLI::IsMember(kinds));
    app.add_option("--delay", arguments->delay, "Wait this many milliseconds before each answer")
        ->check(CLI::Range(0, 3'600'000));
    app.add_option("--reply", arguments->reply, "Answer actions with this number")->capture_default_str();
    auto* noEvents = app.add_flag("--no-events", arguments->noEvents, "Make the memories alone");
    app.add_flag("--no-memory", arguments->noMemory, "Make the events alone")->excludes(noEvents);
    app.add_flag("--once", arguments->once, "End after the first exchange");
    app.callback([arguments] { run(*arguments); });
}

} // namespace
} // namespace wdlt

int main(int argc, char** argv) {
    return wdlt::runTool({"wardlet-peer", "Stands in for the running content-scanning service.", wdlt::kExplanation,
                          wdlt::addOptions, /* needsVerb = */ false, wdlt::peerWords},
                         argc, argv);
}
