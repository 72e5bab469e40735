/* enable and disable: one feature, by its export. To find what changed, the scan items and handlers are compared before
   and after the call, since a handler also depends on its other items. */

#include "Features.h"
#include "Handlers.h"
#include "LibraryStatus.h"
#include "Suggestion.h"
#include "ToolError.h"
#include "Verbs.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <ranges>
#include <span>
#include <wdltcfg/status.h>

namespace wdlt {
namespace {

// Only these items decide whether a handler is on.
constexpr std::uint32_t kDecidingItems = 0xFFFF;

struct SwitchArguments {
    std::string feature;
    std::vector<std::string> protocols;
    std::optional<std::uint32_t> option;
};

struct Selection {
    std::vector<FeatureItem> places;
    std::uint32_t detail = WDLT_PRIVACY_ALL; /* types, or the option */
};

Selection select(const Feature& feature, const SwitchArguments& arguments) {
    Selection selection{{feature.places.begin(), feature.places.end()}};
    if (feature.hasOption)
        selection.detail = arguments.option.value_or(0);
    else if (arguments.option)
        throw ToolError(ExitStatus::Usage, fmt::format("--option: {} has none", feature.name));
    if (arguments.protocols.empty())
        return selection;
    selection = {{}, 0};
    for (const std::string& protocol : arguments.protocols) {
        auto places = feature.places | std::views::filter([](const FeatureItem& place) { return place.type != 0; });
        const FeatureItem& place =
            findNamed(places, protocol, fmt::format("protocol of {}", feature.name), &FeatureItem::protocolName);
        selection.places.push_back(place);
        selection.detail |= place.type;
    }
    return selection;
}

struct Switch {
    std::string what;
    std::optional<bool> isOn; /* nullopt: not there, or unreadable */
};

std::span<const FeatureItem> urlFilterPlaces() {
    return findFeature("urlf").places;
}

/* Each place's scan item and its handler, or the feature itself if it has no places; first, the features it needs. */
std::vector<Switch> switchesOf(const Feature& feature, std::span<const FeatureItem> places) {
    std::vector<Switch> switches;
    if (feature.needsWeb) {
        switches = switchesOf(findFeature("urlf"), urlFilterPlaces());
        const auto manager = switchesOf(findFeature("plugin-manager"), {});
        switches.insert(switches.end(), manager.begin(), manager.end());
    }
    if (places.empty()) {
        const std::int32_t state = feature.isEnabled(WDLT_PRIVACY_ALL);
        switches.push_back({std::string(feature.name), state < 0 ? std::nullopt : std::optional(state != 0)});
    }
    for (const FeatureItem& place : places) {
        const auto handler = handlerOf(place.protocol);
        const auto name = handler ? handler->name() : fmt::format("protocol {}", place.protocol);
        switches.push_back({fmt::format("{} of {}", itemName(place.scan, place.input), name),
                            itemIsOn(place.protocol, place.scan, place.input)});
        const std::string handlerNamed = fmt::format("handler {}", name);
        if (std::ranges::find(switches, handlerNamed, &Switch::what) == switches.end())
            switches.push_back({handlerNamed, handler ? std::optional(handler->isOn()) : std::nullopt});
    }
    return switches;
}

/* The handlers that didn't follow the feature, and why. */
std::vector<std::string> handlersThatStay(const std::vector<FeatureItem>& places, bool on) {
    std::vector<std::string> reasons;
    for (const FeatureItem& place : places) {
        const auto handler = handlerOf(place.protocol);
        if (!handler || handler->isOn() == on)
            continue;
        const auto others = itemsThatAreOn(*handler, kDecidingItems);
        reasons.push_back(fmt::format("handler {} stays {}: {}", handler->name(), onOff(!on),
                                      others.empty() ? "none of its scan items is on"
                                                     : fmt::format("{} on", fmt::join(others, ", "))));
    }
    return reasons;
}

std::string missingHandlers(std::span<const FeatureItem> places) {
    std::string names;
    for (const FeatureItem& place : places)
        if (!handlerOf(place.protocol))
            names += fmt::format("{}{}", names.empty() ? "no handler serves protocol " : ", ", place.protocol);
    return names;
}

struct Outcome {
    std::int32_t status;
    std::vector<Switch> changes;
    std::vector<std::string> staying;
};

Outcome run(const Feature& feature, const Selection& selection, bool on) {
    const auto before = switchesOf(feature, selection.places);
    Outcome outcome{feature.enable(on, selection.detail), {}, {}};
    const auto after = switchesOf(feature, selection.places);
    for (std::size_t i = 0; i < after.size(); ++i)
        if (after[i].isOn && after[i].isOn != before[i].isOn)
            outcome.changes.push_back(after[i]);
    if (outcome.status == WDLT_OK)
        outcome.staying = handlersThatStay(selection.places, on);
    return outcome;
}

void printOutcome(const Feature& feature, const Outcome& outcome, bool on, const Options& options) {
    if (options.json) {
        Json document = {{"feature", feature.name}, {"status", outcome.status}, {"changed", Json::object()}};
        for (const Switch& change : outcome.changes)
            document["changed"][change.what] = onOff(*change.isOn);
        document["staying"] = outcome.staying;
        printJson(document);
        return;
    }
    for (const Switch& change : outcome.changes)
        fmt::print("{}: {}\n", change.what, onOff(*change.isOn));
    for (const std::string& reason : outcome.staying)
        fmt::print("{}\n", reason);
    // A feature with an option may have stored a new one, though its switch didn't change.
    if (outcome.status == WDLT_OK && outcome.changes.empty() && outcome.staying.empty() && !feature.hasOption)
        fmt::print("{} is {} already\n", feature.name, onOff(on));
}

void switchFeature(const SwitchArguments& arguments, bool on, const Options& options) {
    const Feature& feature = findFeature(arguments.feature);
    const Selection selection = select(feature, arguments);
    const Outcome outcome = run(feature, selection, on);
    // A failure may follow a change: print the change first.
    printOutcome(feature, outcome, on, options);
    const std::string missing =
        missingHandlers(feature.needsWeb ? urlFilterPlaces() : std::span<const FeatureItem>(selection.places));
    if (outcome.status < WDLT_OK && outcome.status != WDLT_E_NO_ANSWER && !outcome.changes.empty())
        throw ToolError(ExitStatus::Partial,
                        fmt::format("{}{}{}", statusText(outcome.status), missing.empty() ? "" : ": ", missing));
    checkStatus(outcome.status, missing);
}

void addVerb(CLI::App& app, const Options& options, const char* name, const char* help, bool on) {
    auto* verb = app.add_subcommand(name, help);
    const auto arguments = std::make_shared<SwitchArguments>();
    verb->add_option("FEATURE", arguments->feature, "Name of the feature")->required();
    verb->add_option("--protocol", arguments->protocols,
                     "For pdp: smtp, http, 4, 5, 6 or 7, parted by commas; without it, all of them, in this order")
        ->delimiter(',')
        ->allow_extra_args(false); // otherwise the feature's name after it would count as another protocol
    verb->add_option(
        "--option", arguments->option,
        "For drs-white-list: the option stored with its switch, 0 without it; what is stored can't be read");
    std::string features = "Features:\n";
    for (const Feature& feature : allFeatures())
        features += fmt::format("  {:16}{}\n", feature.name, feature.help);
    verb->footer(features + "The scan item is switched first, then its handler, which is on as long as one of its "
                            "scan items is. https and drs switch the URL filter and the plug-in manager on before "
                            "themselves, and off never. Each change is told to the running service, which may take a "
                            "minute to answer.");
    runs(*verb, Needs::Change, [arguments, on, &options] { switchFeature(*arguments, on, options); });
}

} // namespace

void addSwitch(CLI::App& app, const Options& options) {
    addVerb(app, options, "enable", "Switch a feature on", true);
    addVerb(app, options, "disable", "Switch a feature off", false);
}

} // namespace wdlt
