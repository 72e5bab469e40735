/* status: every feature and every handler, on or off. */

#include "Features.h"
#include "Handlers.h"
#include "LibraryStatus.h"
#include "Table.h"
#include "Verbs.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <wdltcfg/status.h>

namespace wdlt {
namespace {

bool isServed(const FeatureItem& place, const std::vector<Handler>& handlers) {
    return std::any_of(handlers.begin(), handlers.end(),
                       [&](const Handler& handler) { return handler.head.type == place.protocol; });
}

std::string stateText(std::int32_t state) {
    return state < 0 ? "not available" : std::string(onOff(state != 0));
}

Json stateJson(std::int32_t state) {
    return state < 0 ? Json(nullptr) : Json(state != 0);
}

/* A feature with several protocols has one row for the feature, and one for each protocol that a handler serves. */
std::vector<const FeatureItem*> partsOf(const Feature& feature, const std::vector<Handler>& handlers) {
    std::vector<const FeatureItem*> parts;
    for (const FeatureItem& place : feature.places)
        if (place.type != 0 && isServed(place, handlers))
            parts.push_back(&place);
    return parts;
}

void printStatus(const std::vector<Handler>& handlers) {
    std::vector<TableRow> rows = {{"FEATURE", "STATE", ""}};
    for (const Feature& feature : allFeatures()) {
        const auto parts = partsOf(feature, handlers);
        rows.push_back({std::string(feature.name), stateText(feature.isEnabled(WDLT_PRIVACY_ALL)),
                        fmt::format("{}{}", feature.help, parts.empty() ? "" : ", all its protocols")});
        for (const FeatureItem* part : parts)
            rows.push_back({fmt::format("  {}", part->protocolName), stateText(feature.isEnabled(part->type)), ""});
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
        const std::int32_t state = feature.isEnabled(WDLT_PRIVACY_ALL);
        Json row = {{"available", state >= 0}, {"enabled", stateJson(state)}};
        for (const FeatureItem* part : partsOf(feature, handlers))
            row["protocols"][std::string(part->protocolName)] = stateJson(feature.isEnabled(part->type));
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
}

} // namespace

void addStatus(CLI::App& app, const Options& options) {
    auto* verb = app.add_subcommand("status", "Show every feature and handler, on or off");
    verb->footer("A feature with a scan item is on when that and its handler are on. \"not available\": whether it is "
                 "on can't be read.");
    runs(*verb, Needs::Tree, [&options] { status(options); });
}

} // namespace wdlt
