/* list records, features, handlers and lists: what the other verbs can be asked for. Only the handlers are read. */

#include "Features.h"
#include "Handlers.h"
#include "Lists.h"
#include "Records.h"
#include "Shown.h"
#include "Table.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace wdlt {
namespace {

Overview recordOverview() {
    Overview overview{{"record", "which", "help"}, {}};
    for (const Record& record : allRecords())
        overview.rows.push_back({record.name, record.whichHelp, record.help});
    return overview;
}

Overview featureOverview() {
    Overview overview{{"feature", "protocols", "help"}, {}};
    for (const Feature& feature : allFeatures()) {
        Json protocols = Json::array();
        for (const FeatureItem& place : feature.places)
            protocols.push_back(place.protocolName);
        overview.rows.push_back({feature.name, protocols, feature.help});
    }
    return overview;
}

Overview handlerOverview() {
    Overview overview{{"handler", "type", "state"}, {}};
    for (const Handler& handler : allHandlers())
        overview.rows.push_back({handler.name(), handler.head.type, onOff(handler.isOn())});
    return overview;
}

constexpr const char* kOverviews = "Overviews"; /* the group of these subcommands, which are no lists */

bool hasList(const CLI::App& verb, const std::string& name) {
    return !verb.get_subcommands([&](const CLI::App* each) { return each->get_name() == name; }).empty();
}

Overview listOverview(const CLI::App& list) {
    constexpr const char* kListVerbs[] = {"list", "add", "remove", "import", "export"};
    Overview overview{{"list", "types", "verbs", "help"}, {}};
    for (const CLI::App* each : list.get_subcommands([](const CLI::App*) { return true; })) {
        if (each->get_group() == kOverviews)
            continue;
        Json verbs = Json::array();
        for (const char* const verb : kListVerbs)
            if (hasList(*list.get_parent()->get_subcommand(verb), each->get_name()))
                verbs.push_back(verb);
        const CLI::Option* const types = each->get_option_no_throw("LIST");
        overview.rows.push_back(
            {each->get_name(), types == nullptr ? "" : types->get_description(), verbs, each->get_description()});
    }
    return overview;
}

void addOverviews(CLI::App& verb, const Options& options) {
    const auto add = [&](const char* name, const char* help) {
        auto* command = verb.add_subcommand(name, help);
        return command->group(kOverviews);
    };
    add("records", "The records that get, set and describe take")->callback([&options] {
        printOverview(recordOverview(), options.json);
    });
    add("features", "The features that can be switched")->callback([&options] {
        printOverview(featureOverview(), options.json);
    });
    runs(*add("handlers", "The protocol handlers"), Needs::Tree,
         [&options] { printOverview(handlerOverview(), options.json); });
    add("lists", "The lists, and the verbs that each has")->callback([&options, &verb] {
        printOverview(listOverview(verb), options.json);
    });
}

} // namespace

const List kOverviewList = {addOverviews, nullptr, nullptr};

} // namespace wdlt
