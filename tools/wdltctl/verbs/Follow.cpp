/* follow: keeps this installation in step with documents in a store that many machines share. */

#include "Follower.h"
#include "LibraryWatch.h"
#include "Loading.h"
#include "Objects.h"
#include "StoreOptions.h"
#include "TimeOption.h"
#include "ToolError.h"
#include "Verbs.h"

#include <CLI/CLI.hpp>
#include <array>
#include <csignal>
#include <ctime>
#include <fmt/format.h>
#include <memory>
#include <sys/eventfd.h>
#include <unistd.h>

namespace wdlt {
namespace {

constexpr std::uint64_t kLeastLease = 3;

struct FollowArguments {
    StoreArguments store;
    Member member;
    FollowRules rules;
    std::string onDrift = "restore";
    std::uint64_t spread = 0;
    std::uint64_t lease = 60;
    bool once = false;
};

/* Written to by the first SIGTERM: what is being stored then is finished. */
int endingDescriptor() {
    static const int descriptor = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    return descriptor;
}

void endBySignal() {
    static_cast<void>(endingDescriptor()); // before a signal may come
    struct sigaction action {};
    action.sa_handler = [](int) {
        const std::uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = ::write(endingDescriptor(), &one, sizeof one);
    };
    action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
    ::sigaction(SIGTERM, &action, nullptr);
}

std::string machineName() {
    std::array<char, 256> name{};
    ::gethostname(name.data(), name.size() - 1);
    return name.data();
}

void tell(const Options& options, const char* event, const std::string& words, const std::vector<Change>& changes) {
    if (options.json) {
        Json line = {{"time", std::time(nullptr)}, {"event", event}, {"words", words}};
        if (!changes.empty())
            line["changes"] = changesJson(changes, options.secrets);
        fmt::print("{}\n", line.dump(-1, ' ', false, Json::error_handler_t::replace));
    } else {
        fmt::print("{}{}{}\n{}", event, words.empty() ? "" : ": ", words, changeLines(changes, options.secrets));
    }
    std::fflush(stdout); // what it can't tell doesn't keep it from its work
}

ExitStatus statusOf(const Report& report) {
    if (report.state == "ok" || report.state == "nothing asked")
        return ExitStatus::Done;
    return report.state == "drift"     ? ExitStatus::No
           : report.state == "refused" ? ExitStatus::Usage
           : report.state == "waiting" ? ExitStatus::Unknown
                                       : ExitStatus::Failed;
}

/* What waits for its confirmation when the process ends is undone by another in time. */
struct GuardAtEnd {
    GuardAtEnd() = default;
    ~GuardAtEnd() {
        if (unconfirmedFor())
            leaveGuardBehind();
    }
    GuardAtEnd(const GuardAtEnd&) = delete;
    GuardAtEnd& operator=(const GuardAtEnd&) = delete;
};

void follow(const FollowArguments& arguments, const Options& options) {
    FollowRules rules = arguments.rules;
    rules.putsBack = arguments.onDrift == "restore";
    rules.spread = std::chrono::seconds(arguments.spread);
    rules.lease = std::chrono::seconds(arguments.lease);
    Member member = arguments.member;
    member.machine = keyStep("--machine", member.machine.empty() ? machineName() : member.machine);
    for (const std::string& group : member.groups)
        keyStep("--group", group);
    const EtcdStore store = etcdStoreOf(arguments.store.address);
    needTree();
    LibraryWatch::expectToLast();
    const HeldMutex claim = takeIfFree("wdlt_follow_mutex");
    if (claim == nullptr)
        throw ToolError(ExitStatus::Unknown, "another wdltctl follow keeps this home in step");
    const GuardAtEnd guard;
    Follower follower(store, arguments.store.access, member, rules,
                      [&](const char* event, const std::string& words, const std::vector<Change>& changes) {
                          tell(options, event, words, changes);
                      });
    if (arguments.once) {
        const Report& report = follower.runOnce();
        if (const ExitStatus status = statusOf(report); status != ExitStatus::Done)
            throw ToolError(status, report.reason.empty() ? report.state : report.state + ": " + report.reason);
        return;
    }
    endBySignal();
    follower.run(endingDescriptor());
}

} // namespace

void addFollow(CLI::App& app, const Options& options) {
    auto* verb =
        app.add_subcommand("follow", "Keep the configuration in step with documents in a store of many machines");
    const auto arguments = std::make_shared<FollowArguments>();
    addStore(*verb, arguments->store);
    verb->add_option("--machine", arguments->member.machine, "This machine's name there; without it, its host name");
    verb->add_option("--group", arguments->member.groups, "A group that it belongs to; may be given several times");
    verb->add_option("--on-drift", arguments->onDrift,
                     "What is done about changes by others: restore puts back what is asked (so without it), report "
                     "tells them")
        ->check(CLI::IsMember({"restore", "report"}));
    addTime(*verb, "--confirm-within", arguments->rules.confirmWithin,
            "Undo a change unless the store has heard of it after this time, as 60s (without it), 5m or 1h; 0s: never");
    addTime(*verb, "--spread", arguments->spread, "Wait a random part of this time before a change");
    addTime(*verb, "--lease", arguments->lease,
            "The store forgets the machine after this time without a word; without it 60s", kLeastLease);
    verb->add_flag("--once", arguments->once, "One round, then end: with 0 when all is as asked");
    verb->footer(
        "STORE/base, STORE/group/NAME and STORE/machine/NAME are documents as dump writes them, whole or in part, "
        "laid over one another in this order. STORE/status/NAME gets what came of them. Ends by SIGTERM.");
    runs(*verb, Needs::Nothing, [arguments, &options] { withStore([&] { follow(*arguments, options); }); });
}

} // namespace wdlt
