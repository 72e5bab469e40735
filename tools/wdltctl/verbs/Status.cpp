/* status: every feature and every handler, on or off. */

#include "FeatureState.h"
#include "Handlers.h"
#include "Journal.h"
#include "RunTool.h"
#include "Table.h"
#include "Verbs.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace wdlt {
namespace {

/* A feature with several protocols has a row for each that a handler serves, below its own. */
void printStatus(const std::vector<Handler>& handlers) {
    std::vector<TableRow> rows = {{"FEATURE", "STATE", ""}};
    for (const Feature& feature : allFeatures()) {
        const FeatureState state = stateOf(feature);
        rows.push_back({std::string(feature.name), std::string(state.word),
                        fmt::format("{}{}{}", feature.help,
                                    state.offOnes.empty() ? "" : "; off: ", fmt::join(state.offOnes, ", "))});
        for (const FeatureItem& place : placesInUse(feature))
            if (place.type != 0)
                rows.push_back({fmt::format("  {}", place.protocolName),
                                std::string(onOff(feature.isEnabled(place.type) == 1)), ""});
    }
    printTable(rows);
    if (handlers.empty()) {
        fmt::print("\nNo handler is there.\n");
        return;
    }
    rows = {{"HANDLER", "TYPE", "STATE", "ITEMS THAT ARE ON"}};
    for (const Handler& handler : handlers)
        rows.push_back({handler.name(), std::to_string(handler.head.type), std::string(onOff(handler.isOn())),
                        fmt::format("{}", fmt::join(itemsThatAreOn(handler), " "))});
    fmt::print("\n");
    printTable(rows);
}

Json statusJson(const std::vector<Handler>& handlers) {
    Json document = {{"features", Json::object()}, {"handlers", Json::array()}};
    for (const Feature& feature : allFeatures()) {
        const FeatureState state = stateOf(feature);
        Json row = {{"available", state.isOn.has_value()},
                    {"enabled", state.isOn ? Json(*state.isOn) : Json(nullptr)},
                    {"state", state.word}};
        if (!state.offOnes.empty())
            row["off"] = state.offOnes;
        for (const FeatureItem& place : placesInUse(feature))
            if (place.type != 0)
                row["protocols"][std::string(place.protocolName)] = feature.isEnabled(place.type) == 1;
        document["features"][std::string(feature.name)] = std::move(row);
    }
    for (const Handler& handler : handlers)
        document["handlers"].push_back({{"name", handler.name()},
                                        {"type", handler.head.type},
                                        {"enabled", handler.isOn()},
                                        {"items", itemsThatAreOn(handler)},
                                        {"redirects", handler.redirects.size()}});
    return document;
}

void status(const Options& options) {
    const auto handlers = allHandlers();
    if (options.json)
        printJson(statusJson(handlers));
    else
        printStatus(handlers);
    if (const auto journal = Journal::read(); journal && journal->due)
        printRemark(fmt::format("a load waits for its confirmation, {} s are left: wdltctl confirm",
                                journal->due->secondsLeft()));
}

} // namespace

void addStatus(CLI::App& app, const Options& options) {
    auto* verb = app.add_subcommand("status", "Show every feature and handler, on or off");
    verb->footer(
        "A feature with a scan item is on when that and its handler are on; https and drs, when the URL filter "
        "and the plug-in manager are on too; pdp, in each protocol that has a handler. \"part\": it is switched "
        "on, but something that it needs is off, which is named. \"not available\": whether it is on can't be "
        "read. With --json, \"enabled\" is true only for \"on\", and null for \"not available\".");
    runs(*verb, Needs::Tree, [&options] { status(options); });
}

} // namespace wdlt
