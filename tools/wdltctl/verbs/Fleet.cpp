/* fleet status: how the machines stand that follow a store. */

#include "Desired.h"
#include "Etcd.h"
#include "Report.h"
#include "StoreOptions.h"
#include "Table.h"
#include "ToolError.h"
#include "Verbs.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <ctime>
#include <fmt/format.h>
#include <map>
#include <memory>

namespace wdlt {
namespace {

struct Fleet {
    std::map<std::string, std::int64_t> documents; /* by their keys behind the prefix: the revision of each */
    std::map<std::string, std::optional<Report>> machines;
};

/* Machines that have a document, and those that have told of themselves. */
Fleet fleetFrom(const Found& keys, const Found& statuses, std::size_t prefix) {
    Fleet fleet;
    const auto behind = [](const std::string& key, std::string_view stem) {
        return key.starts_with(stem) && key.size() > stem.size() ? std::optional(key.substr(stem.size()))
                                                                 : std::nullopt;
    };
    for (const StoredKey& each : statuses.keys)
        if (const auto machine = behind(each.key.substr(prefix), kStatusKeys))
            fleet.machines[*machine] = reportFrom(each.value);
    for (const StoredKey& each : keys.keys) {
        const std::string key = each.key.substr(prefix);
        if (key.starts_with(kStatusKeys))
            continue;
        fleet.documents[key] = each.modified;
        if (const auto machine = behind(key, kMachineKeys))
            fleet.machines.try_emplace(*machine);
    }
    return fleet;
}

std::int64_t askedOf(const Fleet& fleet, const Member& member) {
    std::int64_t newest = 0;
    for (const std::string& key : documentKeys(member))
        if (const auto found = fleet.documents.find(key); found != fleet.documents.end())
            newest = std::max(newest, found->second);
    return newest;
}

bool isInStep(const Report& report, std::int64_t asked) {
    return report.applied == asked && (report.state == "ok" || report.state == "nothing asked");
}

void status(const StoreArguments& arguments, const Options& options) {
    const EtcdStore address = etcdStoreOf(arguments.address);
    Etcd store(address, arguments.access);
    const Found keys = store.getAll(address.prefix + "/", true);
    if (keys.keys.empty())
        throw ToolError(ExitStatus::Unknown, fmt::format("nothing stands at {} in the store", address.prefix));
    const Fleet fleet = fleetFrom(keys, store.getAll(address.prefix + kStatusKeys), address.prefix.size());
    Overview overview{
        {"machine", "groups", "state", "revision", "asked", "age", "drift", "put-back", "failures", "reason"}, {}};
    std::size_t others = 0;
    for (const auto& [machine, told] : fleet.machines) {
        const Report report = told.value_or(Report{.machine = machine, .state = "silent"});
        const std::int64_t asked = askedOf(fleet, {machine, report.groups});
        others += isInStep(report, asked) ? 0 : 1;
        const std::int64_t now = std::time(nullptr);
        const Json age = told && report.since >= 0 && report.since <= now ? Json(now - report.since) : Json("");
        overview.rows.push_back({machine, report.groups, report.state, report.applied, asked, age, report.drift,
                                 report.putBack, report.failures, report.reason});
    }
    printOverview(overview, options.json);
    if (others != 0)
        throw ToolError(ExitStatus::No, fmt::format("{} of {} aren't in step", others, fleet.machines.size()));
}

} // namespace

void addFleet(CLI::App& app, const Options& options) {
    auto* verb = app.add_subcommand("fleet", "How the machines stand that follow a store");
    verb->require_subcommand(1);
    auto* one = verb->add_subcommand("status", "A row for each machine");
    const auto arguments = std::make_shared<StoreArguments>();
    addStore(*one, *arguments);
    one->footer(
        "state: ok, drift, waiting, refused, failed, undone, nothing asked, or silent for a machine that has a "
        "document and tells nothing. revision: of the documents that it is or was last in step with; asked: the "
        "newest of its documents. age: seconds in its state. Exit status 1 when a machine isn't in step.");
    runs(*one, Needs::Nothing, [arguments, &options] { withStore([&] { status(*arguments, options); }); });
}

} // namespace wdlt
